// The server connection over a dataset: every query with and without failures, query counts,
// colour profiles loaded by host and port, and the archive tree with findNode.

#include <kxhost/kxhost.h>

#include <QByteArray>
#include <QMap>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

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
      "books": [ { "name": "Atlas", "pages": [1, 2, 3], "profile": "Coated" },
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

std::unique_ptr<KXCommServer> openDataset(const std::string& json = dataset)
{
    std::string error;
    std::unique_ptr<KXCommServer> server = KXCommServer::openData(json, "test.json", &error);
    if (!server)
        qWarning("%s", error.c_str());
    return server;
}

std::string withConnection(const char* host, int port, const char* profileData)
{
    return std::string(R"({"format": "kxhost-dataset/1", "connection": {"host": ")") + host
           + R"(", "port": )" + std::to_string(port) + R"(}, "profiles": [{"name": "Coated", "data": ")"
           + profileData + R"("}]})";
}

template<typename T>
QStringList names(const T* head)
{
    QStringList result;
    for (; head; head = head->next)
        result << QString::fromUtf8(head->name);
    return result;
}

QByteArray profileData(const ICCPROFILEDATA_CC& profile)
{
    unsigned int length = 0;
    const unsigned char* data = profile.getProfileData(length);
    return data ? QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(length)) : QByteArray();
}

KXDB_REFERENCE reference(KXKEY_ELEMENT key, const char* name)
{
    return KXDB_REFERENCE{nullptr, key, const_cast<char*>(name)};
}

QByteArray nameOf(const ArchiveNode* node)
{
    if (!node)
        return QByteArray("(none)");
    const KXPacketable* packet = node->getPacket();
    return packet && packet->name ? QByteArray(packet->name) : QByteArray("(unnamed)");
}

} // namespace

class TestKxHostCommServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void connectionWithoutData();
    void openFile();
    void databaseLists();
    void failingQueries_data();
    void failingQueries();
    void idsFromKeys();
    void jobQueues();
    void jobRecordsAreComplete();
    void books();
    void queryCounts();
    void profileLoadByHostAndPort();
    void archiveTree();
    void findNode_data();
    void findNode();
    void handBuiltArchive();
    void sampleDataset();
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
    QVERIFY(!server.getDBList(command, message, PDT_BOOKDB));
    QCOMPARE(server.getidfromkxkey(KXKEY_ELEMENT{0xa, 1}), 0);
    QVERIFY(!server.getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1));
    QVERIFY(!server.getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 1}));
    QVERIFY(server.archive());
    QVERIFY(!server.archive()->getPacket());
    QCOMPARE(server.archive()->getChildCount(), std::size_t(0));
    QCOMPARE(server.totalQueryCount(), 6);
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
    QCOMPARE(server->getConnectedHostname(), std::string("press01.example"));
    QCOMPARE(server->getConnectedPortnum(), static_cast<unsigned short>(7010));

    const std::string missing = directory.filePath(QStringLiteral("missing.json")).toStdString();
    QVERIFY(!KXCommServer::open(missing, &error));
    QCOMPARE(error, missing + ": cannot open the file");
    QVERIFY(!KXCommServer::open(missing, nullptr));
}

