// Paged list replies: pages against the single reply, listings side by side, requesters and
// routers that go away in the middle of a listing.
#include <kxxml/commserver/xmlcommserver.h>
#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/ui/xmlaction.h>

#include <QtTest>

#include <memory>

namespace {

enum Request { Outputs = 1000, Publications = 1001, Books = 1002, Jobs = 1003 };

// One packet as the requester saw it: its page mark and its packetables as text.
struct Received
{
    int page = 0;
    bool more = false;
    bool marked = false;
    QStringList packetables;
};

class Requester : public XMLAgent
{
public:
    Requester() : XMLAgent(1) {}
    void receive(XMLPacket* packet) override
    {
        const std::unique_ptr<XMLPacket> owned(packet);
        Received r{packet->getPage(), packet->getMorePages(), packet->hasPage(), {}};
        std::list<QDomNode> nodes;
        packet->getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, nodes);
        for (const QDomNode& n : nodes)
            r.packetables << XMLObject::toString(n);
        received.append(r);
        if (onReceive)
            onReceive();
    }
    QStringList packetables() const
    {
        QStringList all;
        for (const Received& r : received)
            all += r.packetables;
        return all;
    }
    QList<Received> received;
    std::function<void()> onReceive;
};

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
    std::string error;
    auto server = KXCommServer::openData(json.toStdString(), "test", &error);
    if (!server)
        qFatal("dataset refused: %s", error.c_str());
    return server;
}

void request(XMLRouter& router, const XMLAgent& from, int code, int pageSize, bool includePublications = true)
{
    XMLAction action(QStringLiteral("list"), code, from.getAgentID());
    if (pageSize)
        action.setPageSize(pageSize);
    action.setExcludePublications(!includePublications);
    XMLPacket* packet = from.getXMLPacket(router.getXMLCommServerID());
    packet->append(action);
    router.send(packet);
}

// Runs the event loop until @p done or nothing is left to do.
void runUntil(const std::function<bool()>& done)
{
    QEventLoop loop;
    int idle = 0;
    while (!done() && idle < 3)
        idle = loop.processEvents() ? 0 : idle + 1;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void runAll()
{
    runUntil([] { return false; });
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
QList<Received> answer(int code, int pageSize)
{
    Session session;
    request(session.router, session.first, code, pageSize);
    runAll();
    return session.first.received;
}

// Pages are numbered from 1, say that more follow on all but the last, and are full but
// for the last one.
void checkPageMarks(const QList<Received>& pages, int pageSize)
{
    for (int i = 0; i < pages.size(); ++i) {
        QVERIFY(pages[i].marked);
        QCOMPARE(pages[i].page, i + 1);
        QCOMPARE(pages[i].more, i + 1 < pages.size());
        QVERIFY(pages[i].packetables.size() <= pageSize);
        if (i + 1 < pages.size())
            QCOMPARE(pages[i].packetables.size(), pageSize);
    }
}

} // namespace

class TestPagedReplies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pagesJoinToTheSingleReply_data();
    void pagesJoinToTheSingleReply();
    void emptyListings_data();
    void emptyListings();
    void listingsForTwoRequestersTakeTurns();
    void repeatedRequestIsAnsweredAfterTheFirst();
    void pageBuiltAfterThePreviousWasDelivered();
    void requesterRemovedStopsTheListing();
    void routerDestroyedDuringListing();
};

void TestPagedReplies::pagesJoinToTheSingleReply_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("pageSize");
    QTest::addColumn<int>("pages");
    // 9 jobs in three databases, 2 publications, 3 books, 3 output databases.
    QTest::newRow("jobs, 1") << int(Jobs) << 1 << 9;
    QTest::newRow("jobs, total - 1") << int(Jobs) << 8 << 2;
    QTest::newRow("jobs, total") << int(Jobs) << 9 << 1;
    QTest::newRow("jobs, total + 1") << int(Jobs) << 10 << 1;
    QTest::newRow("jobs, 4") << int(Jobs) << 4 << 3;
    QTest::newRow("publications, 1") << int(Publications) << 1 << 2;
    QTest::newRow("publications, 2") << int(Publications) << 2 << 1;
    QTest::newRow("books, 2") << int(Books) << 2 << 2;
    QTest::newRow("books, 3") << int(Books) << 3 << 1;
    QTest::newRow("outputs, 2") << int(Outputs) << 2 << 2;
}

void TestPagedReplies::pagesJoinToTheSingleReply()
{
    QFETCH(int, code);
    QFETCH(int, pageSize);
    QFETCH(int, pages);
    const QList<Received> single = answer(code, 0);
    QCOMPARE(single.size(), 1);
    QVERIFY(!single[0].marked);
    const QList<Received> paged = answer(code, pageSize);
    QCOMPARE(paged.size(), pages);
    checkPageMarks(paged, pageSize);
    QStringList joined;
    for (const Received& r : paged)
        joined += r.packetables;
    QCOMPARE(joined, single[0].packetables);
}

