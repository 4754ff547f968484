// The calls the library makes into the host libraries, in the order a real host sees them:
// converting a packet, inlining archive packets, and answering list requests (single
// replies and paged ones alike).
#include "hosttesthelpers.h"

#include <kxxml/kxxml.h>

#include <QtTest>

#include <functional>
#include <memory>

namespace {

enum Request { Outputs = 1000, Publications = 1001, Books = 1002, Jobs = 1003 };

// North holds a job of no publication and two of publication 7 (pages 3, then 1); South one
// more job; Library one book. The archive's letter refers to Front by key and by name, and
// to Coated, a colour profile, by name.
const char* const kDataset = R"({
  "format": "kxhost-dataset/1",
  "connection": { "host": "press01.example", "port": 7010 },
  "outputs": [
    { "name": "North", "key": "a:1", "id": 1, "jobs": [
        { "name": "Front", "page": 1, "key": "100:1" },
        { "name": "P1", "page": 3, "key": "101:1", "publication": { "name": "Post", "number": 7 } },
        { "name": "P2", "page": 1, "key": "102:1", "publication": { "name": "Post", "number": 7 } } ] },
    { "name": "South", "key": "b:1", "id": 2, "jobs": [ { "name": "Back", "page": 2, "key": "103:1" } ] } ],
  "books": [ { "name": "Library", "key": "c:1", "id": 3, "books": [ { "name": "Atlas" } ] } ],
  "profiles": [ { "name": "Coated", "data": "0A0B" } ],
  "archive": [
    { "type": "1f", "name": "Letter", "key": "12:3", "text": "SI 1F\n10 Dear sir\n11 100 1\n1B Coated\nTI 0\n" },
    { "type": "15", "name": "Front", "key": "100:1", "text": "SI 15\n01 Front\n12 Coated\nTI 0\n" },
    { "type": "15", "name": "Twice", "key": "104:1", "text": "SI 15\n01 Twice\n02 Coated\n12 Coated\nTI 0\n" },
    { "type": "30", "name": "Coated", "text": "SI 30\n01 Coated\n03 4.2\nTI 0\n" } ] })";

std::unique_ptr<KXCommServer> openDataset(const QByteArray& failing = {})
{
    QByteArray json(kDataset);
    if (!failing.isEmpty())
        json.replace("\"outputs\": [", QByteArray("\"failingQueries\": [\"" + failing + "\"], \"outputs\": ["));
    std::string error;
    auto server = hosttest::openJson(json, &error);
    if (!server)
        qFatal("dataset refused: %s", error.c_str());
    return server;
}

ArchiveNode* byName(const ArchiveNode& archive, const char* name)
{
    QByteArray text(name);
    const KXDB_REFERENCE reference{nullptr, KXKEY_CC::getNullKey(), text.data()};
    return archive.findNode(&reference);
}

QStringList list(const char* calls)
{
    return QString::fromUtf8(calls).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

class Requester : public XMLAgent
{
public:
    Requester() : XMLAgent(1) {}
    void receive(XMLPacket* packet) override
    {
        ++packets;
        delete packet;
    }
    int packets = 0;
};

// Sends one request and runs the event loop until the router has nothing left to do.
void request(KXCommServer& server, int code, int pageSize, const QList<KXKEY_ELEMENT>& keys, bool exclude)
{
    XMLRouter router(&server, nullptr, "router");
    Requester requester;
    router.add(&requester);
    XMLAction action(QStringLiteral("list"), code, requester.getAgentID());
    if (pageSize)
        action.setPageSize(pageSize);
    if (!exclude)
        action.setExcludePublications(false);
    QList<KXKEY_ELEMENT*> pointers;
    QList<KXKEY_ELEMENT> copies = keys;
    for (KXKEY_ELEMENT& key : copies)
        pointers << &key;
    if (!pointers.isEmpty())
        action.setKXKEYList(pointers);
    XMLPacket* packet = requester.getXMLPacket(router.getXMLCommServerID());
    packet->append(action);
    router.send(packet);
    QEventLoop loop;
    for (int idle = 0; idle < 3;)
        idle = loop.processEvents() ? 0 : idle + 1;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    router.remove(&requester);
}

} // namespace

Q_DECLARE_METATYPE(KXKEY_ELEMENT)

class TestHostCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packetToXml_data();
    void packetToXml();
    void archiveInlining_data();
    void archiveInlining();
    void listRequests_data();
    void listRequests();
};

