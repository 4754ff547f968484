#include "session.h"

#include <kxxml/packetable/hostlib.h>

Session::Session(std::unique_ptr<KXCommServer> server, bool trace)
    : m_server(std::move(server))
    , m_router(m_server.get(), nullptr, "kxxml")
{
    if (trace)
        m_trace = std::make_unique<RouterTrace>(m_router);
    m_router.add(&m_agent);
}

Session::~Session()
{
    m_router.remove(&m_agent);
}

RequestAgent& Session::agent()
{
    return m_agent;
}

KXCommServer& Session::server() const
{
    return *m_server;
}
