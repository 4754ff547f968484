#pragma once

#include <kxxml/kxxml_export.h>

#include <QList>
#include <QtGlobal>

class XMLPacket;
class XMLRouter;

/// Watches what passes through one or more routers without taking part: attach it with
/// XMLRouter::addObserver and override the events of interest (each does nothing by default).
///
/// Every event names its router and carries a sequence number that the router counts up
/// from 1, one number per event, counting only while observers are attached; every observer
/// of one event sees the same number. Packet events come with the packet, read-only and valid
/// only during the call, and its source and destination ids. The observer never owns a
/// packet and must not change it, nor the router: callbacks may only read, and may attach or
/// detach observers. An observer may detach itself or others, or be deleted, from inside a
/// callback; one attached during an event sees the events that follow it. Events come on
/// the router's thread.
///
/// The observer is not owned by the routers it watches. Its destructor detaches it from
/// every router it is still attached to; a router detaches its observers when it is
/// destroyed.
class KXXML_EXPORT XMLRouterObserver
{
public:
    /// Why the router refused a packet in XMLRouter::send.
    enum class Refusal {
        UnregisteredSource, ///< no agent is registered under the packet's source id
        Repetition          ///< the packet equals the one queued just before it
    };

    /// An observer attached to no router.
    XMLRouterObserver();
    /// Detaches the observer from every router it is attached to. Pure, so that only
    /// subclasses, which override some event, are made.
    virtual ~XMLRouterObserver() = 0;
    XMLRouterObserver(const XMLRouterObserver&) = delete;
    XMLRouterObserver& operator=(const XMLRouterObserver&) = delete;

    /// @name Packets
    /// @{
    /// @p packet was queued for delivery by XMLRouter::send.
    virtual void packetAccepted(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                                int destinationID);
    /// @p packet was refused by XMLRouter::send for @p reason; the router deletes it later.
    virtual void packetRefused(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                               int destinationID, Refusal reason);
    /// @p packet is about to be handed to the agent @p destinationID (before its receive()).
    virtual void packetDelivered(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                                 int destinationID);
    /// No agent is registered under @p destinationID: @p packet is about to be deleted, and
    /// the destination is then announced as a removed agent.
    virtual void packetUndeliverable(const XMLRouter& router, quint64 sequence, const XMLPacket& packet,
                                     int sourceID, int destinationID);
    /// @}

    /// @name Agents
    /// @{
    /// XMLRouter::add registered an agent of @p agentType under @p agentID.
    virtual void agentRegistered(const XMLRouter& router, quint64 sequence, int agentID, int agentType);
    /// An agent left the router: XMLRouter::remove was called with it (whether or not its
    /// id was still registered; the other agents are told of it either way), or the router
    /// is being destroyed and its comm-server agent (id -1, type 0) goes. Called before the
    /// other agents hear of it.
    virtual void agentUnregistered(const XMLRouter& router, quint64 sequence, int agentID, int agentType);
    /// XMLRouter::supplyAgentOfType found no agent of @p agentType and asked the broker,
    /// which answered @p agentID (0: none). Called after the broker answered, so the
    /// registration of the agent it created comes first.
    virtual void brokerAsked(const XMLRouter& router, quint64 sequence, int agentType, int agentID);
    /// @}

private:
    friend class XMLRouter;
    QList<XMLRouter*> attachedRouters; ///< kept by the routers, for detaching on destruction
};
