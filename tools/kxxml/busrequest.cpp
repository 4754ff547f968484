#include "busrequest.h"

#include "requestagent.h"

#include <kxxml/bus/xmlbusclient.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/ui/xmlaction.h>

#include <QEventLoop>
#include <QTimer>

namespace {

// The comm-server agent's id in every router.
constexpr int CommServerID = -1;

} // namespace

BusRequest::BusRequest(const BusTarget& target, int timeoutMs)
    : m_target(target)
    , m_timeoutMs(timeoutMs)
{
}

Outcome BusRequest::run(const QString& kind, const QList<KXKEY_ELEMENT>& keys, const bool* excludePublications,
                        int pageSize, const std::function<void(const XMLPacket&)>& onPage) const
{
    XMLBusClient client;
    if (auto failed = m_target.registerAgent(client, RequestAgent::agentTypeOfTool(), m_timeoutMs))
        return *failed;

    const std::unique_ptr<XMLAction> action =
        RequestAgent::requestAction(kind, keys, excludePublications, client.agentID());
    if (pageSize > 0)
        action->setPageSize(pageSize);
    XMLPacket request;
    request.setSourceAgentID(client.agentID());
    request.setDestinationAgentID(CommServerID);
    request.append(*action);

    // The first packet is the reply, as in the tool's own router; with pages, each packet is a
    // page until the last. The timer starts again with every page.
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setInterval(m_timeoutMs);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    QByteArray reply;
    int pages = 0;
    bool complete = false;
    QString why;
    QObject::connect(&client, &XMLBusClient::packetReceived, &loop, [&](const XMLPacket& packet) {
        if (complete)
            return;
        if (pageSize > 0) {
            ++pages;
            onPage(packet);
            complete = !packet.getMorePages();
        } else {
            reply = packet.packetText().toUtf8();
            complete = true;
        }
        if (complete)
            loop.quit();
        else
            timer.start();
    });
    QObject::connect(&client, &XMLBusClient::disconnected, &loop, [&](const QString& reason) {
        why = reason;
        loop.quit();
    });
    QObject::connect(&client, &XMLBusClient::sendFailed, &loop, [&](const QDBusError& error) {
        why = QStringLiteral("the application refused the request: ") + error.message();
        loop.quit();
    });
    client.send(request);
    timer.start();
    loop.exec();

    if (complete)
        return Outcome::success(pageSize > 0 ? QByteArray() : reply);
    if (why.isEmpty()) {
        const double seconds = m_timeoutMs / 1000.0;
        why = QStringLiteral("nothing within %1 %2").arg(seconds).arg(seconds == 1 ? QStringLiteral("second")
                                                                                   : QStringLiteral("seconds"));
    }
    const QString what = pages > 0
        ? QStringLiteral("%1: the %2 reply stopped after %3 pages").arg(m_target.name(), kind).arg(pages)
        : QStringLiteral("%1: no reply to the %2 request").arg(m_target.name(), kind);
    return Outcome::failure(Outcome::NoReply, what + QStringLiteral(" (") + why + u')');
}
