#include "kxitem_p.h"

#include "journalscope_p.h"
#include "kxrecords_p.h"

#include <kxhost/kxkey_cc.h>
#include <kxhost/kxlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kxhost {

namespace {

template<typename T>
T* allocate()
{
    return static_cast<T*>(std::calloc(1, sizeof(T)));
}

void checkType(const char* function, const char* record, unsigned int given, unsigned int expected)
{
    if (given != expected)
        std::fprintf(stderr, "kxhost: %s: data type %u given for a %s record (data type %u)\n",
                     function, given, record, expected);
}

template<typename T>
void appendList(T*& head, T* list)
{
    if (!list)
        return;
    if (!head) {
        head = list;
        return;
    }
    T* last = head;
    for (;;) {
        if (last == list)
            return; // already part of the list: appending it would make a cycle
        if (!last->next)
            break;
        last = last->next;
    }
    last->next = list;
}

template<typename T>
void removeItem(T*& head, T* item)
{
    if (!item)
        return;
    for (T** link = &head; *link; link = &(*link)->next) {
        if (*link == item) {
            *link = item->next;
            item->next = nullptr;
            return;
        }
    }
}

template<typename T, typename Free>
void freeList(T*& head, Free freeOne)
{
    while (head) {
        T* next = head->next;
        freeOne(head);
        head = next;
    }
}

void itemFromSection(const KXSECTION& section, Item& item)
{
    item.clear(PDT_SECTION);
    setText(item, 0x1, section.title);
    setSigned(item, 0x2, section.firstPage);
    setSigned(item, 0x3, section.pageCount);
}

void appendSectionList(const KXSECTION* sections, Item& item)
{
    item.lists.emplace_back();
    for (const KXSECTION* section = sections; section; section = section->next) {
        item.lists.back().items.emplace_back();
        itemFromSection(*section, item.lists.back().items.back());
    }
}

} // namespace

char* copyString(const char* text)
{
    if (!text)
        return nullptr;
    const std::size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    std::memcpy(copy, text, size);
    return copy;
}

KXSECTION* copySections(const KXSECTION* sections)
{
    KXSECTION* head = nullptr;
    KXSECTION** tail = &head;
    for (; sections; sections = sections->next) {
        KXSECTION* copy = allocate<KXSECTION>();
        copy->title = copyString(sections->title);
        copy->firstPage = sections->firstPage;
        copy->pageCount = sections->pageCount;
        *tail = copy;
        tail = &copy->next;
    }
    return head;
}

KXDBENTRY* copyDBEntry(const KXDBENTRY* entry)
{
    if (!entry)
        return nullptr;
    KXDBENTRY* copy = allocate<KXDBENTRY>();
    copy->key = entry->key;
    copy->name = copyString(entry->name);
    copy->id = entry->id;
    copy->kind = entry->kind;
    return copy;
}

KXJOB* copyJob(const KXJOB* job)
{
    if (!job)
        return nullptr;
    KXJOB* copy = allocate<KXJOB>();
    copy->name = copyString(job->name);
    copy->publicationName = copyString(job->publicationName);
    copy->publicationNumber = job->publicationNumber;
    copy->pageNumber = job->pageNumber;
    copy->key = job->key;
    copy->dbKey = job->dbKey;
    copy->queue = job->queue;
    if (job->colours && job->colourCount) {
        copy->colours = static_cast<unsigned char*>(std::malloc(job->colourCount));
        std::memcpy(copy->colours, job->colours, job->colourCount);
        copy->colourCount = job->colourCount;
    }
    if (job->comments && job->commentCount) {
        copy->comments = static_cast<char**>(std::calloc(job->commentCount, sizeof(char*)));
        for (unsigned int i = 0; i < job->commentCount; ++i)
            copy->comments[i] = copyString(job->comments[i]);
        copy->commentCount = job->commentCount;
    }
    copy->sections = copySections(job->sections);
    copy->history = copySections(job->history);
    copy->profileName = copyString(job->profileName);
    return copy;
}

KXBOOK* copyBook(const KXBOOK* book)
{
    if (!book)
        return nullptr;
    KXBOOK* copy = allocate<KXBOOK>();
    copy->name = copyString(book->name);
    if (book->pages && book->pageCount) {
        copy->pages = static_cast<unsigned int*>(std::malloc(book->pageCount * sizeof(unsigned int)));
        std::memcpy(copy->pages, book->pages, book->pageCount * sizeof(unsigned int));
        copy->pageCount = book->pageCount;
    }
    copy->dbKey = book->dbKey;
    copy->profileName = copyString(book->profileName);
    return copy;
}

void freeSections(KXSECTION* sections)
{
    freeList(sections, [](KXSECTION* section) {
        std::free(section->title);
        std::free(section);
    });
}

void freeDBEntry(KXDBENTRY* entry)
{
    if (!entry)
        return;
    std::free(entry->name);
    std::free(entry);
}

void freeJob(KXJOB* job)
{
    if (!job)
        return;
    std::free(job->name);
    std::free(job->publicationName);
    std::free(job->colours);
    if (job->comments) {
        for (unsigned int i = 0; i < job->commentCount; ++i)
            std::free(job->comments[i]);
        std::free(job->comments);
    }
    freeSections(job->sections);
    freeSections(job->history);
    std::free(job->profileName);
    std::free(job);
}

void freeBook(KXBOOK* book)
{
    if (!book)
        return;
    std::free(book->name);
    std::free(book->pages);
    std::free(book->profileName);
    std::free(book);
}

void itemFromDBEntry(const KXDBENTRY& entry, Item& item)
{
    item.clear(PDT_DBENTRY);
    if (entry.name)
        setText(item, 0x1, entry.name);
    setSigned(item, 0x2, entry.kind);
    setSigned(item, 0x3, entry.id);
}

