// XMLCommServer end to end: request packets through a router, replies built from datasets.
#include "testhelpers.h"

#include <kxxml/commserver/xmlcommserver.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/ui/xmlaction.h>
#include <kxxml/xml/xmlmessage.h>

#include <QtTest>

namespace {

enum Request { Outputs = 1000, Publications = 1001, Books = 1002, Jobs = 1003 };

// A reply as the requester saw it: source id and the packetables' names and types.
struct Reply
{
    int source = 0;
    int destination = 0;
    QStringList names;
    QList<unsigned int> types;
    QStringList jobNames; // element _1 of each packetable's item
};

class Requester : public XMLAgent
{
public:
    Requester() : XMLAgent(1) {}
    void receive(XMLPacket* packet) override
    {
        Reply reply;
        reply.source = packet->getSourceAgentID();
        reply.destination = packet->getDestinationAgentID();
        std::list<QDomNode> packetables;
        packet->getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, packetables);
        for (const QDomNode& n : packetables) {
            const QDomElement e = n.toElement();
            reply.names << e.attribute(QStringLiteral("name"));
            reply.types << e.attribute(QStringLiteral("datatype")).toUInt(nullptr, 16);
            reply.jobNames << e.firstChildElement(QStringLiteral("item")).firstChildElement(QStringLiteral("_1")).attribute(QStringLiteral("value"));
        }
        replies.append(reply);
        delete packet;
    }
    QList<Reply> replies;
};

QString job(const char* name, int page, const char* publication = nullptr, int number = 0, int queue = 3)
{
    static int nextKey = 0x100; // every job needs a key of its own
    QString text = QStringLiteral("{\"name\":\"%1\",\"page\":%2,\"queue\":%3,\"key\":\"%4:1\"")
            .arg(QLatin1String(name)).arg(page).arg(queue).arg(++nextKey, 0, 16);
    if (publication)
        text += QStringLiteral(",\"publication\":{\"name\":\"%1\",\"number\":%2}").arg(QLatin1String(publication)).arg(number);
    return text + QLatin1Char('}');
}

QString database(const char* name, const char* key, int id, const char* member, const QStringList& records)
{
    return QStringLiteral("{\"name\":\"%1\",\"key\":\"%2\",\"id\":%3,\"%4\":[%5]}")
            .arg(QLatin1String(name), QLatin1String(key)).arg(id).arg(QLatin1String(member), records.join(QLatin1Char(',')));
}

// Dataset texts are well-formed by construction: a failure to open is a fault in the test.
std::unique_ptr<KXCommServer> openDataset(const QStringList& outputs, const QStringList& books = {},
                                          const QStringList& failing = {})
{
    QStringList quoted;
    for (const QString& f : failing)
        quoted << QLatin1Char('"') + f + QLatin1Char('"');
    const QString json = QStringLiteral("{\"format\":\"kxhost-dataset/1\",\"connection\":{\"host\":\"h\",\"port\":1},"
                                        "\"failingQueries\":[%1],\"outputs\":[%2],\"books\":[%3]}")
            .arg(quoted.join(QLatin1Char(',')), outputs.join(QLatin1Char(',')), books.join(QLatin1Char(',')));
    std::string error;
    auto server = KXCommServer::openData(json.toStdString(), "test", &error);
    if (!server)
        qFatal("dataset refused: %s", error.c_str());
    return server;
}

KXKEY_ELEMENT key(unsigned int k, unsigned int h)
{
    KXKEY_ELEMENT e;
    e.key = k;
    e.hkey = h;
    return e;
}

// Sends @p action from a requester to the comm-server agent and returns the replies.
QList<Reply> ask(KXCommServer* server, XMLAction& action)
{
    XMLRouter router(server, nullptr, "router");
    Requester requester;
    router.add(&requester);
    XMLPacket* packet = requester.getXMLPacket(router.getXMLCommServerID());
    packet->append(action);
    router.send(packet);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    router.remove(&requester);
    return requester.replies;
}

QList<Reply> ask(KXCommServer* server, int code)
{
    XMLAction action(QStringLiteral("request"), code, 1);
    return ask(server, action);
}

const QStringList kTwoOutputs = {
    database("North", "a:1", 1, "jobs", { job("Front", 3, "Morning Post", 7), job("Flyer", 1),
                                          job("Proof", 2, nullptr, 0, 5) }),
    database("South", "a:2", 2, "jobs", { job("Cover", 4, "Evening Star", 2), job("Poster", 1) }),
};

} // namespace

class TestXmlCommServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void outputs();
    void outputsSilentWhenNone_data();
    void outputsSilentWhenNone();
    void jobs_data();
    void jobs();
    void jobsByKeysInOrder();
    void publicationsChooseSmallestPage();
    void publicationsInAscendingNumber();
    void publicationsReplyOnlyWithJobs();
    void books();
    void packetHandling();
    void nullServer();
};

void TestXmlCommServer::outputs()
{
    auto server = openDataset(kTwoOutputs);
    const QList<Reply> replies = ask(server.get(), Outputs);
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.at(0).source, -1);
    QCOMPARE(replies.at(0).destination, 1);
    QCOMPARE(replies.at(0).names, (QStringList{ QStringLiteral("North"), QStringLiteral("South") }));
    QCOMPARE(replies.at(0).types, (QList<unsigned int>{ 8, 8 }));
}

void TestXmlCommServer::outputsSilentWhenNone_data()
{
    QTest::addColumn<QStringList>("outputs");
    QTest::addColumn<QStringList>("failing");
    QTest::newRow("no databases") << QStringList() << QStringList();
    QTest::newRow("failing query") << kTwoOutputs << QStringList{ QStringLiteral("outputs") };
}

void TestXmlCommServer::outputsSilentWhenNone()
{
    QFETCH(QStringList, outputs);
    QFETCH(QStringList, failing);
    auto server = openDataset(outputs, {}, failing);
    QVERIFY(ask(server.get(), Outputs).isEmpty());
}

void TestXmlCommServer::jobs_data()
{
    QTest::addColumn<int>("exclude"); // -1: not said
    QTest::addColumn<QStringList>("failing");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("publications left out by default") << -1 << QStringList() << TestHelpers::words("Flyer Poster");
    QTest::newRow("excluded explicitly") << 1 << QStringList() << TestHelpers::words("Flyer Poster");
    QTest::newRow("included") << 0 << QStringList() << TestHelpers::words("Front Flyer Cover Poster");
    QTest::newRow("failing database list: empty reply") << 0 << TestHelpers::words("outputs") << QStringList();
}

void TestXmlCommServer::jobs()
{
    QFETCH(int, exclude);
    QFETCH(QStringList, failing);
    QFETCH(QStringList, names);
    auto server = openDataset(kTwoOutputs, {}, failing);
    XMLAction action(QStringLiteral("jobs"), Jobs, 1);
    if (exclude >= 0)
        action.setExcludePublications(exclude == 1);
    const QList<Reply> replies = ask(server.get(), action);
    QCOMPARE(replies.size(), 1); // always answered
    QCOMPARE(replies.at(0).names, names);
    QCOMPARE(replies.at(0).jobNames, names);
    for (unsigned int type : replies.at(0).types)
        QCOMPARE(type, 0x15u);
}

void TestXmlCommServer::jobsByKeysInOrder()
{
    auto server = openDataset(kTwoOutputs);
    XMLAction action(QStringLiteral("jobs"), Jobs, 1);
    action.setExcludePublications(false);
    KXKEY_ELEMENT south = key(0xa, 2);
    KXKEY_ELEMENT north = key(0xa, 1);
    action.setKXKEYList({ &south, &north });
    server->resetQueryCounts();
    const QList<Reply> replies = ask(server.get(), action);
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.at(0).names, TestHelpers::words("Cover Poster Front Flyer"));
    QCOMPARE(server->queryCount("getDBList"), 0);
    QCOMPARE(server->queryCount("getJobqueue"), 2);
}

void TestXmlCommServer::publicationsChooseSmallestPage()
{
    auto server = openDataset({ database("North", "a:1", 1, "jobs",
                                         { job("p3", 3, "Post", 7), job("p1 first", 1, "Post", 7),
                                           job("p1 second", 1, "Post", 7), job("loose", 0) }) });
    const QList<Reply> replies = ask(server.get(), Publications);
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.at(0).names, QStringList{ QStringLiteral("Post") });
    QCOMPARE(replies.at(0).jobNames, QStringList{ QStringLiteral("p1 first") });
}

void TestXmlCommServer::publicationsInAscendingNumber()
{
    auto server = openDataset({ database("North", "a:1", 1, "jobs", { job("a", 1, "Nine", 9), job("b", 1, "Two", 2) }),
                                database("South", "a:2", 2, "jobs", { job("c", 1, "Five", 5), job("d", 0, "Nine", 9) }) });
    const QList<Reply> replies = ask(server.get(), Publications);
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.at(0).names, TestHelpers::words("Two Five Nine"));
    QCOMPARE(replies.at(0).jobNames, TestHelpers::words("b c d"));
}

