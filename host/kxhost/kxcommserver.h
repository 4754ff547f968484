#pragma once

#include <kxhost/kxhost_export.h>
#include <kxhost/kxrecords.h>
#include <kxhost/kxtypes.h>

#include <memory>
#include <string>

class ArchiveNode;
struct KXCommServerPrivate;

/// A connection to the communication server, answered from a dataset (a JSON document of
/// format "kxhost-dataset/1"). Every list a query returns is a fresh copy owned by the caller
/// (free it with KXPacketFreeList). The connection counts the queries it answers.
///
/// While a connection opened on a dataset exists, it is registered under its host name and
/// port, so that ICCPROFILEDATA_CC::load finds its colour profiles.
class KXHOST_EXPORT KXCommServer
{
public:
    /// A connection without data: every query yields nothing, host name empty, port 0.
    KXCommServer();
    /// Closes the connection: frees its data and unregisters it.
    ~KXCommServer();
    KXCommServer(const KXCommServer&) = delete;
    KXCommServer& operator=(const KXCommServer&) = delete;

    /// Opens the dataset file at @p path. On failure returns null and, when @p error is given,
    /// one line saying what and where: `<path>: outputs[0].jobs[2].page: expected an integer`.
    /// Nothing is half-loaded. The caller owns the connection.
    static std::unique_ptr<KXCommServer> open(const std::string& path, std::string* error);
    /// Opens a dataset given as JSON text; @p sourceName stands for it in error messages.
    static std::unique_ptr<KXCommServer> openData(const std::string& json,
                                                  const std::string& sourceName,
                                                  std::string* error);

    /// The name the dataset was opened under (file path or source name); empty without data.
    std::string getSourceName() const;

    /// The dataset's server host name.
    std::string getConnectedHostname() const;
    /// The dataset's server port.
    unsigned short getConnectedPortnum() const;

    /// The database entries of a kind: @p type 15 output databases, 85 book databases, as a
    /// fresh copy in dataset order (caller frees, data type 8). Null for none, for any other
    /// type and when the dataset marks the query failing (iserror(command) then says so).
    KXDBENTRY* getDBList(KXLPCOMMANDS& command, BM_MESSAGE_ID& message, PACKETDATATYPES type);

    /// True when the query recorded in @p command failed.
    bool iserror(KXLPCOMMANDS& command);

    /// The id of the database with key @p key (output or book database); 0 when unknown.
    int getidfromkxkey(const KXKEY_ELEMENT& key);

    /// The jobs of queue @p queue of the output database with id @p dbId, fresh copies (caller
    /// frees, data type 21), in arrival order (sort type 4), reversed for descending order.
    /// Null for none, for an unknown database and for any other sort type (a failed query).
    KXJOB* getJobqueue(KXLPCOMMANDS& command, BM_MESSAGE_ID& message, KXQUEUE queue,
                       SORTTYPE sortType, SORTORDER order, int dbId);

    /// The books of the book database with key @p dbKey, fresh copies (caller frees, data
    /// type 86), ordered as getJobqueue orders jobs. Null for none or an unknown database.
    KXBOOK* getBooks(KXLPCOMMANDS& command, BM_MESSAGE_ID& message, SORTTYPE sortType,
                     SORTORDER order, const KXKEY_ELEMENT& dbKey);

    /// How many times @p operation ("getDBList", "iserror", "getidfromkxkey", "getJobqueue",
    /// "getBooks") was called since the connection was opened or the counts were reset.
    int queryCount(const std::string& operation) const;
    /// The number of calls of all operations together.
    int totalQueryCount() const;
    /// Sets every count back to 0.
    void resetQueryCounts();

    /// The archive: a root node holding no packet, whose children are the dataset's top-level
    /// archive entries. Owned by the connection; never null.
    ArchiveNode* archive() const;

private:
    explicit KXCommServer(std::unique_ptr<KXCommServerPrivate> d);
    friend struct KXCommServerPrivate;
    std::unique_ptr<KXCommServerPrivate> d;
};
