// XMLRouter: registry, ids, the queue, its duplicate check, delivery from the event loop,
// removal notifications and the broker.
#include "testhelpers.h"

#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/xml/xmlmessage.h>

#include <QPointer>
#include <QtTest>

#include <functional>

namespace {

// What agents saw, in order: "3<-m" (agent 3 received message m), "4:gone 9" (agent 4 heard
// that 9 left).
using Log = QStringList;

class Agent : public XMLAgent
{
public:
    Agent(Log& sharedLog, int type = 1, bool listens = true)
        : XMLAgent(type), log(sharedLog)
    {
        wantsRemovalNotifications = listens;
    }

    void receive(XMLPacket* packet) override
    {
        std::list<QDomNode> messages;
        packet->getNodesOfType(XMLObject::XMLOBJECT_MESSAGE, messages);
        const QString text = messages.empty() ? QString() : messages.front().toElement().attribute(QStringLiteral("msg"));
        log << QStringLiteral("%1<-%2").arg(getAgentID()).arg(text);
        delete packet;
        if (onReceive)
            onReceive(text);
    }
    void agentRemoved(int id) override { log << QStringLiteral("%1:gone %2").arg(getAgentID()).arg(id); }

    /// A packet from this agent to @p destination carrying the message @p text.
    XMLPacket* packet(int destination, const QString& text) const
    {
        XMLPacket* p = getXMLPacket(destination);
        XMLMessage message(text);
        p->appendV(message);
        return p;
    }

    XMLRouter* router() const { return XMLAgent::router; }

    Log& log;
    std::function<void(const QString&)> onReceive;
};

class Broker : public XMLAgentBroker
{
public:
    Broker(Log& sharedLog, bool& destroyedFlag) : log(sharedLog), destroyed(destroyedFlag) {}
    ~Broker() override { destroyed = true; }
    int createAgentOfType(int type) override
    {
        auto* agent = new Agent(log, type);
        created.emplace_back(agent);
        router->add(agent);
        return agent->getAgentID();
    }
    Log& log;
    bool& destroyed;
    std::vector<std::unique_ptr<Agent>> created;
};

// Runs the router's delivery and the deferred deletions it caused.
void runEventLoop()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

class TestXmlRouter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction();
    void idsCountUp();
    void addingTwiceGivesSecondId();
    void deliveryWaitsForEventLoop();
    void unregisteredSourceIsDropped();
    void duplicateCheck_data();
    void duplicateCheck();
    void undeliverablePacket();
    void reentrantSendsInSameRun();
    void addAndRemoveFromReceive();
    void removeNotifiesOthers();
    void queries();
    void broker();
    void destructorOrder();
};

void TestXmlRouter::construction()
{
    XMLRouter router(nullptr, nullptr, "router");
    QCOMPARE(router.objectName(), QStringLiteral("router"));
    QVERIFY(router.contains(-1));
    QCOMPARE(router.getXMLCommServerID(), -1);
    QCOMPARE(router.getAgentType(-1), 0);
    QCOMPARE(router.findAgentOfType(0), -1);
    QCOMPARE(router.getAgentType(42), 5);
    Log log;
    Agent a(log);
    router.add(&a);
    QCOMPARE(a.getAgentID(), 1);
    QCOMPARE(a.router(), &router);
    router.remove(&a);
}

void TestXmlRouter::idsCountUp()
{
    XMLRouter router(nullptr, nullptr, "r");
    QCOMPARE(router.getNextAgentID(), 1);
    Log log;
    Agent a(log), b(log);
    router.add(&a);
    router.add(&b);
    QCOMPARE(a.getAgentID(), 2);
    QCOMPARE(b.getAgentID(), 3);
    router.remove(&a);
    Agent c(log);
    router.add(&c);
    QCOMPARE(c.getAgentID(), 4); // never reused
    router.add(nullptr);
    router.remove(nullptr);
    router.remove(&b);
    router.remove(&c);
}