void TestHostCalls::packetToXml_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<uint>("type");
    QTest::addColumn<QStringList>("calls");
    // The text form is read and its buffer freed before the packet is rebuilt from the XML.
    QTest::newRow("letter") << QByteArray("SI 1F\n10 Dear sir\nTI 0\n") << 31u
                            << list("Letter.toPacket(0)\nKXGetSystemStorageClassConv(31)\nKX_free(buffer)\n"
                                    "KXGetSystemStorageClassConv(31)\ngetPacketable(31)\n<1f>.fromPacket(23, false, true)\n"
                                    "<1f>.setName(Letter)\ngetNullKey()\nisValid(12:3)");
    QTest::newRow("no text form") << QByteArray() << 6u << list("Letter.toPacket(0)");
}

void TestHostCalls::packetToXml()
{
    QFETCH(QByteArray, text);
    QFETCH(uint, type);
    QFETCH(QStringList, calls);
    const auto packet = hosttest::packetOf(type);
    QVERIFY(text.isEmpty() || hosttest::parse(*packet, text));
    packet->setName("Letter");
    packet->key = {0x12, 0x3};
    XMLPacketable p;
    QCOMPARE(hosttest::hostCalls([&] { p.setData(*packet); }), calls);
}

void TestHostCalls::archiveInlining_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QStringList>("calls");
    // References are looked up one at a time, each inlined before the next is looked up; every
    // referring element gets a packet built for it alone.
    QTest::newRow("nested, by key then by name")
            << "Letter"
            << list("getPacketable(31)\nLetter.getReferences()\n"
                    "findNode(100:1 null)\ngetPacketable(21)\nFront.getReferences()\n"
                    "findNode(0:0 Coated)\nCoated.load(press01.example, 7010)\ngetPacketable(48)\nCoated.getReferences()\n"
                    "KXFreeReferences(0:0 Coated)\n"
                    "findNode(0:0 Coated)\nCoated.load(press01.example, 7010)\ngetPacketable(48)\nCoated.getReferences()\n"
                    "KXFreeReferences(100:1 null)");
    QTest::newRow("same node twice: a packet per reference and element")
            << "Twice"
            << list("getPacketable(21)\nTwice.getReferences()\nfindNode(0:0 Coated)\n"
                    "Coated.load(press01.example, 7010)\ngetPacketable(48)\nCoated.getReferences()\n"
                    "Coated.load(press01.example, 7010)\ngetPacketable(48)\nCoated.getReferences()\n"
                    "findNode(0:0 Coated)\n"
                    "Coated.load(press01.example, 7010)\ngetPacketable(48)\nCoated.getReferences()\n"
                    "Coated.load(press01.example, 7010)\ngetPacketable(48)\nCoated.getReferences()\n"
                    "KXFreeReferences(0:0 Coated)");
    // Without a cached packet there are no references to ask for, and no rebuilding either.
    QTest::newRow("opaque packet") << "Opaque" << QStringList();
}

void TestHostCalls::archiveInlining()
{
    QFETCH(QString, entry);
    QFETCH(QStringList, calls);
    const auto server = openDataset();
    auto* opaque = new KXPacketable(PDT_OPAQUE);
    opaque->setName("Opaque");
    server->archive()->appendChild(new ArchiveNode(opaque));
    ArchiveNode* node = byName(*server->archive(), entry.toUtf8().constData());
    QVERIFY(node);
    XMLPacketable p;
    const QStringList only{QStringLiteral("getReferences"), QStringLiteral("KXFreeReferences"), QStringLiteral("findNode"),
                           QStringLiteral("getPacketable"), QStringLiteral("load")};
    const QStringList made = hosttest::hostCalls([&] { p.setData(*server, node); }, only);
    if (made != calls)
        qWarning("%s", qPrintable(made.join(QLatin1Char('\n'))));
    QCOMPARE(made, calls);
}

