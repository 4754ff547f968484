// Typed attributes and properties, and number lists: the text forms of every value on the wire.
#include <kxxml/xml/xmlobject.h>

#include <QtTest>

#include <functional>

using Writer = std::function<void(QDomElement&)>;
Q_DECLARE_METATYPE(Writer)

namespace {

const QString kKey = QStringLiteral("k");

/// An element e holding @p content, in a document of its own.
struct Fixture
{
    QDomDocument document;
    QDomElement e;
    explicit Fixture(const QString& content = QString())
    {
        document.setContent(QStringLiteral("<e>%1</e>").arg(content));
        e = document.documentElement();
    }
    QDomElement property() const { return e.firstChildElement(kKey); }
};

/// Writes the same value as attribute and as property.
template <typename... Args>
Writer both(Args... args)
{
    return [args...](QDomElement& e) {
        XMLObject::setAttribute(e, kKey, args...);
        XMLObject::setProperty(e, kKey, args...);
    };
}

} // namespace

class TestTypedValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writtenText_data();
    void writtenText();
    void readers_data();
    void readers();
    void emptyKeyOrValue();
    void propertyContent_data();
    void propertyContent();
    void signedLists();
    void listReaders_data();
    void listReaders();
    void basesOutsideTwoTo36_data();
    void basesOutsideTwoTo36();
};

void TestTypedValues::writtenText_data()
{
    QTest::addColumn<Writer>("write");
    QTest::addColumn<QString>("attributeText"); // null: no attribute
    QTest::addColumn<QString>("propertyText");
    auto row = [](const char* name, Writer w, const char* attribute, const char* property) {
        QTest::newRow(name) << w << (attribute ? QString::fromUtf8(attribute) : QString()) << QString::fromUtf8(property);
    };
    row("string", both(QStringLiteral("a b")), "a b", "a b");
    row("empty string: no attribute", both(QString()), nullptr, "");
    row("int", both(-26), "-26", "-26");
    row("uint base 36", both(35u, 36), "z", "z");
    row("true", both(true), "1", "1");
    row("false", both(false), "0", "0");
    row("double: 12 digits, 6 in a property", both(3.14159265358979), "3.14159265359", "3.14159");
    row("uint list", [](QDomElement& e) { XMLObject::setProperty(e, kKey, QList<unsigned int>{ 10, 255 }, 16); }, nullptr, "a ff");
    row("int list negative hex", [](QDomElement& e) { XMLObject::setProperty(e, kKey, QList<int>{ -26, 26 }, 16); }, nullptr, "-1a 1a");
}

void TestTypedValues::writtenText()
{
    QFETCH(Writer, write);
    QFETCH(QString, attributeText);
    QFETCH(QString, propertyText);
    Fixture f;
    write(f.e);
    QCOMPARE(f.e.hasAttribute(kKey), !attributeText.isNull());
    QCOMPARE(f.e.attribute(kKey), attributeText);
    const QDomElement p = f.property();
    QVERIFY(!p.isNull());
    QCOMPARE(p.text(), propertyText);
}

void TestTypedValues::readers_data()
{
    QTest::addColumn<QString>("text"); // null: missing
    QTest::addColumn<QVariant>("asInt");
    QTest::addColumn<QVariant>("asUIntHex");
    QTest::addColumn<QVariant>("asLong");
    QTest::addColumn<QVariant>("asULongHex");
    QTest::addColumn<bool>("asBool");
    QTest::addColumn<double>("asDouble");
    QTest::newRow("missing") << QString() << QVariant(0) << QVariant(0u) << QVariant(qlonglong(0)) << QVariant(qulonglong(0)) << false << 0.0;
    QTest::newRow("empty") << QString(QLatin1String("")) << QVariant(0) << QVariant(0u) << QVariant(qlonglong(0)) << QVariant(qulonglong(0)) << false << 0.0;
    QTest::newRow("one") << QStringLiteral("1") << QVariant(1) << QVariant(1u) << QVariant(qlonglong(1)) << QVariant(qulonglong(1)) << true << 1.0;
    QTest::newRow("two") << QStringLiteral("2") << QVariant(2) << QVariant(2u) << QVariant(qlonglong(2)) << QVariant(qulonglong(2)) << false << 2.0;
    QTest::newRow("hex digits") << QStringLiteral("ff") << QVariant(0) << QVariant(255u) << QVariant(qlonglong(0)) << QVariant(qulonglong(255)) << false << 0.0;
    QTest::newRow("negative") << QStringLiteral("-5") << QVariant(-5) << QVariant(0u) << QVariant(qlonglong(-5)) << QVariant(qulonglong(0)) << false << -5.0;
    QTest::newRow("double") << QStringLiteral("2.5") << QVariant(0) << QVariant(0u) << QVariant(qlonglong(0)) << QVariant(qulonglong(0)) << false << 2.5;
    QTest::newRow("beyond int") << QStringLiteral("4294967296") << QVariant(0) << QVariant(0u) << QVariant(qlonglong(4294967296LL)) << QVariant(qulonglong(0x4294967296ULL)) << false << 4294967296.0;
}

