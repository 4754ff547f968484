// Host packets with records: adopting records (setData), copying through base references,
// the records built by fromPacket, reference chains, and the record list functions.

#include <kxhost/kxhost.h>

#include <QByteArray>
#include <QStringList>
#include <QTest>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

QByteArray textOf(const KXPacketable& packet)
{
    unsigned int length = 0;
    char* text = packet.toPacket(length);
    const QByteArray result = text ? QByteArray(text, static_cast<int>(length)) : QByteArray();
    KX_free(text);
    return result;
}

bool parse(KXPacketable& packet, QByteArray text)
{
    return packet.fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true);
}

char* copy(const char* text)
{
    return text ? strdup(text) : nullptr;
}

template<typename T>
T* make()
{
    return static_cast<T*>(std::calloc(1, sizeof(T)));
}

KXSECTION* makeSections(std::initializer_list<const char*> titles)
{
    KXSECTION* head = nullptr;
    KXSECTION** tail = &head;
    int page = 1;
    for (const char* title : titles) {
        *tail = make<KXSECTION>();
        (*tail)->title = copy(title);
        (*tail)->firstPage = page;
        (*tail)->pageCount = 4;
        page += 4;
        tail = &(*tail)->next;
    }
    return head;
}

KXJOB* makeJob(const char* name, int page = 1)
{
    KXJOB* job = make<KXJOB>();
    job->name = copy(name);
    job->pageNumber = page;
    job->queue = KXQUEUE_ACTIVE;
    return job;
}

KXJOB* fullJob()
{
    KXJOB* job = makeJob("Front", 3);
    job->publicationName = copy("Morning Post");
    job->publicationNumber = 7;
    job->key = KXKEY_ELEMENT{0x100, 1};
    job->dbKey = KXKEY_ELEMENT{0xa, 1};
    job->colourCount = 2;
    job->colours = static_cast<unsigned char*>(std::malloc(2));
    job->colours[0] = 1;
    job->colours[1] = 255;
    job->commentCount = 2;
    job->comments = static_cast<char**>(std::calloc(2, sizeof(char*)));
    job->comments[0] = copy("first proof");
    job->comments[1] = copy("second");
    job->sections = makeSections({"News", "Sport"});
    job->history = makeSections({"v1"});
    job->profileName = copy("Coated");
    return job;
}

const char fullJobText[] = "SI 15\n01 Front\n02 Morning Post\n03 7\n04 3\n05 A 1\n06 2 1 255\n"
                           "0A 2 first proof\rsecond\n12 Coated\n"
                           "SL 2\nSI 5\n01 News\n02 1\n03 4\nTI 0\nSI 5\n01 Sport\n02 5\n03 4\nTI 0\nTL 0\n"
                           "SL 1\nSI 5\n01 v1\n02 1\n03 4\nTI 0\nTL 0\nTI 0\n";

KXDBENTRY* makeEntry(const char* name, KXKEY_ELEMENT key, int id, int kind)
{
    KXDBENTRY* entry = make<KXDBENTRY>();
    entry->name = copy(name);
    entry->key = key;
    entry->id = id;
    entry->kind = kind;
    return entry;
}

KXBOOK* makeBook(const char* name)
{
    KXBOOK* book = make<KXBOOK>();
    book->name = copy(name);
    return book;
}

template<typename T>
T* list(std::initializer_list<T*> records)
{
    T* head = nullptr;
    T** tail = &head;
    for (T* record : records) {
        *tail = record;
        tail = &record->next;
    }
    return head;
}

template<typename T>
QStringList names(const T* head)
{
    QStringList result;
    for (; head; head = head->next)
        result << QString::fromUtf8(head->name);
    return result;
}

QStringList references(const KXPacketable& packet)
{
    QStringList result;
    KXDB_REFERENCE* chain = packet.getReferences();
    for (const KXDB_REFERENCE* reference = chain; reference; reference = reference->next) {
        if (reference->name)
            result << QLatin1String("name:") + QString::fromUtf8(reference->name);
        else
            result << QStringLiteral("key:%1:%2").arg(reference->key.key, 0, 16).arg(reference->key.hkey, 0, 16);
    }
    KXFreeReferences(chain);
    return result;
}

} // namespace