void TestHostCalls::listRequests_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("failing");
    QTest::addColumn<QList<KXKEY_ELEMENT>>("keys");
    QTest::addColumn<bool>("exclude");
    QTest::addColumn<QStringList>("calls");
    const QList<KXKEY_ELEMENT> none;
    QTest::newRow("outputs") << int(Outputs) << QByteArray() << none << true
                             << list("getDBList(15)\niserror()\nRemoveItemFromList(North, North)\n<8>.setData(North)\n"
                                     "RemoveItemFromList(South, South)\n<8>.setData(South)");
    QTest::newRow("outputs, failing") << int(Outputs) << QByteArray("outputs") << none << true
                                      << list("getDBList(15)\niserror()");
    QTest::newRow("jobs of every database, publications left out")
            << int(Jobs) << QByteArray() << none << true
            << list("getDBList(15)\niserror()\ngetidfromkxkey(a:1)\ngetJobqueue(3, 4, 0, 1)\nAddListList(null, Front)\n"
                    "getidfromkxkey(b:1)\ngetJobqueue(3, 4, 0, 2)\nAddListList(Front, Back)\nKXPacketFreeList(North, 8)\n"
                    "RemoveItemFromList(Front, Front)\ntrimLists(Front)\nFront.setData(Front)\n"
                    "RemoveItemFromList(P1, P1)\nKXPacketFreeItem(P1, 21)\nRemoveItemFromList(P2, P2)\nKXPacketFreeItem(P2, 21)\n"
                    "RemoveItemFromList(Back, Back)\ntrimLists(Back)\nBack.setData(Back)\nKXPacketFreeList(null, 21)");
    QTest::newRow("jobs of two databases in request order")
            << int(Jobs) << QByteArray() << QList<KXKEY_ELEMENT>{{0xb, 1}, {0xa, 1}} << false
            << list("getidfromkxkey(b:1)\ngetJobqueue(3, 4, 0, 2)\nAddListList(null, Back)\n"
                    "getidfromkxkey(a:1)\ngetJobqueue(3, 4, 0, 1)\nAddListList(Back, Front)\n"
                    "RemoveItemFromList(Back, Back)\ntrimLists(Back)\nBack.setData(Back)\n"
                    "RemoveItemFromList(Front, Front)\ntrimLists(Front)\nFront.setData(Front)\n"
                    "RemoveItemFromList(P1, P1)\ntrimLists(P1)\nP1.setData(P1)\n"
                    "RemoveItemFromList(P2, P2)\ntrimLists(P2)\nP2.setData(P2)\nKXPacketFreeList(null, 21)");
    QTest::newRow("jobs, failing database list") << int(Jobs) << QByteArray("outputs") << none << true
                                                 << list("getDBList(15)\niserror()\nKXPacketFreeList(null, 8)\n"
                                                         "KXPacketFreeList(null, 21)");
    QTest::newRow("publications")
            << int(Publications) << QByteArray() << none << true
            << list("getDBList(15)\niserror()\ngetidfromkxkey(a:1)\ngetJobqueue(3, 4, 0, 1)\nAddListList(null, Front)\n"
                    "getidfromkxkey(b:1)\ngetJobqueue(3, 4, 0, 2)\nAddListList(Front, Back)\nKXPacketFreeList(North, 8)\n"
                    "pageNumber(P2)\npageNumber(P1)\nRemoveItemFromList(Front, P2)\ntrimLists(P2)\nPost.setData(P2)\n"
                    "KXPacketFreeList(Front, 21)");
    QTest::newRow("books") << int(Books) << QByteArray() << none << true
                           << list("getDBList(85)\niserror()\ngetBooks(4, 0, c:1)\nAddListList(null, Atlas)\n"
                                   "KXPacketFreeList(Library, 8)\nRemoveItemFromList(Atlas, Atlas)\nAtlas.setData(Atlas)\n"
                                   "KXPacketFreeList(null, 86)");
    QTest::newRow("books, failing") << int(Books) << QByteArray("books") << none << true
                                    << list("getDBList(85)\niserror()\nKXPacketFreeList(null, 8)");
}

void TestHostCalls::listRequests()
{
    QFETCH(int, code);
    QFETCH(QByteArray, failing);
    QFETCH(QList<KXKEY_ELEMENT>, keys);
    QFETCH(bool, exclude);
    QFETCH(QStringList, calls);
    const QStringList only{QStringLiteral("getDBList"), QStringLiteral("iserror"), QStringLiteral("getidfromkxkey"),
                           QStringLiteral("getJobqueue"), QStringLiteral("getBooks"), QStringLiteral("AddListList"),
                           QStringLiteral("RemoveItemFromList"), QStringLiteral("KXPacketFreeItem"),
                           QStringLiteral("KXPacketFreeList"), QStringLiteral("pageNumber"), QStringLiteral("trimLists"),
                           QStringLiteral("setData")};
    // The single reply, and pages of one and of two records, make the same calls.
    for (int pageSize : {0, 1, 2}) {
        const auto server = openDataset(failing);
        const QStringList made = hosttest::hostCalls([&] { request(*server, code, pageSize, keys, exclude); }, only);
        if (made != calls)
            qWarning("page size %d:\n%s", pageSize, qPrintable(made.join(QLatin1Char('\n'))));
        QCOMPARE(made, calls);
    }
}

QTEST_GUILESS_MAIN(TestHostCalls)
#include "tst_hostcalls.moc"
