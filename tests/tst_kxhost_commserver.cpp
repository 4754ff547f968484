// The server connection over a dataset: every query with and without failures and the records
// it hands out, query counts, colour profiles loaded by host and port, and the archive tree with
// findNode; a connection without data, and a missing file.

#include "hosttesthelpers.h"

#include <QTemporaryDir>
#include <QTest>

using namespace hosttest;

namespace {

const char dataset[] = R"({
  "format": "kxhost-dataset/1",
  "connection": { "host": "press01.example", "port": 7010 },
  "outputs": [
    { "name": "North", "key": "a:1", "id": 1,
      "jobs": [
        { "name": "Front", "page": 3, "key": "100:1",
          "publication": { "name": "Morning Post", "number": 7 },
          "colours": [1, 2, 255], "comments": ["first proof", "second"],
          "sections": [ { "title": "News", "firstPage": 1, "pages": 8 } ],
          "history": [ { "title": "v1", "firstPage": 2, "pages": 6 } ],
          "profile": "Coated" },
        { "name": "Proof", "page": 2, "key": "101:1", "queue": 5 },
        { "name": "Flyer", "page": -1, "key": "102:1" }
      ] },
    { "name": "South", "key": "a:2", "id": 2 }
  ],
  "books": [
    { "name": "Library", "key": "b:1", "id": 3,
      "books": [ { "name": "Atlas", "pages": [1, 2, 4294967295], "profile": "Coated" },
                 { "name": "Almanac" } ] }
  ],
  "profiles": [ { "name": "Coated", "data": "0A0B0c" }, { "name": "Empty", "data": "" } ],
  "archive": [
    { "type": "1f", "name": "Letter", "key": "12:3",
      "text": "SI 1F\n10 Dear sir\n11 100 1\n1B Coated\nTI 0\n",
      "children": [
        { "type": "15", "name": "Front", "key": "100:1", "text": "SI 15\n01 Front\n04 3\nTI 0\n",
          "children": [ { "type": "30", "name": "Twin", "key": "31:1", "text": "SI 30\nTI 0\n" } ] },
        { "type": "30", "name": "Coated", "key": "30:1", "text": "SI 30\n01 Coated\n03 4.2\nTI 0\n" }
      ] },
    { "type": "8", "key": "a:1", "text": "SI 8\n01 North\n02 1\n03 1\nTI 0\n" },
    { "type": "30", "name": "Twin", "key": "31:2", "text": "SI 30\nTI 0\n" },
    { "type": "6", "name": "Blob" }
  ]
})";

// The data a profile named @p name loads from press01.example at @p port; "(none)" when it
// loads nothing.
QByteArray loaded(const char* name, unsigned short port = 7010)
{
    ICCPROFILEDATA_CC profile;
    profile.setName(name);
    std::string host = "press01.example";
    profile.load(host, port);
    unsigned int length = 0;
    const auto* data = reinterpret_cast<const char*>(profile.getProfileData(length));
    return profile.hasElement(0x2) ? QByteArray(data, static_cast<int>(length)) : QByteArray("(none)");
}

QByteArray nameOf(const ArchiveNode* node)
{
    if (!node)
        return QByteArray("(none)");
    const KXPacketable* packet = node->getPacket();
    return packet && packet->name ? QByteArray(packet->name) : QByteArray("(unnamed)");
}

// Takes every record off @p list, in order, and gives it to a packet of class P: the packets'
// text forms, one after the other.
template<typename P, typename T>
QByteArray texts(T*& list)
{
    QByteArray result;
    while (T* first = list) {
        RemoveItemFromList(list, first);
        P packet;
        packet.setData(reinterpret_cast<unsigned char*>(first));
        result += textOf(packet);
    }
    return result;
}

} // namespace

class TestKxHostCommServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void connectionWithoutData();
    void openMissingFile();
    void queries_data();
    void queries();
    void loadedDataset();
    void profileLoadByHostAndPort();
    void findNode_data();
    void findNode();
    void handBuiltArchive();
};

void TestKxHostCommServer::connectionWithoutData()
{
    KXCommServer server;
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    QCOMPARE(server.getConnectedHostname(), std::string());
    QCOMPARE(server.getConnectedPortnum(), static_cast<unsigned short>(0));
    QVERIFY(!server.getDBList(command, message, PDT_OUTPUTDB));
    QVERIFY(!server.iserror(command));
    QVERIFY(server.archive());
    QVERIFY(!server.archive()->getPacket());
    QCOMPARE(server.archive()->getChildCount(), std::size_t(0));
}

