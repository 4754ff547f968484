// XMLRouter: what the router model (tst_routermodel) cannot express: the broker's ownership,
// a packet sent again while it is queued, and what the router's destruction leaves. Ids,
// the queue and its duplicate check, delivery, removal notifications, queries and the broker's
// answers are checked by the model.
#include "routertesthelpers.h"

#include <QPointer>
#include <QtTest>

using TestHelpers::Log;
using Agent = TestHelpers::LogAgent;

class TestXmlRouter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void samePacketSentAgainStaysQueued();
    void brokerOwnership();
    void queuedPacketOutlivesTheRouter();
};

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

// The router deletes its broker when another is set, when none is, and with itself.
void TestXmlRouter::brokerOwnership()
{
    bool firstGone = false;
    bool secondGone = false;
    {
        XMLRouter router(nullptr, nullptr, "r");
        router.setAgentBroker(new TestHelpers::EmptyBroker(&firstGone));
        router.setAgentBroker(new TestHelpers::EmptyBroker(&secondGone));
        QVERIFY(firstGone);
        QVERIFY(!secondGone);
        router.setAgentBroker(nullptr);
        QVERIFY(secondGone);

        secondGone = false;
        router.setAgentBroker(new TestHelpers::EmptyBroker(&secondGone));
    }
    QVERIFY(secondGone);
}

void TestXmlRouter::queuedPacketOutlivesTheRouter()
{
    Log log;
    Agent a(log);
    QPointer<XMLPacket> queued;
    {
        XMLRouter router(nullptr, nullptr, "r");
        router.add(&a);
        queued = a.packet(2, QStringLiteral("never delivered"));
        router.send(queued);
    }
    QVERIFY(!queued.isNull()); // queued packets are left undeleted
    delete queued.data();
}

QTEST_GUILESS_MAIN(TestXmlRouter)
#include "tst_xmlrouter.moc"
