// The calls the library makes into the host libraries, in the order a real host sees them:
// converting a packet, inlining archive packets, and answering list requests (single
// replies and paged ones alike, with the replies they give).
#include "hosttesthelpers.h"
#include "routertesthelpers.h"
#include "testhelpers.h"

#include <kxxml/kxxml.h>

#include <QtTest>

#include <memory>

using namespace TestHelpers;

namespace {

QStringList list(const char* calls)
{
    return QString::fromUtf8(calls).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// The names of @p packetables, as texts, separated by blanks.
QString names(const QStringList& packetables)
{
    QStringList result;
    for (const QString& text : packetables)
        result << XMLPacketable::getName(parseElement(text));
    return result.join(QLatin1Char(' '));
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
    ArchiveNode* node = hosttest::nodeNamed(*server->archive(), entry.toUtf8().constData());
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
    QTest::addColumn<int>("exclude"); // -1: not said
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("reply"); // the packetables' names; null: no reply
    const QList<KXKEY_ELEMENT> none;
    QTest::newRow("outputs") << int(Outputs) << QByteArray() << none << -1
                             << list("getDBList(15)\niserror()\nRemoveItemFromList(North, North)\n<8>.setData(North)\n"
                                     "RemoveItemFromList(South, South)\n<8>.setData(South)")
                             << "North South";
    QTest::newRow("jobs of every database, publications left out")
            << int(Jobs) << QByteArray() << none << -1
            << list("getDBList(15)\niserror()\ngetidfromkxkey(a:1)\ngetJobqueue(3, 4, 0, 1)\nAddListList(null, Front)\n"
                    "getidfromkxkey(b:1)\ngetJobqueue(3, 4, 0, 2)\nAddListList(Front, Back)\nKXPacketFreeList(North, 8)\n"
                    "RemoveItemFromList(Front, Front)\ntrimLists(Front)\nFront.setData(Front)\n"
                    "RemoveItemFromList(P1, P1)\nKXPacketFreeItem(P1, 21)\nRemoveItemFromList(P2, P2)\nKXPacketFreeItem(P2, 21)\n"
                    "RemoveItemFromList(P3, P3)\nKXPacketFreeItem(P3, 21)\n"
                    "RemoveItemFromList(Back, Back)\nKXPacketFreeItem(Back, 21)\nKXPacketFreeList(null, 21)")
            << "Front";
    QTest::newRow("jobs of two databases in request order")
            << int(Jobs) << QByteArray() << QList<KXKEY_ELEMENT>{{0xb, 1}, {0xa, 1}} << 0
            << list("getidfromkxkey(b:1)\ngetJobqueue(3, 4, 0, 2)\nAddListList(null, Back)\n"
                    "getidfromkxkey(a:1)\ngetJobqueue(3, 4, 0, 1)\nAddListList(Back, Front)\n"
                    "RemoveItemFromList(Back, Back)\ntrimLists(Back)\nBack.setData(Back)\n"
                    "RemoveItemFromList(Front, Front)\ntrimLists(Front)\nFront.setData(Front)\n"
                    "RemoveItemFromList(P1, P1)\ntrimLists(P1)\nP1.setData(P1)\n"
                    "RemoveItemFromList(P2, P2)\ntrimLists(P2)\nP2.setData(P2)\n"
                    "RemoveItemFromList(P3, P3)\ntrimLists(P3)\nP3.setData(P3)\nKXPacketFreeList(null, 21)")
            << "Back Front P1 P2 P3";
    // One job per publication, in ascending number: of two on the smallest page, the first.
    QTest::newRow("publications")
            << int(Publications) << QByteArray() << none << -1
            << list("getDBList(15)\niserror()\ngetidfromkxkey(a:1)\ngetJobqueue(3, 4, 0, 1)\nAddListList(null, Front)\n"
                    "getidfromkxkey(b:1)\ngetJobqueue(3, 4, 0, 2)\nAddListList(Front, Back)\nKXPacketFreeList(North, 8)\n"
                    "pageNumber(P2)\npageNumber(P1)\npageNumber(P3)\npageNumber(P2)\n"
                    "RemoveItemFromList(Front, Back)\ntrimLists(Back)\nStar.setData(Back)\n"
                    "RemoveItemFromList(Front, P2)\ntrimLists(P2)\nPost.setData(P2)\nKXPacketFreeList(Front, 21)")
            << "Star Post";
    QTest::newRow("books of two databases in request order")
            << int(Books) << QByteArray() << QList<KXKEY_ELEMENT>{{0xd, 1}, {0xc, 1}} << -1
            << list("getBooks(4, 0, d:1)\nAddListList(null, Bible)\ngetBooks(4, 0, c:1)\nAddListList(Bible, Atlas)\n"
                    "RemoveItemFromList(Bible, Bible)\nBible.setData(Bible)\n"
                    "RemoveItemFromList(Atlas, Atlas)\nAtlas.setData(Atlas)\nKXPacketFreeList(null, 86)")
            << "Bible Atlas";
    QTest::newRow("books, failing") << int(Books) << QByteArray("books") << none << -1
                                    << list("getDBList(85)\niserror()\nKXPacketFreeList(null, 8)") << QString();
}

void TestHostCalls::listRequests()
{
    QFETCH(int, code);
    QFETCH(QByteArray, failing);
    QFETCH(QList<KXKEY_ELEMENT>, keys);
    QFETCH(int, exclude);
    QFETCH(QStringList, calls);
    QFETCH(QString, reply);
    const QStringList only{QStringLiteral("getDBList"), QStringLiteral("iserror"), QStringLiteral("getidfromkxkey"),
                           QStringLiteral("getJobqueue"), QStringLiteral("getBooks"), QStringLiteral("AddListList"),
                           QStringLiteral("RemoveItemFromList"), QStringLiteral("KXPacketFreeItem"),
                           QStringLiteral("KXPacketFreeList"), QStringLiteral("pageNumber"), QStringLiteral("trimLists"),
                           QStringLiteral("setData")};
    // The single reply, and pages of one, two and three records, make the same calls and
    // give the same packetables: the pages numbered from 1, full but for the last, which
    // alone says that no more follow.
    QStringList single;
    for (int pageSize : {0, 1, 2, 3}) {
        const auto server = openDataset(failing);
        Requester requester;
        const QStringList made = hosttest::hostCalls([&] {
            XMLRouter router(server.get(), nullptr, "router");
            router.add(&requester);
            requestList(router, requester, code, pageSize, exclude, keys);
            runUntil();
            router.remove(&requester);
        }, only);
        if (made != calls)
            qWarning("page size %d:\n%s", pageSize, qPrintable(made.join(QLatin1Char('\n'))));
        QCOMPARE(made, calls);
        QCOMPARE(requester.replies.isEmpty(), reply.isNull());
        QCOMPARE(names(requester.packetables()), reply);
        if (pageSize == 0) {
            QVERIFY(requester.replies.size() <= 1 && !requester.replies.value(0).marked);
            single = requester.packetables();
        }
        QCOMPARE(requester.packetables(), single);
        for (int i = 0; i < requester.replies.size(); ++i) {
            const Reply& r = requester.replies.at(i);
            QVERIFY(r.source == -1 && r.destination == requester.getAgentID());
            if (pageSize > 0) {
                QVERIFY(r.marked && r.page == i + 1 && r.more == (i + 1 < requester.replies.size()));
                QVERIFY(r.more ? r.packetables.size() == pageSize : r.packetables.size() <= pageSize);
            }
        }
    }
}

QTEST_GUILESS_MAIN(TestHostCalls)
#include "tst_hostcalls.moc"
