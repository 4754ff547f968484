// What the router's tests share: an agent that logs what it sees, an observer that hands
// each event on as one line of text, and a requester of the comm-server agent's lists.

#pragma once

#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/messaging/xmlrouterobserver.h>
#include <kxxml/ui/xmlaction.h>
#include <kxxml/xml/xmlmessage.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QString>
#include <QStringList>

#include <functional>
#include <list>
#include <memory>

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

/// The list requests the comm-server agent answers.
enum ListRequest { Outputs = 1000, Publications = 1001, Books = 1002, Jobs = 1003 };

/// One packet as a requester saw it: its ids, its page mark and its packetables as text.
struct Reply
{
    int source = 0;
    int destination = 0;
    bool marked = false; // has a page mark
    int page = 0;
    bool more = false;
    QStringList packetables;
};

/// An agent that keeps every packet it receives, and can act on each.
class Requester : public XMLAgent
{
public:
    Requester() : XMLAgent(1) {}
    void receive(XMLPacket* packet) override
    {
        const std::unique_ptr<XMLPacket> owned(packet);
        Reply reply{packet->getSourceAgentID(), packet->getDestinationAgentID(), packet->hasPage(),
                    packet->getPage(), packet->getMorePages(), {}};
        std::list<QDomNode> nodes;
        packet->getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, nodes);
        for (const QDomNode& n : nodes)
            reply.packetables << XMLObject::toString(n);
        replies.append(reply);
        if (onReceive)
            onReceive();
    }
    /// The packetables of every reply, in order.
    QStringList packetables() const
    {
        QStringList all;
        for (const Reply& r : replies)
            all += r.packetables;
        return all;
    }
    QList<Reply> replies;
    std::function<void()> onReceive;
};

/// Sends list request @p code from @p from to the comm-server agent: in pages of @p pageSize
/// (0: one reply), publications excluded or not (-1: not said), of the databases @p keys
/// (none: of every one).
inline void requestList(XMLRouter& router, const XMLAgent& from, int code, int pageSize = 0, int exclude = -1,
                        QList<KXKEY_ELEMENT> keys = {})
{
    XMLAction action(QStringLiteral("list"), code, from.getAgentID());
    if (pageSize > 0)
        action.setPageSize(pageSize);
    if (exclude >= 0)
        action.setExcludePublications(exclude == 1);
    QList<KXKEY_ELEMENT*> pointers;
    for (KXKEY_ELEMENT& key : keys)
        pointers << &key;
    if (!pointers.isEmpty())
        action.setKXKEYList(pointers);
    XMLPacket* packet = from.getXMLPacket(router.getXMLCommServerID());
    packet->append(action);
    router.send(packet);
}

/// Runs the event loop until @p done holds or nothing is left to do; then deletes what waits
/// for deletion.
inline void runUntil(const std::function<bool()>& done = {})
{
    QEventLoop loop;
    for (int idle = 0; (!done || !done()) && idle < 3;)
        idle = loop.processEvents() ? 0 : idle + 1;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace TestHelpers
