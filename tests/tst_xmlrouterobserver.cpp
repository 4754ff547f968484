// XMLRouterObserver and XMLRouterLogger: observers that detach, attach or die inside a
// callback, lifetimes, and the logger's lines through Qt's message handler. (Every event, in
// order, against a model of the router: tst_routermodel.)
#include "routertesthelpers.h"
#include "testhelpers.h"

#include <kxxml/messaging/xmlrouterlogger.h>

#include <QLoggingCategory>
#include <QtTest>

#include <map>

namespace {

using TestHelpers::Log;
using Agent = TestHelpers::LogAgent;

/// Writes each agent event into a log shared with the agents as its name and number, "B2".
/// Runs onFirstEvent once, inside its first event.
class Recorder : public XMLRouterObserver
{
public:
    Recorder(Log& sharedLog, const QString& own) : log(sharedLog), name(own) {}

    void agentRegistered(const XMLRouter&, quint64 n, int, int) override { record(n); }
    void agentUnregistered(const XMLRouter&, quint64 n, int, int) override { record(n); }

    void record(quint64 n)
    {
        log << name + QString::number(n);
        // The action may delete this observer: run it from the stack, and touch nothing after.
        if (onFirstEvent) {
            const std::function<void()> action = std::move(onFirstEvent);
            onFirstEvent = nullptr;
            action();
        }
    }

    Log& log;
    QString name;
    std::function<void()> onFirstEvent;
};

// Messages of the logger's categories, by category.
std::map<QString, QStringList> captured;

void captureRouterMessages(QtMsgType, const QMessageLogContext& context, const QString& message)
{
    const QString category = QString::fromUtf8(context.category);
    if (category.startsWith(QLatin1String("kxxml.router")))
        captured[category] << message;
}

} // namespace

class TestXmlRouterObserver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesFromCallbacks_data();
    void changesFromCallbacks();
    void lifetimes();
    void logger_data();
    void logger();
};

void TestXmlRouterObserver::changesFromCallbacks_data()
{
    // Observers A, B and C are attached in that order; B acts inside the first event (agent 1
    // registered), then agent 2 is registered. The log holds each call as <observer><event>.
    QTest::addColumn<QString>("action");
    QTest::addColumn<QStringList>("calls");
    QTest::newRow("B detaches itself") << "detach B" << TestHelpers::words("A1 B1 C1 A2 C2");
    QTest::newRow("B is deleted") << "delete B" << TestHelpers::words("A1 B1 C1 A2 C2");
    QTest::newRow("B detaches C") << "detach C" << TestHelpers::words("A1 B1 A2 B2");
    QTest::newRow("B detaches A") << "detach A" << TestHelpers::words("A1 B1 C1 B2 C2");
    QTest::newRow("B attaches D") << "attach D" << TestHelpers::words("A1 B1 C1 A2 B2 C2 D2");
    QTest::newRow("B detaches A, C, itself") << "detach all" << TestHelpers::words("A1 B1");
}

void TestXmlRouterObserver::changesFromCallbacks()
{
    QFETCH(QString, action);
    QFETCH(QStringList, calls);

    Log log;
    XMLRouter router(nullptr, nullptr, "r");
    std::map<QString, std::unique_ptr<Recorder>> observers;
    for (const char* name : {"A", "B", "C", "D"})
        observers[QString::fromLatin1(name)] = std::make_unique<Recorder>(log, QString::fromLatin1(name));
    for (const char* name : {"A", "B", "C"})
        router.addObserver(observers.at(QString::fromLatin1(name)).get());
    const QStringList words = action.split(QLatin1Char(' '));
    observers.at(QStringLiteral("B"))->onFirstEvent = [&] {
        const QStringList targets = words.at(1) == QLatin1String("all") ? TestHelpers::words("A C B") : words.mid(1);
        for (const QString& target : targets) {
            if (words.at(0) == QLatin1String("detach"))
                router.removeObserver(observers.at(target).get());
            else if (words.at(0) == QLatin1String("delete"))
                observers.at(target).reset();
            else
                router.addObserver(observers.at(target).get());
        }
    };
    Agent first(log), second(log);
    router.add(&first);
    router.add(&second);
    QCOMPARE(log, calls);
    router.remove(&first);
    router.remove(&second);
}

