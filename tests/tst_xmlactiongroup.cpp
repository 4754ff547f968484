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
    Group()
        : XMLActionGroup(nullptr, "modes")
    {
    }
    using XMLActionGroup::approveToggle;
    using XMLActionGroup::removeAction;
    using XMLActionGroup::updateActions;
};

// Three actions a, b, c in a group, with every toggled() recorded in emission order as
// "b+" (checked) or "a-" (unchecked).
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
            // Connected before the group's own slot, so each entry is made as its signal starts.
            QObject::connect(action, &XMLAction::toggled, &group, [this, action](bool checked) {
                log << QString(action->getName() + (checked ? QLatin1Char('+') : QLatin1Char('-')));
            });
            group.addAction(action);
        }
    }

    QString checkedNames() const
    {
        QString names;
        for (const XMLAction* action : {&a, &b, &c})
            names += action->isChecked() ? action->getName() : QString();
        return names;
    }
};

QStringList names(const char* list)
{
    return QString::fromLatin1(list).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

class TestXmlActionGroup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constructionAndMembership();
    void switching_data();
    void switching();
    void toggleActionIgnores_data();
    void toggleActionIgnores();
    void directUpdateDoesNothing();
    void checkedActionBySelected_data();
    void checkedActionBySelected();
    void approveToggle_data();
    void approveToggle();
    void deletingMemberRemovesIt();
    void removeAction();
    void addTwiceRemoveOnce();
};

void TestXmlActionGroup::constructionAndMembership()
{
    QObject parent;
    auto* group = new XMLActionGroup(&parent, "modes");
    QCOMPARE(group->parent(), &parent);
    QCOMPARE(group->objectName(), QStringLiteral("modes"));
    QVERIFY(group->actions().isEmpty());

    XMLAction a;
    QCOMPARE(group->addAction(nullptr), nullptr);
    QVERIFY(group->actions().isEmpty());
    QCOMPARE(group->addAction(&a), &a);
    QCOMPARE(a.actionGroup(), group);
    QCOMPARE(group->actions(), QList<XMLAction*>{&a});
}

// Any toggle of a member unchecks every other member, in list order, and each announces it.
void TestXmlActionGroup::switching_data()
{
    QTest::addColumn<QString>("before");  // members checked first, through the group
    QTest::addColumn<int>("operation");   // 0 toggleAction(b), 1 b.toggle(), 2 b.setChecked(true)
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<QString>("checked");
    QTest::newRow("switch on b") << QString() << 0 << names("b+ a- c-") << QStringLiteral("b");
    QTest::newRow("switch from a to b") << QStringLiteral("a") << 0 << names("b+ a- c-") << QStringLiteral("b");
    QTest::newRow("toggle checked b off") << QStringLiteral("b") << 1 << names("b- a- c-") << QString();
    QTest::newRow("check checked b again") << QStringLiteral("b") << 2 << names("b+ a- c-") << QStringLiteral("b");
}

void TestXmlActionGroup::switching()
{
    QFETCH(QString, before);
    QFETCH(int, operation);
    QFETCH(QStringList, log);
    QFETCH(QString, checked);

    Fixture f;
    if (before == QLatin1String("a"))
        f.group.toggleAction(&f.a);
    else if (before == QLatin1String("b"))
        f.group.toggleAction(&f.b);
    f.log.clear();

    QSignalSpy spyA(&f.a, &XMLAction::toggled);
    QSignalSpy spyB(&f.b, &XMLAction::toggled);
    QSignalSpy spyC(&f.c, &XMLAction::toggled);
    if (operation == 0)
        f.group.toggleAction(&f.b);
    else if (operation == 1)
        f.b.toggle();
    else
        f.b.setChecked(true);

    QCOMPARE(f.log, log);
    QCOMPARE(spyA.count(), 1);
    QCOMPARE(spyB.count(), 1);
    QCOMPARE(spyC.count(), 1);
    QCOMPARE(f.checkedNames(), checked);
}

void TestXmlActionGroup::toggleActionIgnores_data()
{
    QTest::addColumn<int>("target");  // 0 null, 1 outsider, 2 the checked member b
    QTest::newRow("null") << 0;
    QTest::newRow("outsider") << 1;
    QTest::newRow("checked member") << 2;
}

void TestXmlActionGroup::toggleActionIgnores()
{
    QFETCH(int, target);
    Fixture f;
    f.group.toggleAction(&f.b);
    f.log.clear();
    XMLAction outsider;
    QSignalSpy outsiderSpy(&outsider, &XMLAction::toggled);

    f.group.toggleAction(target == 0 ? nullptr : target == 1 ? &outsider : &f.b);
    QVERIFY(f.log.isEmpty());
    QCOMPARE(outsiderSpy.count(), 0);
    QVERIFY(!outsider.hasChecked());
    QCOMPARE(f.checkedNames(), QStringLiteral("b"));
}

