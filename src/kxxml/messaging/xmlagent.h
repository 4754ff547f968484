#pragma once

#include <kxxml/kxxml_export.h>

class XMLPacket;
class XMLRouter;

/// An endpoint of the messaging layer: everything that sends or receives packets through an
/// XMLRouter. The router gives it its id when it is added.
class KXXML_EXPORT XMLAgent
{
public:
    /// An agent of kind @p agentType, without an id until a router adds it.
    explicit XMLAgent(int agentType);
    /// Does not unregister the agent: remove it from its router first.
    virtual ~XMLAgent();

    /// The kind given at construction.
    int getAgentType() const;
    /// The id the router gave the agent; 0 before it was added.
    int getAgentID() const;
    /// Called by the router only.
    void setAgentID(int id);
    /// Called by the router only.
    void setRouter(XMLRouter* router);
    /// Whether the router tells this agent when other agents are removed.
    bool wantAgentRemovalNotifications() const;

    /// A new empty packet from this agent to @p destinationID; the caller owns it.
    XMLPacket* getXMLPacket(int destinationID) const;

    /// Called by the router's delivery loop; the packet now belongs to the agent, which
    /// must delete it.
    virtual void receive(XMLPacket* packet) = 0;
    /// Called when the agent @p agentID left the router or could not be reached; only on
    /// agents that want removal notifications. Does nothing by default.
    virtual void agentRemoved(int agentID);

protected:
    XMLRouter* router = nullptr; ///< not owned
    /// Set to true in a subclass's constructor to hear of removed agents.
    bool wantsRemovalNotifications = false;

private:
    int agentType;
    int agentID = 0;
};

/// Creates agents of a requested type on demand for the router.
class KXXML_EXPORT XMLAgentBroker
{
public:
    XMLAgentBroker();
    virtual ~XMLAgentBroker();

    /// Called by XMLRouter::setAgentBroker.
    void setRouter(XMLRouter* router);
    /// Creates an agent of @p agentType, adds it to the router and returns its id; 0 when
    /// it cannot.
    virtual int createAgentOfType(int agentType) = 0;

protected:
    XMLRouter* router = nullptr; ///< not owned
};