void TestKxHostCommServer::databaseLists()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    QVERIFY(server);
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;

    KXDBENTRY* outputs = server->getDBList(command, message, PDT_OUTPUTDB);
    QVERIFY(!server->iserror(command));
    QCOMPARE(command.command, int(KXCMD_GETDBLIST));
    QCOMPARE(command.messageId, message);
    QVERIFY(message != 0);
    QCOMPARE(names(outputs), QStringList({QStringLiteral("North"), QStringLiteral("South")}));
    QCOMPARE(outputs->key.key, 0xau);
    QCOMPARE(outputs->key.hkey, 1u);
    QCOMPARE(outputs->id, 1);
    QCOMPARE(outputs->kind, int(KXDBKIND_OUTPUT));

    // Every call hands out a fresh copy.
    const BM_MESSAGE_ID first = message;
    KXDBENTRY* again = server->getDBList(command, message, PDT_OUTPUTDB);
    QVERIFY(again != outputs);
    QVERIFY(again->name != outputs->name);
    QVERIFY(message > first);
    KXPacketFreeList(outputs, PDT_DBENTRY);
    QCOMPARE(names(again), QStringList({QStringLiteral("North"), QStringLiteral("South")}));
    KXPacketFreeList(again, PDT_DBENTRY);

    KXDBENTRY* books = server->getDBList(command, message, PDT_BOOKDB);
    QVERIFY(!server->iserror(command));
    QCOMPARE(names(books), QStringList({QStringLiteral("Library")}));
    QCOMPARE(books->kind, int(KXDBKIND_BOOK));
    QCOMPARE(books->id, 3);
    KXPacketFreeList(books, PDT_DBENTRY);

    // A data type that is no kind of database is a failed query.
    QVERIFY(!server->getDBList(command, message, PDT_JOB));
    QVERIFY(server->iserror(command));
}

void TestKxHostCommServer::failingQueries_data()
{
    QTest::addColumn<QByteArray>("failing");
    QTest::addColumn<bool>("outputsFail");
    QTest::addColumn<bool>("booksFail");
    QTest::newRow("none") << QByteArray("[]") << false << false;
    QTest::newRow("outputs") << QByteArray(R"(["outputs"])") << true << false;
    QTest::newRow("books") << QByteArray(R"(["books"])") << false << true;
    QTest::newRow("both") << QByteArray(R"(["books", "outputs"])") << true << true;
}

void TestKxHostCommServer::failingQueries()
{
    QFETCH(QByteArray, failing);
    QFETCH(bool, outputsFail);
    QFETCH(bool, booksFail);
    std::string json = dataset;
    json.insert(json.find("\"outputs\""), "\"failingQueries\": " + failing.toStdString() + ",\n  ");
    std::unique_ptr<KXCommServer> server = openDataset(json);
    QVERIFY(server);
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;

    KXDBENTRY* outputs = server->getDBList(command, message, PDT_OUTPUTDB);
    QCOMPARE(server->iserror(command), outputsFail);
    QCOMPARE(outputs == nullptr, outputsFail);
    KXPacketFreeList(outputs, PDT_DBENTRY);

    KXDBENTRY* books = server->getDBList(command, message, PDT_BOOKDB);
    QCOMPARE(server->iserror(command), booksFail);
    QCOMPARE(books == nullptr, booksFail);
    KXPacketFreeList(books, PDT_DBENTRY);

    // The job and book queries themselves do not fail.
    KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    QVERIFY(jobs);
    QVERIFY(!server->iserror(command));
    KXPacketFreeList(jobs, PDT_JOB);
    KXBOOK* bookList = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 1});
    QVERIFY(bookList);
    QVERIFY(!server->iserror(command));
    KXPacketFreeList(bookList, PDT_BOOK);
}

void TestKxHostCommServer::idsFromKeys()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0xa, 1}), 1);
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0xa, 2}), 2);
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0xb, 1}), 3);
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0xa, 3}), 0);
    QCOMPARE(server->getidfromkxkey(KXKEY_ELEMENT{0x100, 1}), 0); // a job's key is no database
    QCOMPARE(server->getidfromkxkey(KXKEY_CC::getNullKey()), 0);
}

