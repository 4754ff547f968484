// XMLAction: the vocabulary and its defaults, id and key lists, in-memory fields, children,
// printing, the toggle slots and actions in packets.
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/ui/xmlaction.h>

#include <QtTest>

#include <cstdio>
#include <functional>
#include <memory>
#include <unistd.h>

using Write = std::function<void(XMLAction&)>;
using Read = std::function<QVariant(const XMLAction&)>;
using Has = std::function<bool(const XMLAction&)>;
Q_DECLARE_METATYPE(Write)
Q_DECLARE_METATYPE(Read)
Q_DECLARE_METATYPE(Has)

namespace {

// Rewrites the action's element with @p edit applied to a copy of it.
void editElement(XMLAction& action, const std::function<void(QDomElement&)>& edit)
{
    QDomElement e = action.getNode();
    edit(e);
    action.setNode(e);
}

void setRawProperty(XMLAction& action, const QString& key, const QString& text)
{
    editElement(action, [&](QDomElement& e) { XMLObject::setProperty(e, key, text); });
}

void removeProperty(XMLAction& action, const QString& key)
{
    editElement(action, [&](QDomElement& e) { e.removeChild(e.namedItem(key)); });
}

int childElementCount(const QDomElement& e)
{
    int count = 0;
    for (QDomElement c = e.firstChildElement(); !c.isNull(); c = c.nextSiblingElement())
        ++count;
    return count;
}

// What f() writes to standard output.
template <typename F>
QByteArray captureStdout(F f)
{
    std::fflush(stdout);
    QTemporaryFile file;
    if (!file.open())
        return {};
    const int saved = dup(fileno(stdout));
    dup2(file.handle(), fileno(stdout));
    f();
    std::fflush(stdout);
    dup2(saved, fileno(stdout));
    close(saved);
    file.seek(0);
    return file.readAll();
}

KXKEY_ELEMENT makeKey(unsigned int hkey, unsigned int key)
{
    KXKEY_ELEMENT k;
    k.hkey = hkey;
    k.key = key;
    return k;
}

} // namespace

class TestXmlAction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void freshAction();
    void constructorWritesAttributes();
    void properties_data();
    void properties();
    void presenceBeforeParsing_data();
    void presenceBeforeParsing();
    void idLists_data();
    void idLists();
    void key_data();
    void key();
    void keyLists();
    void rectanglesStayInMemory();
    void childrenOfType();
    void printWritesTitleAndText();
    void toggleSlots_data();
    void toggleSlots();
    void setEnabledEmitsNothing();
    void packetCopiesOrMoves();
};

void TestXmlAction::freshAction()
{
    XMLAction action;
    QVERIFY(action.isEnabled());
    QVERIFY(action.getVisible());
    QCOMPARE(action.getColour(), 0xFFFFFFu);
    QVERIFY(!action.isChecked());
    QCOMPARE(action.getKXJobID(), 0);
    QVERIFY(action.getKXJobIDs().isEmpty());
    QVERIFY(!action.hasEnabled() && !action.hasVisible() && !action.hasColour());
    QVERIFY(action.getName().isNull());
    QVERIFY(action.rect().isNull() && action.textRect().isNull());
    QVERIFY(!action.actionGroup());
    QCOMPARE(action.toString().trimmed(), QStringLiteral("<action/>"));
}

void TestXmlAction::constructorWritesAttributes()
{
    XMLAction action(QStringLiteral("open"), 3, 7);
    const QDomElement& e = action.getNodeConst();
    QCOMPARE(e.tagName(), QStringLiteral("action"));
    QCOMPARE(e.attributes().count(), 3);
    QCOMPARE(e.attribute(QStringLiteral("name")), QStringLiteral("open"));
    QCOMPARE(e.attribute(QStringLiteral("type")), QStringLiteral("3"));
    QCOMPARE(e.attribute(QStringLiteral("originator")), QStringLiteral("7"));
    QCOMPARE(childElementCount(e), 0);
    QCOMPARE(action.getType(), 3);
    QCOMPARE(action.getOriginator(), 7);
}

