// What the router's tests share: an agent that logs what it sees, a broker that creates
// nothing, a requester of the comm-server agent's lists and the dataset they are listed from.

#pragma once

#include "hosttesthelpers.h"

#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
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

/// An agent that logs what it receives and hears, and deletes what it receives.
class LogAgent : public XMLAgent
{
public:
    LogAgent(Log& sharedLog, int type = 1, bool listens = true) : XMLAgent(type), log(sharedLog)
    {
        wantsRemovalNotifications = listens;
    }

    void receive(XMLPacket* packet) override
    {
        std::list<QDomNode> messages;
        packet->getNodesOfType(XMLObject::XMLOBJECT_MESSAGE, messages);
        const QString text = messages.empty() ? QString() : messages.front().toElement().attribute(QStringLiteral("msg"));
        log << QStringLiteral("%1<-%2").arg(getAgentID()).arg(text);
        delete packet;
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

    Log& log;
};

/// A broker that creates no agent, and sets @p gone when the router deletes it.
class EmptyBroker : public XMLAgentBroker
{
public:
    explicit EmptyBroker(bool* gone = nullptr) : goneFlag(gone) {}
    ~EmptyBroker() override
    {
        if (goneFlag)
            *goneFlag = true;
    }
    int createAgentOfType(int) override { return 0; }
    bool* goneFlag;
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

/// The dataset the lists come from. North holds a job of no publication and three of
/// publication 7 (pages 3, 1 and 1); South one of publication 2. Library and Shelf hold a
/// book each. The archive's letter refers to Front by key and by name, and to Coated, a
/// colour profile, by name.
inline constexpr char kDataset[] = R"({
  "format": "kxhost-dataset/1",
  "connection": { "host": "press01.example", "port": 7010 },
  "outputs": [
    { "name": "North", "key": "a:1", "id": 1, "jobs": [
        { "name": "Front", "page": 1, "key": "100:1" },
        { "name": "P1", "page": 3, "key": "101:1", "publication": { "name": "Post", "number": 7 } },
        { "name": "P2", "page": 1, "key": "102:1", "publication": { "name": "Post", "number": 7 } },
        { "name": "P3", "page": 1, "key": "105:1", "publication": { "name": "Post", "number": 7 } } ] },
    { "name": "South", "key": "b:1", "id": 2, "jobs": [
        { "name": "Back", "page": 2, "key": "103:1", "publication": { "name": "Star", "number": 2 } } ] } ],
  "books": [ { "name": "Library", "key": "c:1", "id": 3, "books": [ { "name": "Atlas" } ] },
             { "name": "Shelf", "key": "d:1", "id": 4, "books": [ { "name": "Bible" } ] } ],
  "profiles": [ { "name": "Coated", "data": "0A0B" } ],
  "archive": [
    { "type": "1f", "name": "Letter", "key": "12:3", "text": "SI 1F\n10 Dear sir\n11 100 1\n1B Coated\nTI 0\n" },
    { "type": "15", "name": "Front", "key": "100:1", "text": "SI 15\n01 Front\n12 Coated\nTI 0\n" },
    { "type": "30", "name": "Coated", "text": "SI 30\n01 Coated\n03 4.2\nTI 0\n" } ] })";

/// A connection on kDataset, the query @p failing ("outputs" or "books") failing if given.
inline std::unique_ptr<KXCommServer> openDataset(const QByteArray& failing = {})
{
    QByteArray json(kDataset);
    if (!failing.isEmpty())
        json.replace("\"outputs\": [", QByteArray("\"failingQueries\": [\"" + failing + "\"], \"outputs\": ["));
    return hosttest::openOwnJson(json);
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
