// XMLAction: the vocabulary and its defaults, id and key lists, printing, the toggle slots
// and packetables in actions. (Packets copy or move an action as they do any object:
// tst_xmlpacket.)
#include "testhelpers.h"

#include <kxxml/packetable/xmlpacketable.h>
#include <kxxml/ui/xmlaction.h>

#include <QtTest>

#include <cstdio>
#include <functional>

using Write = std::function<void(XMLAction&)>;
using Read = std::function<QVariant(const XMLAction&)>;
Q_DECLARE_METATYPE(Write)
Q_DECLARE_METATYPE(Read)

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

QString propertyText(const XMLAction& action, const QString& key)
{
    return XMLObject::getProperty(action.getNodeConst(), key);
}

} // namespace

class TestXmlAction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void freshAndConstructed();
    void properties_data();
    void properties();
    void idLists_data();
    void idLists();
    void keys();
    void printWritesTitleAndText();
    void toggleSlots_data();
    void toggleSlots();
    void appendPacketables();
};

void TestXmlAction::freshAndConstructed()
{
    XMLAction fresh;
    QVERIFY(fresh.isEnabled() && fresh.getVisible() && !fresh.isChecked());
    QCOMPARE(fresh.getColour(), 0xFFFFFFu);
    QCOMPARE(fresh.getKXJobID(), 0);
    QVERIFY(fresh.getKXJobIDs().isEmpty());
    // The defaults are for missing values only: present but unparsable reads as neutral.
    for (const char* key : {"colour", "enabled", "visible"})
        setRawProperty(fresh, QLatin1String(key), QStringLiteral("yes"));
    QCOMPARE(fresh.getColour(), 0u);
    QVERIFY(!fresh.isEnabled() && !fresh.getVisible());

    XMLAction open(QStringLiteral("open"), 3, 7);
    QCOMPARE(open.toString(), QStringLiteral(" <action name=\"open\" originator=\"7\" type=\"3\"/>\n"));
}

// One row per property: write, the text under its XML name, the value read back, presence.
#define PROPERTY(key, set, value, text, get, has)                                                        \
    QTest::newRow(key) << Write([](XMLAction& a) { a.set(value); }) << QStringLiteral(key)              \
                       << QStringLiteral(text) << Read([](const XMLAction& a) { return QVariant(a.get()); }) \
                       << QVariant(value) << Read([](const XMLAction& a) { return QVariant(a.has()); })

void TestXmlAction::properties_data()
{
    QTest::addColumn<Write>("write");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");
    QTest::addColumn<Read>("read");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<Read>("has");
    PROPERTY("selected", setSelected, true, "1", isSelected, hasSelected);
    PROPERTY("pagenum", setPageNumber, -12, "-12", getPageNumber, hasPageNumber);
    PROPERTY("channel_id", setChannelID, 0xFFFFFFFFu, "ffffffff", getChannelID, hasChannelID);
    PROPERTY("colour", setColour, 0x00FF00u, "ff00", getColour, hasColour);
    PROPERTY("index", setIndex, 42, "42", getIndex, hasIndex);
    PROPERTY("x", setX, -3, "-3", getX, hasX);
    PROPERTY("y", setY, 5, "5", getY, hasY);
    PROPERTY("x_double", setXDouble, 2.5, "2.5", getXDouble, hasXDouble);
    PROPERTY("y_double", setYDouble, 0.1, "0.1", getYDouble, hasYDouble);
    PROPERTY("need_update", setNeedUpdate, true, "1", getNeedUpdate, hasNeedUpdate);
    PROPERTY("exclude_publications", setExcludePublications, true, "1", getExcludePublications,
             hasExcludePublications);
    PROPERTY("paint_pixmap", setPaintPixmap, true, "1", getPaintPixmap, hasPaintPixmap);
    PROPERTY("sort_ascending", setSortAscending, true, "1", getSortAscending, hasSortAscending);
    PROPERTY("sort_type", setSortType, 2, "2", getSortType, hasSortType);
    PROPERTY("show_newest_page", setShowNewestPage, true, "1", getShowNewestPage, hasShowNewestPage);
    PROPERTY("page_size", setPageSize, 500, "500", getPageSize, hasPageSize);
    PROPERTY("enabled", setEnabled, false, "0", isEnabled, hasEnabled);
    PROPERTY("checked", setChecked, true, "1", isChecked, hasChecked);
    PROPERTY("checkable", setCheckable, true, "1", isCheckable, hasCheckable);
    PROPERTY("visible", setVisible, false, "0", getVisible, hasVisible);
}

void TestXmlAction::properties()
{
    QFETCH(Write, write);
    QFETCH(QString, key);
    QFETCH(QString, text);
    QFETCH(Read, read);
    QFETCH(QVariant, value);
    QFETCH(Read, has);

    XMLAction action(QStringLiteral("a"), 1, 2);
    QCOMPARE(has(action), QVariant(false));
    write(action);
    QCOMPARE(has(action), QVariant(true));
    QCOMPARE(propertyText(action, key), text);
    QCOMPARE(read(action), value);
    // A property, never an attribute.
    QCOMPARE(action.getNodeConst().attributes().count(), 3);
}