void TestKxHostCommServer::openMissingFile()
{
    // (A file that is there: tst_xmlbus opens the sample dataset.)
    QTemporaryDir directory;
    const std::string missing = directory.filePath(QStringLiteral("missing.json")).toStdString();
    std::string error;
    QVERIFY(!KXCommServer::open(missing, &error));
    QCOMPARE(error, missing + ": cannot open the file");
    QVERIFY(!KXCommServer::open(missing, nullptr));
}

void TestKxHostCommServer::queries_data()
{
    QTest::addColumn<QByteArray>("failing");  // the dataset's failingQueries, comma-separated
    QTest::addColumn<QByteArray>("query");    // getDBList, getJobqueue or getBooks
    QTest::addColumn<int>("argument");        // data type, database id, or key (hkey 1)
    QTest::addColumn<int>("queue");
    QTest::addColumn<int>("sort");
    QTest::addColumn<int>("order");
    QTest::addColumn<QByteArray>("expected"); // the records returned, as packets of their class write them
    QTest::addColumn<bool>("error");

    const auto row = [](const char* name, const char* failing, const char* query, int argument,
                        const char* expected, bool error = false, int order = SORTORDER_ASCENDING,
                        int queue = KXQUEUE_ACTIVE, int sort = SORTTYPE_ARRIVAL) {
        QTest::newRow(name) << QByteArray(failing) << QByteArray(query) << argument << queue << sort << order
                            << QByteArray(expected) << error;
    };
    const int descending = SORTORDER_DESCENDING;
    row("output databases, books failing", "books", "getDBList", PDT_OUTPUTDB,
        "SI 8\n01 North\n02 1\n03 1\nTI 0\nSI 8\n01 South\n02 1\n03 2\nTI 0\n");
    row("book databases, outputs failing", "outputs", "getDBList", PDT_BOOKDB, "SI 8\n01 Library\n02 2\n03 3\nTI 0\n");
    row("no kind of database", "", "getDBList", PDT_JOB, "", true);
    // Records are written with every element they hold.
    row("jobs, descending", "", "getJobqueue", 1,
        "SI 15\n01 Flyer\n04 -1\n05 A 1\nTI 0\n"
        "SI 15\n01 Front\n02 Morning Post\n03 7\n04 3\n05 A 1\n06 3 1 2 255\n0A 2 first proof\rsecond\n12 Coated\n"
        "SL 1\nSI 5\n01 News\n02 1\n03 8\nTI 0\nTL 0\nSL 1\nSI 5\n01 v1\n02 2\n03 6\nTI 0\nTL 0\nTI 0\n",
        false, descending);
    row("jobs of another queue", "", "getJobqueue", 1, "SI 15\n01 Proof\n04 2\n05 A 1\nTI 0\n", false, SORTORDER_ASCENDING, 5);
    row("jobs of a book database", "", "getJobqueue", 3, "");
    row("jobs, other sort type", "", "getJobqueue", 1, "", true, SORTORDER_ASCENDING, KXQUEUE_ACTIVE, 1);
    row("books, descending", "", "getBooks", 0xb,
        "SI 56\n01 Almanac\n03 B 1\nTI 0\nSI 56\n01 Atlas\n02 3 1 2 4294967295\n03 B 1\n04 Coated\nTI 0\n", false, descending);
    row("books of an output database", "", "getBooks", 0xa, "");
    row("books, other sort type", "", "getBooks", 0xb, "", true, SORTORDER_ASCENDING, KXQUEUE_ACTIVE, 1);
}

