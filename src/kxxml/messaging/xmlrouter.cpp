#include "xmlrouter.h"

#include "xmlagent.h"
#include "xmlpacket.h"

#include <kxxml/commserver/xmlcommserver.h>

#include <QTimer>

namespace {
constexpr int kCommServerID = -1;
constexpr int kUnknownAgentType = 5;
} // namespace

// Reports one event to every observer attached when it began. Entries are read by index
// afresh each time: a callback may attach observers (appended, beyond the count taken here)
// or detach them (nulled, see removeObserver), so nothing is held across a call.
template <typename Call>
void XMLRouter::notifyObservers(const Call& call)
{
    const quint64 sequence = ++eventSequence;
    ++notifyingDepth;
    const qsizetype count = observers.size();
    for (qsizetype i = 0; i < count; ++i) {
        if (XMLRouterObserver* observer = observers.at(i))
            call(*observer, sequence);
    }
    if (--notifyingDepth == 0 && observersNulled) {
        observers.removeAll(nullptr);
        observersNulled = false;
    }
}

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
        if (!observers.isEmpty()) {
            const int type = commServer->getAgentType();
            notifyObservers([&](XMLRouterObserver& o, quint64 n) { o.agentUnregistered(*this, n, id, type); });
        }
        notifyAgentRemovals(id);
        commServer.reset();
    }
    broker.reset();
    for (XMLRouterObserver* observer : std::as_const(observers)) {
        if (observer)
            observer->attachedRouters.removeOne(this);
    }
}

void XMLRouter::add(XMLAgent* agent)
{
    if (!agent)
        return;
    agent->setAgentID(getNextAgentID());
    agent->setRouter(this);
    agents[agent->getAgentID()] = agent;
    if (!observers.isEmpty()) {
        notifyObservers([&](XMLRouterObserver& o, quint64 n) {
            o.agentRegistered(*this, n, agent->getAgentID(), agent->getAgentType());
        });
    }
}

void XMLRouter::remove(XMLAgent* agent)
{
    if (!agent)
        return;
    const int id = agent->getAgentID();
    agents.erase(id);
    if (!observers.isEmpty()) {
        const int type = agent->getAgentType();
        notifyObservers([&](XMLRouterObserver& o, quint64 n) { o.agentUnregistered(*this, n, id, type); });
    }
    notifyAgentRemovals(id);
}

bool XMLRouter::contains(int agentID) const
{
    return agents.count(agentID) > 0;
}

int XMLRouter::getNextAgentID()
{
    // Counted in unsigned arithmetic, so that going past INT_MAX wraps (to INT_MIN) instead of overflowing.
    lastAgentID = static_cast<int>(static_cast<unsigned int>(lastAgentID) + 1u);
    return lastAgentID;
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
    if (!broker)
        return 0;
    const int id = broker->createAgentOfType(type);
    if (!observers.isEmpty())
        notifyObservers([&](XMLRouterObserver& o, quint64 n) { o.brokerAsked(*this, n, type, id); });
    return id;
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
    if (!packet || (!queue.isEmpty() && queue.last() == packet))
        return; // the very packet just queued: it is there already
    const int source = packet->getSourceAgentID();
    if (!contains(source)) {
        if (!observers.isEmpty())
            notifyRefused(*packet, source, XMLRouterObserver::Refusal::UnregisteredSource);
        packet->deleteLater();
        return;
    }
    XMLPacket* last = queue.isEmpty() ? nullptr : queue.last();
    if (last && *last == *packet) {
        if (!observers.isEmpty())
            notifyRefused(*packet, source, XMLRouterObserver::Refusal::Repetition);
        packet->deleteLater(); // an immediate repetition of the packet just queued
        return;
    }
    queue.append(packet);
    if (!observers.isEmpty()) {
        const int destination = packet->getDestinationAgentID();
        notifyObservers([&](XMLRouterObserver& o, quint64 n) {
            o.packetAccepted(*this, n, *packet, source, destination);
        });
    }
    if (!timer->isActive()) {
        timer->setSingleShot(true);
        timer->start(0);
    }
}

void XMLRouter::addObserver(XMLRouterObserver* observer)
{
    if (!observer || observers.contains(observer))
        return;
    observers.append(observer);
    observer->attachedRouters.append(this);
}

void XMLRouter::removeObserver(XMLRouterObserver* observer)
{
    const qsizetype index = observer ? observers.indexOf(observer) : -1;
    if (index < 0)
        return;
    observer->attachedRouters.removeOne(this);
    if (notifyingDepth > 0) {
        observers[index] = nullptr; // an event is being reported: keep the indexes
        observersNulled = true;
    } else {
        observers.removeAt(index);
    }
}

void XMLRouter::send()
{
    while (!queue.isEmpty()) {
        XMLPacket* packet = queue.takeFirst();
        const int destination = packet->getDestinationAgentID();
        const auto it = agents.find(destination);
        if (it != agents.end() && it->second) {
            XMLAgent* agent = it->second;
            if (!observers.isEmpty()) {
                const int source = packet->getSourceAgentID();
                notifyObservers([&](XMLRouterObserver& o, quint64 n) {
                    o.packetDelivered(*this, n, *packet, source, destination);
                });
            }
            agent->receive(packet); // the agent owns the packet now
        } else {
            if (!observers.isEmpty()) {
                const int source = packet->getSourceAgentID();
                notifyObservers([&](XMLRouterObserver& o, quint64 n) {
                    o.packetUndeliverable(*this, n, *packet, source, destination);
                });
            }
            delete packet;
            notifyAgentRemovals(destination);
        }
    }
}

void XMLRouter::notifyRefused(const XMLPacket& packet, int source, XMLRouterObserver::Refusal reason)
{
    const int destination = packet.getDestinationAgentID();
    notifyObservers([&](XMLRouterObserver& o, quint64 n) {
        o.packetRefused(*this, n, packet, source, destination, reason);
    });
}