void TestPagedReplies::emptyListings_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("someJobs");
    QTest::addColumn<int>("replies");
    QTest::newRow("jobs") << int(Jobs) << false << 1;
    QTest::newRow("outputs") << int(Outputs) << false << 0;
    QTest::newRow("books") << int(Books) << false << 0;
    QTest::newRow("publications, no jobs") << int(Publications) << false << 0;
    QTest::newRow("publications, jobs of none") << int(Publications) << true << 1;
}

void TestPagedReplies::emptyListings()
{
    QFETCH(int, code);
    QFETCH(bool, someJobs);
    QFETCH(int, replies);
    Session session(someJobs ? Sample::NoPublications : Sample::Empty);
    request(session.router, session.first, code, 3, false);
    runAll();
    QCOMPARE(session.first.received.size(), replies);
    for (const Received& r : session.first.received) {
        QVERIFY(r.packetables.isEmpty());
        QCOMPARE(r.page, 1);
        QVERIFY(!r.more);
    }
}

void TestPagedReplies::listingsForTwoRequestersTakeTurns()
{
    Session s;
    QStringList order;
    s.first.onReceive = [&] { order << QStringLiteral("1:%1").arg(s.first.received.last().page); };
    s.second.onReceive = [&] { order << QStringLiteral("2:%1").arg(s.second.received.last().page); };
    request(s.router, s.first, Jobs, 3);
    request(s.router, s.second, Books, 1);
    runAll();
    QCOMPARE(order, QStringList({QStringLiteral("1:1"), QStringLiteral("2:1"), QStringLiteral("1:2"),
                                 QStringLiteral("2:2"), QStringLiteral("1:3"), QStringLiteral("2:3")}));
    QCOMPARE(s.first.packetables(), answer(Jobs, 0).value(0).packetables);
    QCOMPARE(s.second.packetables(), answer(Books, 0).value(0).packetables);
}

void TestPagedReplies::repeatedRequestIsAnsweredAfterTheFirst()
{
    Session s;
    request(s.router, s.first, Jobs, 4);
    s.first.onReceive = [&] {
        if (s.first.received.size() == 1)
            request(s.router, s.first, Jobs, 4); // the same request again, mid-listing
    };
    runAll();
    QList<int> pages;
    for (const Received& r : s.first.received)
        pages << r.page;
    QCOMPARE(pages, QList<int>({1, 2, 3, 1, 2, 3}));
    const QStringList single = answer(Jobs, 0).value(0).packetables;
    QCOMPARE(s.first.packetables(), single + single);
}

void TestPagedReplies::pageBuiltAfterThePreviousWasDelivered()
{
    Session s;
    int ticks = 0;
    QList<int> ticksAtPage;
    QTimer probe; // fires on every turn of the event loop
    connect(&probe, &QTimer::timeout, [&] { ++ticks; });
    probe.start(0);
    s.first.onReceive = [&] { ticksAtPage << ticks; };
    request(s.router, s.first, Jobs, 1);
    runUntil([&] { return s.first.received.size() == 9; });
    QCOMPARE(ticksAtPage.size(), 9);
    for (int i = 1; i < ticksAtPage.size(); ++i)
        QVERIFY2(ticksAtPage[i] > ticksAtPage[i - 1], "two pages in one turn of the event loop");
}

void TestPagedReplies::requesterRemovedStopsTheListing()
{
    Session s;
    s.first.onReceive = [&] { s.router.remove(&s.first); };
    request(s.router, s.first, Jobs, 2);
    request(s.router, s.first, Books, 1); // waiting behind the first: dropped too
    request(s.router, s.second, Publications, 1);
    runAll();
    QCOMPARE(s.first.received.size(), 1);
    QCOMPARE(s.second.received.size(), 2);
    QCOMPARE(s.server->queryCount("getBooks"), 0); // the waiting listing never started
    // The records the listing never sent are freed: the sanitizer build reports any leak.
}

void TestPagedReplies::routerDestroyedDuringListing()
{
    const auto server = openSample();
    auto router = std::make_unique<XMLRouter>(server.get(), nullptr, "router");
    Requester requester;
    router->add(&requester);
    request(*router, requester, Publications, 10);
    request(*router, requester, Jobs, 2);
    // Destroyed from the event loop, after the first listing's only page, while the second
    // listing holds its records: they go with the comm-server agent.
    requester.onReceive = [&] { QTimer::singleShot(0, [&] { router.reset(); }); };
    runAll();
    QVERIFY(!router);
    QCOMPARE(requester.received.size(), 1);
}

QTEST_GUILESS_MAIN(TestPagedReplies)
#include "tst_pagedreplies.moc"
