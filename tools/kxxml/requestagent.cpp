#include "requestagent.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/ui/xmlaction.h>

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>

namespace {

// The agent type of the tool's agent; any type but the comm-server agent's 0 would do.
constexpr int ToolAgentType = 100;
constexpr int FirstRequestCode = 1000;

} // namespace

QStringList RequestAgent::requestNames()
{
    return {QStringLiteral("outputs"), QStringLiteral("publications"), QStringLiteral("books"),
            QStringLiteral("jobs")};
}

int RequestAgent::requestCode(const QString& requestName)
{
    const qsizetype index = requestNames().indexOf(requestName);
    return index < 0 ? 0 : FirstRequestCode + static_cast<int>(index);
}

RequestAgent::RequestAgent()
    : XMLAgent(ToolAgentType)
{
}

RequestAgent::~RequestAgent() = default;

int RequestAgent::agentTypeOfTool()
{
    return ToolAgentType;
}

std::unique_ptr<XMLAction> RequestAgent::requestAction(const QString& requestName,
                                                       const QList<KXKEY_ELEMENT>& keys,
                                                       const bool* excludePublications) const
{
    return requestAction(requestName, keys, excludePublications, getAgentID());
}

std::unique_ptr<XMLAction> RequestAgent::requestAction(const QString& requestName,
                                                       const QList<KXKEY_ELEMENT>& keys,
                                                       const bool* excludePublications, int originatorID)
{
    auto action = std::make_unique<XMLAction>(requestName, requestCode(requestName), originatorID);
    if (!keys.isEmpty()) {
        QList<KXKEY_ELEMENT> copies = keys;
        QList<KXKEY_ELEMENT*> pointers;
        for (KXKEY_ELEMENT& key : copies)
            pointers.append(&key);
        action->setKXKEYList(pointers);
    }
    if (excludePublications)
        action->setExcludePublications(*excludePublications);
    return action;
}

std::unique_ptr<XMLPacket> RequestAgent::ask(XMLAction& action)
{
    m_reply.reset();
    sendAndWait(action, [this] { return m_reply != nullptr; });
    return std::move(m_reply);
}

int RequestAgent::askPaged(XMLAction& action, const std::function<void(const XMLPacket&)>& onPage)
{
    m_onPage = onPage;
    m_pages = 0;
    m_lastPage = false;
    sendAndWait(action, [this] { return m_lastPage; });
    m_onPage = nullptr;
    return m_pages;
}

void RequestAgent::sendAndWait(XMLAction& action, const std::function<bool()>& answered)
{
    if (!router)
        return;
    XMLPacket* request = getXMLPacket(router->getXMLCommServerID());
    request->append(action);
    router->send(request); // the router owns the request now

    // The router delivers from zero-time timers; when the loop finds nothing to do twice
    // running, nothing is on its way.
    QEventLoop loop;
    int idleRounds = 0;
    while (!answered() && idleRounds < 2)
        idleRounds = loop.processEvents(QEventLoop::AllEvents) ? 0 : idleRounds + 1;
    // The comm-server agent releases the request with deleteLater().
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void RequestAgent::receive(XMLPacket* packet)
{
    if (m_onPage) {
        const std::unique_ptr<XMLPacket> page(packet);
        ++m_pages;
        m_lastPage = !page->getMorePages();
        m_onPage(*page);
    } else if (!m_reply) {
        m_reply.reset(packet);
    } else {
        delete packet; // only the first reply counts
    }
}