class TestKxHostPackets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // adopting records
    void databaseEntryAdoptsRecord();
    void jobAdoptsRecord();
    void jobHistoryWithoutSections();
    void bookAdoptsRecord();
    void adoptingAnotherRecordFreesTheFirst();
    void genericPacketsHoldNoRecord();
    void trimListsAndPageNumber();
    void recordsThatCannotBeWritten();

    // copying
    void assignThroughBaseReferences_data();
    void assignThroughBaseReferences();
    void assignAcrossClasses();
    void copyConstructors();

    // parsing into packets with records
    void databaseEntryRecordFromText();
    void parsingReleasesJobAndBookRecords();
    void elementAccessors();

    // references
    void referenceChains_data();
    void referenceChains();

    // list functions
    void addListList();
    void removeItemFromList_data();
    void removeItemFromList();
    void freeListsAndItems();
};

void TestKxHostPackets::databaseEntryAdoptsRecord()
{
    KXDBENTRY_CC packet;
    KXDBENTRY* entry = makeEntry("North", KXKEY_ELEMENT{0xa, 1}, 12, KXDBKIND_OUTPUT);
    packet.setData(reinterpret_cast<unsigned char*>(entry));
    QCOMPARE(packet.dbentry, entry);
    QCOMPARE(packet.key.key, 0xau);
    QCOMPARE(packet.key.hkey, 1u);
    QVERIFY(!packet.name); // the name comes from setName only
    QCOMPARE(textOf(packet), QByteArray("SI 8\n01 North\n02 1\n03 12\nTI 0\n"));

    packet.setData(nullptr);
    QVERIFY(!packet.dbentry);
    QCOMPARE(textOf(packet), QByteArray("SI 8\nTI 0\n"));
}

void TestKxHostPackets::jobAdoptsRecord()
{
    KXJOB_CC packet;
    KXJOB* job = fullJob();
    packet.setData(reinterpret_cast<unsigned char*>(job));
    QCOMPARE(packet.getJob(), job);
    QCOMPARE(packet.key.key, 0x100u);
    QCOMPARE(packet.key.hkey, 1u);
    QCOMPARE(textOf(packet), QByteArray(fullJobText));

    // A job without publication, database key or lists writes only what it has.
    KXJOB_CC plain;
    plain.setData(reinterpret_cast<unsigned char*>(makeJob("Flyer", -2)));
    QCOMPARE(textOf(plain), QByteArray("SI 15\n01 Flyer\n04 -2\nTI 0\n"));
}

void TestKxHostPackets::jobHistoryWithoutSections()
{
    KXJOB* job = makeJob("Old");
    job->history = makeSections({"v1"});
    KXJOB_CC packet;
    packet.setData(reinterpret_cast<unsigned char*>(job));
    // The sections list stays first, empty, so the history is still the second list.
    QCOMPARE(textOf(packet), QByteArray("SI 15\n01 Old\n04 1\nSL 0\nTL 0\nSL 1\nSI 5\n01 v1\n02 1\n03 4\nTI 0\nTL 0\nTI 0\n"));
}

void TestKxHostPackets::bookAdoptsRecord()
{
    KXBOOK* book = makeBook("Atlas");
    book->pageCount = 3;
    book->pages = static_cast<unsigned int*>(std::malloc(3 * sizeof(unsigned int)));
    book->pages[0] = 1;
    book->pages[1] = 2;
    book->pages[2] = 4294967295u;
    book->dbKey = KXKEY_ELEMENT{0xb, 1};
    book->profileName = copy("Coated");
    BOOK_CC packet;
    packet.key = KXKEY_ELEMENT{7, 7};
    packet.setData(reinterpret_cast<unsigned char*>(book));
    QCOMPARE(packet.getBook(), book);
    QCOMPARE(packet.key.key, 7u); // books have no key of their own
    QCOMPARE(textOf(packet), QByteArray("SI 56\n01 Atlas\n02 3 1 2 4294967295\n03 B 1\n04 Coated\nTI 0\n"));
}

