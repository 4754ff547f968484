// Typed attributes and properties, and number lists: the text forms of every value on the wire.
#include <kxxml/xml/xmlobject.h>

#include <QtTest>

#include <functional>

using Writer = std::function<void(QDomElement&)>;
using Reader = std::function<QVariant(const QDomElement&)>;
Q_DECLARE_METATYPE(Writer)
Q_DECLARE_METATYPE(Reader)

namespace {

const QString kKey = QStringLiteral("k");

struct Fixture
{
    QDomDocument document;
    QDomElement e;
    Fixture()
    {
        e = document.createElement(QStringLiteral("e"));
        document.appendChild(e);
    }
    QDomElement property() const { return e.firstChildElement(kKey); }
};

} // namespace

class TestTypedValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void attributeText_data();
    void attributeText();
    void propertyText_data();
    void propertyText();
    void readers_data();
    void readers();
    void emptyKey();
    void emptyStringKeepsAttribute();
    void removeAttribute();
    void propertyRewrite();
    void propertyWithoutTextKeepsValue();
    void propertyKeepsOtherContent();
    void propertyReadsAllText();
    void listText_data();
    void listText();
    void lenientLists_data();
    void lenientLists();
    void strictPropertyLists_data();
    void strictPropertyLists();
    void basesOutsideTwoTo36_data();
    void basesOutsideTwoTo36();
};

void TestTypedValues::attributeText_data()
{
    QTest::addColumn<Writer>("write");
    QTest::addColumn<QString>("text");
    auto row = [](const char* name, Writer w, const char* text) { QTest::newRow(name) << w << QString::fromUtf8(text); };
    row("string", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, QStringLiteral("a b")); }, "a b");
    row("int", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, -26); }, "-26");
    row("uint hex", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, 0xABCDu, 16); }, "abcd");
    row("uint decimal", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, 42u, 10); }, "42");
    row("true", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, true); }, "1");
    row("false", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, false); }, "0");
    row("pi 12 digits", [](QDomElement& e) { XMLObject::setAttribute(e, kKey, 3.14159265358979); }, "3.14159265359");
}

void TestTypedValues::attributeText()
{
    QFETCH(Writer, write);
    QFETCH(QString, text);
    Fixture f;
    write(f.e);
    QCOMPARE(f.e.attribute(kKey), text);
}

void TestTypedValues::propertyText_data()
{
    QTest::addColumn<Writer>("write");
    QTest::addColumn<QString>("text");
    auto row = [](const char* name, Writer w, const char* text) { QTest::newRow(name) << w << QString::fromUtf8(text); };
    row("string", [](QDomElement& e) { XMLObject::setProperty(e, kKey, QStringLiteral("a b")); }, "a b");
    row("empty string", [](QDomElement& e) { XMLObject::setProperty(e, kKey, QString()); }, "");
    row("int", [](QDomElement& e) { XMLObject::setProperty(e, kKey, -7); }, "-7");
    row("uint hex", [](QDomElement& e) { XMLObject::setProperty(e, kKey, 0xFF00u, 16); }, "ff00");
    row("bool", [](QDomElement& e) { XMLObject::setProperty(e, kKey, true); }, "1");
    row("pi 6 digits", [](QDomElement& e) { XMLObject::setProperty(e, kKey, 3.14159265358979); }, "3.14159");
    row("uint list", [](QDomElement& e) { XMLObject::setProperty(e, kKey, QList<unsigned int>{ 10, 255 }, 16); }, "a ff");
    row("int list negative hex", [](QDomElement& e) { XMLObject::setProperty(e, kKey, QList<int>{ -26, 26 }, 16); }, "-1a 1a");
}

void TestTypedValues::propertyText()
{
    QFETCH(Writer, write);
    QFETCH(QString, text);
    Fixture f;
    write(f.e);
    const QDomElement p = f.property();
    QVERIFY(!p.isNull());
    QCOMPARE(p.childNodes().count(), 1);
    QVERIFY(p.firstChild().isText());
    QCOMPARE(p.text(), text);
    QVERIFY(XMLObject::hasProperty(f.e, kKey));
}

// Each reader on the same text, as attribute and as property: they differ only in where the
// text is found.
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
    QTest::newRow("true is not 1") << QStringLiteral("true") << QVariant(0) << QVariant(0u) << QVariant(qlonglong(0)) << QVariant(qulonglong(0)) << false << 0.0;
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

void TestTypedValues::emptyKey()
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
}

void TestTypedValues::emptyStringKeepsAttribute()
{
    Fixture f;
    XMLObject::setAttribute(f.e, kKey, QStringLiteral("x"));
    XMLObject::setAttribute(f.e, kKey, QString());
    XMLObject::setAttribute(f.e, kKey, QLatin1String(""));
    QCOMPARE(f.e.attribute(kKey), QStringLiteral("x"));
    XMLObject::setAttribute(f.e, QStringLiteral("other"), QString());
    QVERIFY(!f.e.hasAttribute(QStringLiteral("other")));
}

void TestTypedValues::removeAttribute()
{
    Fixture f;
    XMLObject::setAttribute(f.e, kKey, 3);
    XMLObject::removeAttribute(f.e, QString());
    QVERIFY(f.e.hasAttribute(kKey));
    XMLObject::removeAttribute(f.e, kKey);
    QVERIFY(!f.e.hasAttribute(kKey));
}

