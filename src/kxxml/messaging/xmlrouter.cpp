#include "xmlrouter.h"

#include "xmlagent.h"
#include "xmlpacket.h"

#include <kxxml/commserver/xmlcommserver.h>

#include <QTimer>

namespace {
constexpr int kCommServerID = -1;
constexpr int kUnknownAgentType = 5;
} // namespace

XMLRouter::XMLRouter(KXCommServer* server, QObject* parent, const char* name)
    : QObject(parent)
    , timer(new QTimer(this))
    , commServer(std::make_unique<XMLCommServer>(server))
{
    setObjectName(QString::fromLatin1(name));
    commServer->setAgentID(kCommServerID);
    commServer->setRouter(this);
    agents[kCommServerID] = commServer.get();
    connect(timer, &QTimer::timeout, this, qOverload<>(&XMLRouter::send));
}

XMLRouter::~XMLRouter()
{
    if (commServer) {
        const int id = commServer->getAgentID();
        agents.erase(id);
        notifyAgentRemovals(id);
        commServer.reset();
    }
    broker.reset();
}

void XMLRouter::add(XMLAgent* agent)
{
    if (!agent)
        return;
    agent->setAgentID(++lastAgentID);
    agent->setRouter(this);
    agents[agent->getAgentID()] = agent;
}

void XMLRouter::remove(XMLAgent* agent)
{
    if (!agent)
        return;
    const int id = agent->getAgentID();
    agents.erase(id);
    notifyAgentRemovals(id);
}

bool XMLRouter::contains(int agentID) const
{
    return agents.count(agentID) > 0;
}

int XMLRouter::getNextAgentID()
{
    return ++lastAgentID;
}

int XMLRouter::findAgentOfType(int type) const
{
    const std::list<int> ids = findAgentsOfType(type);
    return ids.empty() ? 0 : ids.front();
}

std::list<int> XMLRouter::findAgentsOfType(int type) const
{
    std::list<int> ids;
    for (const auto& [key, agent] : agents) {
        if (agent && agent->getAgentType() == type)
            ids.push_back(agent->getAgentID());
    }
    return ids;
}

int XMLRouter::supplyAgentOfType(int type)
{
    if (const int id = findAgentOfType(type))
        return id;
    return broker ? broker->createAgentOfType(type) : 0;
}

int XMLRouter::getAgentType(int agentID) const
{
    for (const auto& [key, agent] : agents) {
        if (agent && agent->getAgentID() == agentID)
            return agent->getAgentType();
    }
    return kUnknownAgentType;
}

int XMLRouter::getXMLCommServerID() const
{
    return kCommServerID;
}

void XMLRouter::setAgentBroker(XMLAgentBroker* newBroker)
{
    broker.reset(newBroker);
    if (broker)
        broker->setRouter(this);
}

void XMLRouter::notifyAgentRemovals(int agentID)
{
    // Agents may add or remove agents from inside agentRemoved: walk by key, looking each
    // next entry up afresh, so that the walk never follows an erased entry.
    auto it = agents.begin();
    while (it != agents.end()) {
        const int key = it->first;
        XMLAgent* agent = it->second;
        if (agent && agent->wantAgentRemovalNotifications() && agent->getAgentID() != agentID)
            agent->agentRemoved(agentID);
        it = agents.upper_bound(key);
    }
}

void XMLRouter::send(XMLPacket* packet)
{
    if (!packet)
        return;
    if (!contains(packet->getSourceAgentID())) {
        packet->deleteLater();
        return;
    }
    XMLPacket* last = queue.isEmpty() ? nullptr : queue.last();
    if (last && *last == *packet) {
        packet->deleteLater(); // an immediate repetition of the packet just queued
        return;
    }
    queue.append(packet);
    if (!timer->isActive()) {
        timer->setSingleShot(true);
        timer->start(0);
    }
}

void XMLRouter::send()
{
    while (!queue.isEmpty()) {
        XMLPacket* packet = queue.takeFirst();
        const int destination = packet->getDestinationAgentID();
        const auto it = agents.find(destination);
        if (it != agents.end() && it->second) {
            it->second->receive(packet); // the agent owns the packet now
        } else {
            delete packet;
            notifyAgentRemovals(destination);
        }
    }
}
