#pragma once

#include "xmlbusexporter.h"

#include <kxxml/messaging/xmlrouterobserver.h>

#include <QString>

#include <deque>
#include <map>
#include <memory>
#include <optional>

class QDBusServiceWatcher;
class XMLBusAdaptor;
class XMLBusProxyAgent;
class XMLPacket;

/// What XMLBusExporter keeps, and the handlers that its D-Bus adaptor and proxy agents call.
class XMLBusExporterPrivate : public XMLRouterObserver
{
public:
    /// An error reply: its D-Bus error name and message.
    struct CallError
    {
        QString name;
        QString message;
    };

    /// One process that registered or watches.
    struct Peer
    {
        std::unique_ptr<XMLBusProxyAgent> agent; ///< null for a process that only watches
        bool monitoring = false;
        bool dropping = false;   ///< a drop is on its way: nothing more is sent
        quint32 lastSequence = 0;
        std::deque<std::pair<quint32, qint64>> pending; ///< sequence and size, unacknowledged
        qint64 pendingBytes = 0;
    };

    XMLBusExporterPrivate(XMLBusExporter* q, XMLRouter* router);
    ~XMLBusExporterPrivate() override;

    /// @name Calls from the bus, with the caller's unique name
    /// @{
    std::optional<CallError> registerAgent(const QString& peer, int agentType, int& agentID);
    std::optional<CallError> unregisterAgent(const QString& peer);
    std::optional<CallError> send(const QString& peer, const QString& text);
    std::optional<CallError> acknowledge(const QString& peer, quint32 sequence);
    void monitor(const QString& peer, bool on);
    /// @}

    /// A packet delivered to the proxy of @p peer; takes it over.
    void forward(const QString& peer, XMLPacket* packet);
    /// Forgets every process, telling each @p reason; gives up the name and the path.
    void withdraw(const QString& reason);
    /// The router was destroyed: forget it, then withdraw.
    void routerDestroyed();

    // Router events, for watching processes.
    void packetAccepted(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                        int destinationID) override;
    void packetRefused(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                       int destinationID, Refusal reason) override;
    void packetDelivered(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                         int destinationID) override;
    void packetUndeliverable(const XMLRouter&, quint64 sequence, const XMLPacket& packet, int sourceID,
                             int destinationID) override;
    void agentRegistered(const XMLRouter&, quint64 sequence, int agentID, int agentType) override;
    void agentUnregistered(const XMLRouter&, quint64 sequence, int agentID, int agentType) override;
    void brokerAsked(const XMLRouter&, quint64 sequence, int agentType, int agentID) override;

    XMLBusExporter* q;
    XMLRouter* router;                  ///< not owned; null once destroyed
    QDBusConnection connection;         ///< where the router is published
    QString serviceName;                ///< empty when not published
    QString errorString;
    QDBusServiceWatcher* watcher;       ///< child of q: the processes known, by unique name
    XMLBusAdaptor* adaptor;             ///< child of q
    int maxPendingPackets = 1024;
    qint64 maxPendingBytes = qint64(64) * 1024 * 1024;
    qint64 maxPacketBytes;
    std::map<QString, Peer> peers;      ///< by unique bus name
    bool observing = false;             ///< attached to the router

private:
    Peer& peer(const QString& name);
    void watch(const QString& name);
    /// Sends one signal to @p name within its limits; drops it (later) when over them.
    void push(const QString& name, Peer& p, const QString& member, const QString& text);
    /// Drops @p name from the event loop: called where the router or an observer is at work.
    void scheduleDrop(const QString& name, const QString& reason);
    /// Removes the process's proxy and forgets it; tells it @p reason when @p tell. @p name
    /// is a copy: callers pass keys of the map that this erases from.
    void drop(QString name, const QString& reason, bool tell);
    void updateObserving();
    void traffic(const QByteArray& line);
    void packetEvent(quint64 sequence, const char* event, const XMLPacket& packet, int source,
                     int destination, const char* reason = nullptr);
};
