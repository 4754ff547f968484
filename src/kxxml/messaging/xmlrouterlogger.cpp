#include "xmlrouterlogger.h"

#include "xmlpacket.h"

#include <QDomElement>
#include <QLoggingCategory>

#include <list>

namespace {

// Debug messages of both categories are off unless switched on.
Q_LOGGING_CATEGORY(lcRouter, "kxxml.router", QtWarningMsg)
Q_LOGGING_CATEGORY(lcRouterPackets, "kxxml.router.packets", QtWarningMsg)

bool logging()
{
    return lcRouter().isDebugEnabled() || lcRouterPackets().isDebugEnabled();
}

// " type=<n>" for a packet whose body holds an action with a type; empty otherwise.
QByteArray actionTypeField(const XMLPacket& packet)
{
    std::list<QDomNode> actions;
    if (packet.getNodesOfType(XMLObject::XMLOBJECT_ACTION, actions) == 0)
        return {};
    const QString type = QStringLiteral("type");
    const QDomElement action = actions.front().toElement();
    if (!action.hasAttribute(type))
        return {};
    return " type=" + QByteArray::number(XMLObject::getAttributeInt(action, type));
}

void logPacket(quint64 sequence, const char* event, const XMLPacket& packet, int source, int destination,
               const char* reason = nullptr)
{
    const QString text = packet.packetText();
    const auto seq = static_cast<unsigned long long>(sequence);
    if (lcRouter().isDebugEnabled()) {
        const QByteArray reasonField = reason ? QByteArray(" reason=") + reason : QByteArray();
        qCDebug(lcRouter, "%llu %s src=%d dst=%d%s size=%lld%s", seq, event, source, destination,
                actionTypeField(packet).constData(), static_cast<long long>(text.size()), reasonField.constData());
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
        logPacket(sequence, "refused", packet, sourceID, destinationID,
                  reason == Refusal::Repetition ? "repetition" : "unregistered-source");
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
    qCDebug(lcRouter, "%llu agent-added agent=%d type=%d", static_cast<unsigned long long>(sequence), agentID,
            agentType);
}

void XMLRouterLogger::agentUnregistered(const XMLRouter&, quint64 sequence, int agentID, int agentType)
{
    qCDebug(lcRouter, "%llu agent-removed agent=%d type=%d", static_cast<unsigned long long>(sequence), agentID,
            agentType);
}

void XMLRouterLogger::brokerAsked(const XMLRouter&, quint64 sequence, int agentType, int agentID)
{
    qCDebug(lcRouter, "%llu broker-asked agent=%d type=%d", static_cast<unsigned long long>(sequence), agentID,
            agentType);
}
