// XMLActionGroup: exclusive switching and its signal order, the veto, membership and the
// group's report of its choice.
#include <kxxml/ui/xmlaction.h>
#include <kxxml/ui/xmlactiongroup.h>

#include <QtTest>

#include <memory>

namespace {

// Opens the protected slots to the tests.
class Group : public XMLActionGroup
{
public:
    Group() : XMLActionGroup(nullptr, "modes") {}
    using XMLActionGroup::approveToggle;
    using XMLActionGroup::removeAction;
    using XMLActionGroup::updateActions;
};

// Actions a, b, c in a group; every toggled() is logged as it starts, e.g. "b+" or "a-".
struct Fixture
{
    Group group;
    XMLAction a{QStringLiteral("a"), 1, 1};
    XMLAction b{QStringLiteral("b"), 1, 2};
    XMLAction c{QStringLiteral("c"), 1, 3};
    QStringList log;

    Fixture()
    {
        for (XMLAction* action : {&a, &b, &c}) {
            // Connected before the group's own slot, so the log follows the emissions.
            QObject::connect(action, &XMLAction::toggled, &group, [this, action](bool checked) {
                log << QString(action->getName() + (checked ? QLatin1Char('+') : QLatin1Char('-')));
            });
            group.addAction(action);
        }
    }

    QString checked() const
    {
        QString names;
        for (const XMLAction* action : {&a, &b, &c})
            names += action->isChecked() ? action->getName() : QString();
        return names;
    }
};

} // namespace

class TestXmlActionGroup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void switching_data();
    void switching();
    void checkedActionBySelected_data();
    void checkedActionBySelected();
    void approveToggle_data();
    void approveToggle();
    void membership();
};

// Any toggle of a member unchecks every other member in list order, each announcing it once;
// the group itself switches only unchecked members on.
void TestXmlActionGroup::switching_data()
{
    QTest::addColumn<QString>("before");  // the member checked first
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("log");
    QTest::addColumn<QString>("checked");
    QTest::newRow("switch a to b") << "a" << "toggleAction(b)" << "b+ a- c-" << "b";
    QTest::newRow("toggle checked b off") << "b" << "b.toggle()" << "b- a- c-" << "";
    QTest::newRow("check checked b again") << "b" << "b.setChecked(true)" << "b+ a- c-" << "b";
    QTest::newRow("group ignores checked b") << "b" << "toggleAction(b)" << "" << "b";
    QTest::newRow("group ignores outsider") << "b" << "toggleAction(outsider)" << "" << "b";
    QTest::newRow("group ignores null") << "b" << "toggleAction(null)" << "" << "b";
    QTest::newRow("direct update does nothing") << "b" << "updateActions()" << "" << "b";
}

void TestXmlActionGroup::switching()
{
    QFETCH(QString, before);
    QFETCH(QString, operation);
    QFETCH(QString, log);
    QFETCH(QString, checked);

    Fixture f;
    XMLAction outsider;
    f.group.toggleAction(before == QLatin1String("a") ? &f.a : &f.b);
    f.log.clear();

    QSignalSpy spyOutsider(&outsider, &XMLAction::toggled);
    if (operation == QLatin1String("toggleAction(b)"))
        f.group.toggleAction(&f.b);
    else if (operation == QLatin1String("b.toggle()"))
        f.b.toggle();
    else if (operation == QLatin1String("b.setChecked(true)"))
        f.b.setChecked(true);
    else if (operation == QLatin1String("toggleAction(outsider)"))
        f.group.toggleAction(&outsider);
    else if (operation == QLatin1String("toggleAction(null)"))
        f.group.toggleAction(nullptr);
    else
        f.group.updateActions();

    QCOMPARE(f.log.join(QLatin1Char(' ')), log);
    QCOMPARE(spyOutsider.count(), 0);
    QCOMPARE(f.checked(), checked);
}

// The group reports its choice by "selected", not by "checked".
void TestXmlActionGroup::checkedActionBySelected_data()
{
    QTest::addColumn<QString>("checked");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QString>("expected");
    QTest::newRow("all checked, none selected") << "abc" << "" << "";
    QTest::newRow("first selected wins") << "" << "bc" << "b";
}

void TestXmlActionGroup::checkedActionBySelected()
{
    QFETCH(QString, checked);
    QFETCH(QString, selected);
    QFETCH(QString, expected);
    Group group;
    XMLAction actions[] = {{QStringLiteral("a"), 1, 1}, {QStringLiteral("b"), 1, 2}, {QStringLiteral("c"), 1, 3}};
    for (XMLAction& action : actions) {
        action.setChecked(checked.contains(action.getName()));
        action.setSelected(selected.contains(action.getName()));
        group.addAction(&action);
    }
    const XMLAction* found = group.checkedAction();
    QCOMPARE(found ? found->getName() : QString(), expected);
}

// The veto writes false exactly when a checked member asks.
void TestXmlActionGroup::approveToggle_data()
{
    QTest::addColumn<QString>("asker");
    QTest::addColumn<bool>("approved");
    QTest::newRow("direct call") << "" << true;
    QTest::newRow("checked member") << "b" << false;
    QTest::newRow("unchecked member") << "a" << true;
    QTest::newRow("checked outsider") << "outsider" << true;
}

void TestXmlActionGroup::approveToggle()
{
    QFETCH(QString, asker);
    QFETCH(bool, approved);
    Fixture f;
    f.group.toggleAction(&f.b);
    XMLAction outsider;
    outsider.setChecked(true);

    bool answer = !approved;  // the slot must write its argument
    if (asker.isEmpty()) {
        f.group.approveToggle(answer);
    } else {
        XMLAction* sender = asker == QLatin1String("b") ? &f.b : asker == QLatin1String("a") ? &f.a : &outsider;
        QVERIFY(QObject::connect(sender, SIGNAL(toggling(bool&)), &f.group, SLOT(approveToggle(bool&))));
        Q_EMIT sender->toggling(answer);
    }
    QCOMPARE(answer, approved);
}

void TestXmlActionGroup::membership()
{
    Fixture f;
    QCOMPARE(f.a.actionGroup(), &f.group);
    QCOMPARE(f.group.addAction(nullptr), nullptr);
    auto doomed = std::make_unique<XMLAction>();
    f.group.addAction(doomed.get());
    doomed.reset();
    QCOMPARE(f.group.actions(), (QList<XMLAction*>{&f.a, &f.b, &f.c}));

    // Added twice, listed twice; one removal drops one entry but cuts every connection.
    f.group.addAction(&f.a);
    f.group.removeAction(&f.a);
    QCOMPARE(f.group.actions(), (QList<XMLAction*>{&f.b, &f.c, &f.a}));
    QVERIFY(!f.a.actionGroup());
    f.b.setChecked(true);
    f.a.setChecked(true);
    QCOMPARE(f.checked(), QStringLiteral("ab"));

    // The pointer is cleared even for an action that is no member; no action, no sender: nothing.
    XMLAction outsider;
    outsider.setActionGroup(&f.group);
    f.group.removeAction(&outsider);
    f.group.removeAction();
    QVERIFY(!outsider.actionGroup());
    QCOMPARE(f.group.actions().size(), 3);
}

QTEST_GUILESS_MAIN(TestXmlActionGroup)
#include "tst_xmlactiongroup.moc"