void TestTypedValues::readers()
{
    QFETCH(QString, text);
    QFETCH(QVariant, asInt);
    QFETCH(QVariant, asUIntHex);
    QFETCH(QVariant, asLong);
    QFETCH(QVariant, asULongHex);
    QFETCH(bool, asBool);
    QFETCH(double, asDouble);

    Fixture f;
    if (!text.isNull()) {
        f.e.setAttribute(kKey, text);
        XMLObject::setProperty(f.e, kKey, text);
    }
    QCOMPARE(XMLObject::getAttribute(f.e, kKey), text);
    QCOMPARE(XMLObject::getProperty(f.e, kKey), text);
    QCOMPARE(XMLObject::getAttributeInt(f.e, kKey), asInt.toInt());
    QCOMPARE(XMLObject::getPropertyInt(f.e, kKey), asInt.toInt());
    QCOMPARE(XMLObject::getAttributeUInt(f.e, kKey, 16), asUIntHex.toUInt());
    QCOMPARE(XMLObject::getPropertyUInt(f.e, kKey, 16), asUIntHex.toUInt());
    QCOMPARE(qlonglong(XMLObject::getAttributeLong(f.e, kKey)), asLong.toLongLong());
    QCOMPARE(qlonglong(XMLObject::getPropertyLong(f.e, kKey)), asLong.toLongLong());
    QCOMPARE(qulonglong(XMLObject::getAttributeULong(f.e, kKey, 16)), asULongHex.toULongLong());
    QCOMPARE(qulonglong(XMLObject::getPropertyULong(f.e, kKey, 16)), asULongHex.toULongLong());
    QCOMPARE(XMLObject::getAttributeBool(f.e, kKey), asBool);
    QCOMPARE(XMLObject::getPropertyBool(f.e, kKey), asBool);
    QCOMPARE(XMLObject::getAttributeDouble(f.e, kKey), asDouble);
    QCOMPARE(XMLObject::getPropertyDouble(f.e, kKey), asDouble);
    QCOMPARE(XMLObject::hasProperty(f.e, kKey), !text.isNull());
}

// An empty key writes, reads and removes nothing; an empty value leaves the attribute as it was.
void TestTypedValues::emptyKeyOrValue()
{
    Fixture f;
    const QString none;
    XMLObject::setAttribute(f.e, none, 5);
    XMLObject::setAttribute(f.e, none, 5u, 16);
    XMLObject::setAttribute(f.e, none, true);
    XMLObject::setAttribute(f.e, none, 1.5);
    XMLObject::setAttribute(f.e, none, QStringLiteral("x"));
    QCOMPARE(f.e.attributes().count(), 0);
    f.e.setAttribute(QLatin1String(""), QStringLiteral("7")); // even when the DOM holds one
    QCOMPARE(XMLObject::getAttributeInt(f.e, none), 0);
    QVERIFY(XMLObject::getAttribute(f.e, none).isNull());
    XMLObject::removeAttribute(f.e, none);
    QCOMPARE(f.e.attributes().count(), 1);

    XMLObject::setAttribute(f.e, kKey, QStringLiteral("x"));
    XMLObject::setAttribute(f.e, kKey, QString());
    XMLObject::setAttribute(f.e, kKey, QLatin1String(""));
    QCOMPARE(f.e.attribute(kKey), QStringLiteral("x"));
}

// setProperty rewrites the first text child of the property and nothing else, leaves a
// property without text as it is, and adds a property only when no element has the key's
// name. Reading takes all text below the property.
void TestTypedValues::propertyContent_data()
{
    QTest::addColumn<QString>("before"); // what e holds
    QTest::addColumn<QString>("read");   // getProperty before writing; null: no property
    QTest::addColumn<QString>("after");  // what e holds after setProperty(k, "new")
    QTest::newRow("none") << "" << QString() << "<k>new</k>";
    QTest::newRow("first text rewritten, the rest kept") << "<k><inner/>old<x/>tail</k>" << "oldtail"
                                                         << "<k><inner/>new<x/>tail</k>";
    QTest::newRow("all text below read") << "<k>1<inner>2</inner></k>" << "12" << "<k>new<inner>2</inner></k>";
    QTest::newRow("no text: kept as it is") << "<k/>" << "" << "<k/>";
    QTest::newRow("an instruction of the key's name is no property") << "<?k x?>" << QString() << "<?k x?><k>new</k>";
}

