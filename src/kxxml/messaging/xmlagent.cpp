#include "xmlagent.h"

#include "xmlpacket.h"

XMLAgent::XMLAgent(int type)
    : agentType(type)
{
}

XMLAgent::~XMLAgent() = default;

int XMLAgent::getAgentType() const
{
    return agentType;
}

int XMLAgent::getAgentID() const
{
    return agentID;
}

void XMLAgent::setAgentID(int id)
{
    agentID = id;
}

void XMLAgent::setRouter(XMLRouter* r)
{
    router = r;
}

bool XMLAgent::wantAgentRemovalNotifications() const
{
    return wantsRemovalNotifications;
}

XMLPacket* XMLAgent::getXMLPacket(int destinationID) const
{
    auto* packet = new XMLPacket;
    packet->setSourceAgentID(getAgentID());
    packet->setDestinationAgentID(destinationID);
    return packet;
}

void XMLAgent::agentRemoved(int)
{
}

XMLAgentBroker::XMLAgentBroker() = default;

XMLAgentBroker::~XMLAgentBroker() = default;

void XMLAgentBroker::setRouter(XMLRouter* r)
{
    router = r;
}
