#include "xmlbusclient.h"

#include "buspacket_p.h"
#include "xmlbusexporter.h"

#include <kxxml/messaging/xmlpacket.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QTimer>

#include <limits>

namespace {

Q_LOGGING_CATEGORY(lcBus, "kxxml.bus")

const QString PacketSignal = QStringLiteral("Packet");
const QString TrafficSignal = QStringLiteral("Traffic");
const QString DroppedSignal = QStringLiteral("Dropped");
const QString RefusedSignal = QStringLiteral("Refused");

// Acknowledge at the latest this long after a signal, so that a trickle is acknowledged too.
constexpr int AckDelayMs = 20;

// The packets an application sends are checked for depth and document types; their size the
// bus daemon bounds already.
constexpr qint64 NoSizeLimit = std::numeric_limits<qint64>::max();

} // namespace

XMLBusClient::XMLBusClient(const QDBusConnection& connection, QObject* parent)
    : QObject(parent)
    , m_connection(connection)
    , m_watcher(new QDBusServiceWatcher(this))
    , m_ackTimer(new QTimer(this))
{
    m_watcher->setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &XMLBusClient::onOwnerChanged);
    m_ackTimer->setSingleShot(true);
    m_ackTimer->setInterval(AckDelayMs);
    connect(m_ackTimer, &QTimer::timeout, this, &XMLBusClient::acknowledge);
}

XMLBusClient::~XMLBusClient()
{
    unregisterAgent();
    stopMonitoring();
}

bool XMLBusClient::registerAgent(const QString& serviceName, int agentType, int timeoutMs)
{
    if (m_agentID && m_service == serviceName)
        return true;
    QDBusMessage reply;
    if (!callRouter(serviceName, QStringLiteral("Register"), agentType, timeoutMs, reply))
        return false;
    m_agentID = reply.arguments().value(0).toInt();
    return true;
}

void XMLBusClient::unregisterAgent()
{
    if (!m_agentID)
        return;
    acknowledge();
    m_connection.send(routerCall(QStringLiteral("Unregister")));
    m_agentID = 0;
    detachWhenUnused();
}

bool XMLBusClient::isRegistered() const
{
    return m_agentID != 0;
}

int XMLBusClient::agentID() const
{
    return m_agentID;
}

bool XMLBusClient::startMonitoring(const QString& serviceName, int timeoutMs)
{
    if (m_monitoring && m_service == serviceName)
        return true;
    QDBusMessage reply;
    if (!callRouter(serviceName, QStringLiteral("Monitor"), true, timeoutMs, reply))
        return false;
    m_monitoring = true;
    return true;
}

void XMLBusClient::stopMonitoring()
{
    if (!m_monitoring)
        return;
    acknowledge();
    QDBusMessage message = routerCall(QStringLiteral("Monitor"));
    message << false;
    m_connection.send(message);
    m_monitoring = false;
    detachWhenUnused();
}

bool XMLBusClient::isMonitoring() const
{
    return m_monitoring;
}

QString XMLBusClient::serviceName() const
{
    return m_service;
}

QDBusError XMLBusClient::lastError() const
{
    return m_lastError;
}

bool XMLBusClient::send(const XMLPacket& packet)
{
    if (!m_agentID) {
        m_lastError = QDBusError(QDBusError::Failed, QStringLiteral("not registered with an application"));
        return false;
    }
    QDBusMessage message = routerCall(QStringLiteral("Send"));
    message << packet.packetText();
    // One way: a refusal comes back as the signal Refused, and the reply, which would follow
    // the same way as the packets the application sends, is not waited for.
    m_connection.send(message);
    return true;
}

void XMLBusClient::onPacket(uint sequence, const QString& text)
{
    received(sequence, text.size());
    BusPacket::Problem problem = BusPacket::Problem::None;
    QString error;
    const std::unique_ptr<XMLPacket> packet = BusPacket::read(text, NoSizeLimit, problem, error);
    if (!packet) {
        qCWarning(lcBus, "%s: dropped a packet: %s", qPrintable(m_service), qPrintable(error));
        return;
    }
    Q_EMIT packetReceived(*packet);
}

void XMLBusClient::onTraffic(uint sequence, const QString& line)
{
    received(sequence, line.size());
    Q_EMIT trafficReceived(line);
}

void XMLBusClient::onRefused(const QString& method, const QString& errorName, const QString& message)
{
    if (method == u"Send")
        Q_EMIT sendFailed(QDBusError(QDBusMessage::createError(errorName, message)));
}

void XMLBusClient::onDropped(const QString& reason)
{
    leave(reason);
}

void XMLBusClient::onOwnerChanged(const QString& name, const QString& oldOwner, const QString&)
{
    if (name == m_service && !oldOwner.isEmpty())
        leave(QStringLiteral("the application left the bus"));
}

void XMLBusClient::acknowledge()
{
    m_ackTimer->stop();
    if (m_unacknowledged == 0 || m_service.isEmpty())
        return;
    QDBusMessage message = routerCall(QStringLiteral("Acknowledge"));
    message << m_lastReceived;
    m_connection.send(message); // no answer wanted
    m_unacknowledged = 0;
    m_unacknowledgedBytes = 0;
}