void TestTypedValues::propertyContent()
{
    QFETCH(QString, before);
    QFETCH(QString, read);
    QFETCH(QString, after);
    Fixture f(before);
    QCOMPARE(XMLObject::getProperty(f.e, kKey), read);
    QCOMPARE(XMLObject::hasProperty(f.e, kKey), !read.isNull());
    XMLObject::setProperty(f.e, kKey, QStringLiteral("new"));
    QCOMPARE(XMLObject::toString(f.e), XMLObject::toString(Fixture(after).e));
}

// Signed items are a minus sign and the magnitude in any base, the lowest int too, and read
// back whole.
void TestTypedValues::signedLists()
{
    const QList<int> values{ INT_MIN, -26, 0 };
    QCOMPARE(XMLObject::toString(values, 10), QStringLiteral("-2147483648 -26 0"));
    const QString hex = XMLObject::toString(values, 16);
    QCOMPARE(hex, QStringLiteral("-80000000 -1a 0"));
    bool ok = false;
    QCOMPARE(XMLObject::toLongList(hex, &ok, 16), values);
    QVERIFY(ok);
}

// The plain list readers keep the items that parse and report whether all did; the property
// readers give all items or none.
void TestTypedValues::listReaders_data()
{
    QTest::addColumn<QString>("text"); // null: no property
    QTest::addColumn<QList<unsigned int>>("items");
    QTest::addColumn<int>("ok"); // -1: left as it was
    QTest::newRow("empty text") << QString() << QList<unsigned int>{} << -1;
    QTest::newRow("three spaces") << QStringLiteral("   ") << QList<unsigned int>{} << 1;
    QTest::newRow("runs of spaces") << QStringLiteral("  a   ff ") << QList<unsigned int>{ 10, 255 } << 1;
    QTest::newRow("bad item left out") << QStringLiteral("a zz ff") << QList<unsigned int>{ 10, 255 } << 0;
    QTest::newRow("tab is no separator") << QStringLiteral("a\tb") << QList<unsigned int>{} << 0;
    QTest::newRow("low 32 bits kept") << QStringLiteral("1ffffffff") << QList<unsigned int>{ 0xFFFFFFFFu } << 1;
}

void TestTypedValues::listReaders()
{
    QFETCH(QString, text);
    QFETCH(QList<unsigned int>, items);
    QFETCH(int, ok);
    for (bool start : { false, true }) {
        bool reported = start;
        QCOMPARE(XMLObject::toULongList(text, &reported, 16), items);
        QCOMPARE(reported, ok == -1 ? start : ok == 1);
    }
    QCOMPARE(XMLObject::toULongList(text, nullptr, 16), items); // ok may be null
    QList<int> signedItems;
    for (unsigned int v : items)
        signedItems << int(v);
    QCOMPARE(XMLObject::toLongList(text, nullptr, 16), signedItems);

    Fixture f;
    if (!text.isNull())
        XMLObject::setProperty(f.e, kKey, text);
    QCOMPARE(XMLObject::getPropertyULongList(f.e, kKey, 16), ok == 0 ? QList<unsigned int>() : items);
    QCOMPARE(XMLObject::getPropertyLongList(f.e, kKey, 16), ok == 0 ? QList<int>() : signedItems);
}

void TestTypedValues::basesOutsideTwoTo36_data()
{
    QTest::addColumn<int>("base");
    QTest::newRow("1") << 1;
    QTest::newRow("37") << 37;
}

// Qt's number formatting divides by the base or runs away: such a base writes nothing.
void TestTypedValues::basesOutsideTwoTo36()
{
    QFETCH(int, base);
    QVERIFY(XMLObject::numberText(42u, base).isNull());
    QVERIFY(XMLObject::numberText(-42, base).isNull());
    QVERIFY(XMLObject::toString(QList<unsigned int>{1, 2}, base).isEmpty());
    QVERIFY(XMLObject::toString(QList<int>{-1, 2}, base).isEmpty());
    Fixture f;
    XMLObject::setAttribute(f.e, kKey, 42u, base);
    XMLObject::setProperty(f.e, kKey, 42u, base);
    XMLObject::setProperty(f.e, kKey, QList<unsigned int>{1, 2}, base);
    XMLObject::setProperty(f.e, kKey, QList<int>{-1, 2}, base);
    QVERIFY(!f.e.hasAttributes());
    QVERIFY(!f.e.hasChildNodes());
}

QTEST_GUILESS_MAIN(TestTypedValues)
#include "tst_typedvalues.moc"