void TestKxHostPackets::adoptingAnotherRecordFreesTheFirst()
{
    // The sanitizer build reports a leak or a double free if this goes wrong.
    KXJOB_CC job;
    job.setData(reinterpret_cast<unsigned char*>(fullJob()));
    job.setData(reinterpret_cast<unsigned char*>(makeJob("Second", 2)));
    QCOMPARE(QByteArray(job.getJob()->name), QByteArray("Second"));
    job.setData(reinterpret_cast<unsigned char*>(const_cast<KXJOB*>(job.getJob()))); // same record again
    QCOMPARE(QByteArray(job.getJob()->name), QByteArray("Second"));

    KXDBENTRY_CC entry;
    entry.setData(reinterpret_cast<unsigned char*>(makeEntry("A", KXKEY_ELEMENT{1, 1}, 1, 1)));
    entry.setData(reinterpret_cast<unsigned char*>(makeEntry("B", KXKEY_ELEMENT{2, 1}, 2, 1)));
    QCOMPARE(QByteArray(entry.dbentry->name), QByteArray("B"));

    BOOK_CC book;
    book.setData(reinterpret_cast<unsigned char*>(makeBook("A")));
    book.setData(reinterpret_cast<unsigned char*>(makeBook("B")));
    QCOMPARE(QByteArray(book.getBook()->name), QByteArray("B"));

    // Records given to packets in a loop, as a reply builder does.
    KXJOB* jobs = list<KXJOB>({makeJob("a"), makeJob("b"), makeJob("c")});
    KXJOB_CC packet;
    QStringList written;
    while (jobs) {
        KXJOB* first = jobs;
        RemoveItemFromList(jobs, first);
        packet.setName(first->name);
        packet.setData(reinterpret_cast<unsigned char*>(first));
        written << QString::fromUtf8(packet.name);
    }
    QCOMPARE(written, QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestKxHostPackets::genericPacketsHoldNoRecord()
{
    KXPacketable letter(PDT_LETTER);
    QVERIFY(parse(letter, "SI 1F\n10 x\nTI 0\n"));
    KXJOB* job = makeJob("kept by the caller");
    letter.setData(reinterpret_cast<unsigned char*>(job));
    QCOMPARE(textOf(letter), QByteArray("SI 1F\n10 x\nTI 0\n"));
    KXPacketFreeItem(job, PDT_JOB);
}

void TestKxHostPackets::trimListsAndPageNumber()
{
    KXJOB* job = fullJob();
    QCOMPARE(KXJOB_CC::pageNumber(job), 3);
    QCOMPARE(KXJOB_CC::pageNumber(nullptr), 0);
    KXJOB_CC::trimLists(job);
    QVERIFY(!job->history);
    QCOMPARE(QByteArray(job->sections->title), QByteArray("News"));
    QCOMPARE(QByteArray(job->sections->next->title), QByteArray("Sport"));
    KXJOB_CC::trimLists(job); // twice is fine
    KXJOB_CC::trimLists(nullptr);

    KXJOB_CC packet;
    packet.setData(reinterpret_cast<unsigned char*>(job));
    const QByteArray text = textOf(packet);
    QCOMPARE(text.count("SL "), 1);
    QVERIFY(!text.contains("v1"));
}

void TestKxHostPackets::recordsThatCannotBeWritten()
{
    KXJOB_CC lineFeed;
    lineFeed.setData(reinterpret_cast<unsigned char*>(makeJob("two\nlines")));
    unsigned int length = 99;
    QCOMPARE(lineFeed.toPacket(length), static_cast<char*>(nullptr));
    QCOMPARE(length, 0u);
    QCOMPARE(QByteArray(lineFeed.lastError()), QByteArray("tag 01: control character U+000A in a text value"));

    KXJOB_CC wide;
    wide.setData(reinterpret_cast<unsigned char*>(makeJob("wide", 40000)));
    QVERIFY(!wide.toPacket(length));
    QCOMPARE(QByteArray(wide.lastError()), QByteArray("tag 04: value 40000 does not fit -32768 to 32767"));

    KXJOB* comment = makeJob("comment");
    comment->commentCount = 1;
    comment->comments = static_cast<char**>(std::calloc(1, sizeof(char*)));
    comment->comments[0] = copy("a\rb");
    KXJOB_CC carriageReturn;
    carriageReturn.setData(reinterpret_cast<unsigned char*>(comment));
    QVERIFY(!carriageReturn.toPacket(length));
    QVERIFY(QByteArray(carriageReturn.lastError()).startsWith("tag 0A: control character U+000D"));

    // A publication number beyond the element's 32-bit signed range is refused, not wrapped.
    KXJOB* publication = makeJob("big");
    publication->publicationName = copy("P");
    publication->publicationNumber = 3000000000u;
    KXJOB_CC big;
    big.setData(reinterpret_cast<unsigned char*>(publication));
    QVERIFY(!big.toPacket(length));
    QVERIFY(QByteArray(big.lastError()).startsWith("tag 03: value 3000000000 does not fit"));
}

void TestKxHostPackets::assignThroughBaseReferences_data()
{
    QTest::addColumn<uint>("type");
    QTest::newRow("section") << 5u;
    QTest::newRow("opaque") << 6u;
    QTest::newRow("database entry") << 8u;
    QTest::newRow("job") << 21u;
    QTest::newRow("letter") << 31u;
    QTest::newRow("colour profile") << 48u;
    QTest::newRow("book") << 86u;
}

void TestKxHostPackets::assignThroughBaseReferences()
{
    QFETCH(uint, type);
    const auto dataType = static_cast<PACKETDATATYPES>(type);
    std::unique_ptr<KXPacketable> source(PacketableUtil::getPacketable(dataType));
    std::unique_ptr<KXPacketable> target(PacketableUtil::getPacketable(dataType));
    source->setName("Source");
    source->key = KXKEY_ELEMENT{0x12, 3};
    switch (type) {
    case PDT_SECTION:
        QVERIFY(parse(*source, "SI 5\n01 News\nTI 0\n"));
        break;
    case PDT_DBENTRY:
        source->setData(reinterpret_cast<unsigned char*>(makeEntry("North", KXKEY_ELEMENT{0x12, 3}, 4, 1)));
        break;
    case PDT_JOB:
        source->setData(reinterpret_cast<unsigned char*>(fullJob()));
        break;
    case PDT_LETTER:
        QVERIFY(parse(*source, "SI 1F\n10 x\nSL 1\nSI 5\n01 s\nTI 0\nTL 0\nTI 0\n"));
        break;
    case PDT_ICCPROFILE:
        QVERIFY(parse(*source, "SI 30\n01 Coated\n02 2 0A0B\nTI 0\n"));
        break;
    case PDT_BOOK:
        source->setData(reinterpret_cast<unsigned char*>(makeBook("Atlas")));
        break;
    }
    target->setName("Target");
    const QByteArray sourceText = textOf(*source);

    KXPacketable& base = *target;
    base = *source;
    QCOMPARE(target->datatype, dataType);
    QCOMPARE(target->key.key, source->key.key);
    QCOMPARE(target->key.hkey, source->key.hkey);
    QCOMPARE(QByteArray(target->name), QByteArray("Source"));
    QVERIFY(target->name != source->name);
    QCOMPARE(textOf(*target), sourceText);

    // The attached record is a deep copy: it outlives the source.
    const void* sourceRecord = nullptr;
    const void* targetRecord = nullptr;
    QByteArray recordName;
    if (auto* entry = dynamic_cast<KXDBENTRY_CC*>(target.get())) {
        sourceRecord = dynamic_cast<KXDBENTRY_CC*>(source.get())->dbentry;
        targetRecord = entry->dbentry;
        recordName = entry->dbentry->name;
    } else if (auto* job = dynamic_cast<KXJOB_CC*>(target.get())) {
        sourceRecord = dynamic_cast<KXJOB_CC*>(source.get())->getJob();
        targetRecord = job->getJob();
        recordName = job->getJob()->name;
        QCOMPARE(QByteArray(job->getJob()->history->title), QByteArray("v1"));
    } else if (auto* book = dynamic_cast<BOOK_CC*>(target.get())) {
        sourceRecord = dynamic_cast<BOOK_CC*>(source.get())->getBook();
        targetRecord = book->getBook();
        recordName = book->getBook()->name;
    }
    if (sourceRecord) {
        QVERIFY(targetRecord);
        QVERIFY(targetRecord != sourceRecord);
        QVERIFY(!recordName.isEmpty());
    }
    source.reset();
    QCOMPARE(textOf(*target), sourceText);

    // Assigning to itself changes nothing.
    base = *target;
    QCOMPARE(textOf(*target), sourceText);
    QCOMPARE(QByteArray(target->name), QByteArray("Source"));
}

void TestKxHostPackets::assignAcrossClasses()
{
    KXJOB_CC job;
    job.setName("Front");
    job.setData(reinterpret_cast<unsigned char*>(fullJob()));

    // A generic packet takes the job's data type, key, name and elements (it holds no record).
    KXPacketable generic(PDT_LETTER);
    generic = job;
    QCOMPARE(generic.datatype, PDT_JOB);
    QCOMPARE(textOf(generic), QByteArray(fullJobText));
    QCOMPARE(generic.key.key, 0x100u);

    // A job packet given a letter drops its record.
    KXPacketable letter(PDT_LETTER);
    QVERIFY(parse(letter, "SI 1F\n10 x\nTI 0\n"));
    KXPacketable& base = job;
    base = letter;
    QVERIFY(!job.getJob());
    QCOMPARE(job.datatype, PDT_LETTER);
    QCOMPARE(textOf(job), QByteArray("SI 1F\n10 x\nTI 0\n"));
    QVERIFY(!job.name);
}

void TestKxHostPackets::copyConstructors()
{
    KXJOB_CC job;
    job.setData(reinterpret_cast<unsigned char*>(fullJob()));
    job.setName("n");
    const KXJOB_CC jobCopy(job);
    QVERIFY(jobCopy.getJob() && jobCopy.getJob() != job.getJob());
    QCOMPARE(textOf(jobCopy), textOf(job));
    QCOMPARE(QByteArray(jobCopy.name), QByteArray("n"));

    KXDBENTRY_CC entry;
    entry.setData(reinterpret_cast<unsigned char*>(makeEntry("North", KXKEY_ELEMENT{1, 2}, 3, 1)));
    KXDBENTRY_CC entryCopy(entry);
    QVERIFY(entryCopy.dbentry && entryCopy.dbentry != entry.dbentry);
    QCOMPARE(entryCopy.dbentry->id, 3);

    BOOK_CC book;
    book.setData(reinterpret_cast<unsigned char*>(makeBook("Atlas")));
    BOOK_CC bookCopy(book);
    QVERIFY(bookCopy.getBook() && bookCopy.getBook() != book.getBook());

    KXPacketable letter(PDT_LETTER);
    QVERIFY(parse(letter, "SI 1F\n10 x\nTI 0\n"));
    KXPacketable letterCopy(letter);
    QCOMPARE(textOf(letterCopy), textOf(letter));
}

void TestKxHostPackets::databaseEntryRecordFromText()
{
    KXDBENTRY_CC packet;
    packet.key = KXKEY_ELEMENT{0xa, 2};
    packet.setData(reinterpret_cast<unsigned char*>(makeEntry("Old", KXKEY_ELEMENT{1, 1}, 1, 1)));
    QVERIFY(parse(packet, "SI 8\n01 South\n02 2\n03 -7\nTI 0\n"));
    QVERIFY(packet.dbentry);
    QCOMPARE(QByteArray(packet.dbentry->name), QByteArray("South"));
    QCOMPARE(packet.dbentry->kind, 2);
    QCOMPARE(packet.dbentry->id, -7);
    QCOMPARE(packet.dbentry->key.key, 1u); // the packet's key (setData took over the old record's)
    QVERIFY(!packet.dbentry->next);

    QVERIFY(parse(packet, "SI 8\nTI 0\n"));
    QVERIFY(packet.dbentry);
    QVERIFY(!packet.dbentry->name);
    QCOMPARE(packet.dbentry->id, 0);
    QCOMPARE(packet.dbentry->kind, 0);

    // A failed parse keeps the record.
    KXDBENTRY* before = packet.dbentry;
    QVERIFY(!parse(packet, "SI 8\n04 x\nTI 0\n"));
    QCOMPARE(packet.dbentry, before);
}

void TestKxHostPackets::parsingReleasesJobAndBookRecords()
{
    KXJOB_CC job;
    job.setData(reinterpret_cast<unsigned char*>(fullJob()));
    QVERIFY(parse(job, "SI 15\n01 New\nTI 0\n"));
    QVERIFY(!job.getJob());

    BOOK_CC book;
    book.setData(reinterpret_cast<unsigned char*>(makeBook("Atlas")));
    QVERIFY(!parse(book, "SI 56\n05 x\nTI 0\n"));
    QVERIFY(book.getBook()); // kept on failure
    QVERIFY(parse(book, "SI 56\n01 New\nTI 0\n"));
    QVERIFY(!book.getBook());
}

void TestKxHostPackets::elementAccessors()
{
    KXPacketable job(PDT_JOB);
    QVERIFY(parse(job, "SI 15\n01 Front\n04 -3\n11 4294967295\n0C FF\nTI 0\n"));
    QVERIFY(job.hasElement(0x1));
    QVERIFY(!job.hasElement(0x2));
    QCOMPARE(QByteArray(job.getText(0x1)), QByteArray("Front"));
    QVERIFY(!job.getText(0x4)); // a number
    QVERIFY(!job.getText(0x2)); // absent
    long long value = 0;
    QVERIFY(job.getInteger(0x4, value));
    QCOMPARE(value, -3LL);
    QVERIFY(job.getInteger(0x11, value));
    QCOMPARE(value, 4294967295LL);
    QVERIFY(!job.getInteger(0x1, value));
    QVERIFY(!job.getInteger(0x3, value));
}

void TestKxHostPackets::referenceChains_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("letter: key before name, in table order")
        << 31u << QByteArray("SI 1F\n1B Coated\n11 100 1\n10 x\nTI 0\n")
        << QStringList({QStringLiteral("key:100:1"), QStringLiteral("name:Coated")});
    QTest::newRow("job: publication, database, profile")
        << 21u << QByteArray("SI 15\n12 Coated\n05 A 1\n02 Morning Post\nTI 0\n")
        << QStringList({QStringLiteral("name:Morning Post"), QStringLiteral("key:a:1"), QStringLiteral("name:Coated")});
    QTest::newRow("book") << 86u << QByteArray("SI 56\n04 Coated\n03 B 1\nTI 0\n")
                          << QStringList({QStringLiteral("key:b:1"), QStringLiteral("name:Coated")});
    QTest::newRow("nested items are not looked at")
        << 31u << QByteArray("SI 1F\nSL 1\nSI 1F\n1B Inner\n11 5 5\nTI 0\nTL 0\nTI 0\n") << QStringList();
    QTest::newRow("no references") << 8u << QByteArray("SI 8\n01 North\nTI 0\n") << QStringList();
    QTest::newRow("empty and null references are listed")
        << 31u << QByteArray("SI 1F\n11 0 0\n1B \nTI 0\n")
        << QStringList({QStringLiteral("key:0:0"), QStringLiteral("name:")});
}

void TestKxHostPackets::referenceChains()
{
    QFETCH(uint, type);
    QFETCH(QByteArray, text);
    QFETCH(QStringList, expected);
    std::unique_ptr<KXPacketable> packet(PacketableUtil::getPacketable(static_cast<PACKETDATATYPES>(type)));
    QVERIFY2(parse(*packet, text), packet->lastError());
    if (expected.isEmpty())
        QVERIFY(!packet->getReferences());
    QCOMPARE(references(*packet), expected);
}

void TestKxHostPackets::addListList()
{
    KXJOB* head = nullptr;
    AddListList(head, static_cast<KXJOB*>(nullptr));
    QVERIFY(!head);

    AddListList(head, makeJob("a"));
    QCOMPARE(names(head), QStringList({QStringLiteral("a")}));
    AddListList(head, static_cast<KXJOB*>(nullptr));
    QCOMPARE(names(head), QStringList({QStringLiteral("a")}));
    AddListList(head, list<KXJOB>({makeJob("b"), makeJob("c")}));
    QCOMPARE(names(head), QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));

    // Appending a list that is already part of the head would make a cycle: refused.
    AddListList(head, head->next);
    AddListList(head, head);
    QCOMPARE(names(head), QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    KXPacketFreeList(head, PDT_JOB);
    QVERIFY(!head);

    KXDBENTRY* entries = nullptr;
    AddListList(entries, makeEntry("x", KXKEY_ELEMENT{1, 1}, 1, 1));
    AddListList(entries, makeEntry("y", KXKEY_ELEMENT{2, 1}, 2, 1));
    QCOMPARE(names(entries), QStringList({QStringLiteral("x"), QStringLiteral("y")}));
    KXPacketFreeList(entries, PDT_DBENTRY);

    KXBOOK* books = makeBook("p");
    AddListList(books, makeBook("q"));
    QCOMPARE(names(books), QStringList({QStringLiteral("p"), QStringLiteral("q")}));
    KXPacketFreeList(books, PDT_BOOK);
    QVERIFY(!books);
}

void TestKxHostPackets::removeItemFromList_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("removed"); // index; -1: a record not in the list
    QTest::addColumn<QStringList>("remaining");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QString c = QStringLiteral("c");
    QTest::newRow("head") << 3 << 0 << QStringList({b, c});
    QTest::newRow("middle") << 3 << 1 << QStringList({a, c});
    QTest::newRow("tail") << 3 << 2 << QStringList({a, b});
    QTest::newRow("only item") << 1 << 0 << QStringList();
    QTest::newRow("not in the list") << 3 << -1 << QStringList({a, b, c});
    QTest::newRow("empty list") << 0 << -1 << QStringList();
}

