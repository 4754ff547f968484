#pragma once

#include <kxxml/messaging/xmlagent.h>
#include <kxxml/packetable/hostlib.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class XMLAction;
class XMLPacket;

/// The tool's own agent: sends one request action at a time to the comm-server agent and
/// waits for the answer. Add it to a router before asking, and remove it before it goes.
class RequestAgent : public XMLAgent
{
public:
    /// The request kinds by name, in code order: outputs, publications, books, jobs.
    static QStringList requestNames();
    /// The request code of @p requestName (1000 to 1003); 0 for an unknown name.
    static int requestCode(const QString& requestName);

    RequestAgent();
    ~RequestAgent() override;
    RequestAgent(const RequestAgent&) = delete;
    RequestAgent& operator=(const RequestAgent&) = delete;

    /// A request action of @p requestName from the agent @p originatorID: its key list is
    /// @p keys (none when empty); `exclude_publications` is written when
    /// @p excludePublications is set.
    static std::unique_ptr<XMLAction> requestAction(const QString& requestName, const QList<KXKEY_ELEMENT>& keys,
                                                    const bool* excludePublications, int originatorID);
    /// The agent type of the tool's agent, in its own router or in another application's.
    static int agentTypeOfTool();

    /// The same request action, from this agent.
    std::unique_ptr<XMLAction> requestAction(const QString& requestName, const QList<KXKEY_ELEMENT>& keys,
                                             const bool* excludePublications) const;
    /// Sends a copy of @p action to the comm-server agent and runs the event loop until the
    /// reply has come or the router has nothing left to deliver. The reply, or null for none.
    std::unique_ptr<XMLPacket> ask(XMLAction& action);

    /// Sends a copy of @p action (which should carry a page size) and hands each page of the
    /// reply to @p onPage as it arrives, deleting it before the next one is built, until the
    /// last page has come or the router has nothing left to deliver. How many pages came.
    int askPaged(XMLAction& action, const std::function<void(const XMLPacket&)>& onPage);

    void receive(XMLPacket* packet) override;

private:
    void sendAndWait(XMLAction& action, const std::function<bool()>& answered);

    std::unique_ptr<XMLPacket> m_reply;
    std::function<void(const XMLPacket&)> m_onPage;
    int m_pages = 0;
    bool m_lastPage = false;
};