// Every property: its XML name, its text, the value read back and its presence test.
void TestXmlAction::properties_data()
{
    QTest::addColumn<Write>("write");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");
    QTest::addColumn<Read>("read");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<Has>("has");

    auto row = [](const char* key, Write w, const char* text, Read r, QVariant v, Has h) {
        QTest::newRow(key) << w << QString::fromLatin1(key) << QString::fromLatin1(text) << r << v << h;
    };
    row("selected", [](XMLAction& a) { a.setSelected(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.isSelected()); }, true, &XMLAction::hasSelected);
    row("org_name", [](XMLAction& a) { a.setOrgName(QStringLiteral("Print & <Co>")); }, "Print & <Co>",
        [](const XMLAction& a) { return QVariant(a.getOrgName()); }, QStringLiteral("Print & <Co>"),
        [](const XMLAction& a) { return XMLObject::hasProperty(a.getNodeConst(), QStringLiteral("org_name")); });
    row("pagenum", [](XMLAction& a) { a.setPageNumber(-12); }, "-12",
        [](const XMLAction& a) { return QVariant(a.getPageNumber()); }, -12, &XMLAction::hasPageNumber);
    row("channel_id", [](XMLAction& a) { a.setChannelID(0xFFFFFFFFu); }, "ffffffff",
        [](const XMLAction& a) { return QVariant(a.getChannelID()); }, 0xFFFFFFFFu, &XMLAction::hasChannelID);
    row("colour", [](XMLAction& a) { a.setColour(0x00FF00); }, "ff00",
        [](const XMLAction& a) { return QVariant(a.getColour()); }, 0x00FF00u, &XMLAction::hasColour);
    row("index", [](XMLAction& a) { a.setIndex(42); }, "42",
        [](const XMLAction& a) { return QVariant(a.getIndex()); }, 42, &XMLAction::hasIndex);
    row("x", [](XMLAction& a) { a.setX(-3); }, "-3",
        [](const XMLAction& a) { return QVariant(a.getX()); }, -3, &XMLAction::hasX);
    row("y", [](XMLAction& a) { a.setY(5); }, "5",
        [](const XMLAction& a) { return QVariant(a.getY()); }, 5, &XMLAction::hasY);
    row("x_double", [](XMLAction& a) { a.setXDouble(1234567.891); }, "1.23457e+06",
        [](const XMLAction& a) { return QVariant(a.getXDouble()); }, 1234570.0, &XMLAction::hasXDouble);
    row("y_double", [](XMLAction& a) { a.setYDouble(0.1); }, "0.1",
        [](const XMLAction& a) { return QVariant(a.getYDouble()); }, 0.1, &XMLAction::hasYDouble);
    row("need_update", [](XMLAction& a) { a.setNeedUpdate(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.getNeedUpdate()); }, true, &XMLAction::hasNeedUpdate);
    row("exclude_publications", [](XMLAction& a) { a.setExcludePublications(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.getExcludePublications()); }, true,
        &XMLAction::hasExcludePublications);
    row("paint_pixmap", [](XMLAction& a) { a.setPaintPixmap(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.getPaintPixmap()); }, true, &XMLAction::hasPaintPixmap);
    row("sort_ascending", [](XMLAction& a) { a.setSortAscending(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.getSortAscending()); }, true, &XMLAction::hasSortAscending);
    row("sort_type", [](XMLAction& a) { a.setSortType(2); }, "2",
        [](const XMLAction& a) { return QVariant(a.getSortType()); }, 2, &XMLAction::hasSortType);
    row("show_newest_page", [](XMLAction& a) { a.setShowNewestPage(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.getShowNewestPage()); }, true, &XMLAction::hasShowNewestPage);
    row("enabled", [](XMLAction& a) { a.setEnabled(false); }, "0",
        [](const XMLAction& a) { return QVariant(a.isEnabled()); }, false, &XMLAction::hasEnabled);
    row("checked", [](XMLAction& a) { a.setChecked(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.isChecked()); }, true, &XMLAction::hasChecked);
    row("checkable", [](XMLAction& a) { a.setCheckable(true); }, "1",
        [](const XMLAction& a) { return QVariant(a.isCheckable()); }, true, &XMLAction::hasCheckable);
    row("visible", [](XMLAction& a) { a.setVisible(false); }, "0",
        [](const XMLAction& a) { return QVariant(a.getVisible()); }, false, &XMLAction::hasVisible);
}