void itemFromJob(const KXJOB& job, Item& item)
{
    item.clear(PDT_JOB);
    if (job.name)
        setText(item, 0x1, job.name);
    if (job.publicationName) {
        setText(item, 0x2, job.publicationName);
        // The element holds a signed 32-bit number; the writer refuses what does not fit.
        setSigned(item, 0x3, static_cast<long long>(job.publicationNumber));
    }
    setSigned(item, 0x4, job.pageNumber);
    if (KXKEY_CC::isValid(job.dbKey))
        setKey(item, 0x5, job.dbKey);
    if (job.colours && job.colourCount) {
        Value* colours = item.set(0x6);
        colours->unsignedArray.assign(job.colours, job.colours + job.colourCount);
    }
    if (job.comments && job.commentCount) {
        Value* comments = item.set(0xa);
        for (unsigned int i = 0; i < job.commentCount; ++i)
            comments->strings.emplace_back(job.comments[i] ? job.comments[i] : "");
    }
    if (job.profileName)
        setText(item, 0x12, job.profileName);
    // Sections first, then history; a job with history but no sections keeps an empty
    // sections list so that the history stays the second list.
    if (job.sections || job.history)
        appendSectionList(job.sections, item);
    if (job.history)
        appendSectionList(job.history, item);
}

void itemFromBook(const KXBOOK& book, Item& item)
{
    item.clear(PDT_BOOK);
    if (book.name)
        setText(item, 0x1, book.name);
    if (book.pages && book.pageCount) {
        Value* pages = item.set(0x2);
        pages->unsignedArray.assign(book.pages, book.pages + book.pageCount);
    }
    if (KXKEY_CC::isValid(book.dbKey))
        setKey(item, 0x3, book.dbKey);
    if (book.profileName)
        setText(item, 0x4, book.profileName);
}

} // namespace kxhost

using namespace kxhost;

void AddListList(KXDBENTRY*& head, KXDBENTRY* list)
{
    const kxhost::JournalScope journal(nullptr, "AddListList", [&] { return kxhost::journalArguments(head, list); });
    appendList(head, list);
}

void AddListList(KXJOB*& head, KXJOB* list)
{
    const kxhost::JournalScope journal(nullptr, "AddListList", [&] { return kxhost::journalArguments(head, list); });
    appendList(head, list);
}

void AddListList(KXBOOK*& head, KXBOOK* list)
{
    const kxhost::JournalScope journal(nullptr, "AddListList", [&] { return kxhost::journalArguments(head, list); });
    appendList(head, list);
}

void RemoveItemFromList(KXDBENTRY*& head, KXDBENTRY* item)
{
    const kxhost::JournalScope journal(nullptr, "RemoveItemFromList", [&] { return kxhost::journalArguments(head, item); });
    removeItem(head, item);
}

void RemoveItemFromList(KXJOB*& head, KXJOB* item)
{
    const kxhost::JournalScope journal(nullptr, "RemoveItemFromList", [&] { return kxhost::journalArguments(head, item); });
    removeItem(head, item);
}

void RemoveItemFromList(KXBOOK*& head, KXBOOK* item)
{
    const kxhost::JournalScope journal(nullptr, "RemoveItemFromList", [&] { return kxhost::journalArguments(head, item); });
    removeItem(head, item);
}

void KXPacketFreeItem(KXDBENTRY* item, unsigned int dataType)
{
    const kxhost::JournalScope journal(nullptr, "KXPacketFreeItem", [&] { return kxhost::journalArguments(item, dataType); });
    checkType("KXPacketFreeItem", "database entry", dataType, PDT_DBENTRY);
    freeDBEntry(item);
}

void KXPacketFreeItem(KXJOB* item, unsigned int dataType)
{
    const kxhost::JournalScope journal(nullptr, "KXPacketFreeItem", [&] { return kxhost::journalArguments(item, dataType); });
    checkType("KXPacketFreeItem", "job", dataType, PDT_JOB);
    freeJob(item);
}

void KXPacketFreeItem(KXBOOK* item, unsigned int dataType)
{
    const kxhost::JournalScope journal(nullptr, "KXPacketFreeItem", [&] { return kxhost::journalArguments(item, dataType); });
    checkType("KXPacketFreeItem", "book", dataType, PDT_BOOK);
    freeBook(item);
}

void KXPacketFreeList(KXDBENTRY*& head, unsigned int dataType)
{
    const kxhost::JournalScope journal(nullptr, "KXPacketFreeList", [&] { return kxhost::journalArguments(head, dataType); });
    checkType("KXPacketFreeList", "database entry", dataType, PDT_DBENTRY);
    freeList(head, freeDBEntry);
}

void KXPacketFreeList(KXJOB*& head, unsigned int dataType)
{
    const kxhost::JournalScope journal(nullptr, "KXPacketFreeList", [&] { return kxhost::journalArguments(head, dataType); });
    checkType("KXPacketFreeList", "job", dataType, PDT_JOB);
    freeList(head, freeJob);
}

void KXPacketFreeList(KXBOOK*& head, unsigned int dataType)
{
    const kxhost::JournalScope journal(nullptr, "KXPacketFreeList", [&] { return kxhost::journalArguments(head, dataType); });
    checkType("KXPacketFreeList", "book", dataType, PDT_BOOK);
    freeList(head, freeBook);
}

void KXFreeReferences(KXDB_REFERENCE* chain)
{
    const kxhost::JournalScope journal(nullptr, "KXFreeReferences", [&] { return kxhost::journalArguments(chain); });
    freeList(chain, [](KXDB_REFERENCE* reference) {
        std::free(reference->name);
        std::free(reference);
    });
}
