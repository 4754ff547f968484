#include "routereventline_p.h"

#include "xmlpacket.h"

#include <QDomElement>

#include <list>

namespace {

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

} // namespace

QByteArray RouterEventLine::packet(quint64 sequence, const char* event, const XMLPacket& packet, int sourceID,
                                   int destinationID, qsizetype textSize, const char* reason)
{
    QByteArray line = QByteArray::number(sequence) + ' ' + event + " src=" + QByteArray::number(sourceID)
        + " dst=" + QByteArray::number(destinationID) + actionTypeField(packet)
        + " size=" + QByteArray::number(static_cast<qint64>(textSize));
    if (reason)
        line += QByteArray(" reason=") + reason;
    return line;
}

QByteArray RouterEventLine::agent(quint64 sequence, const char* event, int agentID, int agentType)
{
    return QByteArray::number(sequence) + ' ' + event + " agent=" + QByteArray::number(agentID)
        + " type=" + QByteArray::number(agentType);
}

const char* RouterEventLine::refusal(XMLRouterObserver::Refusal reason)
{
    return reason == XMLRouterObserver::Refusal::Repetition ? "repetition" : "unregistered-source";
}
