#include <kxhost/kxcommserver.h>

#include "journalscope_p.h"

#include "kxcommserver_p.h"
#include "kxrecords_p.h"

#include <kxhost/kxkey_cc.h>
#include <kxhost/kxlib.h>

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>

namespace {

enum Status { StatusOk = 0, StatusFailed = 1, StatusUnsupported = 2 };

// The connections opened on a dataset, most recent last.
std::mutex registryMutex;
std::vector<const KXCommServerPrivate*>& registry()
{
    static std::vector<const KXCommServerPrivate*> servers;
    return servers;
}

template<typename T, typename Copy>
T* copyList(const T* list, Copy copy, SORTORDER order, bool (*keep)(const T*, int), int queue)
{
    T* head = nullptr;
    T** tail = &head;
    for (; list; list = list->next) {
        if (keep && !keep(list, queue))
            continue;
        T* record = copy(list);
        if (order == SORTORDER_DESCENDING) {
            record->next = head;
            head = record;
        } else {
            *tail = record;
            tail = &record->next;
        }
    }
    return head;
}

bool inQueue(const KXJOB* job, int queue)
{
    return job->queue == queue;
}

} // namespace

KXCommServerPrivate::KXCommServerPrivate()
    : archive(new ArchiveNode)
{
}

KXCommServerPrivate::~KXCommServerPrivate()
{
    const kxhost::JournalScope quiet{kxhost::JournalScope::Quiet{}};
    for (Database& database : outputs) {
        KXPacketFreeItem(database.entry, PDT_DBENTRY);
        KXPacketFreeList(database.jobs, PDT_JOB);
    }
    for (Database& database : bookDatabases) {
        KXPacketFreeItem(database.entry, PDT_DBENTRY);
        KXPacketFreeList(database.books, PDT_BOOK);
    }
}

void KXCommServerPrivate::compactRecords()
{
    for (Database& database : outputs) {
        KXJOB* copy = copyList<KXJOB>(database.jobs, kxhost::copyJob, SORTORDER_ASCENDING, nullptr, 0);
        KXPacketFreeList(database.jobs, PDT_JOB);
        database.jobs = copy;
    }
    for (Database& database : bookDatabases) {
        KXBOOK* copy = copyList<KXBOOK>(database.books, kxhost::copyBook, SORTORDER_ASCENDING, nullptr, 0);
        KXPacketFreeList(database.books, PDT_BOOK);
        database.books = copy;
    }
}

const KXCommServerPrivate::Database* KXCommServerPrivate::findDatabase(const KXKEY_ELEMENT& key) const
{
    for (const std::vector<Database>* kind : {&outputs, &bookDatabases}) {
        for (const Database& database : *kind) {
            if (KXKEY_CC::isEqual(database.entry->key, key))
                return &database;
        }
    }
    return nullptr;
}

BM_MESSAGE_ID KXCommServerPrivate::nextMessage(KXLPCOMMANDS& command, BM_MESSAGE_ID& message)
{
    message = ++lastMessage;
    command.messageId = message;
    command.status = StatusOk;
    command.dataType = 0;
    return message;
}

std::unique_ptr<KXCommServer> KXCommServerPrivate::make(std::unique_ptr<KXCommServerPrivate> d)
{
    return std::unique_ptr<KXCommServer>(new KXCommServer(std::move(d)));
}

namespace kxhost {

bool findOpenProfile(const std::string& host, unsigned short port, const std::string& name,
                     std::vector<unsigned char>& data)
{
    std::lock_guard<std::mutex> lock(registryMutex);
    const auto& servers = registry();
    for (auto server = servers.rbegin(); server != servers.rend(); ++server) {
        if ((*server)->host != host || (*server)->port != port)
            continue;
        for (const auto& profile : (*server)->profiles) {
            if (profile.first == name) {
                data = profile.second;
                return true;
            }
        }
        return false;
    }
    return false;
}

} // namespace kxhost

KXCommServer::KXCommServer()
    : d(new KXCommServerPrivate)
{
}

KXCommServer::KXCommServer(std::unique_ptr<KXCommServerPrivate> data)
    : d(std::move(data))
{
    if (d->hasData) {
        std::lock_guard<std::mutex> lock(registryMutex);
        registry().push_back(d.get());
    }
}

KXCommServer::~KXCommServer()
{
    if (d->hasData) {
        std::lock_guard<std::mutex> lock(registryMutex);
        auto& servers = registry();
        servers.erase(std::remove(servers.begin(), servers.end(), d.get()), servers.end());
    }
}

std::unique_ptr<KXCommServer> KXCommServer::open(const std::string& path, std::string* error)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        if (error)
            *error = path + ": cannot open the file";
        return nullptr;
    }
    std::ostringstream content;
    content << file.rdbuf();
    if (file.bad()) {
        if (error)
            *error = path + ": cannot read the file";
        return nullptr;
    }
    return openData(content.str(), path, error);
}

