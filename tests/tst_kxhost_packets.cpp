// Host packets with records: adopting records (setData), copying through base references,
// the records built by fromPacket, reference chains, and the record list functions.

#include "hosttesthelpers.h"

#include <QTest>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <typeinfo>

using namespace hosttest;

namespace {

// A zeroed record of any kind, named @p name.
template<typename T>
T* named(const char* name)
{
    T* record = static_cast<T*>(std::calloc(1, sizeof(T)));
    record->name = strdup(name);
    return record;
}

unsigned int typeOf(const KXDBENTRY*) { return PDT_DBENTRY; }
unsigned int typeOf(const KXJOB*) { return PDT_JOB; }
unsigned int typeOf(const KXBOOK*) { return PDT_BOOK; }

// A list of records named by the letters of @p letters.
template<typename T>
T* listOf(const char* letters)
{
    T* head = nullptr;
    for (T** tail = &head; *letters; tail = &(*tail)->next)
        *tail = named<T>(std::string(1, *letters++).c_str());
    return head;
}

// A malloc'ed array of @p values, as records hold them.
template<typename T>
T* array(std::initializer_list<T> values)
{
    T* result = static_cast<T*>(std::malloc(values.size() * sizeof(T)));
    std::copy(values.begin(), values.end(), result);
    return result;
}

KXSECTION* section(const char* title, int firstPage, KXSECTION* next = nullptr)
{
    auto* result = static_cast<KXSECTION*>(std::calloc(1, sizeof(KXSECTION)));
    *result = KXSECTION{next, strdup(title), firstPage, 4};
    return result;
}

KXJOB* makeJob(const char* name, int page = 1)
{
    KXJOB* job = named<KXJOB>(name);
    job->pageNumber = page;
    job->queue = KXQUEUE_ACTIVE;
    return job;
}

KXJOB* fullJob()
{
    KXJOB* job = makeJob("Front", 3);
    job->publicationName = strdup("Morning Post");
    job->publicationNumber = 7;
    job->key = KXKEY_ELEMENT{0x100, 1};
    job->dbKey = KXKEY_ELEMENT{0xa, 1};
    job->colourCount = 2;
    job->colours = array<unsigned char>({1, 255});
    job->commentCount = 2;
    job->comments = array<char*>({strdup("first proof"), strdup("second")});
    job->sections = section("News", 1, section("Sport", 5));
    job->history = section("v1", 1);
    job->profileName = strdup("Coated");
    return job;
}

KXDBENTRY* makeEntry(const char* name, KXKEY_ELEMENT key, int id, int kind)
{
    KXDBENTRY* entry = named<KXDBENTRY>(name);
    entry->key = key;
    entry->id = id;
    entry->kind = kind;
    return entry;
}

template<typename T>
unsigned char* data(T* record)
{
    return reinterpret_cast<unsigned char*>(record);
}

// The attached record of a packet of any class; null for generic packets.
const void* recordOf(const KXPacketable& packet)
{
    if (const auto* entry = dynamic_cast<const KXDBENTRY_CC*>(&packet))
        return entry->getEntry();
    if (const auto* job = dynamic_cast<const KXJOB_CC*>(&packet))
        return job->getJob();
    if (const auto* book = dynamic_cast<const BOOK_CC*>(&packet))
        return book->getBook();
    return nullptr;
}

// A copy made by the copy constructor of the packet's own class.
std::unique_ptr<KXPacketable> copyConstructed(const KXPacketable& packet)
{
    if (const auto* entry = dynamic_cast<const KXDBENTRY_CC*>(&packet))
        return std::make_unique<KXDBENTRY_CC>(*entry);
    if (const auto* job = dynamic_cast<const KXJOB_CC*>(&packet))
        return std::make_unique<KXJOB_CC>(*job);
    if (const auto* book = dynamic_cast<const BOOK_CC*>(&packet))
        return std::make_unique<BOOK_CC>(*book);
    return std::make_unique<KXPacketable>(packet);
}

// Why a job packet holding @p job cannot be written; "written" when it can.
QByteArray refusal(KXJOB* job)
{
    KXJOB_CC packet;
    packet.setData(data(job));
    unsigned int length = 99;
    char* text = packet.toPacket(length);
    KX_free(text);
    return text || length ? QByteArray("written") : QByteArray(packet.lastError());
}

// Appends, unlinks and frees lists of kind T, including null lists and parts of the head itself.
template<typename T>
void checkListFunctions()
{
    T* head = nullptr;
    AddListList(head, static_cast<T*>(nullptr));
    QVERIFY(!head);
    AddListList(head, listOf<T>("a"));
    AddListList(head, static_cast<T*>(nullptr));
    QCOMPARE(names(head), QByteArray("a"));
    AddListList(head, listOf<T>("bcd"));
    // Appending a list that is already part of the head would make a cycle: refused.
    AddListList(head, head->next);
    AddListList(head, head);
    QCOMPARE(names(head), QByteArray("a,b,c,d"));
    // Taking off the head, then a record in the middle, then one that is not in the list:
    // each leaves the rest linked, and keeps no successor.
    for (T* item : {head, head->next->next, named<T>("stranger"), static_cast<T*>(nullptr)}) {
        RemoveItemFromList(head, item);
        QVERIFY(!item || !item->next);
        KXPacketFreeItem(item, typeOf(head));
    }
    QCOMPARE(names(head), QByteArray("b,d"));
    // A record freed alone leaves its successors alone.
    T* rest = head->next;
    KXPacketFreeItem(head, typeOf(head));
    QCOMPARE(names(rest), QByteArray("d"));
    KXPacketFreeList(rest, typeOf(rest));
    QVERIFY(!rest);
    KXPacketFreeList(rest, typeOf(rest)); // an empty list
}

} // namespace

