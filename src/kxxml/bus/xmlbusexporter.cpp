#include "xmlbusexporter.h"

#include "buspacket_p.h"
#include "xmlbusadaptor_p.h"
#include "xmlbusexporter_p.h"
#include "xmlbusproxyagent_p.h"

#include <kxxml/messaging/routereventline_p.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/xml/safexmlreader_p.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDBusServiceWatcher>

namespace {

const QString PacketSignal = QStringLiteral("Packet");
const QString TrafficSignal = QStringLiteral("Traffic");
const QString DroppedSignal = QStringLiteral("Dropped");

const QString LeftTheBus = QStringLiteral("left the bus");
const QString Unregistered = QStringLiteral("unregistered");

} // namespace

const QString XMLBusExporter::INTERFACE = QStringLiteral("org.kxxml.Router1");
const QString XMLBusExporter::OBJECT_PATH = QStringLiteral("/org/kxxml/Router");
const QString XMLBusExporter::ERROR_NOT_REGISTERED = QStringLiteral("org.kxxml.Router1.Error.NotRegistered");
const QString XMLBusExporter::ERROR_ALREADY_REGISTERED = QStringLiteral("org.kxxml.Router1.Error.AlreadyRegistered");
const QString XMLBusExporter::ERROR_TOO_LARGE = QStringLiteral("org.kxxml.Router1.Error.TooLarge");
const QString XMLBusExporter::ERROR_BAD_XML = QStringLiteral("org.kxxml.Router1.Error.BadXml");
const QString XMLBusExporter::ERROR_NOT_A_PACKET = QStringLiteral("org.kxxml.Router1.Error.NotAPacket");

// ---- XMLBusExporterPrivate ----

XMLBusExporterPrivate::XMLBusExporterPrivate(XMLBusExporter* exporter, XMLRouter* r)
    : q(exporter)
    , router(r)
    , connection(QString())
    , watcher(new QDBusServiceWatcher(exporter))
    , adaptor(new XMLBusAdaptor(exporter, this))
    , maxPacketBytes(SafeXmlReader::MaxBytes)
{
    watcher->setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(watcher, &QDBusServiceWatcher::serviceUnregistered, q,
                     [this](const QString& name) { drop(name, LeftTheBus, false); });
}

XMLBusExporterPrivate::~XMLBusExporterPrivate() = default;