void TestXmlRouter::addingTwiceGivesSecondId()
{
    Log log;
    Agent a(log); // outlives the router: its first entry is never removed
    XMLRouter router(nullptr, nullptr, "r");
    router.add(&a);
    router.add(&a);
    QCOMPARE(a.getAgentID(), 2);
    QVERIFY(router.contains(1));
    QCOMPARE(router.findAgentsOfType(1), (std::list<int>{ 2, 2 })); // ids as the agent tells them
    router.remove(&a);
    QVERIFY(router.contains(1));
    QVERIFY(!router.contains(2));
    QVERIFY(log.isEmpty()); // still registered as 1, it is not told of its own removal
}

void TestXmlRouter::deliveryWaitsForEventLoop()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), b(log);
    router.add(&a);
    router.add(&b);
    router.send(a.packet(2, QStringLiteral("x")));
    QVERIFY(log.isEmpty());
    runEventLoop();
    QCOMPARE(log, Log{ QStringLiteral("2<-x") });
    router.remove(&a);
    router.remove(&b);
}

void TestXmlRouter::unregisteredSourceIsDropped()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), stranger(log);
    router.add(&a);
    stranger.setAgentID(77);
    QPointer<XMLPacket> packet = stranger.packet(1, QStringLiteral("x"));
    router.send(packet);
    router.send(nullptr);
    runEventLoop();
    QVERIFY(packet.isNull());
    QVERIFY(log.isEmpty()); // no delivery, no notification
    router.remove(&a);
}

void TestXmlRouter::duplicateCheck_data()
{
    QTest::addColumn<QStringList>("sent"); // "-" runs the event loop, "=" sends the last packet again
    QTest::addColumn<QStringList>("received");
    QTest::newRow("A A") << TestHelpers::words("A A") << TestHelpers::words("2<-A");
    QTest::newRow("A B A") << TestHelpers::words("A B A") << TestHelpers::words("2<-A 2<-B 2<-A");
    QTest::newRow("A A B B A") << TestHelpers::words("A A B B A") << TestHelpers::words("2<-A 2<-B 2<-A");
    QTest::newRow("A, run, A") << TestHelpers::words("A - A") << TestHelpers::words("2<-A 2<-A");
    QTest::newRow("A, the same A again") << TestHelpers::words("A = =") << TestHelpers::words("2<-A");
}

void TestXmlRouter::duplicateCheck()
{
    QFETCH(QStringList, sent);
    QFETCH(QStringList, received);
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), b(log);
    router.add(&a);
    router.add(&b);
    QPointer<XMLPacket> last;
    for (const QString& s : sent) {
        if (s == QLatin1String("-")) {
            runEventLoop();
        } else if (s == QLatin1String("=")) {
            router.send(last);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QVERIFY2(last, "a queued packet was deleted");
        } else {
            router.send(last = a.packet(2, s));
        }
    }
    runEventLoop();
    QCOMPARE(log, received);
    router.remove(&a);
    router.remove(&b);
}

void TestXmlRouter::undeliverablePacket()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), deaf(log, 1, false), b(log);
    router.add(&a);
    router.add(&deaf);
    router.add(&b);
    QPointer<XMLPacket> packet = a.packet(99, QStringLiteral("x"));
    router.send(packet);
    QCoreApplication::processEvents();
    QVERIFY(packet.isNull()); // deleted at once, not later
    QCOMPARE(log, (Log{ QStringLiteral("1:gone 99"), QStringLiteral("3:gone 99") }));

    // The agent with the id itself is not told of its own loss.
    log.clear();
    router.send(a.packet(1, QStringLiteral("to self")));
    runEventLoop();
    QCOMPARE(log, Log{ QStringLiteral("1<-to self") });
    for (Agent* x : { &a, &deaf, &b })
        router.remove(x);
}

void TestXmlRouter::reentrantSendsInSameRun()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), b(log);
    router.add(&a);
    router.add(&b);
    b.onReceive = [&](const QString& text) {
        if (text == QLatin1String("ping"))
            router.send(b.packet(1, QStringLiteral("pong")));
    };
    router.send(a.packet(2, QStringLiteral("ping")));
    router.send(a.packet(2, QStringLiteral("second")));
    QCoreApplication::processEvents();
    QCOMPARE(log, (Log{ QStringLiteral("2<-ping"), QStringLiteral("2<-second"), QStringLiteral("1<-pong") }));
    router.remove(&a);
    router.remove(&b);
}

