// The server connection over a dataset: every query with and without failures, query counts,
// colour profiles loaded by host and port, and the archive tree with findNode.

#include "hosttesthelpers.h"

#include <QFile>
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

// A dataset on press01.example:7010 holding the profile Coated with @p profileData.
QByteArray withCoated(const char* profileData)
{
    return R"({"format": "kxhost-dataset/1", "connection": {"host": "press01.example", "port": 7010},)"
           R"( "profiles": [{"name": "Coated", "data": ")" + QByteArray(profileData) + R"("}]})";
}

QByteArray profileData(const ICCPROFILEDATA_CC& profile)
{
    unsigned int length = 0;
    const unsigned char* data = profile.getProfileData(length);
    return data ? QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(length)) : QByteArray();
}

// The data a profile named @p name loads from press01.example at @p port; "(none)" when it
// loads nothing.
QByteArray loaded(const char* name, unsigned short port = 7010)
{
    ICCPROFILEDATA_CC profile;
    profile.setName(name);
    std::string host = "press01.example";
    profile.load(host, port);
    return profile.hasElement(0x2) ? profileData(profile) : QByteArray("(none)");
}

QByteArray nameOf(const ArchiveNode* node)
{
    if (!node)
        return QByteArray("(none)");
    const KXPacketable* packet = node->getPacket();
    return packet && packet->name ? QByteArray(packet->name) : QByteArray("(unnamed)");
}

// Takes the first record off @p list and gives it to a packet of class P: the packet's text form.
template<typename P, typename T>
QByteArray packFirst(T*& list)
{
    T* first = list;
    RemoveItemFromList(list, first);
    P packet;
    packet.setData(reinterpret_cast<unsigned char*>(first));
    return textOf(packet);
}

} // namespace

class TestKxHostCommServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void connectionWithoutData();
    void openFile();
    void queries_data();
    void queries();
    void recordsCarryTheDataset();
    void idsFromKeys();
    void profileLoadByHostAndPort();
    void archiveTree();
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
    QVERIFY(!server.getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1));
    QVERIFY(!server.getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 1}));
    QVERIFY(server.archive());
    QVERIFY(!server.archive()->getPacket());
    QCOMPARE(server.archive()->getChildCount(), std::size_t(0));
    QCOMPARE(server.totalQueryCount(), 4);
    QCOMPARE(server.queryCount("noSuchOperation"), 0);
    server.resetQueryCounts();
    QCOMPARE(server.totalQueryCount(), 0);
}

