// XMLCommServer, the router's comm-server agent: which packets it answers, without a server,
// and paged replies: empty publication lists, listings taking turns a page at a time,
// requesters and routers that go away in the middle of a listing. (What each request lists,
// in one reply or in pages, and the host calls behind it: tst_hostcalls.)
#include "hosttesthelpers.h"
#include "routertesthelpers.h"
#include "testhelpers.h"

#include <QtTest>

#include <memory>

using namespace TestHelpers;

namespace {

// An output database whose one job (@p empty: none) is of no publication.
std::unique_ptr<KXCommServer> openWithoutPublications(bool empty)
{
    const QByteArray job = empty ? QByteArray() : QByteArray(R"({ "name": "Front", "page": 1, "key": "100:1" })");
    return hosttest::openOwnJson(R"({ "format": "kxhost-dataset/1", "connection": { "host": "h", "port": 1 },)"
                                 R"( "outputs": [ { "name": "North", "key": "a:1", "id": 1, "jobs": [ )" + job + " ] } ] }");
}

// A router on @p server (kDataset unless given) with two requesters registered.
struct Session
{
    explicit Session(std::unique_ptr<KXCommServer> s = openDataset()) : server(std::move(s))
    {
        router.add(&first);
        router.add(&second);
    }
    ~Session()
    {
        router.remove(&first);
        router.remove(&second);
    }
    std::unique_ptr<KXCommServer> server;
    XMLRouter router{server.get(), nullptr, "router"};
    Requester first;
    Requester second;
};

// The packetables of the single reply to request @p code.
QStringList singleReply(int code)
{
    Session session;
    requestList(session.router, session.first, code, 0, 0);
    runUntil();
    return session.first.packetables();
}

} // namespace

class TestXmlCommServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packetHandling();
    void nullServer();
    void publicationsOnlyWithJobs();
    void listingsTakeTurns();
    void requesterRemovedStopsTheListing();
    void routerDestroyedDuringListing();
};

void TestXmlCommServer::packetHandling()
{
    Session s;
    // An empty packet is deleted at once; a packet without an action is released later.
    QPointer<XMLPacket> empty = s.first.getXMLPacket(-1);
    s.router.send(empty);
    QCoreApplication::processEvents();
    QVERIFY(empty.isNull());
    QPointer<XMLPacket> noAction = s.first.getXMLPacket(-1);
    XMLMessage message(QStringLiteral("hello"));
    noAction->append(message);
    s.router.send(noAction);
    QCoreApplication::processEvents();
    QVERIFY(!noAction.isNull());
    runUntil();
    QVERIFY(noAction.isNull());
    QVERIFY(s.first.replies.isEmpty());

    // Only the first action counts; codes outside the four requests are ignored.
    XMLPacket* two = s.first.getXMLPacket(-1);
    XMLAction books(QStringLiteral("b"), Books, 1);
    XMLAction outputs(QStringLiteral("o"), Outputs, 1);
    two->append(books);
    two->append(outputs);
    s.router.send(two);
    for (int code : {999, 1004})
        requestList(s.router, s.first, code);
    runUntil();
    QCOMPARE(s.first.replies.size(), 1);
    QCOMPARE(s.first.packetables(), singleReply(Books));
}

void TestXmlCommServer::nullServer()
{
    XMLRouter router(nullptr, nullptr, "router");
    Requester requester;
    router.add(&requester);
    for (int code : {Outputs, Publications, Books, Jobs}) {
        requestList(router, requester, code);
        requestList(router, requester, code, 1, -1, {{1, 1}}); // in pages, of a database named
    }
    runUntil();
    router.remove(&requester);
    QCOMPARE(requester.replies.size(), 2); // jobs are always answered
    QVERIFY(requester.packetables().isEmpty());
}

// Publications are listed only when there are jobs: an empty list without, as a single reply
// and in pages alike. (Other empty lists: tst_hostcalls.)
void TestXmlCommServer::publicationsOnlyWithJobs()
{
    for (int pageSize : {0, 3}) {
        for (const bool empty : {true, false}) {
            Session session(openWithoutPublications(empty));
            requestList(session.router, session.first, Publications, pageSize);
            runUntil();
            QCOMPARE(session.first.replies.size(), empty ? 0 : 1);
            for (const Reply& r : std::as_const(session.first.replies))
                QVERIFY(r.packetables.isEmpty() && r.page == (pageSize ? 1 : 0) && !r.more);
        }
    }
}

// A requester's listings are answered one after the other, one asked again mid-listing too;
// listings for different requesters take turns. Each page is built after the previous one
// was delivered: one page in a turn of the event loop.
void TestXmlCommServer::listingsTakeTurns()
{
    Session s;
    QStringList order;
    int ticks = 0;
    QList<int> ticksAtPage;
    QTimer probe; // fires on every turn of the event loop
    connect(&probe, &QTimer::timeout, [&] { ++ticks; });
    probe.start(0);
    s.first.onReceive = [&] {
        order << QStringLiteral("1:%1").arg(s.first.replies.last().page);
        ticksAtPage << ticks;
        if (s.first.replies.size() == 1)
            requestList(s.router, s.first, Jobs, 2, 0); // the same request again
    };
    s.second.onReceive = [&] {
        order << QStringLiteral("2:%1").arg(s.second.replies.last().page);
        ticksAtPage << ticks;
    };
    requestList(s.router, s.first, Jobs, 2, 0);
    requestList(s.router, s.second, Books, 1);
    runUntil([&] { return order.size() == 8; });
    probe.stop();
    QCOMPARE(order, words("1:1 2:1 1:2 2:2 1:3 1:1 1:2 1:3"));
    for (int i = 1; i < ticksAtPage.size(); ++i)
        QVERIFY2(ticksAtPage[i] > ticksAtPage[i - 1], "two pages in one turn of the event loop");
    const QStringList jobs = singleReply(Jobs);
    QCOMPARE(s.first.packetables(), jobs + jobs);
    QCOMPARE(s.second.packetables(), singleReply(Books));
}

void TestXmlCommServer::requesterRemovedStopsTheListing()
{
    Session s;
    s.first.onReceive = [&] { s.router.remove(&s.first); };
    requestList(s.router, s.first, Jobs, 2, 0);
    requestList(s.router, s.first, Books, 1); // waiting behind the first: dropped too
    requestList(s.router, s.second, Publications, 1);
    runUntil();
    QCOMPARE(s.first.replies.size(), 1);
    QCOMPARE(s.second.replies.size(), 2);
    QCOMPARE(s.server->queryCount("getBooks"), 0); // the waiting listing never started
    // The records the listing never sent are freed: the sanitizer build reports any leak.
}

void TestXmlCommServer::routerDestroyedDuringListing()
{
    const auto server = openDataset();
    auto router = std::make_unique<XMLRouter>(server.get(), nullptr, "router");
    Requester requester;
    router->add(&requester);
    requestList(*router, requester, Publications, 10);
    requestList(*router, requester, Jobs, 2, 0);
    // Destroyed from the event loop, after the first listing's only page, while the second
    // listing holds its records: they go with the comm-server agent.
    requester.onReceive = [&] { QTimer::singleShot(0, [&] { router.reset(); }); };
    runUntil();
    QVERIFY(!router);
    QCOMPARE(requester.replies.size(), 1);
}

QTEST_GUILESS_MAIN(TestXmlCommServer)
#include "tst_xmlcommserver.moc"
