// XMLRouter and XMLAgent: what the router model (tst_routermodel) cannot express: an agent
// joining, the broker's ownership and what the router's destruction leaves. Ids, the queue
// and its duplicate check, delivery, removal notifications and queries are checked by the model.
#include "routertesthelpers.h"

#include <QPointer>
#include <QtTest>

#include <memory>

namespace {

using TestHelpers::Log;
using Agent = TestHelpers::LogAgent;

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

} // namespace

class TestXmlRouter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void agentsJoin();
    void samePacketSentAgainStaysQueued();
    void broker();
    void destructorOrder();
};

// An agent has no id and no router until a router adds it; its packets come from its id.
void TestXmlRouter::agentsJoin()
{
    XMLRouter router(nullptr, nullptr, "router");
    Log log;
    Agent a(log, 12);
    QVERIFY(a.getAgentID() == 0 && !a.router());
    router.add(&a);
    QCOMPARE(a.getAgentID(), 1);
    QCOMPARE(a.getAgentType(), 12);
    QCOMPARE(a.router(), &router);
    const std::unique_ptr<XMLPacket> packet(a.getXMLPacket(7));
    QVERIFY(packet->getSourceAgentID() == 1 && packet->getDestinationAgentID() == 7 && packet->isEmpty());
    QVERIFY(!TestHelpers::Requester().wantAgentRemovalNotifications()); // unless the agent asks
    router.remove(&a);
}

void TestXmlRouter::samePacketSentAgainStaysQueued()
{
    // Sent again while it is the last one queued, a packet is already there: nothing to do.
    XMLRouter router(nullptr, nullptr, "r");
    Log log;
    Agent a(log), b(log);
    router.add(&a);
    router.add(&b);
    QPointer<XMLPacket> packet = a.packet(2, QStringLiteral("A"));
    router.send(packet);
    router.send(packet);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY2(packet, "a queued packet was deleted");
    QCoreApplication::processEvents();
    QCOMPARE(log, Log{ QStringLiteral("2<-A") });
    router.remove(&a);
    router.remove(&b);
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