void TestKxHostCommServer::openFile()
{
    QTemporaryDir directory;
    QVERIFY(directory.isValid());
    const QString path = directory.filePath(QStringLiteral("data.json"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(dataset);
    file.close();

    std::string error = "untouched";
    std::unique_ptr<KXCommServer> server = KXCommServer::open(path.toStdString(), &error);
    QVERIFY2(server, error.c_str());
    QCOMPARE(server->getSourceName(), path.toStdString());

    const std::string missing = directory.filePath(QStringLiteral("missing.json")).toStdString();
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
    QTest::addColumn<QByteArray>("expected"); // names of the records returned
    QTest::addColumn<bool>("error");

    const auto row = [](const char* name, const char* failing, const char* query, int argument,
                        const char* expected, bool error = false, int order = SORTORDER_ASCENDING,
                        int queue = KXQUEUE_ACTIVE, int sort = SORTTYPE_ARRIVAL) {
        QTest::newRow(name) << QByteArray(failing) << QByteArray(query) << argument << queue << sort << order
                            << QByteArray(expected) << error;
    };
    const int descending = SORTORDER_DESCENDING;
    row("output databases, books failing", "books", "getDBList", PDT_OUTPUTDB, "North,South");
    row("book databases, outputs failing", "outputs", "getDBList", PDT_BOOKDB, "Library");
    row("no kind of database", "", "getDBList", PDT_JOB, "", true);
    row("jobs, descending", "", "getJobqueue", 1, "Flyer,Front", false, descending);
    row("jobs of another queue", "", "getJobqueue", 1, "Proof", false, SORTORDER_ASCENDING, 5);
    row("database without jobs", "", "getJobqueue", 2, "");
    row("jobs of a book database", "", "getJobqueue", 3, "");
    row("jobs, other sort type", "", "getJobqueue", 1, "", true, SORTORDER_ASCENDING, KXQUEUE_ACTIVE, 1);
    row("books, descending", "", "getBooks", 0xb, "Almanac,Atlas", false, descending);
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
        actual = names(entries);
        KXPacketFreeList(entries, PDT_DBENTRY);
        code = KXCMD_GETDBLIST;
    } else if (query == "getJobqueue") {
        KXJOB* jobs = server->getJobqueue(command, message, static_cast<KXQUEUE>(queue), static_cast<SORTTYPE>(sort),
                                          static_cast<SORTORDER>(order), argument);
        actual = names(jobs);
        KXPacketFreeList(jobs, PDT_JOB);
        code = KXCMD_GETJOBQUEUE;
    } else {
        KXBOOK* books = server->getBooks(command, message, static_cast<SORTTYPE>(sort), static_cast<SORTORDER>(order),
                                         KXKEY_ELEMENT{static_cast<unsigned int>(argument), 1});
        actual = names(books);
        KXPacketFreeList(books, PDT_BOOK);
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

void TestKxHostCommServer::recordsCarryTheDataset()
{
    std::unique_ptr<KXCommServer> server = openJson(dataset);
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    // Every call hands out a fresh copy, under a new message id. (The database keys reach
    // getidfromkxkey in tst_hostcalls.)
    KXDBENTRY* outputs = server->getDBList(command, message, PDT_OUTPUTDB);
    const BM_MESSAGE_ID first = message;
    KXDBENTRY* again = server->getDBList(command, message, PDT_OUTPUTDB);
    QVERIFY(message > first);
    QVERIFY(again != outputs && again->name != outputs->name);
    KXPacketFreeList(outputs, PDT_DBENTRY);
    QCOMPARE(packFirst<KXDBENTRY_CC>(again), QByteArray("SI 8\n01 North\n02 1\n03 1\nTI 0\n"));
    KXPacketFreeList(again, PDT_DBENTRY);
    KXDBENTRY* books = server->getDBList(command, message, PDT_BOOKDB);
    QCOMPARE(packFirst<KXDBENTRY_CC>(books), QByteArray("SI 8\n01 Library\n02 2\n03 3\nTI 0\n"));

    // Records given to a packet are written with every element they hold.
    KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    QVERIFY(jobs);
    QCOMPARE(jobs->key.key, 0x100u);
    QCOMPARE(jobs->key.hkey, 1u);
    QCOMPARE(packFirst<KXJOB_CC>(jobs),
             QByteArray("SI 15\n01 Front\n02 Morning Post\n03 7\n04 3\n05 A 1\n06 3 1 2 255\n0A 2 first proof\rsecond\n"
                        "12 Coated\nSL 1\nSI 5\n01 News\n02 1\n03 8\nTI 0\nTL 0\nSL 1\nSI 5\n01 v1\n02 2\n03 6\nTI 0\nTL 0\nTI 0\n"));
    QCOMPARE(packFirst<KXJOB_CC>(jobs), QByteArray("SI 15\n01 Flyer\n04 -1\n05 A 1\nTI 0\n"));
    QVERIFY(!jobs);

    KXBOOK* bookList = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 1});
    QCOMPARE(packFirst<BOOK_CC>(bookList), QByteArray("SI 56\n01 Atlas\n02 3 1 2 4294967295\n03 B 1\n04 Coated\nTI 0\n"));
    QCOMPARE(packFirst<BOOK_CC>(bookList), QByteArray("SI 56\n01 Almanac\n03 B 1\nTI 0\n"));
    QVERIFY(!bookList);
}

void TestKxHostCommServer::idsFromKeys()
{
    std::unique_ptr<KXCommServer> server = openJson(dataset);
    // (The ids of output databases reach getJobqueue in tst_hostcalls.)
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0xb, 1}), 3);
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0x100, 1}), 0); // a job's key is no database
    QCOMPARE(server->getidfromkxkey(KXKEY_CC::getNullKey()), 0);
    QCOMPARE(server->queryCount("getidfromkxkey"), 3);
    QCOMPARE(server->totalQueryCount(), 3);
}

void TestKxHostCommServer::profileLoadByHostAndPort()
{
    ICCPROFILEDATA_CC kept;
    kept.setName("Coated");
    std::string host = "press01.example";
    {
        std::unique_ptr<KXCommServer> server = openJson(dataset);
        QCOMPARE(loaded("Coated", 7011), QByteArray("(none)"));
        QCOMPARE(loaded("Glossy"), QByteArray("(none)"));
        QCOMPARE(loaded("Empty"), QByteArray("")); // loaded, and empty
        kept.load(host, 7010);
        QCOMPARE(profileData(kept), QByteArray("\x0a\x0b\x0c"));

        // Without a name the packet's element 1 names the profile; the text shows the data.
        ICCPROFILEDATA_CC byElement;
        QVERIFY(parse(byElement, "SI 30\n01 Coated\n03 4.2\nTI 0\n"));
        byElement.load(host, 7010);
        QCOMPARE(textOf(byElement), QByteArray("SI 30\n01 Coated\n02 3 0A0B0C\n03 4.2\nTI 0\n"));

        // The most recently opened connection under the same host and port answers.
        std::unique_ptr<KXCommServer> newer = openJson(withCoated("FF"));
        QCOMPARE(loaded("Coated"), QByteArray("\xff"));
        newer.reset();
        QCOMPARE(loaded("Coated"), QByteArray("\x0a\x0b\x0c"));
    }
    // Closed connections are forgotten; the data loaded stays.
    QCOMPARE(loaded("Coated"), QByteArray("(none)"));
    QCOMPARE(profileData(kept), QByteArray("\x0a\x0b\x0c"));
}