void TestXmlAction::properties()
{
    QFETCH(Write, write);
    QFETCH(QString, key);
    QFETCH(QString, text);
    QFETCH(Read, read);
    QFETCH(QVariant, value);
    QFETCH(Has, has);

    XMLAction action(QStringLiteral("a"), 1, 2);
    QVERIFY(!has(action));
    write(action);
    QVERIFY(has(action));
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), key), text);
    QCOMPARE(read(action), value);
    // A property, never an attribute: the three attributes of the constructor stay alone.
    QCOMPARE(action.getNodeConst().attributes().count(), 3);
    QCOMPARE(childElementCount(action.getNodeConst()), 1);
}

// A present but unparsable value reads as the type's neutral value, not as the default
// answered for a missing one.
void TestXmlAction::presenceBeforeParsing_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<Read>("read");
    QTest::addColumn<QVariant>("absent");
    QTest::addColumn<QVariant>("unparsable");

    QTest::newRow("colour") << QStringLiteral("colour")
                            << Read([](const XMLAction& a) { return QVariant(a.getColour()); })
                            << QVariant(0xFFFFFFu) << QVariant(0u);
    QTest::newRow("enabled") << QStringLiteral("enabled")
                             << Read([](const XMLAction& a) { return QVariant(a.isEnabled()); })
                             << QVariant(true) << QVariant(false);
    QTest::newRow("visible") << QStringLiteral("visible")
                             << Read([](const XMLAction& a) { return QVariant(a.getVisible()); })
                             << QVariant(true) << QVariant(false);
}

void TestXmlAction::presenceBeforeParsing()
{
    QFETCH(QString, key);
    QFETCH(Read, read);
    QFETCH(QVariant, absent);
    QFETCH(QVariant, unparsable);

    XMLAction action;
    QCOMPARE(read(action), absent);
    setRawProperty(action, key, QStringLiteral("yes"));
    QCOMPARE(read(action), unparsable);
}

struct IdFamily
{
    QString key;
    void (XMLAction::*setOne)(int);
    int (XMLAction::*getOne)() const;
    bool (XMLAction::*hasOne)() const;
    void (XMLAction::*setMany)(const QList<int>&);
    QList<int> (XMLAction::*getMany)() const;
    bool (XMLAction::*hasMany)() const;
};
Q_DECLARE_METATYPE(IdFamily)

void TestXmlAction::idLists_data()
{
    QTest::addColumn<IdFamily>("family");
    QTest::newRow("kxjobids") << IdFamily{QStringLiteral("kxjobids"), &XMLAction::setKXJobID,
                                          &XMLAction::getKXJobID, &XMLAction::hasKXJobID,
                                          &XMLAction::setKXJobIDs, &XMLAction::getKXJobIDs,
                                          &XMLAction::hasKXJobIDs};
    QTest::newRow("jobids") << IdFamily{QStringLiteral("jobids"), &XMLAction::setJobID, &XMLAction::getJobID,
                                        &XMLAction::hasJobID, &XMLAction::setJobIDs, &XMLAction::getJobIDs,
                                        &XMLAction::hasJobIDs};
}

// The singular and plural forms are two views of one property.
void TestXmlAction::idLists()
{
    QFETCH(IdFamily, family);
    XMLAction action;
    QVERIFY(!(action.*family.hasOne)() && !(action.*family.hasMany)());

    (action.*family.setMany)({10, 255});
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), family.key), QStringLiteral("a ff"));
    QCOMPARE((action.*family.getOne)(), 10);
    QVERIFY((action.*family.hasOne)() && (action.*family.hasMany)());

    (action.*family.setOne)(5);
    QCOMPARE((action.*family.getMany)(), QList<int>{5});
    QCOMPARE(action.getNodeConst().elementsByTagName(family.key).count(), 1);

    (action.*family.setMany)({});
    QVERIFY((action.*family.hasOne)());
    QCOMPARE((action.*family.getOne)(), 0);

    setRawProperty(action, family.key, QStringLiteral("7 zz"));
    QVERIFY((action.*family.getMany)().isEmpty());
    QCOMPARE((action.*family.getOne)(), 0);
}