class TestKxHostPackets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void adoptedRecordsAreWritten();
    void trimListsAndPageNumber();
    void recordsThatCannotBeWritten();
    void copies_data();
    void copies();
    void recordsFromText();
    void referenceChains_data();
    void referenceChains();
    void listFunctions();
};

void TestKxHostPackets::adoptedRecordsAreWritten()
{
    KXDBENTRY_CC entry;
    KXDBENTRY* record = makeEntry("North", KXKEY_ELEMENT{0xa, 1}, 12, KXDBKIND_OUTPUT);
    entry.setData(data(record));
    QCOMPARE(entry.getEntry(), record);
    QVERIFY(!entry.name); // the name comes from setName only
    entry.setData(nullptr);
    QVERIFY(!entry.getEntry());
    QCOMPARE(textOf(entry), QByteArray("SI 8\nTI 0\n"));

    // Each record given replaces and frees the one before (the sanitizer build reports a leak
    // or a double free if not).
    KXJOB_CC job;
    KXJOB* jobRecord = fullJob();
    job.setData(data(jobRecord));
    QCOMPARE(job.getJob(), jobRecord);
    QCOMPARE(job.key.key, 0x100u);
    QCOMPARE(job.key.hkey, 1u);
    // The sections list stays first, empty, so the history is still the second list.
    KXJOB* old = makeJob("Old");
    old->history = section("v1", 1);
    job.setData(data(old));
    job.setData(data(old)); // the same record again: kept
    QCOMPARE(textOf(job), QByteArray("SI 15\n01 Old\n04 1\nSL 0\nTL 0\nSL 1\nSI 5\n01 v1\n02 1\n03 4\nTI 0\nTL 0\nTI 0\n"));

    BOOK_CC book;
    book.key = KXKEY_ELEMENT{7, 7};
    KXBOOK* bookRecord = named<KXBOOK>("Atlas");
    book.setData(data(bookRecord));
    QCOMPARE(book.getBook(), bookRecord);
    QCOMPARE(book.key.key, 7u); // books have no key of their own

    // Generic packets hold no record: the caller keeps it.
    KXPacketable letter(PDT_LETTER);
    QVERIFY(parse(letter, "SI 1F\n10 x\nTI 0\n"));
    KXJOB* kept = makeJob("kept by the caller");
    letter.setData(data(kept));
    QCOMPARE(textOf(letter), QByteArray("SI 1F\n10 x\nTI 0\n"));
    KXPacketFreeItem(kept, PDT_JOB);
}