void TestXmlCommServer::publicationsReplyOnlyWithJobs()
{
    auto loose = openDataset({ database("North", "a:1", 1, "jobs", { job("a", 1) }) });
    const QList<Reply> replies = ask(loose.get(), Publications);
    QCOMPARE(replies.size(), 1);
    QVERIFY(replies.at(0).names.isEmpty());

    auto none = openDataset({ database("North", "a:1", 1, "jobs", {}) });
    QVERIFY(ask(none.get(), Publications).isEmpty());
}

void TestXmlCommServer::books()
{
    const QStringList books = {
        database("Library", "b:1", 3, "books", { QStringLiteral("{\"name\":\"Atlas\",\"pages\":[1,2]}"),
                                                 QStringLiteral("{\"name\":\"Almanac\"}") }),
        database("Stock", "b:2", 4, "books", { QStringLiteral("{\"name\":\"Catalogue\"}") }),
        database("Empty", "b:3", 5, "books", {}),
    };
    auto server = openDataset({}, books);
    QList<Reply> replies = ask(server.get(), Books);
    QCOMPARE(replies.size(), 1);
    QCOMPARE(replies.at(0).names, TestHelpers::words("Atlas Almanac Catalogue"));
    QCOMPARE(replies.at(0).types, (QList<unsigned int>{ 0x56, 0x56, 0x56 }));

    XMLAction byKeys(QStringLiteral("books"), Books, 1);
    KXKEY_ELEMENT stock = key(0xb, 2);
    KXKEY_ELEMENT library = key(0xb, 1);
    byKeys.setKXKEYList({ &stock, &library });
    replies = ask(server.get(), byKeys);
    QCOMPARE(replies.at(0).names, TestHelpers::words("Catalogue Atlas Almanac"));

    XMLAction empty(QStringLiteral("books"), Books, 1);
    KXKEY_ELEMENT emptyKey = key(0xb, 3);
    empty.setKXKEYList({ &emptyKey });
    QVERIFY(ask(server.get(), empty).isEmpty());
}

void TestXmlCommServer::packetHandling()
{
    auto server = openDataset(kTwoOutputs, { database("Library", "b:1", 3, "books", { QStringLiteral("{\"name\":\"Atlas\"}") }) });
    XMLRouter router(server.get(), nullptr, "router");
    Requester requester;
    router.add(&requester);
    auto run = [] {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };

    // An empty packet is deleted at once; a packet without an action is released later.
    QPointer<XMLPacket> empty = requester.getXMLPacket(-1);
    router.send(empty);
    QCoreApplication::processEvents();
    QVERIFY(empty.isNull());
    QPointer<XMLPacket> noAction = requester.getXMLPacket(-1);
    XMLMessage message(QStringLiteral("hello"));
    noAction->append(message);
    router.send(noAction);
    QCoreApplication::processEvents();
    QVERIFY(!noAction.isNull());
    run();
    QVERIFY(noAction.isNull());
    QVERIFY(requester.replies.isEmpty());

    // Only the first action counts; codes outside the four requests are ignored.
    XMLPacket* two = requester.getXMLPacket(-1);
    XMLAction books(QStringLiteral("b"), Books, 1);
    XMLAction outputs(QStringLiteral("o"), Outputs, 1);
    two->append(books);
    two->append(outputs);
    router.send(two);
    for (int code : { 999, 1004 }) {
        XMLPacket* other = requester.getXMLPacket(-1);
        XMLAction action(QStringLiteral("x"), code, 1);
        other->append(action);
        router.send(other);
    }
    run();
    QCOMPARE(requester.replies.size(), 1);
    QCOMPARE(requester.replies.at(0).names, QStringList{ QStringLiteral("Atlas") });
    router.remove(&requester);
}

void TestXmlCommServer::nullServer()
{
    QCOMPARE(ask(nullptr, Outputs).size(), 0);
    QCOMPARE(ask(nullptr, Publications).size(), 0);
    QCOMPARE(ask(nullptr, Books).size(), 0);
    const QList<Reply> jobs = ask(nullptr, Jobs);
    QCOMPARE(jobs.size(), 1);
    QVERIFY(jobs.at(0).names.isEmpty());

    const XMLCommServer agent(nullptr);
    QVERIFY(!agent.getDBList(PDT_OUTPUTDB));
    QVERIFY(!agent.getKXJOBs(key(1, 1)));
    QVERIFY(!agent.getBooks(QList<KXKEY_ELEMENT*>()));
}

QTEST_GUILESS_MAIN(TestXmlCommServer)
#include "tst_xmlcommserver.moc"
