#pragma once
// What a server connection holds, and the registry of open connections. Not installed.

#include <kxhost/archivenode.h>
#include <kxhost/kxcommserver.h>
#include <kxhost/kxrecords.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct KXCommServerPrivate
{
    struct Database
    {
        KXDBENTRY* entry = nullptr; // one record
        KXJOB* jobs = nullptr;      // output databases: the jobs, in arrival order
        KXBOOK* books = nullptr;    // book databases: the books, in arrival order
    };

    KXCommServerPrivate();
    ~KXCommServerPrivate();
    KXCommServerPrivate(const KXCommServerPrivate&) = delete;
    KXCommServerPrivate& operator=(const KXCommServerPrivate&) = delete;

    /// Copies every job and book record once more after loading. Built while the dataset
    /// was parsed, the records lie scattered among the parser's freed memory, which slows
    /// every later allocation of the process down as the dataset grows (about 1.4 times per
    /// job at 50,000 jobs); copied afterwards, they lie together.
    void compactRecords();
    const Database* findDatabase(const KXKEY_ELEMENT& key) const;
    BM_MESSAGE_ID nextMessage(KXLPCOMMANDS& command, BM_MESSAGE_ID& message);

    static std::unique_ptr<KXCommServer> make(std::unique_ptr<KXCommServerPrivate> d);

    bool hasData = false;
    std::string source;
    std::string host;
    unsigned short port = 0;
    bool outputsFail = false;
    bool booksFail = false;
    std::vector<Database> outputs;
    std::vector<Database> bookDatabases;
    std::vector<std::pair<std::string, std::vector<unsigned char>>> profiles;
    std::unique_ptr<ArchiveNode> archive;
    std::map<std::string, int> counts;
    BM_MESSAGE_ID lastMessage = 0;
};

namespace kxhost {

/// Fills @p out from a dataset; on failure @p error is "<path>: <problem>" (or a syntax
/// error's position) without the source name.
bool loadDataset(const std::string& json, KXCommServerPrivate& out, std::string& error);

/// Looks up profile @p name in the most recently opened connection registered under
/// @p host and @p port.
bool findOpenProfile(const std::string& host, unsigned short port, const std::string& name,
                     std::vector<unsigned char>& data);

} // namespace kxhost
