// XMLUI: collections of actions, read back as copies, edited in place by type and
// originator, and counted.
#include <kxxml/ui/xmlaction.h>
#include <kxxml/ui/xmlui.h>

#include <QtTest>

#include <functional>

using Edit = std::function<void(XMLUI&, int, int)>;
using Read = std::function<QString(const XMLAction&)>;
Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Read)

namespace {

// Reads the collection's actions (owned here) and answers @p read of each, in order.
QStringList readActions(const XMLUI& ui, const Read& read, bool visibleOnly = false)
{
    QList<XMLAction*> actions;
    ui.getActions(actions, visibleOnly);
    QStringList values;
    for (const XMLAction* action : actions)
        values << read(*action);
    qDeleteAll(actions);
    return values;
}

QString name(const XMLAction& action)
{
    return action.getName();
}

// Actions (1, 2) "first" and "second", a "msg" child with the same attributes, (1, 3) "third".
void fill(XMLUI& ui)
{
    XMLAction first(QStringLiteral("first"), 1, 2);
    XMLAction second(QStringLiteral("second"), 1, 2);
    XMLAction third(QStringLiteral("third"), 1, 3);
    ui.append(first);
    ui.append(second);
    QDomElement e = ui.getNode();
    QDomElement msg = XMLObject::createElement(e, QStringLiteral("msg"));
    XMLObject::setAttribute(msg, QStringLiteral("type"), 1);
    XMLObject::setAttribute(msg, QStringLiteral("originator"), 2);
    ui.setNode(e);
    ui.append(third);
}

} // namespace

class TestXmlUi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendAndRead();
    void editInPlace_data();
    void editInPlace();
    void visibility();
};

void TestXmlUi::appendAndRead()
{
    XMLUI ui(QStringLiteral("main"));
    QCOMPARE(ui.getName(), QStringLiteral("main"));
    XMLAction action(QStringLiteral("open"), 1, 2);
    const QDomElement appended = ui.append(action);
    QVERIFY(appended.parentNode() == ui.getNodeConst());
    action.setIndex(5);
    QVERIFY(!XMLObject::hasProperty(appended, QStringLiteral("index")));

    // Appends to what the list holds and counts only its own; the actions are copies.
    fill(ui);
    const QString before = ui.toString();
    QList<XMLAction*> actions{new XMLAction(QStringLiteral("earlier"), 0, 0)};
    QCOMPARE(ui.getActions(actions), 4);
    QCOMPARE(actions.size(), 5);
    QCOMPARE(actions.at(4)->getName(), QStringLiteral("third"));
    actions.at(4)->setName(QStringLiteral("renamed"));
    qDeleteAll(actions);
    QCOMPARE(ui.toString(), before);
}

void TestXmlUi::editInPlace_data()
{
    QTest::addColumn<Edit>("edit");
    QTest::addColumn<Read>("read");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("name") << Edit([](XMLUI& ui, int t, int o) { ui.setActionName(t, o, QStringLiteral("new")); })
                          << Read(name) << QStringList{QStringLiteral("new"), QStringLiteral("new"), QStringLiteral("third")};
    QTest::newRow("org_name") << Edit([](XMLUI& ui, int t, int o) { ui.setActionOrgName(t, o, QStringLiteral("org")); })
                              << Read([](const XMLAction& a) { return a.getOrgName(); })
                              << QStringList{QStringLiteral("org"), QStringLiteral("org"), QString()};
}

// Every child with the pair is edited, in the collection's own tree; nothing else is.
void TestXmlUi::editInPlace()
{
    QFETCH(Edit, edit);
    QFETCH(Read, read);
    QFETCH(QStringList, expected);
    XMLUI ui;
    fill(ui);
    const QDomElement msg = ui.getNodeConst().firstChildElement(QStringLiteral("msg"));
    const QString msgText = XMLObject::toString(msg);
    edit(ui, 1, 2);
    edit(ui, 9, 9);
    QCOMPARE(readActions(ui, read), expected);
    QCOMPARE(XMLObject::toString(msg), msgText);
}

void TestXmlUi::visibility()
{
    XMLUI ui;
    fill(ui);
    ui.setActionVisible(1, 2, false);
    QCOMPARE(readActions(ui, name, true), QStringList{QStringLiteral("third")});
    QCOMPARE(ui.visibleActionCount(), 1);
    ui.setActionVisible(1, 2, true);
    QCOMPARE(ui.visibleActionCount(), 3); // "third" has no "visible" property: visible
}

QTEST_GUILESS_MAIN(TestXmlUi)
#include "tst_xmlui.moc"
