#pragma once
// Paged list replies, answered from the event loop. Not installed.

#include <QObject>
#include <QTimer>

#include <deque>
#include <map>
#include <memory>

class PagedListing;
class XMLCommServer;
class XMLRouter;

/// Runs the comm-server agent's paged listings: one step per turn of the event loop, each
/// step either querying the host for one listing or adding a few packetables to its page,
/// sending the page when it is complete. Small steps keep every turn short, whatever the page
/// size; only one page per listing is in memory at a time.
///
/// The next step is a zero-time timer started after a page was handed to the router, so
/// the router's own timer, started first, delivers the page before the next one is begun,
/// and the event loop stays live in between. A requester's listings are answered one after
/// the other, in the order they were asked for, so their pages never interleave; listings
/// for different requesters take turns. A listing whose requester has left the router is
/// dropped with its records at its next turn. Owned by the comm-server agent.
class ReplyPager : public QObject
{
    Q_OBJECT

public:
    explicit ReplyPager(XMLCommServer& server);
    /// Frees every listing that has not finished, with its host records.
    ~ReplyPager() override;

    /// Takes @p listing over and answers it after the requester's earlier listings.
    void enqueue(std::unique_ptr<PagedListing> listing);
    /// How many listings are running or waiting.
    int pendingListings() const;

private:
    void step();

    XMLCommServer& server;
    QTimer timer;
    std::map<int, std::deque<std::unique_ptr<PagedListing>>> byRequester;
    std::deque<int> turns; ///< requesters with a listing, in the order of their next turn
};
