#include "xmlrouterobserver.h"

#include "xmlrouter.h"

XMLRouterObserver::XMLRouterObserver() = default;

XMLRouterObserver::~XMLRouterObserver()
{
    // removeObserver takes each router off the list.
    while (!attachedRouters.isEmpty())
        attachedRouters.constLast()->removeObserver(this);
}

void XMLRouterObserver::packetAccepted(const XMLRouter&, quint64, const XMLPacket&, int, int)
{
}

void XMLRouterObserver::packetRefused(const XMLRouter&, quint64, const XMLPacket&, int, int, Refusal)
{
}

void XMLRouterObserver::packetDelivered(const XMLRouter&, quint64, const XMLPacket&, int, int)
{
}

void XMLRouterObserver::packetUndeliverable(const XMLRouter&, quint64, const XMLPacket&, int, int)
{
}

void XMLRouterObserver::agentRegistered(const XMLRouter&, quint64, int, int)
{
}

void XMLRouterObserver::agentUnregistered(const XMLRouter&, quint64, int, int)
{
}

void XMLRouterObserver::brokerAsked(const XMLRouter&, quint64, int, int)
{
}