void TestKxHostCommServer::queries()
{
    QFETCH(QByteArray, failing);
    QFETCH(QByteArray, query);
    QFETCH(int, argument);
    QFETCH(int, queue);
    QFETCH(int, sort);
    QFETCH(int, order);
    QFETCH(QByteArray, expected);
    QFETCH(bool, error);
    QByteArray json = dataset;
    const QByteArray list = failing.isEmpty() ? QByteArray("[]") : "[\"" + failing.replace(',', "\", \"") + "\"]";
    json.insert(json.indexOf("\"outputs\""), QByteArray("\"failingQueries\": " + list + ", "));
    std::unique_ptr<KXCommServer> server = openJson(json);
    QVERIFY(server);

    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    QByteArray actual;
    int code = KXCMD_GETBOOKS;
    if (query == "getDBList") {
        KXDBENTRY* entries = server->getDBList(command, message, static_cast<PACKETDATATYPES>(argument));
        actual = texts<KXDBENTRY_CC>(entries);
        code = KXCMD_GETDBLIST;
    } else if (query == "getJobqueue") {
        KXJOB* jobs = server->getJobqueue(command, message, static_cast<KXQUEUE>(queue), static_cast<SORTTYPE>(sort),
                                          static_cast<SORTORDER>(order), argument);
        actual = texts<KXJOB_CC>(jobs);
        code = KXCMD_GETJOBQUEUE;
    } else {
        KXBOOK* books = server->getBooks(command, message, static_cast<SORTTYPE>(sort), static_cast<SORTORDER>(order),
                                         KXKEY_ELEMENT{static_cast<unsigned int>(argument), 1});
        actual = texts<BOOK_CC>(books);
    }
    QCOMPARE(actual, expected);
    QCOMPARE(server->iserror(command), error);
    QCOMPARE(command.command, code);
    QCOMPARE(command.messageId, message);
    QVERIFY(message != 0);
    // Counted by operation: the query and iserror.
    QCOMPARE(server->queryCount(query.toStdString()), 1);
    QCOMPARE(server->queryCount("iserror"), 1);
    QCOMPARE(server->totalQueryCount(), 2);
}

void TestKxHostCommServer::loadedDataset()
{
    std::unique_ptr<KXCommServer> server = openJson(dataset);
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    // Every call hands out a fresh copy, under a new message id. (What the records hold: queries.)
    KXDBENTRY* outputs = server->getDBList(command, message, PDT_OUTPUTDB);
    const BM_MESSAGE_ID first = message;
    KXDBENTRY* again = server->getDBList(command, message, PDT_OUTPUTDB);
    QVERIFY(message > first);
    QVERIFY(again != outputs && again->name != outputs->name);
    KXPacketFreeList(outputs, PDT_DBENTRY);
    KXPacketFreeList(again, PDT_DBENTRY);
    KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    QVERIFY(jobs);
    QCOMPARE(jobs->key.key, 0x100u);
    QCOMPARE(jobs->key.hkey, 1u);
    KXPacketFreeList(jobs, PDT_JOB);

    // Database ids by key. (The ids of output databases reach getJobqueue in tst_hostcalls.)
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0xb, 1}), 3);
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0x100, 1}), 0); // a job's key is no database
    QCOMPARE(server->queryCount("getidfromkxkey"), 2);
    QCOMPARE(server->queryCount("getBooks"), 0);
    server->resetQueryCounts();
    QCOMPARE(server->totalQueryCount(), 0);

    // Every archive entry is a node below its parent, holding a packet of its type's class.
    // (Names and keys: findNode. Texts: tst_xpkreference inlines what its archive's texts refer to.)
    const ArchiveNode* root = server->archive();
    QCOMPARE(root->getChildCount(), std::size_t(4));
    QVERIFY(!root->getChild(4));
    const ArchiveNode* letter = root->getChild(0);
    QCOMPARE(letter->getParent(), root);
    QCOMPARE(letter->getChildCount(), std::size_t(2));
    QVERIFY(dynamic_cast<const KXJOB_CC*>(letter->getChild(0)->getPacket()));
    QVERIFY(dynamic_cast<const ICCPROFILEDATA_CC*>(letter->getChild(1)->getPacket()));
    QCOMPARE(root->getChild(3)->getPacket()->datatype, PDT_OPAQUE);
}