void TestKxHostCommServer::jobQueues()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;

    KXJOB* active = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    QCOMPARE(command.command, int(KXCMD_GETJOBQUEUE));
    QCOMPARE(names(active), QStringList({QStringLiteral("Front"), QStringLiteral("Flyer")}));
    KXPacketFreeList(active, PDT_JOB);

    KXJOB* descending = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_DESCENDING, 1);
    QCOMPARE(names(descending), QStringList({QStringLiteral("Flyer"), QStringLiteral("Front")}));
    KXPacketFreeList(descending, PDT_JOB);

    KXJOB* other = server->getJobqueue(command, message, static_cast<KXQUEUE>(5), SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    QCOMPARE(names(other), QStringList({QStringLiteral("Proof")}));
    KXPacketFreeList(other, PDT_JOB);

    QVERIFY(!server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 2)); // no jobs
    QVERIFY(!server->iserror(command));
    QVERIFY(!server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 3)); // books
    QVERIFY(!server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 0));
    QVERIFY(!server->getJobqueue(command, message, KXQUEUE_ACTIVE, static_cast<SORTTYPE>(1), SORTORDER_ASCENDING, 1));
    QVERIFY(server->iserror(command));
}

void TestKxHostCommServer::jobRecordsAreComplete()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    QVERIFY(jobs && jobs->next);
    const KXJOB* front = jobs;
    QCOMPARE(QByteArray(front->publicationName), QByteArray("Morning Post"));
    QCOMPARE(front->publicationNumber, 7u);
    QCOMPARE(KXJOB_CC::pageNumber(front), 3);
    QCOMPARE(front->key.key, 0x100u);
    QCOMPARE(front->dbKey.key, 0xau);
    QCOMPARE(front->dbKey.hkey, 1u);
    QCOMPARE(front->queue, int(KXQUEUE_ACTIVE));
    QCOMPARE(front->colourCount, 3u);
    QCOMPARE(int(front->colours[2]), 255);
    QCOMPARE(front->commentCount, 2u);
    QCOMPARE(QByteArray(front->comments[1]), QByteArray("second"));
    QCOMPARE(QByteArray(front->sections->title), QByteArray("News"));
    QCOMPARE(front->sections->pageCount, 8);
    QCOMPARE(front->history->firstPage, 2);
    QCOMPARE(QByteArray(front->profileName), QByteArray("Coated"));

    const KXJOB* flyer = jobs->next;
    QVERIFY(!flyer->publicationName);
    QCOMPARE(flyer->pageNumber, -1);
    QVERIFY(!flyer->colours && !flyer->comments && !flyer->sections && !flyer->history && !flyer->profileName);

    // Packed the way a reply builder packs it.
    KXJOB_CC packet;
    KXJOB* job = jobs;
    RemoveItemFromList(jobs, job);
    packet.setName(job->name);
    KXJOB_CC::trimLists(job);
    packet.setData(reinterpret_cast<unsigned char*>(job));
    unsigned int length = 0;
    char* text = packet.toPacket(length);
    QCOMPARE(QByteArray(text, int(length)),
             QByteArray("SI 15\n01 Front\n02 Morning Post\n03 7\n04 3\n05 A 1\n06 3 1 2 255\n"
                        "0A 2 first proof\rsecond\n12 Coated\nSL 1\nSI 5\n01 News\n02 1\n03 8\nTI 0\nTL 0\nTI 0\n"));
    KX_free(text);
    KXPacketFreeList(jobs, PDT_JOB);
}

void TestKxHostCommServer::books()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    KXBOOK* books = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 1});
    QCOMPARE(command.command, int(KXCMD_GETBOOKS));
    QCOMPARE(names(books), QStringList({QStringLiteral("Atlas"), QStringLiteral("Almanac")}));
    QCOMPARE(books->pageCount, 3u);
    QCOMPARE(books->pages[2], 3u);
    QCOMPARE(books->dbKey.key, 0xbu);
    QCOMPARE(QByteArray(books->profileName), QByteArray("Coated"));
    QVERIFY(!books->next->pages && !books->next->profileName);
    KXPacketFreeList(books, PDT_BOOK);

    books = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_DESCENDING, KXKEY_ELEMENT{0xb, 1});
    QCOMPARE(names(books), QStringList({QStringLiteral("Almanac"), QStringLiteral("Atlas")}));
    KXPacketFreeList(books, PDT_BOOK);

    QVERIFY(!server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xa, 1})); // outputs
    QVERIFY(!server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 2}));
}