void TestXmlRouterObserver::lifetimes()
{
    Log log;
    Agent a(log), b(log);
    auto both = std::make_unique<Recorder>(log, QStringLiteral("both"));
    Recorder second(log, QStringLiteral("second"));
    {
        XMLRouter one(nullptr, nullptr, "one");
        XMLRouter two(nullptr, nullptr, "two");
        one.addObserver(both.get());
        two.addObserver(both.get());
        two.addObserver(both.get()); // once is enough
        two.addObserver(&second);
        one.add(&a);
        two.add(&b);
        // Each router counts its own events.
        QCOMPARE(log, TestHelpers::words("both1 both1 second1"));

        log.clear();
        two.removeObserver(&second); // detached: sees nothing more
        both.reset();                // destroyed while attached to both routers
        one.remove(&a);
        two.remove(&b);
        QCOMPARE(log, Log{});

        one.addObserver(&second); // outlives the router
    }
    // The comm-server agent leaving router one; a's removal went uncounted, unobserved.
    QCOMPARE(log, TestHelpers::words("second2"));
}

void TestXmlRouterObserver::logger_data()
{
    QTest::addColumn<QString>("rules");
    QTest::addColumn<bool>("events");
    QTest::addColumn<bool>("packets");
    QTest::newRow("off by default") << "" << false << false;
    QTest::newRow("events") << "kxxml.router.debug=true" << true << false;
    QTest::newRow("packets") << "kxxml.router.packets.debug=true" << false << true;
}

void TestXmlRouterObserver::logger()
{
    QFETCH(QString, rules);
    QFETCH(bool, events);
    QFETCH(bool, packets);

    captured.clear();
    QLoggingCategory::setFilterRules(rules);
    const QtMessageHandler previous = qInstallMessageHandler(captureRouterMessages);

    Log log;
    Agent a(log), b(log), stranger(log);
    stranger.setAgentID(77);
    XMLRouterLogger logger;
    XMLRouter router(nullptr, nullptr, "r");
    router.addObserver(&logger);
    router.setAgentBroker(new TestHelpers::EmptyBroker);
    router.add(&a);
    router.add(&b);
    XMLPacket* request = a.getXMLPacket(2);
    XMLAction action(QStringLiteral("jobs"), 1003, 1);
    request->appendV(action);
    auto* repeated = new XMLPacket;
    *repeated = *request;
    XMLPacket* unknown = stranger.packet(1, QStringLiteral("hello"));
    XMLPacket* late = a.packet(2, QStringLiteral("late"));
    // The texts whose length and content the logger writes.
    const QString requestText = request->packetText();
    const QString unknownText = unknown->packetText();
    const QString lateText = late->packetText();

    router.send(request);
    router.send(repeated);
    router.send(unknown);
    TestHelpers::runUntil();
    router.remove(&b);
    router.send(late);
    TestHelpers::runUntil();
    router.supplyAgentOfType(8);
    router.removeObserver(&logger); // nothing more is written
    router.remove(&a);
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());

    const int requestSize = int(requestText.size());
    const QStringList expectedEvents = {
        QStringLiteral("1 agent-added agent=1 type=1"),
        QStringLiteral("2 agent-added agent=2 type=1"),
        QStringLiteral("3 accepted src=1 dst=2 type=1003 size=%1").arg(requestSize),
        QStringLiteral("4 refused src=1 dst=2 type=1003 size=%1 reason=repetition").arg(requestSize),
        QStringLiteral("5 refused src=77 dst=1 size=%1 reason=unregistered-source").arg(unknownText.size()),
        QStringLiteral("6 delivered src=1 dst=2 type=1003 size=%1").arg(requestSize),
        QStringLiteral("7 agent-removed agent=2 type=1"),
        QStringLiteral("8 accepted src=1 dst=2 size=%1").arg(lateText.size()),
        QStringLiteral("9 undeliverable src=1 dst=2 size=%1").arg(lateText.size()),
        QStringLiteral("10 broker-asked agent=0 type=8"),
    };
    auto whole = [](const char* event, const QString& packetText) -> QString {
        return QString::fromLatin1(event) + u'\n' + packetText.chopped(1); // without its last line feed
    };
    const QStringList expectedPackets = {
        whole("3 accepted", requestText),    whole("4 refused", requestText),
        whole("5 refused", unknownText),     whole("6 delivered", requestText),
        whole("8 accepted", lateText),       whole("9 undeliverable", lateText),
    };
    QCOMPARE(captured[QStringLiteral("kxxml.router")], events ? expectedEvents : QStringList());
    QCOMPARE(captured[QStringLiteral("kxxml.router.packets")], packets ? expectedPackets : QStringList());
}

QTEST_GUILESS_MAIN(TestXmlRouterObserver)
#include "tst_xmlrouterobserver.moc"