std::optional<XMLBusExporterPrivate::CallError> XMLBusExporterPrivate::registerAgent(const QString& name,
                                                                                     int agentType, int& agentID)
{
    // A call that QtDBus had queued before the router was withdrawn.
    if (serviceName.isEmpty() || !router)
        return CallError{QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"), QStringLiteral("no router here")};
    Peer& p = peer(name);
    if (p.agent) {
        return CallError{XMLBusExporter::ERROR_ALREADY_REGISTERED,
                         QStringLiteral("this connection is agent %1 already").arg(p.agent->getAgentID())};
    }
    p.agent = std::make_unique<XMLBusProxyAgent>(agentType, this, name);
    router->add(p.agent.get());
    agentID = p.agent->getAgentID();
    watch(name);
    Q_EMIT q->remoteRegistered(name, agentID);
    return std::nullopt;
}

std::optional<XMLBusExporterPrivate::CallError> XMLBusExporterPrivate::unregisterAgent(const QString& name)
{
    const auto it = peers.find(name);
    if (it == peers.end() || !it->second.agent || it->second.dropping)
        return CallError{XMLBusExporter::ERROR_NOT_REGISTERED, QStringLiteral("this connection has no agent")};
    if (it->second.monitoring) {
        // Still watching: keep the process, without its agent.
        std::unique_ptr<XMLBusProxyAgent> agent = std::move(it->second.agent);
        const int id = agent->getAgentID();
        router->remove(agent.get());
        Q_EMIT q->remoteUnregistered(name, id, Unregistered);
    } else {
        drop(name, Unregistered, false);
    }
    return std::nullopt;
}

std::optional<XMLBusExporterPrivate::CallError> XMLBusExporterPrivate::send(const QString& name,
                                                                            const QString& text)
{
    const auto it = peers.find(name);
    if (it == peers.end() || !it->second.agent || it->second.dropping) {
        return CallError{XMLBusExporter::ERROR_NOT_REGISTERED,
                         QStringLiteral("register before sending (Register)")};
    }
    BusPacket::Problem problem = BusPacket::Problem::None;
    QString error;
    std::unique_ptr<XMLPacket> packet = BusPacket::read(text, maxPacketBytes, problem, error);
    switch (problem) {
    case BusPacket::Problem::None:
        break;
    case BusPacket::Problem::TooLarge:
        return CallError{XMLBusExporter::ERROR_TOO_LARGE, QStringLiteral("the packet is ") + error};
    case BusPacket::Problem::BadXml:
        return CallError{XMLBusExporter::ERROR_BAD_XML, error};
    case BusPacket::Problem::NotAPacket:
        return CallError{XMLBusExporter::ERROR_NOT_A_PACKET, error};
    }
    // The caller speaks only for its own agent.
    packet->setSourceAgentID(it->second.agent->getAgentID());
    router->send(packet.release());
    return std::nullopt;
}

std::optional<XMLBusExporterPrivate::CallError> XMLBusExporterPrivate::acknowledge(const QString& name,
                                                                                   quint32 sequence)
{
    const auto it = peers.find(name);
    if (it == peers.end()) {
        return CallError{XMLBusExporter::ERROR_NOT_REGISTERED,
                         QStringLiteral("this connection neither has an agent nor monitors")};
    }
    Peer& p = it->second;
    // Sequence numbers wrap around: compare by difference.
    while (!p.pending.empty() && static_cast<qint32>(sequence - p.pending.front().first) >= 0) {
        p.pendingBytes -= p.pending.front().second;
        p.pending.pop_front();
    }
    return std::nullopt;
}

void XMLBusExporterPrivate::monitor(const QString& name, bool on)
{
    if (serviceName.isEmpty())
        return;
    if (on) {
        peer(name).monitoring = true;
        watch(name);
    } else {
        const auto it = peers.find(name);
        if (it == peers.end())
            return;
        it->second.monitoring = false;
        if (!it->second.agent)
            drop(name, QString(), false);
    }
    updateObserving();
}

void XMLBusExporterPrivate::forward(const QString& name, XMLPacket* packet)
{
    const std::unique_ptr<XMLPacket> delivered(packet);
    const auto it = peers.find(name);
    if (it != peers.end() && !it->second.dropping)
        push(name, it->second, PacketSignal, delivered->packetText());
}

void XMLBusExporterPrivate::withdraw(const QString& reason)
{
    if (serviceName.isEmpty())
        return;
    while (!peers.empty())
        drop(peers.begin()->first, reason, true);
    // A call that waits for the bus: the Dropped signals, sent before, are out when it returns.
    connection.unregisterService(serviceName);
    connection.unregisterObject(XMLBusExporter::OBJECT_PATH);
    watcher->setWatchedServices({});
    serviceName.clear();
}

void XMLBusExporterPrivate::routerDestroyed()
{
    // The router has forgotten its agents and observers already.
    router = nullptr;
    observing = false;
    withdraw(QStringLiteral("the application's router is gone"));
}

XMLBusExporterPrivate::Peer& XMLBusExporterPrivate::peer(const QString& name)
{
    return peers[name];
}

void XMLBusExporterPrivate::watch(const QString& name)
{
    if (watcher->watchedServices().contains(name))
        return;
    watcher->addWatchedService(name);
    // A process that left before the watch was in place is never reported: ask once.
    auto* call = new QDBusPendingCallWatcher(
        connection.interface()->asyncCall(QStringLiteral("NameHasOwner"), name), q);
    QObject::connect(call, &QDBusPendingCallWatcher::finished, q, [this, name](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        const QDBusPendingReply<bool> reply = *w;
        if (reply.isValid() && !reply.value())
            drop(name, LeftTheBus, false);
    });
}

void XMLBusExporterPrivate::push(const QString& name, Peer& p, const QString& member, const QString& text)
{
    const qint64 size = text.size();
    if (!p.pending.empty()
        && (p.pending.size() >= static_cast<size_t>(maxPendingPackets) || p.pendingBytes + size > maxPendingBytes)) {
        scheduleDrop(name, QStringLiteral("more than %1 signals or %2 characters unacknowledged")
                               .arg(maxPendingPackets)
                               .arg(maxPendingBytes));
        return;
    }
    ++p.lastSequence;
    p.pending.emplace_back(p.lastSequence, size);
    p.pendingBytes += size;
    QDBusMessage signal =
        QDBusMessage::createTargetedSignal(name, XMLBusExporter::OBJECT_PATH, XMLBusExporter::INTERFACE, member);
    signal << p.lastSequence << text;
    connection.send(signal);
}

void XMLBusExporterPrivate::scheduleDrop(const QString& name, const QString& reason)
{
    const auto it = peers.find(name);
    if (it == peers.end() || it->second.dropping)
        return;
    it->second.dropping = true;
    QMetaObject::invokeMethod(q, [this, name, reason] { drop(name, reason, true); }, Qt::QueuedConnection);
}

void XMLBusExporterPrivate::drop(QString name, const QString& reason, bool tell)
{
    const auto it = peers.find(name);
    if (it == peers.end())
        return;
    const std::unique_ptr<XMLBusProxyAgent> agent = std::move(it->second.agent);
    peers.erase(it);
    watcher->removeWatchedService(name);
    if (tell) {
        QDBusMessage signal = QDBusMessage::createTargetedSignal(name, XMLBusExporter::OBJECT_PATH,
                                                                 XMLBusExporter::INTERFACE, DroppedSignal);
        signal << reason;
        connection.send(signal);
    }
    updateObserving();
    if (agent) {
        const int id = agent->getAgentID();
        if (router)
            router->remove(agent.get()); // the other agents hear of it
        Q_EMIT q->remoteUnregistered(name, id, reason);
    }
}

void XMLBusExporterPrivate::updateObserving()
{
    bool wanted = false;
    for (const auto& [name, p] : peers)
        wanted = wanted || p.monitoring;
    if (!router || wanted == observing)
        return;
    observing = wanted;
    if (wanted)
        router->addObserver(this);
    else
        router->removeObserver(this);
}

void XMLBusExporterPrivate::traffic(const QByteArray& line)
{
    const QString text = QString::fromLatin1(line);
    for (auto& [name, p] : peers) {
        if (p.monitoring && !p.dropping)
            push(name, p, TrafficSignal, text);
    }
}

void XMLBusExporterPrivate::packetEvent(quint64 sequence, const char* event, const XMLPacket& packet, int source,
                                        int destination, const char* reason)
{
    traffic(RouterEventLine::packet(sequence, event, packet, source, destination, packet.packetText().size(),
                                    reason));
}

void XMLBusExporterPrivate::packetAccepted(const XMLRouter&, quint64 sequence, const XMLPacket& packet,
                                           int sourceID, int destinationID)
{
    packetEvent(sequence, "accepted", packet, sourceID, destinationID);
}

void XMLBusExporterPrivate::packetRefused(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                                          int destinationID, Refusal reason)
{
    packetEvent(sequence, "refused", packet, sourceID, destinationID, RouterEventLine::refusal(reason));
}

void XMLBusExporterPrivate::packetDelivered(const XMLRouter&, quint64 sequence, const XMLPacket& packet,
                                            int sourceID, int destinationID)
{
    packetEvent(sequence, "delivered", packet, sourceID, destinationID);
}

void XMLBusExporterPrivate::packetUndeliverable(const XMLRouter&, quint64 sequence, const XMLPacket& packet,
                                                int sourceID, int destinationID)
{
    packetEvent(sequence, "undeliverable", packet, sourceID, destinationID);
}

void XMLBusExporterPrivate::agentRegistered(const XMLRouter&, quint64 sequence, int agentID, int agentType)
{
    traffic(RouterEventLine::agent(sequence, "agent-added", agentID, agentType));
}

void XMLBusExporterPrivate::agentUnregistered(const XMLRouter&, quint64 sequence, int agentID, int agentType)
{
    traffic(RouterEventLine::agent(sequence, "agent-removed", agentID, agentType));
}

void XMLBusExporterPrivate::brokerAsked(const XMLRouter&, quint64 sequence, int agentType, int agentID)
{
    traffic(RouterEventLine::agent(sequence, "broker-asked", agentID, agentType));
}

// ---- XMLBusExporter ----

XMLBusExporter::XMLBusExporter(XMLRouter* router, QObject* parent)
    : QObject(parent)
    , d(std::make_unique<XMLBusExporterPrivate>(this, router))
{
    // Also when the exporter is the router's child: destroyed() comes before the children go.
    if (router)
        connect(router, &QObject::destroyed, this, [this] { d->routerDestroyed(); });
}

XMLBusExporter::~XMLBusExporter()
{
    d->withdraw(QStringLiteral("the application withdrew the router"));
}

bool XMLBusExporter::publish(const QString& serviceName, const QDBusConnection& connection)
{
    if (!d->serviceName.isEmpty()) {
        d->errorString = QStringLiteral("published already, as %1").arg(d->serviceName);
        return false;
    }
    if (!d->router) {
        d->errorString = QStringLiteral("no router to publish");
        return false;
    }
    if (!connection.isConnected()) {
        d->errorString = QStringLiteral("not connected to the bus: ") + connection.lastError().message();
        return false;
    }
    QDBusConnection bus = connection;
    if (!bus.interface()) {
        d->errorString = QStringLiteral("not a bus connection: no names to publish under");
        return false;
    }
    if (!bus.registerObject(OBJECT_PATH, this, QDBusConnection::ExportAdaptors)) {
        d->errorString = QStringLiteral("the object path %1 is taken on this connection").arg(OBJECT_PATH);
        return false;
    }
    // The object is in place before the name appears, so that nobody finds the name without it.
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = bus.interface()->registerService(
        serviceName, QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        d->errorString = reply.isValid() ? QStringLiteral("the name %1 is taken on the bus").arg(serviceName)
                                         : QStringLiteral("%1: %2").arg(serviceName, reply.error().message());
        bus.unregisterObject(OBJECT_PATH);
        return false;
    }
    d->connection = bus;
    d->serviceName = serviceName;
    d->watcher->setConnection(bus);
    d->errorString.clear();
    return true;
}

void XMLBusExporter::withdraw()
{
    d->withdraw(QStringLiteral("the application withdrew the router"));
}

bool XMLBusExporter::isPublished() const
{
    return !d->serviceName.isEmpty();
}

QString XMLBusExporter::serviceName() const
{
    return d->serviceName;
}

QString XMLBusExporter::errorString() const
{
    return d->errorString;
}

void XMLBusExporter::setMaxPendingPackets(int packets)
{
    d->maxPendingPackets = qMax(1, packets);
}

int XMLBusExporter::maxPendingPackets() const
{
    return d->maxPendingPackets;
}

void XMLBusExporter::setMaxPendingBytes(qint64 characters)
{
    d->maxPendingBytes = qMax<qint64>(1, characters);
}

qint64 XMLBusExporter::maxPendingBytes() const
{
    return d->maxPendingBytes;
}

void XMLBusExporter::setMaxPacketBytes(qint64 bytes)
{
    d->maxPacketBytes = qMax<qint64>(1, bytes);
}

qint64 XMLBusExporter::maxPacketBytes() const
{
    return d->maxPacketBytes;
}

int XMLBusExporter::agentOf(const QString& peer) const
{
    const auto it = d->peers.find(peer);
    return it == d->peers.end() || !it->second.agent ? 0 : it->second.agent->getAgentID();
}