void TestKxHostCommServer::queryCounts()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    QCOMPARE(server->totalQueryCount(), 0);
    KXDBENTRY* list = server->getDBList(command, message, PDT_OUTPUTDB);
    server->iserror(command);
    for (KXDBENTRY* entry = list; entry; entry = entry->next) {
        KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL,
                                          SORTORDER_ASCENDING, server->getidfromkxkey(entry->key));
        KXPacketFreeList(jobs, PDT_JOB);
    }
    KXPacketFreeList(list, PDT_DBENTRY);
    KXBOOK* books = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, KXKEY_ELEMENT{0xb, 1});
    KXPacketFreeList(books, PDT_BOOK);

    QCOMPARE(server->queryCount("getDBList"), 1);
    QCOMPARE(server->queryCount("iserror"), 1);
    QCOMPARE(server->queryCount("getidfromkxkey"), 2);
    QCOMPARE(server->queryCount("getJobqueue"), 2);
    QCOMPARE(server->queryCount("getBooks"), 1);
    QCOMPARE(server->queryCount("noSuchOperation"), 0);
    QCOMPARE(server->totalQueryCount(), 7);
    server->resetQueryCounts();
    QCOMPARE(server->queryCount("getJobqueue"), 0);
    QCOMPARE(server->totalQueryCount(), 0);
}

void TestKxHostCommServer::profileLoadByHostAndPort()
{
    std::string host = "press01.example";
    std::string other = "press02.example";
    ICCPROFILEDATA_CC profile;
    profile.setName("Coated");
    profile.load(host, 7010); // nothing open yet
    QVERIFY(!profile.hasElement(0x2));
    {
        std::unique_ptr<KXCommServer> server = openDataset();
        profile.load(host, 7011);
        QVERIFY(!profile.hasElement(0x2));
        profile.load(other, 7010);
        QVERIFY(!profile.hasElement(0x2));
        profile.load(host, 7010);
        QCOMPARE(profileData(profile), QByteArray("\x0a\x0b\x0c"));

        ICCPROFILEDATA_CC unknown;
        unknown.setName("Glossy");
        unknown.load(host, 7010);
        QVERIFY(!unknown.hasElement(0x2));

        ICCPROFILEDATA_CC empty;
        empty.setName("Empty");
        empty.load(host, 7010);
        QVERIFY(empty.hasElement(0x2));
        unsigned int length = 9;
        empty.getProfileData(length);
        QCOMPARE(length, 0u);

        // Without a name the packet's element 1 names the profile; the text shows the data.
        ICCPROFILEDATA_CC byElement;
        char text[] = "SI 30\n01 Coated\n03 4.2\nTI 0\n";
        QVERIFY(byElement.fromPacket(text, static_cast<unsigned int>(std::strlen(text)), false, true));
        byElement.load(host, 7010);
        unsigned int textLength = 0;
        char* written = byElement.toPacket(textLength);
        QCOMPARE(QByteArray(written, int(textLength)), QByteArray("SI 30\n01 Coated\n02 3 0A0B0C\n03 4.2\nTI 0\n"));
        KX_free(written);

        // The most recently opened connection under the same host and port answers.
        std::unique_ptr<KXCommServer> newer = openDataset(withConnection("press01.example", 7010, "FF"));
        QVERIFY(newer);
        profile.load(host, 7010);
        QCOMPARE(profileData(profile), QByteArray("\xff"));
        newer.reset();
        profile.load(host, 7010);
        QCOMPARE(profileData(profile), QByteArray("\x0a\x0b\x0c"));
    }
    // Closed connections are forgotten; the data loaded stays.
    ICCPROFILEDATA_CC later;
    later.setName("Coated");
    later.load(host, 7010);
    QVERIFY(!later.hasElement(0x2));
    QCOMPARE(profileData(profile), QByteArray("\x0a\x0b\x0c"));
}

