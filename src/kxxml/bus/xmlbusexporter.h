#pragma once

#include <kxxml/kxxml_export.h>

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <memory>

class XMLBusExporterPrivate;
class XMLRouter;

/// Publishes a router on a D-Bus connection, the session bus by default, so that other
/// processes can take part in it as agents (the interface `org.kxxml.Router1`, object path
/// `/org/kxxml/Router`, described in docs/BUS.md).
///
/// A process calls `Register(agent_type)` and becomes an ordinary agent of the router: the
/// exporter adds a proxy agent of that type, which gets its id from XMLRouter::add. What the
/// process sends with `Send(packet)` enters the router as if the proxy had sent it: the
/// exporter writes the proxy's id as the source, whatever the text says. Packets delivered to
/// the proxy go to the process as a `Packet` signal addressed to it alone. A process that
/// calls `Unregister`, or leaves the bus (crashes included), loses its proxy: the exporter
/// removes it from the router (XMLRouter::remove), so the other agents hear of it.
///
/// Only registered processes can send, and each only as its own agent. Their XML is checked
/// before Qt's DOM sees it: at most maxPacketBytes() bytes, elements nested at most 259 deep,
/// no document type declaration; and it must be a packet envelope. Bad input gets an error
/// reply naming what is wrong (`org.kxxml.Router1.Error.BadXml` with the line and column,
/// and the other names of docs/BUS.md) and changes nothing else.
///
/// Signals are not waited for: a process acknowledges what it has read (`Acknowledge`). When
/// one more signal would leave a process with more than maxPendingPackets() signals, or
/// maxPendingBytes() characters of them, unacknowledged, the exporter sends it nothing more:
/// it removes its proxy and tells it why in a `Dropped` signal. What the application holds,
/// or has the bus daemon hold, for a process that stops reading is so bounded. A call made
/// without expecting a reply gets a refusal as a `Refused` signal instead of an error reply.
///
/// Processes may also ask to watch the traffic (`Monitor`): they then get one `Traffic`
/// signal per router event, in the line format of XMLRouterLogger. The exporter attaches an
/// observer to the router only while some process watches.
///
/// The exporter does not own the router, which must outlive it (destroying the router first
/// withdraws the exporter without touching the router). The proxies are the exporter's.
/// Everything happens on the thread of the router and the exporter.
class KXXML_EXPORT XMLBusExporter : public QObject
{
    Q_OBJECT

public:
    /// The D-Bus interface, "org.kxxml.Router1"; a later, incompatible one gets a new number.
    static const QString INTERFACE;
    /// The object path the router is published under, "/org/kxxml/Router".
    static const QString OBJECT_PATH;
    /// @name Error names of the interface's replies
    /// @{
    static const QString ERROR_NOT_REGISTERED;     ///< the caller has no agent (Send, Unregister)
    static const QString ERROR_ALREADY_REGISTERED; ///< the caller has an agent already (Register)
    static const QString ERROR_TOO_LARGE;          ///< the packet's text is over the size limit
    static const QString ERROR_BAD_XML;            ///< not well-formed, too deep, or a DTD
    static const QString ERROR_NOT_A_PACKET;       ///< well-formed, but no packet envelope
    /// @}

    /// An exporter for @p router (not owned), published nowhere until publish().
    explicit XMLBusExporter(XMLRouter* router, QObject* parent = nullptr);
    /// Withdraws the router (see withdraw()).
    ~XMLBusExporter() override;

    /// Publishes the router on @p connection under @p serviceName, e.g. "org.example.App".
    /// False, with errorString() saying why, when the connection is not connected, the name
    /// is not valid or is owned already, or the exporter is published already.
    bool publish(const QString& serviceName, const QDBusConnection& connection = QDBusConnection::sessionBus());
    /// Tells every registered or watching process that it is dropped, removes their proxies
    /// from the router, and gives up the name and the object path. Does nothing when not
    /// published.
    void withdraw();
    /// Whether the router is published.
    bool isPublished() const;
    /// The name given to publish(); empty when not published.
    QString serviceName() const;
    /// Why the last publish() failed.
    QString errorString() const;

    /// @name Limits
    /// Changes apply to what comes next. Each limit is also readable over the bus, as a
    /// property of the interface.
    /// @{
    /// Unacknowledged signals (packets and traffic lines) a process may have; default 1024.
    void setMaxPendingPackets(int packets);
    int maxPendingPackets() const;
    /// Unacknowledged characters of them; default 64 MiB. A single packet may be larger when
    /// nothing else is pending (deliberate: a large reply is not refused).
    void setMaxPendingBytes(qint64 characters);
    qint64 maxPendingBytes() const;
    /// Largest packet a process may send, in bytes of UTF-8; default 64 MiB, the tool's
    /// limit on its own input.
    void setMaxPacketBytes(qint64 bytes);
    qint64 maxPacketBytes() const;
    /// @}

    /// The agent id of the process with the unique bus name @p peer; 0 when it has none.
    int agentOf(const QString& peer) const;

Q_SIGNALS:
    /// The process @p peer (its unique bus name) registered as agent @p agentID.
    void remoteRegistered(const QString& peer, int agentID);
    /// The agent @p agentID of the process @p peer was removed from the router, for
    /// @p reason: it unregistered, left the bus, reached a limit, or the router was withdrawn.
    void remoteUnregistered(const QString& peer, int agentID, const QString& reason);

private:
    friend class XMLBusExporterPrivate;
    std::unique_ptr<XMLBusExporterPrivate> d;
};