void TestXmlAction::key_data()
{
    QTest::addColumn<QString>("removed");
    QTest::addColumn<unsigned int>("hkey");
    QTest::addColumn<unsigned int>("key");
    QTest::newRow("none") << QString() << 0x1Au << 0x2Bu;
    QTest::newRow("hkey removed") << QStringLiteral("kxkey_hkey") << 0u << 0x2Bu;
    QTest::newRow("key removed") << QStringLiteral("kxkey_key") << 0x1Au << 0u;
}

void TestXmlAction::key()
{
    QFETCH(QString, removed);
    QFETCH(unsigned int, hkey);
    QFETCH(unsigned int, key);

    XMLAction action;
    QVERIFY(!action.hasKXKEY());
    action.setKXKEY(makeKey(0x1A, 0x2B));
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), QStringLiteral("kxkey_hkey")), QStringLiteral("1a"));
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), QStringLiteral("kxkey_key")), QStringLiteral("2b"));
    if (!removed.isEmpty())
        removeProperty(action, removed);
    QCOMPARE(action.hasKXKEY(), removed.isEmpty());
    const KXKEY_ELEMENT read = action.getKXKEY();
    QCOMPARE(read.hkey, hkey);
    QCOMPARE(read.key, key);
}

void TestXmlAction::keyLists()
{
    XMLAction action;
    QVERIFY(!action.hasKXKEYList());
    QVERIFY(action.getKXKEYList().isEmpty());

    KXKEY_ELEMENT a = makeKey(0x1, 0xA);
    KXKEY_ELEMENT b = makeKey(0x2, 0xFF);
    action.setKXKEYList({&a, nullptr, &b});
    QVERIFY(action.hasKXKEYList());
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), QStringLiteral("kxkey_hkey_list")), QStringLiteral("1 2"));
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), QStringLiteral("kxkey_key_list")), QStringLiteral("a ff"));

    QList<KXKEY_ELEMENT*> read = action.getKXKEYList();
    QCOMPARE(read.size(), 2);
    QCOMPARE(read.at(1)->hkey, 2u);
    QCOMPARE(read.at(1)->key, 0xFFu);
    qDeleteAll(read);

    // Pairs as many records as the shorter list holds.
    setRawProperty(action, QStringLiteral("kxkey_hkey_list"), QStringLiteral("1 2 3"));
    read = action.getKXKEYList();
    QCOMPARE(read.size(), 2);
    qDeleteAll(read);

    // Only nulls: two empty lists, present but empty.
    XMLAction empty;
    empty.setKXKEYList({nullptr});
    QVERIFY(empty.hasKXKEYList());
    QVERIFY(empty.getKXKEYList().isEmpty());

    removeProperty(action, QStringLiteral("kxkey_key_list"));
    QVERIFY(!action.hasKXKEYList());
}

void TestXmlAction::rectanglesStayInMemory()
{
    XMLAction action(QStringLiteral("a"), 1, 2);
    const QString before = action.toString();
    action.setRect(10, 20, 30, 40);
    action.setTextRect(1, 2, 3, 4);
    QCOMPARE(action.rect().right(), 39);
    QCOMPARE(action.rect().bottom(), 59);
    QCOMPARE(action.textRect(), QRect(1, 2, 3, 4));
    QCOMPARE(action.toString(), before);

    XMLAction copy;
    copy.setNode(action.getNode());
    QVERIFY(copy.rect().isNull());
    QCOMPARE(copy.toString(), before);
}

void TestXmlAction::childrenOfType()
{
    XMLAction action;
    action.setIndex(1);
    QVERIFY(!action.hasNodesOfType(XMLObject::XMLOBJECT_PACKETABLE));
    editElement(action, [](QDomElement& e) {
        XMLObject::createElementV(e, QStringLiteral("packetable"));
        XMLObject::createElementV(e, QStringLiteral("packetable"));
    });
    QVERIFY(action.hasNodesOfType(XMLObject::XMLOBJECT_PACKETABLE));
    std::list<QDomNode> found(1);
    QCOMPARE(action.getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, found), 2);
    QCOMPARE(found.size(), size_t(3));

    action.removeNodesOfType(XMLObject::XMLOBJECT_PACKETABLE);
    QVERIFY(!action.hasNodesOfType(XMLObject::XMLOBJECT_PACKETABLE));
    QCOMPARE(action.getIndex(), 1);
}