void TestKxHostCommServer::archiveTree()
{
    std::unique_ptr<KXCommServer> server = openDataset();
    const ArchiveNode* root = server->archive();
    QVERIFY(!root->getPacket());
    QVERIFY(!root->getParent());
    QCOMPARE(root->getChildCount(), std::size_t(4));
    QVERIFY(!root->getChild(4));

    const ArchiveNode* letter = root->getChild(0);
    QCOMPARE(letter->getParent(), root);
    QCOMPARE(letter->getRoot(), root);
    const KXPacketable* packet = letter->getPacket();
    QCOMPARE(packet->datatype, PDT_LETTER);
    QCOMPARE(QByteArray(packet->name), QByteArray("Letter"));
    QCOMPARE(packet->key.key, 0x12u);
    QCOMPARE(packet->key.hkey, 3u);
    QCOMPARE(QByteArray(packet->getText(0x10)), QByteArray("Dear sir"));
    QCOMPARE(letter->getChildCount(), std::size_t(2));
    QCOMPARE(letter->getChild(0)->getChild(0)->getRoot(), root);

    // Each node holds a packet of its type's class.
    QVERIFY(dynamic_cast<const KXJOB_CC*>(letter->getChild(0)->getPacket()));
    QVERIFY(dynamic_cast<const ICCPROFILEDATA_CC*>(letter->getChild(1)->getPacket()));
    const auto* entry = dynamic_cast<const KXDBENTRY_CC*>(root->getChild(1)->getPacket());
    QVERIFY(entry && entry->dbentry);
    QVERIFY(!entry->name);
    QCOMPARE(QByteArray(entry->dbentry->name), QByteArray("North"));
    QCOMPARE(root->getChild(3)->getPacket()->datatype, PDT_OPAQUE);

    // The profile packet in the archive is loaded in place.
    auto* profile = dynamic_cast<ICCPROFILEDATA_CC*>(letter->getChild(1)->getPacket());
    std::string host = server->getConnectedHostname();
    profile->load(host, server->getConnectedPortnum());
    QCOMPARE(profileData(*profile), QByteArray("\x0a\x0b\x0c"));
}

void TestKxHostCommServer::findNode_data()
{
    QTest::addColumn<uint>("key");
    QTest::addColumn<uint>("hkey");
    QTest::addColumn<QByteArray>("name"); // null: no name
    QTest::addColumn<QByteArray>("found");
    QTest::addColumn<QByteArray>("foundKey");

    QTest::newRow("by key, top level") << 0x12u << 3u << QByteArray() << QByteArray("Letter") << QByteArray("12:3");
    QTest::newRow("by key, nested") << 0x100u << 1u << QByteArray() << QByteArray("Front") << QByteArray("100:1");
    QTest::newRow("by name, nested") << 0u << 0u << QByteArray("Coated") << QByteArray("Coated") << QByteArray("30:1");
    QTest::newRow("by name, depth first") << 0u << 0u << QByteArray("Twin") << QByteArray("Twin") << QByteArray("31:1");
    QTest::newRow("by key before name") << 0x31u << 2u << QByteArray("Letter") << QByteArray("Twin") << QByteArray("31:2");
    QTest::newRow("half key: by name") << 0x12u << 0u << QByteArray("Coated") << QByteArray("Coated") << QByteArray("30:1");
    QTest::newRow("record name of a database entry") << 0u << 0u << QByteArray("North") << QByteArray("(unnamed)") << QByteArray("a:1");
    QTest::newRow("opaque packet by name") << 0u << 0u << QByteArray("Blob") << QByteArray("Blob") << QByteArray("0:0");
    QTest::newRow("unknown key") << 0x99u << 1u << QByteArray() << QByteArray("(none)") << QByteArray();
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
    std::unique_ptr<KXCommServer> server = openDataset();
    const KXDB_REFERENCE ref = reference(KXKEY_ELEMENT{key, hkey}, name.isNull() ? nullptr : name.constData());

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
    const KXDB_REFERENCE ref = reference(KXKEY_CC::getNullKey(), "Child");
    QCOMPARE(grandChild->findNode(&ref), child);

    // A deep chain is destroyed without recursion.
    ArchiveNode* node = grandChild;
    for (int i = 0; i < 100000; ++i)
        node = node->appendChild(new ArchiveNode);
    const KXDB_REFERENCE deep = reference(KXKEY_CC::getNullKey(), "Grandchild");
    QCOMPARE(node->findNode(&deep), grandChild);
}

