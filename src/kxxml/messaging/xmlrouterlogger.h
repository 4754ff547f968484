#pragma once

#include <kxxml/messaging/xmlrouterobserver.h>

/// A ready-made observer that writes a router's events through Qt's logging, for watching
/// the traffic of an application without changing it.
///
/// Two logging categories, both off by default (their debug messages are written only when
/// switched on, e.g. `QT_LOGGING_RULES="kxxml.router.debug=true"` or
/// QLoggingCategory::setFilterRules):
///
/// - `kxxml.router`: one debug message per event, fields separated by one space, in this
///   format (kept stable for scripts; `kxxml --trace` writes the same lines):
///
///       <seq> accepted|delivered|undeliverable src=<id> dst=<id> [type=<action type>] size=<n>
///       <seq> refused src=<id> dst=<id> [type=<action type>] size=<n> reason=unregistered-source|repetition
///       <seq> agent-added|agent-removed agent=<id> type=<agent type>
///       <seq> broker-asked agent=<id answered, 0 for none> type=<agent type asked for>
///
///   `<seq>` is the router's sequence number of the event. `type=` appears on packet events
///   when the packet's body holds an action: it is the "type" attribute (the request or
///   action code) of the first one. `size` is the number of characters of the packet's
///   text (XMLPacket::packetText()).
/// - `kxxml.router.packets`: for every packet event, `<seq> <event>` and the packet's whole
///   text on the following lines.
///
/// With both categories off, an event costs a check of two flags; the packet's text is
/// written only when a category is on.
class KXXML_EXPORT XMLRouterLogger : public XMLRouterObserver
{
public:
    /// A logger attached to no router; attach it with XMLRouter::addObserver.
    XMLRouterLogger();
    ~XMLRouterLogger() override;

    /// Logs `accepted`.
    void packetAccepted(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                        int destinationID) override;
    /// Logs `refused` with the reason.
    void packetRefused(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                       int destinationID, Refusal reason) override;
    /// Logs `delivered`.
    void packetDelivered(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                         int destinationID) override;
    /// Logs `undeliverable`.
    void packetUndeliverable(const XMLRouter& router, quint64 sequence, const XMLPacket& packet, int sourceID,
                             int destinationID) override;
    /// Logs `agent-added`.
    void agentRegistered(const XMLRouter& router, quint64 sequence, int agentID, int agentType) override;
    /// Logs `agent-removed`.
    void agentUnregistered(const XMLRouter& router, quint64 sequence, int agentID, int agentType) override;
    /// Logs `broker-asked`.
    void brokerAsked(const XMLRouter& router, quint64 sequence, int agentType, int agentID) override;
};
