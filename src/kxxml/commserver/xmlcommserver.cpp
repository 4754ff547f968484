#include "xmlcommserver.h"

#include "pagedlisting_p.h"
#include "replypager_p.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/ui/xmlaction.h>

#include <map>
#include <memory>

namespace {

enum RequestCode { ListOutputs = 1000, ListPublications = 1001, ListBooks = 1002, ListJobs = 1003 };

// The request's database keys, owned here and deleted on the way out.
class KeyList
{
public:
    explicit KeyList(const XMLAction* action)
    {
        if (action && action->hasKXKEYList())
            keys = action->getKXKEYList();
    }
    ~KeyList() { qDeleteAll(keys); }
    KeyList(const KeyList&) = delete;
    KeyList& operator=(const KeyList&) = delete;

    QList<KXKEY_ELEMENT*> keys;
};

// The records of every database in @p keys, one list, database after database.
template <typename Record, typename Query>
Record* concatenated(const QList<KXKEY_ELEMENT*>& keys, Query query)
{
    Record* all = nullptr;
    for (const KXKEY_ELEMENT* key : keys) {
        if (key)
            AddListList(all, query(*key));
    }
    return all;
}

// The records of every database of a kind, as the server lists them; a failing database
// list gives none.
template <typename Record, typename Query>
Record* fromEveryDatabase(KXDBENTRY* databases, Query query)
{
    Record* all = nullptr;
    for (const KXDBENTRY* entry = databases; entry; entry = entry->next)
        AddListList(all, query(entry->key));
    KXPacketFreeList(databases, PDT_DBENTRY);
    return all;
}

// Publications are left out of the job list unless the request says otherwise.
bool excludesPublications(const XMLAction* action)
{
    return !action || !action->hasExcludePublications() || action->getExcludePublications();
}

} // namespace

XMLCommServer::XMLCommServer(KXCommServer* s)
    : XMLAgent(0)
    , server(s)
{
}

XMLCommServer::~XMLCommServer() = default;

void XMLCommServer::receive(XMLPacket* packet)
{
    if (!packet)
        return;
    if (packet->isEmpty()) {
        delete packet;
        return;
    }
    std::list<QDomNode> actions;
    if (packet->getNodesOfType(XMLObject::XMLOBJECT_ACTION, actions) > 0) {
        XMLAction action;
        action.setNode(actions.front().toElement()); // only the first action is answered
        const int source = packet->getSourceAgentID();
        const int pageSize = action.getPageSize();
        if (pageSize > 0 && PagedListing::isListRequest(action.getType())) {
            if (!pager)
                pager = std::make_unique<ReplyPager>(*this);
            pager->enqueue(std::make_unique<PagedListing>(*this, action.getType(), source, pageSize, action));
            packet->deleteLater();
            return;
        }
        switch (action.getType()) {
        case ListOutputs: sendOUTPUTs(source); break;
        case ListPublications: sendPublications(source, &action); break;
        case ListBooks: sendBooks(source, &action); break;
        case ListJobs: sendKXJOBs(source, &action); break;
        default: break; // not a request: no reply
        }
    }
    packet->deleteLater();
}

KXDBENTRY* XMLCommServer::getDBList(PACKETDATATYPES type) const
{
    if (!server)
        return nullptr;
    KXLPCOMMANDS command{};
    BM_MESSAGE_ID message{};
    KXDBENTRY* entries = server->getDBList(command, message, type);
    if (server->iserror(command)) {
        if (entries) // a list that comes with an error is not used, but not leaked either
            KXPacketFreeList(entries, PDT_DBENTRY);
        return nullptr;
    }
    return entries;
}

KXJOB* XMLCommServer::getKXJOBs(KXKEY_ELEMENT key) const
{
    if (!server)
        return nullptr;
    KXLPCOMMANDS command{};
    BM_MESSAGE_ID message{};
    return server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING,
                               server->getidfromkxkey(key));
}

KXJOB* XMLCommServer::getKXJOBs(const QList<KXKEY_ELEMENT*>& keys) const
{
    return concatenated<KXJOB>(keys, [this](KXKEY_ELEMENT key) { return getKXJOBs(key); });
}

KXBOOK* XMLCommServer::getBooks(KXKEY_ELEMENT key) const
{
    if (!server)
        return nullptr;
    KXLPCOMMANDS command{};
    BM_MESSAGE_ID message{};
    return server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, key);
}

KXBOOK* XMLCommServer::getBooks(const QList<KXKEY_ELEMENT*>& keys) const
{
    return concatenated<KXBOOK>(keys, [this](KXKEY_ELEMENT key) { return getBooks(key); });
}