void TestKxHostCommServer::sampleDataset()
{
    std::string error;
    std::unique_ptr<KXCommServer> server = KXCommServer::open(KXHOST_SAMPLE_DATASET, &error);
    QVERIFY2(server, error.c_str());
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;

    // Output databases, each with jobs; publications with several jobs, one with tied pages.
    KXDBENTRY* outputs = server->getDBList(command, message, PDT_OUTPUTDB);
    QVERIFY(!server->iserror(command));
    QVERIFY(outputs && outputs->next);
    QMap<QString, QList<int>> pagesByPublication;
    int jobsWithoutPublication = 0;
    for (KXDBENTRY* entry = outputs; entry; entry = entry->next) {
        KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL,
                                          SORTORDER_ASCENDING, server->getidfromkxkey(entry->key));
        QVERIFY(jobs);
        for (KXJOB* job = jobs; job; job = job->next) {
            if (job->publicationName)
                pagesByPublication[QString::fromUtf8(job->publicationName)] << job->pageNumber;
            else
                ++jobsWithoutPublication;
        }
        KXPacketFreeList(jobs, PDT_JOB);
    }
    KXPacketFreeList(outputs, PDT_DBENTRY);
    QVERIFY(pagesByPublication.size() >= 2);
    QVERIFY(jobsWithoutPublication >= 1);
    bool tie = false;
    for (const QList<int>& pages : pagesByPublication) {
        QVERIFY(pages.size() >= 2);
        const int lowest = *std::min_element(pages.begin(), pages.end());
        tie = tie || pages.count(lowest) > 1;
    }
    QVERIFY(tie);

    // A book database with books, and a colour profile on the server.
    KXDBENTRY* bookDatabases = server->getDBList(command, message, PDT_BOOKDB);
    QVERIFY(bookDatabases);
    KXBOOK* books = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, bookDatabases->key);
    QVERIFY(books);
    KXPacketFreeList(books, PDT_BOOK);
    KXPacketFreeList(bookDatabases, PDT_DBENTRY);
    ICCPROFILEDATA_CC profile;
    profile.setName("Coated");
    std::string host = server->getConnectedHostname();
    profile.load(host, server->getConnectedPortnum());
    QVERIFY(profile.hasElement(0x2));

    // An archive whose packets refer to others by key and by name, all found in the tree.
    bool byKey = false;
    bool byName = false;
    std::vector<const ArchiveNode*> pending{server->archive()};
    while (!pending.empty()) {
        const ArchiveNode* node = pending.back();
        pending.pop_back();
        for (std::size_t i = 0; i < node->getChildCount(); ++i)
            pending.push_back(node->getChild(i));
        if (!node->getPacket())
            continue;
        KXDB_REFERENCE* chain = node->getPacket()->getReferences();
        for (const KXDB_REFERENCE* ref = chain; ref; ref = ref->next) {
            if (!node->findNode(ref))
                continue;
            byKey = byKey || !ref->name;
            byName = byName || ref->name;
        }
        KXFreeReferences(chain);
    }
    QVERIFY(byKey);
    QVERIFY(byName);
}

QTEST_APPLESS_MAIN(TestKxHostCommServer)
#include "tst_kxhost_commserver.moc"
