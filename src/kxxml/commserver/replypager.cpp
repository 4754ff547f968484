#include "replypager_p.h"

#include "pagedlisting_p.h"
#include "xmlcommserver.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>

namespace {

// Packetables added to a page in one turn of the event loop: a job takes some 70 µs, so a
// turn stays within a few milliseconds whatever the page size.
constexpr int RecordsPerTurn = 32;

} // namespace

ReplyPager::ReplyPager(XMLCommServer& s)
    : server(s)
{
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, this, &ReplyPager::step);
}

ReplyPager::~ReplyPager() = default;

void ReplyPager::enqueue(std::unique_ptr<PagedListing> listing)
{
    std::deque<std::unique_ptr<PagedListing>>& listings = byRequester[listing->destination()];
    if (listings.empty())
        turns.push_back(listing->destination());
    listings.push_back(std::move(listing));
    if (!timer.isActive())
        timer.start(0);
}

int ReplyPager::pendingListings() const
{
    int count = 0;
    for (const auto& entry : byRequester)
        count += static_cast<int>(entry.second.size());
    return count;
}

void ReplyPager::step()
{
    if (turns.empty())
        return;
    const int requester = turns.front();
    turns.pop_front();
    auto it = byRequester.find(requester);
    std::deque<std::unique_ptr<PagedListing>>& listings = it->second;
    PagedListing& listing = *listings.front();

    XMLRouter* const router = server.router;
    if (!router || !router->contains(requester)) {
        listings.clear(); // the requester is gone: nothing of its listings is wanted
    } else if (!listing.isGathered()) {
        listing.gather(); // a turn of its own: the host query can take a while
    } else {
        if (XMLPacket* page = listing.buildPage(RecordsPerTurn))
            router->send(page); // the router takes the page over
        if (listing.isFinished())
            listings.pop_front();
    }
    // A listing that turns out empty and silent ends without a page.
    if (!listings.empty() && listings.front()->isGathered() && listings.front()->isFinished())
        listings.pop_front();

    if (listings.empty())
        byRequester.erase(it);
    else
        turns.push_back(requester);
    if (!turns.empty())
        timer.start(0);
}
