#pragma once

#include <kxxml/messaging/xmlrouterobserver.h>

#include <QByteArray>
#include <QtGlobal>

class XMLPacket;

/// The text of one router event, in the one format that XMLRouterLogger writes, `kxxml
/// --trace` prints and the bus exporter sends to monitoring processes: fields separated by
/// one space, no line end.
///
///     <seq> accepted|delivered|undeliverable src=<id> dst=<id> [type=<action type>] size=<n>
///     <seq> refused src=<id> dst=<id> [type=<action type>] size=<n> reason=unregistered-source|repetition
///     <seq> agent-added|agent-removed agent=<id> type=<agent type>
///     <seq> broker-asked agent=<id answered, 0 for none> type=<agent type asked for>
class RouterEventLine
{
public:
    /// A packet event; @p textSize is the number of characters of the packet's text, which
    /// the caller has written already or knows. @p reason is written for refusals only.
    static QByteArray packet(quint64 sequence, const char* event, const XMLPacket& packet, int sourceID,
                             int destinationID, qsizetype textSize, const char* reason = nullptr);
    /// An agent event, or the broker's answer: `<seq> <event> agent=<id> type=<type>`.
    static QByteArray agent(quint64 sequence, const char* event, int agentID, int agentType);
    /// The word for a refusal's reason.
    static const char* refusal(XMLRouterObserver::Refusal reason);
};