void TestKxHostCommServer::profileLoadByHostAndPort()
{
    // Without a name the packet's element 1 names the profile.
    ICCPROFILEDATA_CC byElement;
    QVERIFY(parse(byElement, "SI 30\n01 Coated\n03 4.2\nTI 0\n"));
    {
        std::unique_ptr<KXCommServer> server = openJson(dataset);
        QCOMPARE(loaded("Coated", 7011), QByteArray("(none)"));
        QCOMPARE(loaded("Glossy"), QByteArray("(none)"));
        QCOMPARE(loaded("Empty"), QByteArray("")); // loaded, and empty
        std::string host = "press01.example";
        byElement.load(host, 7010);

        // The most recently opened connection under the same host and port answers.
        std::unique_ptr<KXCommServer> newer = openJson(R"({"format": "kxhost-dataset/1", "connection": {"host": "press01.example", "port": 7010},)"
                                                       R"( "profiles": [{"name": "Coated", "data": "FF"}]})");
        QCOMPARE(loaded("Coated"), QByteArray("\xff"));
        newer.reset();
        QCOMPARE(loaded("Coated"), QByteArray("\x0a\x0b\x0c"));
    }
    // Closed connections are forgotten; the data loaded stays, and the text shows it.
    QCOMPARE(loaded("Coated"), QByteArray("(none)"));
    QCOMPARE(textOf(byElement), QByteArray("SI 30\n01 Coated\n02 3 0A0B0C\n03 4.2\nTI 0\n"));
}

void TestKxHostCommServer::findNode_data()
{
    QTest::addColumn<uint>("key");
    QTest::addColumn<uint>("hkey");
    QTest::addColumn<QByteArray>("name"); // null: no name
    QTest::addColumn<QByteArray>("found");
    QTest::addColumn<QByteArray>("foundKey");

    QTest::newRow("by name, depth first") << 0u << 0u << QByteArray("Twin") << QByteArray("Twin") << QByteArray("31:1");
    QTest::newRow("by key before name") << 0x31u << 2u << QByteArray("Letter") << QByteArray("Twin") << QByteArray("31:2");
    QTest::newRow("half key: by name") << 0x12u << 0u << QByteArray("Coated") << QByteArray("Coated") << QByteArray("30:1");
    QTest::newRow("record name of a database entry") << 0u << 0u << QByteArray("North") << QByteArray("(unnamed)") << QByteArray("a:1");
    QTest::newRow("valid key, no match, name ignored") << 0x99u << 1u << QByteArray("Letter") << QByteArray("(none)") << QByteArray();
    QTest::newRow("null key, no name") << 0u << 0u << QByteArray() << QByteArray("(none)") << QByteArray();
    QTest::newRow("null key, empty name") << 0u << 0u << QByteArray("") << QByteArray("(none)") << QByteArray();
}

void TestKxHostCommServer::findNode()
{
    QFETCH(uint, key);
    QFETCH(uint, hkey);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, found);
    QFETCH(QByteArray, foundKey);
    std::unique_ptr<KXCommServer> server = openJson(dataset);
    const KXDB_REFERENCE ref{nullptr, KXKEY_ELEMENT{key, hkey}, name.isNull() ? nullptr : name.data()};

    // The same answer from every node of the tree.
    const ArchiveNode* root = server->archive();
    const std::vector<const ArchiveNode*> starts{root, root->getChild(0),
                                                 root->getChild(0)->getChild(0)->getChild(0), root->getChild(3)};
    for (const ArchiveNode* start : starts) {
        const ArchiveNode* node = start->findNode(&ref);
        QCOMPARE(nameOf(node), found);
        if (node) {
            const KXKEY_ELEMENT k = node->getPacket()->key;
            QCOMPARE(QByteArray::number(k.key, 16) + ':' + QByteArray::number(k.hkey, 16), foundKey);
        }
    }
    QVERIFY(!root->findNode(nullptr));
}

void TestKxHostCommServer::handBuiltArchive()
{
    ArchiveNode root;
    ArchiveNode* child = root.appendChild(new ArchiveNode(PacketableUtil::getPacketable(PDT_LETTER)));
    QVERIFY(child);
    QVERIFY(!root.appendChild(nullptr));
    QVERIFY(!root.appendChild(&root));
    QVERIFY(!child->appendChild(&root)); // would make the tree a cycle
    ArchiveNode* grandChild = child->appendChild(new ArchiveNode(PacketableUtil::getPacketable(PDT_SECTION)));
    QVERIFY(grandChild);
    QVERIFY(!root.appendChild(grandChild)); // already has a parent
    grandChild->getPacket()->setName("Grandchild");

    // A deep chain is searched and destroyed without recursion.
    ArchiveNode* node = grandChild;
    for (int i = 0; i < 100000; ++i)
        node = node->appendChild(new ArchiveNode);
    QCOMPARE(nodeNamed(*node, "Grandchild"), grandChild);
}

QTEST_APPLESS_MAIN(TestKxHostCommServer)
#include "tst_kxhost_commserver.moc"