void XMLCommServer::sendOUTPUTs(int destination) const
{
    KXDBENTRY* entries = getDBList(PDT_OUTPUTDB);
    if (!entries)
        return;
    XMLPacket* reply = getXMLPacket(destination);
    // The packetable adopts each entry in turn and frees the last with itself.
    const std::unique_ptr<KXPacketable> packetable(PacketableUtil::getPacketable(PDT_DBENTRY));
    while (KXDBENTRY* entry = entries) {
        RemoveItemFromList(entries, entry);
        packetable->setData(reinterpret_cast<unsigned char*>(entry));
        reply->append(*packetable, false);
    }
    deliver(reply);
}

void XMLCommServer::sendKXJOBs(int destination, XMLAction* action) const
{
    const bool exclude = excludesPublications(action);
    KXJOB* jobs = nullptr;
    {
        const KeyList request(action);
        jobs = gatherJobs(request.keys);
    }
    XMLPacket* reply = getXMLPacket(destination);
    KXJOB_CC packetable;
    while (KXJOB* job = jobs) {
        RemoveItemFromList(jobs, job);
        if (exclude && job->publicationName) {
            KXPacketFreeItem(job, PDT_JOB);
            continue;
        }
        packetable.setName(job->name);
        KXJOB_CC::trimLists(job);
        packetable.setData(reinterpret_cast<unsigned char*>(job)); // adopted: not freed here
        reply->appendV(packetable, false);
    }
    deliver(reply);
    KXPacketFreeList(jobs, PDT_JOB);
}

void XMLCommServer::sendPublications(int destination, XMLAction* action) const
{
    KXJOB* jobs = nullptr;
    {
        const KeyList request(action);
        jobs = gatherJobs(request.keys);
    }
    if (!jobs)
        return;

    const std::vector<KXJOB*> chosen = choosePublications(jobs);
    XMLPacket* reply = getXMLPacket(destination);
    KXJOB_CC packetable;
    for (KXJOB* job : chosen) {
        RemoveItemFromList(jobs, job);
        packetable.setName(job->publicationName);
        KXJOB_CC::trimLists(job);
        packetable.setData(reinterpret_cast<unsigned char*>(job));
        reply->append(packetable, false);
    }
    deliver(reply);
    KXPacketFreeList(jobs, PDT_JOB); // the jobs not chosen
}

void XMLCommServer::sendBooks(int destination, XMLAction* action) const
{
    KXBOOK* books = nullptr;
    {
        const KeyList request(action);
        books = gatherBooks(request.keys);
    }
    if (!books)
        return;
    XMLPacket* reply = getXMLPacket(destination);
    BOOK_CC packetable;
    while (KXBOOK* book = books) {
        RemoveItemFromList(books, book);
        packetable.setName(book->name);
        packetable.setData(reinterpret_cast<unsigned char*>(book));
        reply->append(packetable, false);
    }
    deliver(reply);
    KXPacketFreeList(books, PDT_BOOK);
}

std::vector<KXJOB*> XMLCommServer::choosePublications(KXJOB* jobs)
{
    std::map<unsigned int, KXJOB*> chosen; // by publication number, ascending
    for (KXJOB* job = jobs; job; job = job->next) {
        if (!job->publicationName)
            continue;
        auto [it, inserted] = chosen.try_emplace(job->publicationNumber, job);
        if (inserted)
            continue;
        // A later job wins only with a strictly smaller page number: ties keep the first.
        // The new job's page number is asked first, the way the host sees the comparison.
        const int page = KXJOB_CC::pageNumber(job);
        if (page < KXJOB_CC::pageNumber(it->second))
            it->second = job;
    }
    std::vector<KXJOB*> result;
    result.reserve(chosen.size());
    for (const auto& entry : chosen)
        result.push_back(entry.second);
    return result;
}

KXJOB* XMLCommServer::gatherJobs(const QList<KXKEY_ELEMENT*>& keys) const
{
    if (!keys.isEmpty())
        return getKXJOBs(keys);
    return fromEveryDatabase<KXJOB>(getDBList(PDT_OUTPUTDB),
                                    [this](KXKEY_ELEMENT key) { return getKXJOBs(key); });
}

KXBOOK* XMLCommServer::gatherBooks(const QList<KXKEY_ELEMENT*>& keys) const
{
    if (!keys.isEmpty())
        return getBooks(keys);
    return fromEveryDatabase<KXBOOK>(getDBList(PDT_BOOKDB),
                                     [this](KXKEY_ELEMENT key) { return getBooks(key); });
}

void XMLCommServer::deliver(XMLPacket* reply) const
{
    if (router)
        router->send(reply); // the router takes the reply over
    else
        delete reply;
}