void TestTypedValues::propertyRewrite()
{
    Fixture f;
    XMLObject::setProperty(f.e, kKey, 1);
    XMLObject::setProperty(f.e, kKey, 2);
    QCOMPARE(f.e.elementsByTagName(kKey).count(), 1);
    QCOMPARE(XMLObject::getPropertyInt(f.e, kKey), 2);
    QCOMPARE(f.property().childNodes().count(), 1);
}

void TestTypedValues::propertyWithoutTextKeepsValue()
{
    Fixture f;
    QDomElement p = XMLObject::createElement(f.e, kKey);
    XMLObject::setProperty(f.e, kKey, 5);
    XMLObject::setProperty(f.e, kKey, QStringLiteral("x"));
    QVERIFY(!p.hasChildNodes());
    QVERIFY(XMLObject::hasProperty(f.e, kKey));
    QCOMPARE(XMLObject::getPropertyInt(f.e, kKey), 0);
}

void TestTypedValues::propertyKeepsOtherContent()
{
    Fixture f;
    QDomElement p = XMLObject::createElement(f.e, kKey);
    XMLObject::createElementV(p, QStringLiteral("inner"));
    XMLObject::createTextNodeV(p, QStringLiteral("old"));
    XMLObject::createTextNodeV(p, QStringLiteral("tail"));
    XMLObject::setProperty(f.e, kKey, QStringLiteral("new"));
    QCOMPARE(p.childNodes().count(), 3);
    QCOMPARE(p.firstChild().nodeName(), QStringLiteral("inner"));
    QCOMPARE(p.childNodes().at(1).nodeValue(), QStringLiteral("new"));
    QCOMPARE(p.lastChild().nodeValue(), QStringLiteral("tail"));
}

void TestTypedValues::propertyReadsAllText()
{
    Fixture f;
    QDomElement p = XMLObject::createElement(f.e, kKey);
    XMLObject::createTextNodeV(p, QStringLiteral("1"));
    QDomElement inner = XMLObject::createElement(p, QStringLiteral("inner"));
    XMLObject::createTextNodeV(inner, QStringLiteral("2"));
    QCOMPARE(XMLObject::getPropertyInt(f.e, kKey), 12);
    // A first child with the key's name that is not an element is no property.
    Fixture g;
    g.e.appendChild(g.document.createProcessingInstruction(kKey, QStringLiteral("x")));
    QVERIFY(!XMLObject::hasProperty(g.e, kKey));
}

void TestTypedValues::listText_data()
{
    QTest::addColumn<QList<int>>("values");
    QTest::addColumn<int>("base");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QList<int>{} << 16 << "";
    QTest::newRow("hex") << QList<int>{ 10, 255, 0 } << 16 << "a ff 0";
    QTest::newRow("negative hex") << QList<int>{ -26 } << 16 << "-1a";
    QTest::newRow("int min hex") << QList<int>{ INT_MIN } << 16 << "-80000000";
    QTest::newRow("decimal") << QList<int>{ -1, 2 } << 10 << "-1 2";
}

void TestTypedValues::listText()
{
    QFETCH(QList<int>, values);
    QFETCH(int, base);
    QFETCH(QString, text);
    QCOMPARE(XMLObject::toString(values, base), text);
    bool ok = false;
    if (!text.isEmpty()) {
        QCOMPARE(XMLObject::toLongList(text, &ok, base), values);
        QVERIFY(ok);
    }
    QList<unsigned int> unsignedValues;
    for (int v : values)
        if (v >= 0)
            unsignedValues << unsigned(v);
    if (unsignedValues.size() == values.size())
        QCOMPARE(XMLObject::toString(unsignedValues, base), text);
}

void TestTypedValues::lenientLists_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<unsigned int>>("items");
    QTest::addColumn<int>("ok"); // -1: left as it was
    QTest::newRow("empty text") << QString() << QList<unsigned int>{} << -1;
    QTest::newRow("three spaces") << QStringLiteral("   ") << QList<unsigned int>{} << 1;
    QTest::newRow("runs of spaces") << QStringLiteral("  a   ff ") << QList<unsigned int>{ 10, 255 } << 1;
    QTest::newRow("bad item left out") << QStringLiteral("a zz ff") << QList<unsigned int>{ 10, 255 } << 0;
    QTest::newRow("tab is no separator") << QStringLiteral("a\tb") << QList<unsigned int>{} << 0;
    QTest::newRow("low 32 bits kept") << QStringLiteral("1ffffffff") << QList<unsigned int>{ 0xFFFFFFFFu } << 1;
}

void TestTypedValues::lenientLists()
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
}

void TestTypedValues::strictPropertyLists_data()
{
    QTest::addColumn<QString>("text"); // null: no property
    QTest::addColumn<QList<unsigned int>>("items");
    QTest::newRow("missing") << QString() << QList<unsigned int>{};
    QTest::newRow("good") << QStringLiteral("a ff") << QList<unsigned int>{ 10, 255 };
    QTest::newRow("one bad item empties it") << QStringLiteral("a zz ff") << QList<unsigned int>{};
    QTest::newRow("spaces only") << QStringLiteral("  ") << QList<unsigned int>{};
}

void TestTypedValues::strictPropertyLists()
{
    QFETCH(QString, text);
    QFETCH(QList<unsigned int>, items);
    Fixture f;
    if (!text.isNull())
        XMLObject::setProperty(f.e, kKey, text);
    QCOMPARE(XMLObject::getPropertyULongList(f.e, kKey, 16), items);
    QList<int> signedItems;
    for (unsigned int v : items)
        signedItems << int(v);
    QCOMPARE(XMLObject::getPropertyLongList(f.e, kKey, 16), signedItems);
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
