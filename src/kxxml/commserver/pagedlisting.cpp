#include "pagedlisting_p.h"

#include "xmlcommserver.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/ui/xmlaction.h>

#include <map>

namespace {

enum RequestCode { ListOutputs = 1000, ListPublications = 1001, ListBooks = 1002, ListJobs = 1003 };

// Unlinks every record of @p list, in order, into @p out (unlinking the head is O(1)).
template <typename Record>
void takeAll(Record*& list, std::vector<Record*>& out)
{
    while (Record* record = list) {
        RemoveItemFromList(list, record);
        out.push_back(record);
    }
}

template <typename Record>
void freeFrom(std::vector<Record*>& records, size_t first, unsigned int freeType)
{
    for (size_t i = first; i < records.size(); ++i)
        KXPacketFreeItem(records[i], freeType);
    records.clear();
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
    freeFrom(entries, next, PDT_DBENTRY);
    freeFrom(jobs, next, PDT_JOB);
    freeFrom(books, next, PDT_BOOK);
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
    case ListOutputs: {
        KXDBENTRY* list = server.getDBList(PDT_OUTPUTDB);
        takeAll(list, entries);
        packetable.reset(PacketableUtil::getPacketable(PDT_DBENTRY));
        break;
    }
    case ListJobs:
    case ListPublications:
        gatherJobs();
        packetable = std::make_unique<KXJOB_CC>();
        break;
    case ListBooks: {
        QList<KXKEY_ELEMENT*> pointers;
        for (KXKEY_ELEMENT& key : keys)
            pointers.append(&key);
        KXBOOK* list = server.gatherBooks(pointers);
        takeAll(list, books);
        packetable = std::make_unique<BOOK_CC>();
        break;
    }
    default:
        break;
    }
}

void PagedListing::gatherJobs()
{
    QList<KXKEY_ELEMENT*> pointers;
    for (KXKEY_ELEMENT& key : keys)
        pointers.append(&key);
    KXJOB* list = server.gatherJobs(pointers);
    if (code == ListPublications) {
        sendsWhenEmpty = list != nullptr; // jobs but no publication: one empty reply
        choosePublications(list);
        return;
    }
    sendsWhenEmpty = true; // the job list is answered even when empty
    while (KXJOB* job = list) {
        RemoveItemFromList(list, job);
        if (excludePublications && job->publicationName)
            KXPacketFreeItem(job, PDT_JOB);
        else
            jobs.push_back(job);
    }
}

// One job per publication over the whole listing, not per page: the smallest page number
// wins, the first met on a tie; publications in ascending number. The rest is freed now.
void PagedListing::choosePublications(KXJOB* list)
{
    std::vector<KXJOB*> all;
    takeAll(list, all);
    std::map<unsigned int, size_t> chosen; // publication number -> index in all
    for (size_t i = 0; i < all.size(); ++i) {
        const KXJOB* job = all[i];
        if (!job->publicationName)
            continue;
        auto [it, inserted] = chosen.try_emplace(job->publicationNumber, i);
        if (!inserted && KXJOB_CC::pageNumber(job) < KXJOB_CC::pageNumber(all[it->second]))
            it->second = i;
    }
    for (const auto& entry : chosen) {
        jobs.push_back(all[entry.second]);
        all[entry.second] = nullptr;
    }
    for (KXJOB* job : all) {
        if (job)
            KXPacketFreeItem(job, PDT_JOB);
    }
}

bool PagedListing::isFinished() const
{
    if (!gathered)
        return false;
    const size_t total = entries.size() + jobs.size() + books.size();
    if (total == 0)
        return pagesSent > 0 || !sendsWhenEmpty;
    return next >= total;
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
    const size_t total = entries.size() + jobs.size() + books.size();
    for (int n = 0; n < records && currentFill < pageSize && next < total; ++n, ++currentFill)
        appendRecord(*current);
    if (currentFill < pageSize && next < total)
        return nullptr;
    current->setPage(++pagesSent, next < total);
    return current.release();
}

// Moves the next record into @p page as one packetable, the way the single reply does.
void PagedListing::appendRecord(XMLPacket& page)
{
    const size_t i = next++;
    switch (code) {
    case ListOutputs:
        packetable->setData(reinterpret_cast<unsigned char*>(entries[i])); // adopted
        page.append(*packetable, false);
        break;
    case ListJobs:
    case ListPublications: {
        KXJOB* job = jobs[i];
        packetable->setName(code == ListJobs ? job->name : job->publicationName);
        KXJOB_CC::trimLists(job);
        packetable->setData(reinterpret_cast<unsigned char*>(job)); // adopted
        if (code == ListJobs)
            page.appendV(*packetable, false);
        else
            page.append(*packetable, false);
        break;
    }
    case ListBooks:
        packetable->setName(books[i]->name);
        packetable->setData(reinterpret_cast<unsigned char*>(books[i])); // adopted
        page.append(*packetable, false);
        break;
    default:
        break;
    }
}
