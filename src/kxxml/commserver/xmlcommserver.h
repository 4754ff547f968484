#pragma once

#include <kxxml/messaging/xmlagent.h>
#include <kxxml/packetable/hostlib.h>

#include <QList>

#include <memory>
#include <vector>

class PagedListing;
class ReplyPager;
class XMLAction;

/// The agent that answers data requests from the host's server connection.
///
/// Another agent sends it a packet whose first action names a request: 1000 output
/// databases, 1001 publications, 1002 books, 1003 jobs. It queries the server, turns every
/// record into a packetable of a reply packet addressed to the requester, and queues the
/// reply on its router. Only the job list is answered when there is nothing to list.
/// The router creates it under the id -1 and owns it.
///
/// Paged replies: a list request whose action has a page size N (XMLAction::setPageSize) is
/// answered with a sequence of packets of at most N packetables each, which together hold
/// exactly the packetables of the single reply, in the same order (the publications listing
/// chooses one job per publication over the whole listing). Each packet is marked with its
/// page number and whether more follow (XMLPacket::getPage(), XMLPacket::getMorePages()).
/// An empty listing answers as the single reply does: the job list with one empty page, the
/// others with none (publications: one empty page when jobs were found). The host is queried
/// once per listing; pages are then built a few packetables per turn of the event loop, each
/// page after the previous one was handed to the router, so the application stays responsive
/// and holds one page of a listing at a time. A requester's listings are
/// answered one after the other in the order asked; listings for different requesters take
/// turns. A listing stops, freeing everything, when its requester leaves the router or the
/// router is destroyed.
class KXXML_EXPORT XMLCommServer : public XMLAgent
{
public:
    /// @p server is not owned and may be null: every query then yields no records.
    explicit XMLCommServer(KXCommServer* server);
    ~XMLCommServer() override;

    /// Answers the first action of @p packet and releases the packet (an empty packet is
    /// deleted at once, any other with deleteLater()).
    void receive(XMLPacket* packet) override;

    /// The database entries of @p type (15 outputs, 85 books); null without a server or when
    /// the query fails. The caller frees the list (data type 8).
    KXDBENTRY* getDBList(PACKETDATATYPES type) const;
    /// The active jobs of one database, in arrival order; the caller frees them (data type 21).
    KXJOB* getKXJOBs(KXKEY_ELEMENT key) const;
    /// The jobs of several databases, database after database; the keys stay the caller's.
    KXJOB* getKXJOBs(const QList<KXKEY_ELEMENT*>& keys) const;
    /// The books of one database; the caller frees them (data type 86).
    KXBOOK* getBooks(KXKEY_ELEMENT key) const;
    /// The books of several databases, database after database; the keys stay the caller's.
    KXBOOK* getBooks(const QList<KXKEY_ELEMENT*>& keys) const;

    /// Sends the output databases to @p destination; nothing when there are none.
    void sendOUTPUTs(int destination) const;
    /// Sends the jobs of the action's databases (all output databases without a key list),
    /// leaving out jobs of publications unless the action says otherwise. Always sends.
    void sendKXJOBs(int destination, XMLAction* action) const;
    /// Sends one job per publication, the one with the smallest page number (the first met
    /// on a tie), named after its publication, in ascending publication number. Sends
    /// nothing when there are no jobs at all.
    void sendPublications(int destination, XMLAction* action) const;
    /// Sends the books of the action's databases (all book databases without a key list);
    /// nothing when there are none.
    void sendBooks(int destination, XMLAction* action) const;

private:
    friend class PagedListing;
    friend class ReplyPager;

    /// The job to list for each publication of @p jobs, in ascending publication number; the
    /// jobs stay in the list.
    static std::vector<KXJOB*> choosePublications(KXJOB* jobs);
    KXJOB* gatherJobs(const QList<KXKEY_ELEMENT*>& keys) const;
    KXBOOK* gatherBooks(const QList<KXKEY_ELEMENT*>& keys) const;
    void deliver(XMLPacket* reply) const;

    KXCommServer* server; ///< not owned
    std::unique_ptr<ReplyPager> pager; ///< made by the first paged request
};
