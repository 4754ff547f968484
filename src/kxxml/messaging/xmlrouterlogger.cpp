#include "xmlrouterlogger.h"

#include "routereventline_p.h"
#include "xmlpacket.h"

#include <QLoggingCategory>

namespace {

// Debug messages of both categories are off unless switched on.
Q_LOGGING_CATEGORY(lcRouter, "kxxml.router", QtWarningMsg)
Q_LOGGING_CATEGORY(lcRouterPackets, "kxxml.router.packets", QtWarningMsg)

bool logging()
{
    return lcRouter().isDebugEnabled() || lcRouterPackets().isDebugEnabled();
}

void logPacket(quint64 sequence, const char* event, const XMLPacket& packet, int source, int destination,
               const char* reason = nullptr)
{
    const QString text = packet.packetText();
    const auto seq = static_cast<unsigned long long>(sequence);
    if (lcRouter().isDebugEnabled()) {
        qCDebug(lcRouter, "%s",
                RouterEventLine::packet(sequence, event, packet, source, destination, text.size(), reason).constData());
    }
    if (lcRouterPackets().isDebugEnabled()) {
        QStringView body(text);
        if (body.endsWith(u'\n'))
            body.chop(1); // the message handler ends the message
        qCDebug(lcRouterPackets, "%llu %s\n%s", seq, event, body.toUtf8().constData());
    }
}

} // namespace

XMLRouterLogger::XMLRouterLogger() = default;

XMLRouterLogger::~XMLRouterLogger() = default;

void XMLRouterLogger::packetAccepted(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                                     int destinationID)
{
    if (logging())
        logPacket(sequence, "accepted", packet, sourceID, destinationID);
}

void XMLRouterLogger::packetRefused(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                                    int destinationID, Refusal reason)
{
    if (logging()) {
        logPacket(sequence, "refused", packet, sourceID, destinationID, RouterEventLine::refusal(reason));
    }
}

void XMLRouterLogger::packetDelivered(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                                      int destinationID)
{
    if (logging())
        logPacket(sequence, "delivered", packet, sourceID, destinationID);
}

void XMLRouterLogger::packetUndeliverable(const XMLRouter&, quint64 sequence, const XMLPacket& packet,
                                          int sourceID, int destinationID)
{
    if (logging())
        logPacket(sequence, "undeliverable", packet, sourceID, destinationID);
}

void XMLRouterLogger::agentRegistered(const XMLRouter&, quint64 sequence, int agentID, int agentType)
{
    qCDebug(lcRouter, "%s", RouterEventLine::agent(sequence, "agent-added", agentID, agentType).constData());
}

void XMLRouterLogger::agentUnregistered(const XMLRouter&, quint64 sequence, int agentID, int agentType)
{
    qCDebug(lcRouter, "%s", RouterEventLine::agent(sequence, "agent-removed", agentID, agentType).constData());
}

void XMLRouterLogger::brokerAsked(const XMLRouter&, quint64 sequence, int agentType, int agentID)
{
    qCDebug(lcRouter, "%s", RouterEventLine::agent(sequence, "broker-asked", agentID, agentType).constData());
}
