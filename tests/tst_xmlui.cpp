// XMLUI: collections of actions, read back as copies, edited in place by type and
// originator, counted, and carried in packets.
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/ui/xmlaction.h>
#include <kxxml/ui/xmlui.h>

#include <QtTest>

#include <functional>

using Edit = std::function<void(XMLUI&, int, int)>;
using Read = std::function<QString(const XMLAction&)>;
Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Read)

namespace {

// Owns the actions that getActions hands out.
struct ActionList
{
    QList<XMLAction*> actions;
    ~ActionList() { qDeleteAll(actions); }
};

// A collection holding actions (1, 2) "first", (1, 2) "second", a "msg" child carrying the
// same attributes, and (1, 3) "third".
void fill(XMLUI& ui)
{
    XMLAction first(QStringLiteral("first"), 1, 2);
    XMLAction second(QStringLiteral("second"), 1, 2);
    XMLAction third(QStringLiteral("third"), 1, 3);
    ui.append(first);
    ui.append(second);
    QDomElement e = ui.getNode();
    QDomElement other = XMLObject::createElement(e, QStringLiteral("msg"));
    XMLObject::setAttribute(other, QStringLiteral("type"), 1);
    XMLObject::setAttribute(other, QStringLiteral("originator"), 2);
    ui.setNode(e);
    ui.append(third);
}

} // namespace

class TestXmlUi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction();
    void appendCopies();
    void getActionsAppendsCopies();
    void editInPlace_data();
    void editInPlace();
    void visibility();
    void withoutActions();
    void packetCopiesOrMoves();
};

void TestXmlUi::construction()
{
    QCOMPARE(XMLUI().toString().trimmed(), QStringLiteral("<ui/>"));
    XMLUI ui(QStringLiteral("main"));
    QCOMPARE(ui.toString().trimmed(), QStringLiteral("<ui name=\"main\"/>"));
    ui.setName(QStringLiteral("side"));
    QCOMPARE(ui.getName(), QStringLiteral("side"));
}

void TestXmlUi::appendCopies()
{
    XMLUI ui;
    XMLAction action(QStringLiteral("open"), 1, 2);
    action.setRect(1, 2, 3, 4);
    const QString actionText = action.toString();
    const QDomElement appended = ui.append(action);
    QVERIFY(appended.parentNode() == ui.getNodeConst());
    QCOMPARE(XMLObject::toString(appended), actionText);

    action.setIndex(5);
    QVERIFY(!XMLObject::hasProperty(appended, QStringLiteral("index")));
    QCOMPARE(action.getNodeConst().parentNode().nodeName(), QStringLiteral("dummydoc"));
}

void TestXmlUi::getActionsAppendsCopies()
{
    XMLUI ui;
    fill(ui);
    const QString before = ui.toString();

    ActionList list;
    list.actions << new XMLAction(QStringLiteral("earlier"), 0, 0);
    QCOMPARE(ui.getActions(list.actions), 3);
    QCOMPARE(list.actions.size(), 4);
    QStringList names;
    for (const XMLAction* action : list.actions)
        names << action->getName();
    QCOMPARE(names, (QStringList{QStringLiteral("earlier"), QStringLiteral("first"), QStringLiteral("second"),
                                 QStringLiteral("third")}));
    QVERIFY(list.actions.at(1)->rect().isNull() && !list.actions.at(1)->actionGroup());

    list.actions.at(1)->setName(QStringLiteral("renamed"));
    list.actions.at(1)->setVisible(false);
    QCOMPARE(ui.toString(), before);
}