struct IdFamily
{
    QString key;
    void (XMLAction::*setOne)(int);
    int (XMLAction::*getOne)() const;
    void (XMLAction::*setMany)(const QList<int>&);
    QList<int> (XMLAction::*getMany)() const;
    bool (XMLAction::*has)() const;
};
Q_DECLARE_METATYPE(IdFamily)

void TestXmlAction::idLists_data()
{
    QTest::addColumn<IdFamily>("f");
    QTest::newRow("kxjobids") << IdFamily{QStringLiteral("kxjobids"), &XMLAction::setKXJobID, &XMLAction::getKXJobID,
                                          &XMLAction::setKXJobIDs, &XMLAction::getKXJobIDs, &XMLAction::hasKXJobIDs};
    QTest::newRow("jobids") << IdFamily{QStringLiteral("jobids"), &XMLAction::setJobID, &XMLAction::getJobID,
                                        &XMLAction::setJobIDs, &XMLAction::getJobIDs, &XMLAction::hasJobIDs};
}

// The singular and plural forms are two views of one property.
void TestXmlAction::idLists()
{
    QFETCH(IdFamily, f);
    XMLAction action;
    QVERIFY(!(action.*f.has)());
    (action.*f.setMany)({10, 255});
    QCOMPARE(propertyText(action, f.key), QStringLiteral("a ff"));
    QCOMPARE((action.*f.getOne)(), 10);
    (action.*f.setOne)(5);
    QCOMPARE((action.*f.getMany)(), QList<int>{5});
    setRawProperty(action, f.key, QStringLiteral("7 zz"));
    QVERIFY((action.*f.has)() && (action.*f.getMany)().isEmpty());
    QCOMPARE((action.*f.getOne)(), 0);
}

void TestXmlAction::keys()
{
    XMLAction action;
    action.setKXKEY(KXKEY_ELEMENT{0x2B, 0x1A});
    QVERIFY(action.hasKXKEY());
    QCOMPARE(propertyText(action, QStringLiteral("kxkey_hkey")), QStringLiteral("1a"));
    QCOMPARE(propertyText(action, QStringLiteral("kxkey_key")), QStringLiteral("2b"));
    editElement(action, [](QDomElement& e) { e.removeChild(e.namedItem(QStringLiteral("kxkey_hkey"))); });
    QVERIFY(!action.hasKXKEY());
    QCOMPARE(action.getKXKEY().hkey, 0u);
    QCOMPARE(action.getKXKEY().key, 0x2Bu);

    KXKEY_ELEMENT a{0xA, 0x1};
    KXKEY_ELEMENT b{0xFF, 0x2};
    action.setKXKEYList({&a, nullptr, &b});
    QCOMPARE(propertyText(action, QStringLiteral("kxkey_hkey_list")), QStringLiteral("1 2"));
    QCOMPARE(propertyText(action, QStringLiteral("kxkey_key_list")), QStringLiteral("a ff"));
    // Surplus items of the longer list are left out.
    setRawProperty(action, QStringLiteral("kxkey_hkey_list"), QStringLiteral("1 2 3"));
    const QList<KXKEY_ELEMENT*> read = action.getKXKEYList();
    QCOMPARE(read.size(), 2);
    QCOMPARE(read.at(1)->hkey, 2u);
    QCOMPARE(read.at(1)->key, 0xFFu);
    qDeleteAll(read);

    action.setKXKEYList({nullptr});
    QVERIFY(action.hasKXKEYList() && action.getKXKEYList().isEmpty());
}

void TestXmlAction::printWritesTitleAndText()
{
    XMLAction named(QStringLiteral("\u00e9t\u00e9"), 1, 2);
    QCOMPARE(TestHelpers::captureStdout([&] { named.print(QStringLiteral("\u00e9")); }),
             "-- \xc3\xa9 --\n" + named.toString().toUtf8() + '\n');
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
    // A "checked" element without text keeps its value: the signal says what is read back.
    QTest::newRow("check textless") << "textless" << 1 << false;
}

void TestXmlAction::toggleSlots()
{
    QFETCH(QString, initial);
    QFETCH(int, slot);
    QFETCH(bool, emitted);

    XMLAction action;
    action.setCheckable(false);  // neither slot looks at these
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
    action.setEnabled(true);
    QCOMPARE(spy.count(), 1);
}

void TestXmlAction::appendPacketables()
{
    KXPacketable packet(PDT_LETTER);
    packet.setName("Letter");
    XMLPacketable packetable;
    packetable.setData(packet);

    XMLAction action;
    action.setIndex(1);
    const QDomElement fromHost = action.append(packet);
    const QDomElement copy = action.append(packetable);
    std::list<QDomNode> children;
    QCOMPARE(action.getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, children), 2);
    QVERIFY(children.front() == fromHost && children.back() == copy);
    QCOMPARE(XMLObject::toString(fromHost), packetable.toString());
    QCOMPARE(XMLObject::toString(copy), packetable.toString());
    packetable.setName(QStringLiteral("changed"));
    QCOMPARE(XMLPacketable::getName(copy), QStringLiteral("Letter"));
}

QTEST_GUILESS_MAIN(TestXmlAction)
#include "tst_xmlaction.moc"