void TestKxHostPackets::trimListsAndPageNumber()
{
    KXJOB* job = fullJob();
    QCOMPARE(KXJOB_CC::pageNumber(nullptr), 0);
    KXJOB_CC::trimLists(job);
    QVERIFY(!job->history);
    KXJOB_CC::trimLists(job); // twice is fine
    KXJOB_CC::trimLists(nullptr);
    KXJOB_CC packet;
    packet.setData(data(job));
    QCOMPARE(textOf(packet), QByteArray("SI 15\n01 Front\n02 Morning Post\n03 7\n04 3\n05 A 1\n06 2 1 255\n"
                                        "0A 2 first proof\rsecond\n12 Coated\n"
                                        "SL 2\nSI 5\n01 News\n02 1\n03 4\nTI 0\nSI 5\n01 Sport\n02 5\n03 4\nTI 0\nTL 0\nTI 0\n"));
}

void TestKxHostPackets::recordsThatCannotBeWritten()
{
    QCOMPARE(refusal(makeJob("two\nlines")), QByteArray("tag 01: control character U+000A in a text value"));
    QCOMPARE(refusal(makeJob("wide", 40000)), QByteArray("tag 04: value 40000 does not fit -32768 to 32767"));
    KXJOB* comment = makeJob("comment");
    comment->commentCount = 1;
    comment->comments = array<char*>({strdup("a\rb")});
    QVERIFY(refusal(comment).startsWith("tag 0A: control character U+000D"));
    // A publication number beyond the element's 32-bit signed range is refused, not wrapped.
    KXJOB* publication = makeJob("big");
    publication->publicationName = strdup("P");
    publication->publicationNumber = 3000000000u;
    QVERIFY(refusal(publication).startsWith("tag 03: value 3000000000 does not fit"));
}

void TestKxHostPackets::copies_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<uint>("targetType"); // the class of the packet assigned to
    QTest::newRow("database entry") << 8u << 8u;
    QTest::newRow("job") << 21u << 21u;
    QTest::newRow("letter") << 31u << 31u;
    QTest::newRow("book") << 86u << 86u;
    // A generic packet takes the job's data type and elements, not its record; a job packet
    // given a letter drops its record.
    QTest::newRow("job to a generic packet") << 21u << 31u;
    QTest::newRow("letter to a job packet") << 31u << 21u;
}

void TestKxHostPackets::copies()
{
    QFETCH(uint, type);
    QFETCH(uint, targetType);
    std::unique_ptr<KXPacketable> source = packetOf(type);
    source->setName("Source");
    source->key = KXKEY_ELEMENT{0x12, 3};
    switch (type) {
    case PDT_DBENTRY: source->setData(data(makeEntry("North", KXKEY_ELEMENT{0x12, 3}, 4, 1))); break;
    case PDT_JOB: source->setData(data(fullJob())); break;
    case PDT_LETTER: QVERIFY(parse(*source, "SI 1F\n10 x\nSL 1\nSI 5\n01 s\nTI 0\nTL 0\nTI 0\n")); break;
    case PDT_BOOK: source->setData(data(named<KXBOOK>("Atlas"))); break;
    }
    const QByteArray sourceText = textOf(*source);

    // Assigned through a base reference (to a packet holding a record of its own), and
    // copy-constructed as its own class.
    std::unique_ptr<KXPacketable> assigned = packetOf(targetType);
    assigned->setName("Target");
    if (targetType == PDT_JOB)
        assigned->setData(data(makeJob("Target")));
    KXPacketable& base = *assigned;
    base = *source;
    for (const auto& target : {std::move(assigned), copyConstructed(*source)}) {
        QCOMPARE(uint(target->datatype), type);
        QCOMPARE(target->key.key, source->key.key);
        QCOMPARE(target->key.hkey, source->key.hkey);
        QCOMPARE(QByteArray(target->name), QByteArray("Source"));
        QVERIFY(target->name != source->name);
        QCOMPARE(textOf(*target), sourceText);
        // The attached record is a deep copy.
        const bool holdsRecord = type != PDT_LETTER && typeid(*target) == typeid(*source);
        QCOMPARE(recordOf(*target) != nullptr, holdsRecord);
        QVERIFY(!holdsRecord || recordOf(*target) != recordOf(*source));
    }
    // It outlives the source; assigning a packet to itself changes nothing.
    std::unique_ptr<KXPacketable> target = copyConstructed(*source);
    source.reset();
    KXPacketable& self = *target;
    self = *target;
    QCOMPARE(textOf(*target), sourceText);
    QCOMPARE(QByteArray(target->name), QByteArray("Source"));
    if (const auto* job = dynamic_cast<const KXJOB_CC*>(target.get()))
        QCOMPARE(QByteArray(job->getJob()->history->title), QByteArray("v1"));
}

