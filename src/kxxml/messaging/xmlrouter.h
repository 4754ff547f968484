#pragma once

#include <kxxml/kxxml_export.h>
#include <kxxml/messaging/xmlrouterobserver.h>

#include <QList>
#include <QObject>
#include <QtGlobal>

#include <list>
#include <map>
#include <memory>

class KXCommServer;
class QTimer;
class XMLAgent;
class XMLAgentBroker;
class XMLCommServer;
class XMLPacket;

/// The post office of the messaging layer: registers agents under integer ids, queues
/// packets first in, first out, and delivers them from the Qt event loop.
///
/// The router creates and owns the comm-server agent (id -1) and the broker set on it.
/// Agents added with add() stay their creators'; they must be removed before they are
/// destroyed. Packets handed to send() belong to the router until delivered (then to the
/// receiving agent) or discarded.
///
/// Application code can watch the traffic through observers (XMLRouterObserver,
/// addObserver): they see every packet accepted, refused, delivered or undeliverable, every
/// agent registered or unregistered and every request to the broker, without changing what
/// the router does. Observers are a plain interface rather than signals, so the router's
/// meta-object keeps no signals, and a router that nobody watches pays one test of an empty
/// list per event. XMLRouterLogger is a ready-made observer that writes through Qt's logging.
class KXXML_EXPORT XMLRouter : public QObject
{
    Q_OBJECT

public:
    /// @p server is handed to the comm-server agent; the router itself makes no use of it.
    XMLRouter(KXCommServer* server, QObject* parent, const char* name);
    /// Removes and deletes the comm-server agent (telling interested agents of id -1) and
    /// deletes the broker. Queued packets and registered agents are left undeleted.
    ~XMLRouter() override;

    /// Registers @p agent under the next id (1, 2, ...; never reused). Adding an agent twice
    /// gives it a second id and leaves the first entry in place (deliberate).
    void add(XMLAgent* agent);
    /// Unregisters @p agent (not deleted) and tells the other interested agents.
    void remove(XMLAgent* agent);
    /// Whether an agent is registered under @p agentID.
    bool contains(int agentID) const;
    /// Advances the id counter and returns the new value; that id is never given to an agent.
    int getNextAgentID();
    /// The lowest id of a registered agent of @p type; 0 when there is none.
    int findAgentOfType(int type) const;
    /// Every id of a registered agent of @p type, ascending.
    std::list<int> findAgentsOfType(int type) const;
    /// Like findAgentOfType, else whatever the broker creates; 0 without a broker.
    int supplyAgentOfType(int type);
    /// The type of the agent with @p agentID; 5 when there is none.
    int getAgentType(int agentID) const;
    /// Always -1.
    int getXMLCommServerID() const;
    /// Takes @p broker over, deleting the previous one. Handing the router the broker it
    /// already holds deletes that broker: callers must not do it.
    void setAgentBroker(XMLAgentBroker* broker);
    /// Calls agentRemoved(@p agentID) on every interested agent but the one with that id,
    /// in ascending id order.
    void notifyAgentRemovals(int agentID);
    /// Queues @p packet for delivery and takes it over. Packets from unregistered sources,
    /// and a repetition of the last queued packet, are discarded. Sending the very packet
    /// that was queued last once more does nothing: it is queued already.
    void send(XMLPacket* packet);

    /// @name Observers
    /// @{
    /// Attaches @p observer (not owned) to the router's events, after the observers attached
    /// before it. Nothing happens for null or an observer that is attached already. Called
    /// from inside an event, the observer sees the events that follow it.
    void addObserver(XMLRouterObserver* observer);
    /// Detaches @p observer: it sees nothing more, not even the rest of an event being
    /// reported. Safe from inside an event, for the observer being called too. Nothing
    /// happens for null or an observer that is not attached.
    void removeObserver(XMLRouterObserver* observer);
    /// @}

protected Q_SLOTS:
    /// The delivery loop: drains the queue, including packets queued during this run.
    void send();

private:
    template <typename Call>
    void notifyObservers(const Call& call);
    void notifyRefused(const XMLPacket& packet, int source, XMLRouterObserver::Refusal reason);

    int lastAgentID = 0;
    std::map<int, XMLAgent*> agents;
    QList<XMLPacket*> queue;
    QTimer* timer;                          ///< child of the router
    std::unique_ptr<XMLCommServer> commServer;
    std::unique_ptr<XMLAgentBroker> broker;
    /// Not owned. Observers detached during an event are nulled, and the nulls dropped once
    /// the outermost event has been reported, so that indexes stay valid while it is.
    QList<XMLRouterObserver*> observers;
    quint64 eventSequence = 0;     ///< the number of the last event reported
    int notifyingDepth = 0;        ///< events being reported, nested
    bool observersNulled = false;  ///< observers holds nulls to drop
};
