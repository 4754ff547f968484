// XMLCommServer, the router's comm-server agent: which packets it answers, without a server,
// and paged replies: empty publication lists, listings side by side, requesters and routers
// that go away in the middle of a listing. (What each request lists, in one reply or in
// pages, and the host calls behind it: tst_hostcalls.)
#include "hosttesthelpers.h"
#include "routertesthelpers.h"

#include <kxxml/commserver/xmlcommserver.h>

#include <QtTest>

#include <memory>

using namespace TestHelpers;

namespace {

enum class Sample { Full, Empty, NoPublications };

QString job(int n, int page, int publication)
{
    QString text = QStringLiteral(R"({"name":"Job %1","page":%2,"key":"%3:1")").arg(n).arg(page).arg(n + 0x100, 0, 16);
    if (publication)
        text += QStringLiteral(R"(,"publication":{"name":"Pub %1","number":%1})").arg(publication);
    return text + QLatin1Char('}');
}

// Full: three output databases of 5, 0 and 4 jobs (publications 7 and 2 spread over two of
// them, with a tie on page numbers) and two book databases. NoPublications: one job of no
// publication. Empty: nothing at all.
std::unique_ptr<KXCommServer> openSample(Sample sample = Sample::Full)
{
    QString outputs;
    QString books;
    if (sample == Sample::Full) {
        outputs = QStringLiteral(R"({"name":"A","key":"a:1","id":1,"jobs":[%1,%2,%3,%4,%5]},)"
                                 R"({"name":"B","key":"a:2","id":2,"jobs":[]},)"
                                 R"({"name":"C","key":"a:3","id":3,"jobs":[%6,%7,%8,%9]})")
                      .arg(job(1, 4, 7), job(2, 1, 0), job(3, 2, 7), job(4, 9, 2), job(5, 3, 0), job(6, 2, 7),
                           job(7, 1, 2), job(8, 5, 0), job(9, 6, 0));
        books = QStringLiteral(R"({"name":"L","key":"b:1","id":4,"books":[{"name":"Atlas"},{"name":"Bible"}]},)"
                               R"({"name":"M","key":"b:2","id":5,"books":[{"name":"Codex"}]})");
    } else if (sample == Sample::NoPublications) {
        outputs = QStringLiteral(R"({"name":"A","key":"a:1","id":1,"jobs":[%1]})").arg(job(1, 1, 0));
    }
    const QString json = QStringLiteral(R"({"format":"kxhost-dataset/1","connection":{"host":"h","port":1},)"
                                        R"("outputs":[%1],"books":[%2]})").arg(outputs, books);
    return hosttest::openOwnJson(json.toUtf8());
}

// A router on a sample dataset with two requesters registered.
struct Session
{
    explicit Session(Sample sample = Sample::Full) : server(openSample(sample))
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

// The replies to one request, paged by @p pageSize (0: the single reply).
QList<Reply> answer(int code, int pageSize)
{
    Session session;
    requestList(session.router, session.first, code, pageSize, 0);
    runUntil();
    return session.first.replies;
}

} // namespace

class TestXmlCommServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packetHandling();
    void nullServer();
    void publicationsOnlyWithJobs();
    void listingsForTwoRequestersTakeTurns();
    void repeatedRequestIsAnsweredAfterTheFirst();
    void pageBuiltAfterThePreviousWasDelivered();
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
    QCOMPARE(s.first.packetables(), answer(Books, 0).value(0).packetables);
}

void TestXmlCommServer::nullServer()
{
    XMLRouter router(nullptr, nullptr, "router");
    Requester requester;
    router.add(&requester);
    for (int code : {Outputs, Publications, Books, Jobs})
        requestList(router, requester, code);
    runUntil();
    router.remove(&requester);
    QCOMPARE(requester.replies.size(), 1); // jobs are always answered
    QVERIFY(requester.packetables().isEmpty());

    const XMLCommServer agent(nullptr);
    QVERIFY(!agent.getDBList(PDT_OUTPUTDB));
    QVERIFY(!agent.getKXJOBs(KXKEY_ELEMENT{1, 1}));
    QVERIFY(!agent.getBooks(QList<KXKEY_ELEMENT*>()));
}

// Publications are listed only when there are jobs: an empty list without, as a single reply
// and in pages alike. (Other empty lists: tst_hostcalls.)
void TestXmlCommServer::publicationsOnlyWithJobs()
{
    for (int pageSize : {0, 3}) {
        for (const Sample sample : {Sample::Empty, Sample::NoPublications}) {
            Session session(sample);
            requestList(session.router, session.first, Publications, pageSize);
            runUntil();
            QCOMPARE(session.first.replies.size(), sample == Sample::Empty ? 0 : 1);
            for (const Reply& r : std::as_const(session.first.replies))
                QVERIFY(r.packetables.isEmpty() && r.page == (pageSize ? 1 : 0) && !r.more);
        }
    }
}

void TestXmlCommServer::listingsForTwoRequestersTakeTurns()
{
    Session s;
    QStringList order;
    s.first.onReceive = [&] { order << QStringLiteral("1:%1").arg(s.first.replies.last().page); };
    s.second.onReceive = [&] { order << QStringLiteral("2:%1").arg(s.second.replies.last().page); };
    requestList(s.router, s.first, Jobs, 3, 0);
    requestList(s.router, s.second, Books, 1);
    runUntil();
    QCOMPARE(order, QStringList({QStringLiteral("1:1"), QStringLiteral("2:1"), QStringLiteral("1:2"),
                                 QStringLiteral("2:2"), QStringLiteral("1:3"), QStringLiteral("2:3")}));
    QCOMPARE(s.first.packetables(), answer(Jobs, 0).value(0).packetables);
    QCOMPARE(s.second.packetables(), answer(Books, 0).value(0).packetables);
}

void TestXmlCommServer::repeatedRequestIsAnsweredAfterTheFirst()
{
    Session s;
    requestList(s.router, s.first, Jobs, 4, 0);
    s.first.onReceive = [&] {
        if (s.first.replies.size() == 1)
            requestList(s.router, s.first, Jobs, 4, 0); // the same request again, mid-listing
    };
    runUntil();
    QList<int> pages;
    for (const Reply& r : std::as_const(s.first.replies))
        pages << r.page;
    QCOMPARE(pages, QList<int>({1, 2, 3, 1, 2, 3}));
    const QStringList single = answer(Jobs, 0).value(0).packetables;
    QCOMPARE(s.first.packetables(), single + single);
}

void TestXmlCommServer::pageBuiltAfterThePreviousWasDelivered()
{
    Session s;
    int ticks = 0;
    QList<int> ticksAtPage;
    QTimer probe; // fires on every turn of the event loop
    connect(&probe, &QTimer::timeout, [&] { ++ticks; });
    probe.start(0);
    s.first.onReceive = [&] { ticksAtPage << ticks; };
    requestList(s.router, s.first, Jobs, 1, 0);
    runUntil([&] { return s.first.replies.size() == 9; });
    QCOMPARE(ticksAtPage.size(), 9);
    for (int i = 1; i < ticksAtPage.size(); ++i)
        QVERIFY2(ticksAtPage[i] > ticksAtPage[i - 1], "two pages in one turn of the event loop");
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
    const auto server = openSample();
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