void TestXmlAction::printWritesTitleAndText()
{
    XMLAction fresh;
    const QByteArray freshText = captureStdout([&] { fresh.print(QStringLiteral("act")); });
    QCOMPARE(freshText, "-- act --\n" + fresh.toString().toUtf8() + '\n');
    QVERIFY(freshText.startsWith("-- act --\n") && freshText.endsWith("<action/>\n\n"));

    XMLAction named(QStringLiteral("\u00e9t\u00e9"), 1, 2);
    const QByteArray expected = "-- titl\xc3\xa9 --\n" + named.toString().toUtf8() + '\n';
    QCOMPARE(captureStdout([&] { named.print(QStringLiteral("titl\u00e9")); }), expected);
}

void TestXmlAction::toggleSlots_data()
{
    QTest::addColumn<QString>("initial");  // text of "checked", "none" or "textless"
    QTest::addColumn<int>("slot");         // 0 toggle(), 1 setChecked(true), 2 setChecked(false)
    QTest::addColumn<bool>("emitted");
    QTest::newRow("toggle absent") << "none" << 0 << true;
    QTest::newRow("toggle checked") << "1" << 0 << false;
    QTest::newRow("toggle unparsable") << "yes" << 0 << true;
    QTest::newRow("check checked") << "1" << 1 << true;
    QTest::newRow("uncheck unchecked") << "0" << 2 << false;
    QTest::newRow("check absent") << "none" << 1 << true;
    // A "checked" element without text keeps its value: the signal says what is read back.
    QTest::newRow("check textless") << "textless" << 1 << false;
}

void TestXmlAction::toggleSlots()
{
    QFETCH(QString, initial);
    QFETCH(int, slot);
    QFETCH(bool, emitted);

    XMLAction action;
    // Neither slot looks at these.
    action.setCheckable(false);
    action.setEnabled(false);
    if (initial == QLatin1String("textless"))
        editElement(action, [](QDomElement& e) { XMLObject::createElementV(e, QStringLiteral("checked")); });
    else if (initial != QLatin1String("none"))
        setRawProperty(action, QStringLiteral("checked"), initial);

    QSignalSpy spy(&action, &XMLAction::toggled);
    if (slot == 0)
        action.toggle();
    else
        action.setChecked(slot == 1);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toBool(), emitted);
    QCOMPARE(action.isChecked(), emitted);
}

void TestXmlAction::setEnabledEmitsNothing()
{
    XMLAction action;
    QSignalSpy spy(&action, &XMLAction::toggled);
    action.setEnabled(false);
    QVERIFY(!action.isEnabled());
    action.setEnabled(true);
    QCOMPARE(XMLObject::getProperty(action.getNodeConst(), QStringLiteral("enabled")), QStringLiteral("1"));
    QCOMPARE(spy.count(), 0);
}

void TestXmlAction::packetCopiesOrMoves()
{
    XMLAction copied(QStringLiteral("copied"), 1, 2);
    XMLAction moved(QStringLiteral("moved"), 3, 4);
    XMLPacket packet;
    const QDomElement copy = packet.append(copied);
    packet.appendV(moved);
    copied.setIndex(9);
    moved.setIndex(9);

    std::list<QDomNode> actions;
    QCOMPARE(packet.getNodesOfType(XMLObject::XMLOBJECT_ACTION, actions), 2);
    QVERIFY(actions.front() == copy);
    QVERIFY(!XMLObject::hasProperty(actions.front().toElement(), QStringLiteral("index")));
    QCOMPARE(XMLObject::getPropertyInt(actions.back().toElement(), QStringLiteral("index")), 9);
}

QTEST_GUILESS_MAIN(TestXmlAction)
#include "tst_xmlaction.moc"
