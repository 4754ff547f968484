#include "pagedlisting_p.h"

#include "xmlcommserver.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/ui/xmlaction.h>

namespace {

enum RequestCode { ListOutputs = 1000, ListPublications = 1001, ListBooks = 1002, ListJobs = 1003 };

template <typename Record>
size_t lengthOf(const Record* list)
{
    size_t length = 0;
    for (; list; list = list->next)
        ++length;
    return length;
}

QList<KXKEY_ELEMENT*> pointersTo(QList<KXKEY_ELEMENT>& keys)
{
    QList<KXKEY_ELEMENT*> pointers;
    for (KXKEY_ELEMENT& key : keys)
        pointers.append(&key);
    return pointers;
}

} // namespace

PagedListing::PagedListing(const XMLCommServer& s, int requestCode, int destination, int size,
                           const XMLAction& action)
    : server(s)
    , code(requestCode)
    , replyTo(destination)
    , pageSize(size)
    // Publications are left out of the job list unless the request says otherwise.
    , excludePublications(!action.hasExcludePublications() || action.getExcludePublications())
{
    if (code != ListOutputs && action.hasKXKEYList()) {
        const QList<KXKEY_ELEMENT*> requested = action.getKXKEYList();
        for (const KXKEY_ELEMENT* key : requested)
            keys.append(*key);
        qDeleteAll(requested);
    }
}

PagedListing::~PagedListing()
{
    // A listing stopped half way: what was never sent goes back as a whole.
    if (entries)
        KXPacketFreeList(entries, PDT_DBENTRY);
    if (jobs)
        KXPacketFreeList(jobs, PDT_JOB);
    if (books)
        KXPacketFreeList(books, PDT_BOOK);
}

bool PagedListing::isListRequest(int code)
{
    return code >= ListOutputs && code <= ListJobs;
}

int PagedListing::destination() const
{
    return replyTo;
}

bool PagedListing::isGathered() const
{
    return gathered;
}

void PagedListing::gather()
{
    if (gathered)
        return;
    gathered = true;
    switch (code) {
    case ListOutputs:
        entries = server.getDBList(PDT_OUTPUTDB);
        total = lengthOf(entries);
        if (entries)
            packetable.reset(PacketableUtil::getPacketable(PDT_DBENTRY));
        break;
    case ListJobs:
        jobs = server.gatherJobs(pointersTo(keys));
        sendsWhenEmpty = true; // the job list is answered even when empty
        for (const KXJOB* job = jobs; job; job = job->next) {
            if (!excludePublications || !job->publicationName)
                ++total;
        }
        packetable = std::make_unique<KXJOB_CC>();
        break;
    case ListPublications:
        jobs = server.gatherJobs(pointersTo(keys));
        sendsWhenEmpty = jobs != nullptr; // jobs but no publication: one empty reply
        // One job per publication over the whole listing, not per page.
        chosen = XMLCommServer::choosePublications(jobs);
        total = chosen.size();
        packetable = std::make_unique<KXJOB_CC>();
        break;
    case ListBooks:
        books = server.gatherBooks(pointersTo(keys));
        total = lengthOf(books);
        packetable = std::make_unique<BOOK_CC>();
        break;
    default:
        break;
    }
    if (total == 0 && !sendsWhenEmpty)
        finish(); // silent: no page at all
}

bool PagedListing::isFinished() const
{
    return gathered && finished;
}

XMLPacket* PagedListing::buildPage(int records)
{
    gather();
    if (isFinished())
        return nullptr;
    if (!current) {
        current.reset(server.getXMLPacket(replyTo));
        currentFill = 0;
    }
    for (int n = 0; n < records && currentFill < pageSize && next < total; ++n, ++currentFill)
        appendRecord(*current);
    if (currentFill < pageSize && next < total)
        return nullptr;
    const bool more = next < total;
    if (!more)
        finish();
    current->setPage(++pagesSent, more);
    return current.release();
}

// Moves the next record into @p page as one packetable, the way the single reply does.
void PagedListing::appendRecord(XMLPacket& page)
{
    ++next;
    switch (code) {
    case ListOutputs: {
        KXDBENTRY* entry = entries;
        RemoveItemFromList(entries, entry);
        packetable->setData(reinterpret_cast<unsigned char*>(entry)); // adopted
        page.append(*packetable, false);
        break;
    }
    case ListJobs:
        while (KXJOB* job = jobs) {
            RemoveItemFromList(jobs, job);
            if (excludePublications && job->publicationName) {
                KXPacketFreeItem(job, PDT_JOB);
                continue;
            }
            packetable->setName(job->name);
            KXJOB_CC::trimLists(job);
            packetable->setData(reinterpret_cast<unsigned char*>(job)); // adopted
            page.appendV(*packetable, false);
            break;
        }
        break;
    case ListPublications: {
        KXJOB* job = chosen[next - 1];
        RemoveItemFromList(jobs, job);
        packetable->setName(job->publicationName);
        KXJOB_CC::trimLists(job);
        packetable->setData(reinterpret_cast<unsigned char*>(job)); // adopted
        page.append(*packetable, false);
        break;
    }
    case ListBooks: {
        KXBOOK* book = books;
        RemoveItemFromList(books, book);
        packetable->setName(book->name);
        packetable->setData(reinterpret_cast<unsigned char*>(book)); // adopted
        page.append(*packetable, false);
        break;
    }
    default:
        break;
    }
}

// After the last record: what the single reply frees once it has sent its reply.
void PagedListing::finish()
{
    finished = true;
    switch (code) {
    case ListJobs:
        // Jobs left out after the last one listed.
        while (KXJOB* job = jobs) {
            RemoveItemFromList(jobs, job);
            KXPacketFreeItem(job, PDT_JOB);
        }
        KXPacketFreeList(jobs, PDT_JOB);
        break;
    case ListPublications:
        if (sendsWhenEmpty)
            KXPacketFreeList(jobs, PDT_JOB); // the jobs not chosen
        break;
    case ListBooks:
        if (total != 0)
            KXPacketFreeList(books, PDT_BOOK);
        break;
    default:
        break;
    }
}