void TestKxHostPackets::removeItemFromList()
{
    QFETCH(int, count);
    QFETCH(int, removed);
    QFETCH(QStringList, remaining);
    const char* const letters[] = {"a", "b", "c"};
    KXJOB* head = nullptr;
    for (int i = 0; i < count; ++i)
        AddListList(head, makeJob(letters[i]));
    KXJOB* item = makeJob("stranger");
    if (removed >= 0) {
        KXPacketFreeItem(item, PDT_JOB);
        item = head;
        for (int i = 0; i < removed; ++i)
            item = item->next;
    }
    RemoveItemFromList(head, item);
    QCOMPARE(names(head), remaining);
    QVERIFY(!item->next);
    KXPacketFreeItem(item, PDT_JOB);
    KXPacketFreeList(head, PDT_JOB);
    QVERIFY(!head);

    // The same on the other record kinds.
    KXBOOK* books = list<KXBOOK>({makeBook("a"), makeBook("b")});
    KXBOOK* second = books->next;
    RemoveItemFromList(books, second);
    QCOMPARE(names(books), QStringList({QStringLiteral("a")}));
    KXPacketFreeItem(second, PDT_BOOK);
    KXPacketFreeList(books, PDT_BOOK);
    KXDBENTRY* entries = makeEntry("e", KXKEY_ELEMENT{1, 1}, 1, 1);
    KXDBENTRY* entry = entries;
    RemoveItemFromList(entries, entry);
    QVERIFY(!entries);
    KXPacketFreeItem(entry, PDT_DBENTRY);
    RemoveItemFromList(entries, static_cast<KXDBENTRY*>(nullptr));
}

