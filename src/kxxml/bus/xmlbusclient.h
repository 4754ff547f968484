#pragma once

#include <kxxml/kxxml_export.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QObject>
#include <QString>

class QDBusMessage;
class QDBusServiceWatcher;
class QTimer;
class XMLPacket;

/// The other end of XMLBusExporter: lets a program take part in the router of another process
/// as an agent of its own, or watch that router's traffic, over D-Bus.
///
/// registerAgent() makes the program an agent of the application published under a name and
/// learns its id; send() hands packets to that application's router; packets addressed to the
/// agent come through packetReceived(). startMonitoring() brings the router's events through
/// trafficReceived(). The client acknowledges what it receives by itself, often enough for the
/// exporter's limits, which it reads when it starts. disconnected() tells when the
/// application dropped the client or left the bus.
///
/// registerAgent() and startMonitoring() wait for the application's answer in a local event
/// loop, so the application may live in the same thread (on another connection). One
/// application at a time: registering or monitoring elsewhere leaves the first.
/// Incoming packets are checked as the exporter checks its own input, but for size (the bus
/// bounds it): a packet nested too deep or with a document type declaration is dropped with a
/// warning in the logging category `kxxml.bus`.
class KXXML_EXPORT XMLBusClient : public QObject
{
    Q_OBJECT

public:
    /// A client on @p connection, the session bus by default, attached to no application.
    explicit XMLBusClient(const QDBusConnection& connection = QDBusConnection::sessionBus(),
                          QObject* parent = nullptr);
    /// Unregisters and stops monitoring, without waiting for the application.
    ~XMLBusClient() override;

    /// Registers as an agent of type @p agentType with the application that owns
    /// @p serviceName, waiting at most @p timeoutMs milliseconds. False, with lastError(), when
    /// there is no bus, the name has no owner, the owner offers no router, or it refuses.
    bool registerAgent(const QString& serviceName, int agentType, int timeoutMs = 25000);
    /// Leaves the router: the application removes the agent. Does not wait.
    void unregisterAgent();
    /// Whether the client is an agent of an application's router.
    bool isRegistered() const;
    /// The agent id the application gave; 0 when not registered.
    int agentID() const;

    /// Asks the application that owns @p serviceName for its router's events, waiting at most
    /// @p timeoutMs milliseconds. False, with lastError(), as for registerAgent().
    bool startMonitoring(const QString& serviceName, int timeoutMs = 25000);
    /// Asks for no more events. Does not wait.
    void stopMonitoring();
    /// Whether the client receives the router's events.
    bool isMonitoring() const;

    /// The name of the application the client is attached to; empty when none.
    QString serviceName() const;
    /// Why the last call that returned false failed.
    QDBusError lastError() const;

    /// Sends @p packet (only read) to the application's router as this client's agent; the
    /// application writes that agent's id as its source. False, with lastError(), when not
    /// registered. Does not wait, nor asks for a reply: a refusal comes later through
    /// sendFailed().
    bool send(const XMLPacket& packet);

Q_SIGNALS:
    /// A packet for this client's agent; @p packet is valid during the call only.
    void packetReceived(const XMLPacket& packet);
    /// One event of the application's router, in the line format of XMLRouterLogger.
    void trafficReceived(const QString& line);
    /// The application refused a packet that send() sent, for @p error.
    void sendFailed(const QDBusError& error);
    /// The client is neither registered nor monitoring any more, for @p reason: the
    /// application dropped it (over a limit, or withdrawn) or left the bus.
    void disconnected(const QString& reason);

private Q_SLOTS:
    void onPacket(uint sequence, const QString& text);
    void onTraffic(uint sequence, const QString& line);
    void onRefused(const QString& method, const QString& errorName, const QString& message);
    void onDropped(const QString& reason);
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);
    void acknowledge();

private:
    bool attach(const QString& serviceName, int timeoutMs);
    void detach();
    /// Lets go of the application when the client is neither registered nor monitoring.
    void detachWhenUnused();
    /// Calls @p method with @p argument on the router of @p serviceName, attaching first; on
    /// failure keeps the error and lets go of an application no longer used.
    bool callRouter(const QString& serviceName, const QString& method, const QVariant& argument, int timeoutMs,
                    QDBusMessage& reply);
    void leave(const QString& reason);
    QDBusMessage routerCall(const QString& method) const;
    QDBusMessage wait(const QDBusMessage& message, int timeoutMs);
    void received(uint sequence, qsizetype size);

    QDBusConnection m_connection;
    QDBusServiceWatcher* m_watcher; ///< child
    QTimer* m_ackTimer;             ///< child
    QString m_service;              ///< the application attached to; empty when none
    QDBusError m_lastError;
    int m_agentID = 0;
    bool m_monitoring = false;
    // Acknowledgements: every m_ackEvery signals or m_ackBytes characters, or soon after.
    uint m_lastReceived = 0;
    int m_unacknowledged = 0;
    qint64 m_unacknowledgedBytes = 0;
    int m_ackEvery = 16;
    qint64 m_ackBytes = 1024 * 1024;
};
