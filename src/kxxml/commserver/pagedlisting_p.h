#pragma once
// One list request answered in pages. Not installed.

#include <kxxml/packetable/hostlib.h>

#include <QList>

#include <memory>
#include <vector>

class XMLAction;
class XMLCommServer;
class XMLPacket;

/// The answer to one paged list request (codes 1000 to 1003): the host records still to be
/// sent, in the order the single reply would have them, handed out a page at a time.
///
/// The host is queried once per listing, by gather(): the host has no cursor, so a query per
/// page would copy every record again for each page (quadratic time) and could list a job
/// twice or never when the queue changes in between. The records stay in the host's list and
/// are unlinked, freed or adopted by the packetable that carries them one at a time as the
/// pages are built, so that the host sees the calls of the single reply in the same order;
/// the destructor frees the ones never sent with their free types (8, 21, 86).
class PagedListing
{
public:
    /// A listing for request @p code from @p destination, reading the request's options from
    /// @p action (not kept). Queries nothing yet.
    PagedListing(const XMLCommServer& server, int code, int destination, int pageSize,
                 const XMLAction& action);
    ~PagedListing();
    PagedListing(const PagedListing&) = delete;
    PagedListing& operator=(const PagedListing&) = delete;

    /// Whether @p code is one of the list requests that can be paged.
    static bool isListRequest(int code);

    /// The requester, to whom every page goes.
    int destination() const;
    /// Whether gather() has run.
    bool isGathered() const;
    /// Queries the host for every record of the listing; leaves out what the single reply
    /// would leave out (jobs of publications when excluded, jobs not chosen for their
    /// publication) and frees it at once.
    void gather();
    /// Whether every page has been handed out (or there is nothing to send at all).
    bool isFinished() const;
    /// Adds at most @p records packetables to the page being built and returns the page
    /// once it is complete, marked with its number and whether more follow; the caller owns
    /// it. Null while the page is still being built, and when the listing is finished. An
    /// empty listing gives one empty page only where the single reply would be sent empty
    /// (jobs; publications when jobs were found).
    XMLPacket* buildPage(int records);

private:
    void appendRecord(XMLPacket& page);
    void finish();

    const XMLCommServer& server;
    int code;
    int replyTo;
    int pageSize;
    bool excludePublications;
    QList<KXKEY_ELEMENT> keys;

    bool gathered = false;
    bool finished = false; ///< the last page is built and the host's lists are freed
    bool sendsWhenEmpty = false;
    int pagesSent = 0;
    // The host's lists of the records still to send (and, for jobs, to leave out).
    KXDBENTRY* entries = nullptr;
    KXJOB* jobs = nullptr;
    KXBOOK* books = nullptr;
    std::vector<KXJOB*> chosen; ///< publications: the job of each, still linked in `jobs`
    size_t total = 0; ///< records the listing sends
    size_t next = 0;  ///< records sent so far
    std::unique_ptr<XMLPacket> current; ///< the page being built
    int currentFill = 0;
    std::unique_ptr<KXPacketable> packetable; ///< carries one record at a time into a page
};