void TestKxHostPackets::freeListsAndItems()
{
    KXJOB* jobs = list<KXJOB>({fullJob(), fullJob(), makeJob("x")});
    KXPacketFreeList(jobs, PDT_JOB);
    QVERIFY(!jobs);
    KXPacketFreeList(jobs, PDT_JOB); // empty list
    KXPacketFreeItem(static_cast<KXJOB*>(nullptr), PDT_JOB);
    KXPacketFreeItem(static_cast<KXBOOK*>(nullptr), PDT_BOOK);
    KXPacketFreeItem(static_cast<KXDBENTRY*>(nullptr), PDT_DBENTRY);
    KXFreeReferences(nullptr);
    KX_free(nullptr);

    // A record freed alone leaves its successors alone.
    KXDBENTRY* entries = list<KXDBENTRY>({makeEntry("a", KXKEY_ELEMENT{1, 1}, 1, 1), makeEntry("b", KXKEY_ELEMENT{2, 1}, 2, 1)});
    KXDBENTRY* rest = entries->next;
    KXPacketFreeItem(entries, PDT_DBENTRY);
    QCOMPARE(names(rest), QStringList({QStringLiteral("b")}));
    KXPacketFreeList(rest, PDT_DBENTRY);
}

QTEST_APPLESS_MAIN(TestKxHostPackets)
#include "tst_kxhost_packets.moc"