void TestXmlUi::editInPlace_data()
{
    QTest::addColumn<Edit>("edit");
    QTest::addColumn<Read>("read");
    QTest::addColumn<QString>("unchanged");
    QTest::addColumn<QString>("changed");

    QTest::newRow("name") << Edit([](XMLUI& ui, int t, int o) { ui.setActionName(t, o, QStringLiteral("new")); })
                          << Read([](const XMLAction& a) { return a.getName(); }) << QStringLiteral("third")
                          << QStringLiteral("new");
    QTest::newRow("org_name")
        << Edit([](XMLUI& ui, int t, int o) { ui.setActionOrgName(t, o, QStringLiteral("org")); })
        << Read([](const XMLAction& a) { return a.getOrgName(); }) << QString() << QStringLiteral("org");
    QTest::newRow("visible") << Edit([](XMLUI& ui, int t, int o) { ui.setActionVisible(t, o, false); })
                             << Read([](const XMLAction& a) { return XMLObject::getProperty(a.getNodeConst(), QStringLiteral("visible")); })
                             << QString() << QStringLiteral("0");
}

// Every child with the pair is edited, in the collection's own tree; nothing else is.
void TestXmlUi::editInPlace()
{
    QFETCH(Edit, edit);
    QFETCH(Read, read);
    QFETCH(QString, unchanged);
    QFETCH(QString, changed);

    XMLUI ui;
    fill(ui);
    const QDomElement msg = ui.getNodeConst().firstChildElement(QStringLiteral("msg"));
    const QString msgText = XMLObject::toString(msg);
    edit(ui, 1, 2);
    edit(ui, 9, 9);

    ActionList list;
    QCOMPARE(ui.getActions(list.actions), 3);
    QCOMPARE(read(*list.actions.at(0)), changed);
    QCOMPARE(read(*list.actions.at(1)), changed);
    QCOMPARE(read(*list.actions.at(2)), unchanged);
    QCOMPARE(XMLObject::toString(msg), msgText);
}

void TestXmlUi::visibility()
{
    XMLUI ui;
    fill(ui);
    QCOMPARE(ui.visibleActionCount(), 3);  // no "visible" property counts as visible

    ui.setActionVisible(1, 3, false);
    QCOMPARE(ui.visibleActionCount(), 2);
    ActionList visible;
    QCOMPARE(ui.getActions(visible.actions, true), 2);
    QCOMPARE(visible.actions.size(), 2);
    ActionList all;
    QCOMPARE(ui.getActions(all.actions, false), 3);

    ui.setActionVisible(1, 3, true);
    QCOMPARE(ui.visibleActionCount(), 3);
}

void TestXmlUi::withoutActions()
{
    XMLUI ui(QStringLiteral("empty"));
    QDomElement e = ui.getNode();
    XMLObject::createElementV(e, QStringLiteral("msg"));
    ui.setNode(e);
    const QString before = ui.toString();

    ActionList list;
    list.actions << new XMLAction;
    QCOMPARE(ui.getActions(list.actions), 0);
    QCOMPARE(ui.getActions(list.actions, true), 0);
    QCOMPARE(list.actions.size(), 1);
    QCOMPARE(ui.visibleActionCount(), 0);
    ui.setActionName(0, 0, QStringLiteral("x"));
    ui.setActionOrgName(0, 0, QStringLiteral("x"));
    ui.setActionVisible(0, 0, false);
    QCOMPARE(ui.toString(), before);
}

void TestXmlUi::packetCopiesOrMoves()
{
    XMLUI copied(QStringLiteral("copied"));
    XMLUI moved(QStringLiteral("moved"));
    XMLPacket packet;
    const QDomElement copy = packet.append(copied);
    packet.appendV(moved);
    XMLAction action(QStringLiteral("a"), 1, 2);
    copied.append(action);
    moved.append(action);

    std::list<QDomNode> uis;
    QCOMPARE(packet.getNodesOfType(XMLObject::XMLOBJECT_UI, uis), 2);
    QVERIFY(uis.front() == copy);
    QVERIFY(!XMLObject::hasNodesOfType(uis.front().toElement(), XMLObject::XMLOBJECT_ACTION));
    QVERIFY(XMLObject::hasNodesOfType(uis.back().toElement(), XMLObject::XMLOBJECT_ACTION));
}

QTEST_GUILESS_MAIN(TestXmlUi)
#include "tst_xmlui.moc"