bool XMLBusClient::attach(const QString& serviceName, int timeoutMs)
{
    if (m_service == serviceName)
        return true;
    if (!m_service.isEmpty()) {
        unregisterAgent();
        stopMonitoring();
    }
    if (!m_connection.isConnected()) {
        m_lastError = m_connection.lastError().isValid()
            ? m_connection.lastError()
            : QDBusError(QDBusError::Disconnected, QStringLiteral("not connected to the bus"));
        return false;
    }
    // The signals' receivers first, so that nothing sent right after the answer is missed.
    const QString path = XMLBusExporter::OBJECT_PATH;
    const QString interface = XMLBusExporter::INTERFACE;
    m_connection.connect(serviceName, path, interface, PacketSignal, this, SLOT(onPacket(uint,QString)));
    m_connection.connect(serviceName, path, interface, TrafficSignal, this, SLOT(onTraffic(uint,QString)));
    m_connection.connect(serviceName, path, interface, DroppedSignal, this, SLOT(onDropped(QString)));
    m_connection.connect(serviceName, path, interface, RefusedSignal, this,
                         SLOT(onRefused(QString,QString,QString)));
    m_watcher->setConnection(m_connection);
    m_watcher->setWatchedServices({serviceName});
    m_service = serviceName;

    // The exporter's limits say how often to acknowledge: well before either is reached.
    QDBusMessage getAll = QDBusMessage::createMethodCall(serviceName, path,
                                                         QStringLiteral("org.freedesktop.DBus.Properties"),
                                                         QStringLiteral("GetAll"));
    getAll << interface;
    const QDBusMessage reply = wait(getAll, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        m_lastError = QDBusError(reply);
        detach();
        return false;
    }
    const QVariantMap limits = qdbus_cast<QVariantMap>(reply.arguments().value(0));
    const qint64 maxPending = limits.value(QStringLiteral("MaxPending")).toLongLong();
    const qint64 maxBytes = limits.value(QStringLiteral("MaxPendingBytes")).toLongLong();
    m_ackEvery = static_cast<int>(qBound(qint64(1), maxPending / 4, qint64(64)));
    m_ackBytes = qMax<qint64>(1, maxBytes / 4);
    return true;
}

void XMLBusClient::detach()
{
    if (m_service.isEmpty())
        return;
    const QString path = XMLBusExporter::OBJECT_PATH;
    const QString interface = XMLBusExporter::INTERFACE;
    m_connection.disconnect(m_service, path, interface, PacketSignal, this, SLOT(onPacket(uint,QString)));
    m_connection.disconnect(m_service, path, interface, TrafficSignal, this, SLOT(onTraffic(uint,QString)));
    m_connection.disconnect(m_service, path, interface, DroppedSignal, this, SLOT(onDropped(QString)));
    m_connection.disconnect(m_service, path, interface, RefusedSignal, this,
                            SLOT(onRefused(QString,QString,QString)));
    m_watcher->setWatchedServices({});
    m_service.clear();
    m_ackTimer->stop();
    m_unacknowledged = 0;
    m_unacknowledgedBytes = 0;
}

void XMLBusClient::detachWhenUnused()
{
    if (!m_agentID && !m_monitoring)
        detach();
}

bool XMLBusClient::callRouter(const QString& serviceName, const QString& method, const QVariant& argument,
                              int timeoutMs, QDBusMessage& reply)
{
    if (!attach(serviceName, timeoutMs))
        return false;
    QDBusMessage message = routerCall(method);
    message << argument;
    reply = wait(message, timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    m_lastError = QDBusError(reply);
    detachWhenUnused();
    return false;
}

void XMLBusClient::leave(const QString& reason)
{
    const bool attached = m_agentID || m_monitoring;
    m_agentID = 0;
    m_monitoring = false;
    detach();
    if (attached)
        Q_EMIT disconnected(reason);
}

QDBusMessage XMLBusClient::routerCall(const QString& method) const
{
    return QDBusMessage::createMethodCall(m_service, XMLBusExporter::OBJECT_PATH, XMLBusExporter::INTERFACE, method);
}

QDBusMessage XMLBusClient::wait(const QDBusMessage& message, int timeoutMs)
{
    // A local event loop rather than a blocking call: the application may be in this very thread.
    QDBusPendingCallWatcher watcher(m_connection.asyncCall(message, timeoutMs));
    QEventLoop loop;
    connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    if (!watcher.isFinished())
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    return watcher.reply();
}

void XMLBusClient::received(uint sequence, qsizetype size)
{
    m_lastReceived = sequence;
    ++m_unacknowledged;
    m_unacknowledgedBytes += size;
    if (m_unacknowledged >= m_ackEvery || m_unacknowledgedBytes >= m_ackBytes)
        acknowledge();
    else if (!m_ackTimer->isActive())
        m_ackTimer->start();
}