void TestKxHostPackets::recordsFromText()
{
    // A database-entry packet builds its record from the elements and the packet's key.
    KXDBENTRY_CC entry;
    entry.key = KXKEY_ELEMENT{0xa, 2};
    entry.setData(data(makeEntry("Old", KXKEY_ELEMENT{1, 1}, 1, 1)));
    QVERIFY(parse(entry, "SI 8\n01 South\n02 2\n03 -7\nTI 0\n"));
    QCOMPARE(QByteArray(entry.getEntry()->name), QByteArray("South"));
    QCOMPARE(entry.getEntry()->kind, 2);
    QCOMPARE(entry.getEntry()->id, -7);
    QCOMPARE(entry.getEntry()->key.key, 1u); // the packet's key (setData took over the old record's)
    entry.key = KXKEY_ELEMENT{0xb, 3}; // as a packet rebuilt from XML gets its key, after the parse
    QCOMPARE(entry.getEntry()->key.key, 0xbu);
    QCOMPARE(entry.getEntry()->key.hkey, 3u);
    QVERIFY(parse(entry, "SI 8\nTI 0\n"));
    QVERIFY(entry.getEntry() && !entry.getEntry()->name);
    QCOMPARE(entry.getEntry()->id, 0);
    QCOMPARE(entry.getEntry()->kind, 0);
    const KXDBENTRY* before = entry.getEntry();
    QVERIFY(!parse(entry, "SI 8\n04 x\nTI 0\n"));
    QCOMPARE(entry.getEntry(), before); // a failed parse keeps the record

    // Job and book packets release theirs.
    KXJOB_CC job;
    job.setData(data(fullJob()));
    QVERIFY(parse(job, "SI 15\n01 New\nTI 0\n"));
    QVERIFY(!job.getJob());
    BOOK_CC book;
    book.setData(data(named<KXBOOK>("Atlas")));
    QVERIFY(parse(book, "SI 56\n01 New\nTI 0\n"));
    QVERIFY(!book.getBook());
}

void TestKxHostPackets::referenceChains_data()
{
    QTest::addColumn<QByteArray>("text"); // a letter's
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("key before name, in table order")
        << QByteArray("SI 1F\n1B Coated\n11 100 1\n10 x\nTI 0\n") << QByteArray("key 100:1,name Coated");
    QTest::newRow("empty and null references are listed") << QByteArray("SI 1F\n11 0 0\n1B \nTI 0\n")
                                                          << QByteArray("key 0:0,name ");
}

void TestKxHostPackets::referenceChains()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, expected);
    std::unique_ptr<KXPacketable> packet = packetOf(PDT_LETTER);
    QVERIFY2(parse(*packet, text), packet->lastError());
    KXDB_REFERENCE* chain = packet->getReferences();
    QByteArrayList actual;
    for (const KXDB_REFERENCE* reference = chain; reference; reference = reference->next) {
        actual << (reference->name ? QByteArray("name " + QByteArray(reference->name))
                                   : QByteArray("key " + QByteArray::number(reference->key.key, 16) + ':'
                                                + QByteArray::number(reference->key.hkey, 16)));
    }
    KXFreeReferences(chain);
    QCOMPARE(actual.join(','), expected);
}

void TestKxHostPackets::listFunctions()
{
    // Every record kind has its own overloads: each is run.
    checkListFunctions<KXJOB>();
    checkListFunctions<KXBOOK>();
    checkListFunctions<KXDBENTRY>();
    KXFreeReferences(nullptr);
    KX_free(nullptr);
}

QTEST_APPLESS_MAIN(TestKxHostPackets)
#include "tst_kxhost_packets.moc"
