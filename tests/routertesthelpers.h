// What the router's tests share: an agent that logs what it sees, and an observer that
// hands each event on as one line of text.

#pragma once

#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouterobserver.h>
#include <kxxml/xml/xmlmessage.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <list>

namespace TestHelpers {

/// What agents saw, in order: "3<-m" (agent 3 received message m), "4:gone 9" (agent 4
/// heard that 9 left).
using Log = QStringList;

/// The text of the first message in @p packet's body; null when there is none.
inline QString messageOf(const XMLPacket& packet)
{
    std::list<QDomNode> messages;
    packet.getNodesOfType(XMLObject::XMLOBJECT_MESSAGE, messages);
    return messages.empty() ? QString() : messages.front().toElement().attribute(QStringLiteral("msg"));
}

/// An agent that logs what it receives and hears, deletes what it receives, and can act
/// from inside receive().
class LogAgent : public XMLAgent
{
public:
    LogAgent(Log& sharedLog, int type = 1, bool listens = true) : XMLAgent(type), log(sharedLog)
    {
        wantsRemovalNotifications = listens;
    }

    void receive(XMLPacket* packet) override
    {
        const QString text = messageOf(*packet);
        log << QStringLiteral("%1<-%2").arg(getAgentID()).arg(text);
        delete packet;
        if (onReceive)
            onReceive(text);
    }
    void agentRemoved(int id) override { log << QStringLiteral("%1:gone %2").arg(getAgentID()).arg(id); }

    /// A packet from this agent to @p destination carrying the message @p text.
    XMLPacket* packet(int destination, const QString& text) const
    {
        XMLPacket* p = getXMLPacket(destination);
        XMLMessage message(text);
        p->appendV(message);
        return p;
    }

    XMLRouter* router() const { return XMLAgent::router; }

    Log& log;
    std::function<void(const QString&)> onReceive;
};

/// Hands each event on as text: "accepted 1->2", "refused repetition 1->2", "refused
/// unregistered 77->1", "delivered 1->2", "undeliverable 1->2", "registered 3 type 1",
/// "unregistered 3 type 1", "broker 8 -> 3"; with the packet for packet events.
class TextObserver : public XMLRouterObserver
{
public:
    virtual void event(quint64 sequence, const QString& text, const XMLPacket* packet) = 0;

    void packetAccepted(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("accepted %1->%2").arg(src).arg(dst), &p);
    }
    void packetRefused(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst, Refusal reason) override
    {
        const char* why = reason == Refusal::Repetition ? "repetition" : "unregistered";
        event(n, QStringLiteral("refused %1 %2->%3").arg(QLatin1String(why)).arg(src).arg(dst), &p);
    }
    void packetDelivered(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("delivered %1->%2").arg(src).arg(dst), &p);
    }
    void packetUndeliverable(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("undeliverable %1->%2").arg(src).arg(dst), &p);
    }
    void agentRegistered(const XMLRouter&, quint64 n, int id, int type) override
    {
        event(n, QStringLiteral("registered %1 type %2").arg(id).arg(type), nullptr);
    }
    void agentUnregistered(const XMLRouter&, quint64 n, int id, int type) override
    {
        event(n, QStringLiteral("unregistered %1 type %2").arg(id).arg(type), nullptr);
    }
    void brokerAsked(const XMLRouter&, quint64 n, int type, int id) override
    {
        event(n, QStringLiteral("broker %1 -> %2").arg(type).arg(id), nullptr);
    }
};

} // namespace TestHelpers
