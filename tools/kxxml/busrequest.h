#pragma once

#include "bustarget.h"
#include "outcome.h"

#include <kxxml/packetable/hostlib.h>

#include <QList>
#include <QString>

#include <functional>

class XMLPacket;

/// `kxxml request KIND --bus NAME`: the request sent to the comm-server agent of another
/// application, from an agent that the tool registers there, and its reply printed as for a
/// router of the tool's own.
class BusRequest
{
public:
    /// A request to @p target, waiting at most @p timeoutMs milliseconds for the reply (for
    /// each page, when paged).
    BusRequest(const BusTarget& target, int timeoutMs);

    /// Sends the request @p kind (see RequestAgent::requestAction for @p keys and
    /// @p excludePublications). Without a page size, the outcome prints the reply; with one,
    /// each page goes to @p onPage as it arrives and the outcome prints nothing more.
    Outcome run(const QString& kind, const QList<KXKEY_ELEMENT>& keys, const bool* excludePublications,
                int pageSize, const std::function<void(const XMLPacket&)>& onPage) const;

private:
    BusTarget m_target;
    int m_timeoutMs;
};