std::unique_ptr<KXCommServer> KXCommServer::openData(const std::string& json,
                                                     const std::string& sourceName,
                                                     std::string* error)
{
    const kxhost::JournalScope quiet{kxhost::JournalScope::Quiet{}}; // loading is not a call into the host
    auto data = std::make_unique<KXCommServerPrivate>();
    std::string problem;
    if (!kxhost::loadDataset(json, *data, problem)) {
        if (error)
            *error = sourceName + ": " + problem;
        return nullptr;
    }
    data->compactRecords(); // the parse's memory is free now
    data->source = sourceName;
    data->hasData = true;
    return KXCommServerPrivate::make(std::move(data));
}

std::string KXCommServer::getSourceName() const
{
    return d->source;
}

std::string KXCommServer::getConnectedHostname() const
{
    const kxhost::JournalScope journal(nullptr, "getConnectedHostname");
    return d->host;
}

unsigned short KXCommServer::getConnectedPortnum() const
{
    const kxhost::JournalScope journal(nullptr, "getConnectedPortnum");
    return d->port;
}

KXDBENTRY* KXCommServer::getDBList(KXLPCOMMANDS& command, BM_MESSAGE_ID& message, PACKETDATATYPES type)
{
    const kxhost::JournalScope journal(nullptr, "getDBList", [&] { return kxhost::journalArguments(static_cast<unsigned int>(type)); });
    ++d->counts["getDBList"];
    d->nextMessage(command, message);
    command.command = KXCMD_GETDBLIST;
    command.dataType = type;
    const std::vector<KXCommServerPrivate::Database>* databases = nullptr;
    bool failing = false;
    if (type == PDT_OUTPUTDB) {
        databases = &d->outputs;
        failing = d->outputsFail;
    } else if (type == PDT_BOOKDB) {
        databases = &d->bookDatabases;
        failing = d->booksFail;
    } else {
        command.status = StatusUnsupported;
        return nullptr;
    }
    if (failing) {
        command.status = StatusFailed;
        return nullptr;
    }
    KXDBENTRY* head = nullptr;
    KXDBENTRY** tail = &head;
    for (const auto& database : *databases) {
        *tail = kxhost::copyDBEntry(database.entry);
        tail = &(*tail)->next;
    }
    return head;
}

bool KXCommServer::iserror(KXLPCOMMANDS& command)
{
    const kxhost::JournalScope journal(nullptr, "iserror");
    ++d->counts["iserror"];
    return command.status != StatusOk;
}

int KXCommServer::getidfromkxkey(const KXKEY_ELEMENT& key)
{
    const kxhost::JournalScope journal(nullptr, "getidfromkxkey", [&] { return kxhost::journalArguments(key); });
    ++d->counts["getidfromkxkey"];
    const KXCommServerPrivate::Database* database = d->findDatabase(key);
    return database ? database->entry->id : 0;
}

KXJOB* KXCommServer::getJobqueue(KXLPCOMMANDS& command, BM_MESSAGE_ID& message, KXQUEUE queue,
                                 SORTTYPE sortType, SORTORDER order, int dbId)
{
    const kxhost::JournalScope journal(nullptr, "getJobqueue", [&] { return kxhost::journalArguments(static_cast<int>(queue), static_cast<int>(sortType), static_cast<int>(order), dbId); });
    ++d->counts["getJobqueue"];
    d->nextMessage(command, message);
    command.command = KXCMD_GETJOBQUEUE;
    if (sortType != SORTTYPE_ARRIVAL) {
        command.status = StatusUnsupported;
        return nullptr;
    }
    for (const auto& database : d->outputs) {
        if (database.entry->id == dbId)
            return copyList<KXJOB>(database.jobs, kxhost::copyJob, order, inQueue, queue);
    }
    return nullptr;
}

KXBOOK* KXCommServer::getBooks(KXLPCOMMANDS& command, BM_MESSAGE_ID& message, SORTTYPE sortType,
                               SORTORDER order, const KXKEY_ELEMENT& dbKey)
{
    const kxhost::JournalScope journal(nullptr, "getBooks", [&] { return kxhost::journalArguments(static_cast<int>(sortType), static_cast<int>(order), dbKey); });
    ++d->counts["getBooks"];
    d->nextMessage(command, message);
    command.command = KXCMD_GETBOOKS;
    if (sortType != SORTTYPE_ARRIVAL) {
        command.status = StatusUnsupported;
        return nullptr;
    }
    for (const auto& database : d->bookDatabases) {
        if (KXKEY_CC::isEqual(database.entry->key, dbKey))
            return copyList<KXBOOK>(database.books, kxhost::copyBook, order, nullptr, 0);
    }
    return nullptr;
}

int KXCommServer::queryCount(const std::string& operation) const
{
    const auto found = d->counts.find(operation);
    return found == d->counts.end() ? 0 : found->second;
}

int KXCommServer::totalQueryCount() const
{
    int total = 0;
    for (const auto& count : d->counts)
        total += count.second;
    return total;
}

void KXCommServer::resetQueryCounts()
{
    d->counts.clear();
}

ArchiveNode* KXCommServer::archive() const
{
    return d->archive.get();
}