void TestXmlRouter::addAndRemoveFromReceive()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), b(log), late(log);
    router.add(&a);
    router.add(&b);
    a.onReceive = [&](const QString& text) {
        if (text == QLatin1String("leave")) {
            router.remove(&b);
            router.add(&late);
        }
    };
    router.send(b.packet(1, QStringLiteral("leave")));
    router.send(a.packet(2, QStringLiteral("for b")));  // b is gone when this one comes
    router.send(a.packet(3, QStringLiteral("for late"))); // late is there by then
    runEventLoop();
    QCOMPARE(log, (Log{ QStringLiteral("1<-leave"), QStringLiteral("1:gone 2"), // remove
                        QStringLiteral("1:gone 2"), QStringLiteral("3:gone 2"), // undeliverable
                        QStringLiteral("3<-for late") }));
    router.remove(&a);
    router.remove(&late);
}

void TestXmlRouter::removeNotifiesOthers()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), b(log), c(log);
    for (Agent* x : { &a, &b, &c })
        router.add(x);
    router.remove(&b);
    QCOMPARE(log, (Log{ QStringLiteral("1:gone 2"), QStringLiteral("3:gone 2") }));
    QCOMPARE(b.getAgentID(), 2); // the agent keeps its id and router
    QCOMPARE(b.router(), &router);
    log.clear();
    router.notifyAgentRemovals(1);
    QCOMPARE(log, Log{ QStringLiteral("3:gone 1") });
    router.remove(&a);
    router.remove(&c);
}

void TestXmlRouter::queries()
{
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    std::vector<std::unique_ptr<Agent>> agents;
    for (int type : { 2, 2, 2, 7, 2, 2, 2, 2, 7 }) {
        agents.push_back(std::make_unique<Agent>(log, type));
        router.add(agents.back().get());
    }
    QCOMPARE(router.findAgentOfType(7), 4);
    QCOMPARE(router.findAgentsOfType(7), (std::list<int>{ 4, 9 }));
    QCOMPARE(router.findAgentOfType(8), 0);
    QCOMPARE(router.supplyAgentOfType(8), 0); // no broker
    QCOMPARE(router.getAgentType(9), 7);
    for (auto& agent : agents)
        router.remove(agent.get());
    QCOMPARE(router.findAgentOfType(7), 0);
}

void TestXmlRouter::broker()
{
    Log log;
    bool firstGone = false;
    bool secondGone = false;
    {
        XMLRouter router(nullptr, nullptr, "r");
        auto* first = new Broker(log, firstGone);
        router.setAgentBroker(first);
        QCOMPARE(router.supplyAgentOfType(8), 1);
        QCOMPARE(router.supplyAgentOfType(8), 1); // found, not created again
        QCOMPARE(first->created.size(), size_t(1));
        router.remove(first->created.front().get());

        router.setAgentBroker(new Broker(log, secondGone));
        QVERIFY(firstGone);
        QVERIFY(!secondGone);
        router.setAgentBroker(nullptr);
        QVERIFY(secondGone);
        QCOMPARE(router.supplyAgentOfType(8), 0);

        secondGone = false;
        router.setAgentBroker(new Broker(log, secondGone));
    }
    QVERIFY(secondGone); // the router deletes its broker
}

void TestXmlRouter::destructorOrder()
{
    Log log;
    Agent a(log), b(log, 1, false);
    QPointer<XMLPacket> queued;
    {
        XMLRouter router(nullptr, nullptr, "r");
        router.add(&a);
        router.add(&b);
        queued = a.packet(2, QStringLiteral("never delivered"));
        router.send(queued);
    }
    QCOMPARE(log, Log{ QStringLiteral("1:gone -1") });
    QVERIFY(!queued.isNull()); // queued packets are left undeleted
    delete queued.data();
}

QTEST_GUILESS_MAIN(TestXmlRouter)
#include "tst_xmlrouter.moc"
