#pragma once

#include "requestagent.h"
#include "routertrace.h"

#include <kxxml/messaging/xmlrouter.h>

#include <memory>

class KXCommServer;

/// A messaging session on one dataset: the connection, a router with its comm-server agent,
/// and the tool's own agent registered on it.
class Session
{
public:
    /// Takes @p server over; it must not be null. With @p trace, the router's events are
    /// written to standard error (`--trace`) from before the tool's agent is added until
    /// the router is gone.
    explicit Session(std::unique_ptr<KXCommServer> server, bool trace = false);
    /// Unregisters the tool's agent before the router goes.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    RequestAgent& agent();
    KXCommServer& server() const;

private:
    std::unique_ptr<RouterTrace> m_trace; ///< first, so that it sees the router's end
    std::unique_ptr<KXCommServer> m_server;
    XMLRouter m_router;
    RequestAgent m_agent;
};