void TestKxHostCommServer::archiveTree()
{
    std::unique_ptr<KXCommServer> server = openJson(dataset);
    const ArchiveNode* root = server->archive();
    QVERIFY(!root->getParent());
    QCOMPARE(root->getChildCount(), std::size_t(4));
    QVERIFY(!root->getChild(4));

    const ArchiveNode* letter = root->getChild(0);
    QCOMPARE(letter->getParent(), root);
    QCOMPARE(letter->getChildCount(), std::size_t(2));
    const KXPacketable* packet = letter->getPacket();
    QCOMPARE(packet->datatype, PDT_LETTER);
    QCOMPARE(textOf(*packet), QByteArray("SI 1F\n10 Dear sir\n11 100 1\n1B Coated\nTI 0\n"));

    // Each node holds a packet of its type's class.
    QVERIFY(dynamic_cast<const KXJOB_CC*>(letter->getChild(0)->getPacket()));
    QVERIFY(dynamic_cast<const ICCPROFILEDATA_CC*>(letter->getChild(1)->getPacket()));
    const auto* entry = dynamic_cast<const KXDBENTRY_CC*>(root->getChild(1)->getPacket());
    QVERIFY(entry && entry->getEntry());
    QVERIFY(!entry->name);
    QCOMPARE(QByteArray(entry->getEntry()->name), QByteArray("North"));
    QCOMPARE(root->getChild(3)->getPacket()->datatype, PDT_OPAQUE);
}

void TestKxHostCommServer::findNode_data()
{
    QTest::addColumn<uint>("key");
    QTest::addColumn<uint>("hkey");
    QTest::addColumn<QByteArray>("name"); // null: no name
    QTest::addColumn<QByteArray>("found");
    QTest::addColumn<QByteArray>("foundKey");

    QTest::newRow("by key, top level") << 0x12u << 3u << QByteArray() << QByteArray("Letter") << QByteArray("12:3");
    QTest::newRow("by name, depth first") << 0u << 0u << QByteArray("Twin") << QByteArray("Twin") << QByteArray("31:1");
    QTest::newRow("by key before name") << 0x31u << 2u << QByteArray("Letter") << QByteArray("Twin") << QByteArray("31:2");
    QTest::newRow("half key: by name") << 0x12u << 0u << QByteArray("Coated") << QByteArray("Coated") << QByteArray("30:1");
    QTest::newRow("record name of a database entry") << 0u << 0u << QByteArray("North") << QByteArray("(unnamed)") << QByteArray("a:1");
    QTest::newRow("valid key, no match, name ignored") << 0x99u << 1u << QByteArray("Letter") << QByteArray("(none)") << QByteArray();
    QTest::newRow("unknown name") << 0u << 0u << QByteArray("Nobody") << QByteArray("(none)") << QByteArray();
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
    child->getPacket()->setName("Child");
    QVERIFY(!root.appendChild(nullptr));
    QVERIFY(!root.appendChild(&root));
    QVERIFY(!child->appendChild(&root)); // would make the tree a cycle
    ArchiveNode* grandChild = child->appendChild(new ArchiveNode(PacketableUtil::getPacketable(PDT_SECTION)));
    QVERIFY(grandChild);
    QVERIFY(!root.appendChild(grandChild)); // already has a parent
    grandChild->getPacket()->setName("Grandchild");
    QCOMPARE(nodeNamed(*grandChild, "Child"), child);

    // A deep chain is searched and destroyed without recursion.
    ArchiveNode* node = grandChild;
    for (int i = 0; i < 100000; ++i)
        node = node->appendChild(new ArchiveNode);
    QCOMPARE(nodeNamed(*node, "Grandchild"), grandChild);
}

QTEST_APPLESS_MAIN(TestKxHostCommServer)
#include "tst_kxhost_commserver.moc"
