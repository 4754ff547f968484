// XMLAgent and XMLAgentBroker: the endpoint and factory interfaces.
#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>

#include <QtTest>

namespace {

class PlainAgent : public XMLAgent
{
public:
    explicit PlainAgent(int type) : XMLAgent(type) {}
    void receive(XMLPacket* packet) override { delete packet; }
};

class ListeningAgent : public PlainAgent
{
public:
    ListeningAgent() : PlainAgent(4) { wantsRemovalNotifications = true; }
};

} // namespace

class TestXmlAgent : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults();
    void packetFromAgent();
};

void TestXmlAgent::defaults()
{
    // An agent has no id until a router gives it one, and hears of removals only when its
    // class asks to.
    PlainAgent agent(12);
    QCOMPARE(agent.getAgentID(), 0);
    QCOMPARE(agent.getAgentType(), 12);
    QVERIFY(!agent.wantAgentRemovalNotifications());
    QVERIFY(ListeningAgent().wantAgentRemovalNotifications());
}

void TestXmlAgent::packetFromAgent()
{
    PlainAgent agent(1);
    agent.setAgentID(3);
    std::unique_ptr<XMLPacket> packet(agent.getXMLPacket(7));
    QCOMPARE(packet->getSourceAgentID(), 3);
    QCOMPARE(packet->getDestinationAgentID(), 7);
    QVERIFY(packet->isEmpty());
    std::unique_ptr<XMLPacket> second(agent.getXMLPacket(7));
    QVERIFY(second.get() != packet.get()); // a new packet each time
    QVERIFY(*second == *packet);
}

QTEST_GUILESS_MAIN(TestXmlAgent)
#include "tst_xmlagent.moc"