void TestXmlActionGroup::directUpdateDoesNothing()
{
    Fixture f;
    f.b.setChecked(true);
    // Checked without the group hearing of it.
    f.a.blockSignals(true);
    f.a.setChecked(true);
    f.a.blockSignals(false);
    f.log.clear();
    f.group.updateActions();
    QVERIFY(f.log.isEmpty());
    QCOMPARE(f.checkedNames(), QStringLiteral("ab"));
}

void TestXmlActionGroup::checkedActionBySelected_data()
{
    QTest::addColumn<QString>("checked");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QString>("expected");
    QTest::newRow("none selected, all checked") << QStringLiteral("abc") << QString() << QString();
    QTest::newRow("unchecked but selected") << QStringLiteral("a") << QStringLiteral("c") << QStringLiteral("c");
    QTest::newRow("first selected wins") << QString() << QStringLiteral("bc") << QStringLiteral("b");
}

void TestXmlActionGroup::checkedActionBySelected()
{
    QFETCH(QString, checked);
    QFETCH(QString, selected);
    QFETCH(QString, expected);

    Group group;
    XMLAction a(QStringLiteral("a"), 1, 1);
    XMLAction b(QStringLiteral("b"), 1, 2);
    XMLAction c(QStringLiteral("c"), 1, 3);
    for (XMLAction* action : {&a, &b, &c}) {
        action->setChecked(checked.contains(action->getName()));
        action->setSelected(selected.contains(action->getName()));
        group.addAction(action);
    }
    const XMLAction* found = group.checkedAction();
    QCOMPARE(found ? found->getName() : QString(), expected);
}

// The veto writes false exactly when a checked member asks.
void TestXmlActionGroup::approveToggle_data()
{
    QTest::addColumn<int>("asker");  // 0 a direct call, 1 checked member, 2 unchecked member, 3 outsider
    QTest::addColumn<bool>("approved");
    QTest::newRow("direct call") << 0 << true;
    QTest::newRow("checked member") << 1 << false;
    QTest::newRow("unchecked member") << 2 << true;
    QTest::newRow("checked outsider") << 3 << true;
}

void TestXmlActionGroup::approveToggle()
{
    QFETCH(int, asker);
    QFETCH(bool, approved);

    Fixture f;
    f.group.toggleAction(&f.b);
    XMLAction outsider;
    outsider.setChecked(true);

    bool answer = !approved;  // so that the slot must write its argument
    if (asker == 0) {
        f.group.approveToggle(answer);
    } else {
        XMLAction* sender = asker == 1 ? &f.b : asker == 2 ? &f.a : &outsider;
        QVERIFY(QObject::connect(sender, SIGNAL(toggling(bool&)), &f.group, SLOT(approveToggle(bool&))));
        Q_EMIT sender->toggling(answer);
    }
    QCOMPARE(answer, approved);
}

void TestXmlActionGroup::deletingMemberRemovesIt()
{
    Group group;
    XMLAction a;
    XMLAction c;
    auto b = std::make_unique<XMLAction>();
    group.addAction(&a);
    group.addAction(b.get());
    group.addAction(&c);
    b.reset();
    QCOMPARE(group.actions(), (QList<XMLAction*>{&a, &c}));

    // The group still switches its remaining members.
    a.setChecked(true);
    c.setChecked(true);
    QVERIFY(!a.isChecked());
}

void TestXmlActionGroup::removeAction()
{
    Fixture f;
    f.group.removeAction(&f.b);
    QCOMPARE(f.group.actions(), (QList<XMLAction*>{&f.a, &f.c}));
    QVERIFY(!f.b.actionGroup());

    // No longer connected: checking b leaves a checked.
    f.a.setChecked(true);
    f.b.setChecked(true);
    QCOMPARE(f.checkedNames(), QStringLiteral("ab"));

    // The pointer is cleared even for an action that is not a member.
    XMLAction outsider;
    outsider.setActionGroup(&f.group);
    f.group.removeAction(&outsider);
    QVERIFY(!outsider.actionGroup());
    QCOMPARE(f.group.actions().size(), 2);

    // No action and no sender: nothing happens.
    f.group.removeAction();
    QCOMPARE(f.group.actions().size(), 2);
}

void TestXmlActionGroup::addTwiceRemoveOnce()
{
    Group group;
    XMLAction a;
    XMLAction b;
    group.addAction(&a);
    group.addAction(&b);
    group.addAction(&a);
    QCOMPARE(group.actions(), (QList<XMLAction*>{&a, &b, &a}));

    group.removeAction(&a);
    QCOMPARE(group.actions(), (QList<XMLAction*>{&b, &a}));
    QVERIFY(!a.actionGroup());
    // Both connections of a are cut although it is still listed.
    b.setChecked(true);
    a.setChecked(true);
    QVERIFY(b.isChecked());
}

QTEST_GUILESS_MAIN(TestXmlActionGroup)
#include "tst_xmlactiongroup.moc"
