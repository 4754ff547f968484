#pragma once

#include <QDBusAbstractAdaptor>
#include <QString>

class QDBusMessage;
class XMLBusExporter;
class XMLBusExporterPrivate;

/// The interface org.kxxml.Router1 on the exporter's object: each call is handed to the
/// exporter with the caller's unique name, and a refusal becomes an error reply. Each slot
/// takes the call's message last, which QtDBus passes without counting it as an argument. The
/// signals are sent by the exporter itself, each to one process, so none is declared here;
/// the introspection data below lists them. Keep it in step with docs/BUS.md.
class XMLBusAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kxxml.Router1")
    Q_CLASSINFO("D-Bus Introspection", ""
"  <interface name=\"org.kxxml.Router1\">\n"
"    <!-- A router of XML packets that an application publishes. A process registers as an\n"
"         agent of the router, sends packets as that agent, and receives the packets\n"
"         addressed to it as signals sent to it alone. Errors are named\n"
"         org.kxxml.Router1.Error.NotRegistered, .AlreadyRegistered, .TooLarge, .BadXml and\n"
"         .NotAPacket; a call sent without expecting a reply gets them as a Refused signal.\n"
"         See docs/BUS.md of kxxml. -->\n"
"    <!-- Register(agent_type): makes the caller an agent of the router, of the type given,\n"
"         and answers its id. One agent per connection (AlreadyRegistered otherwise). The\n"
"         agent goes when the caller unregisters or leaves the bus. -->\n"
"    <method name=\"Register\">\n"
"      <arg name=\"agent_type\" type=\"i\" direction=\"in\"/>\n"
"      <arg name=\"agent_id\" type=\"i\" direction=\"out\"/>\n"
"    </method>\n"
"    <!-- Unregister(): removes the caller's agent; the other agents hear of it. -->\n"
"    <method name=\"Unregister\"/>\n"
"    <!-- Send(packet): hands a packet to the router as the caller's agent. The packet is\n"
"         XML text, a <kxxml xmlns=\"http://kxxml.org/xml/\"> envelope with a header holding\n"
"         src and dst, and a body. The source id is always the caller's, whatever src says.\n"
"         Refused with TooLarge (over MaxPacketBytes), BadXml (not well-formed, nested\n"
"         deeper than 259 elements, or with a document type declaration; the message names\n"
"         the line and column) or NotAPacket; NotRegistered before Register. -->\n"
"    <method name=\"Send\">\n"
"      <arg name=\"packet\" type=\"s\" direction=\"in\"/>\n"
"    </method>\n"
"    <!-- Acknowledge(sequence): the caller has read every Packet and Traffic signal up to\n"
"         this sequence number. Unacknowledged signals count against MaxPending and\n"
"         MaxPendingBytes; a caller over either is dropped. NotRegistered from a caller\n"
"         that neither registered nor monitors. -->\n"
"    <method name=\"Acknowledge\">\n"
"      <arg name=\"sequence\" type=\"u\" direction=\"in\"/>\n"
"    </method>\n"
"    <!-- Monitor(on): starts (true) or stops (false) the Traffic signals to the caller.\n"
"         Needs no registration. -->\n"
"    <method name=\"Monitor\">\n"
"      <arg name=\"on\" type=\"b\" direction=\"in\"/>\n"
"    </method>\n"
"    <!-- Packet(sequence, packet), to one agent: a packet the router delivered to it, as\n"
"         XML text. Sequence numbers count the signals sent to that process, from 1. -->\n"
"    <signal name=\"Packet\">\n"
"      <arg name=\"sequence\" type=\"u\"/>\n"
"      <arg name=\"packet\" type=\"s\"/>\n"
"    </signal>\n"
"    <!-- Traffic(sequence, line), to one monitoring process: one router event, e.g.\n"
"         \"7 delivered src=-1 dst=2 size=312\" (the line format of kxxml's trace). -->\n"
"    <signal name=\"Traffic\">\n"
"      <arg name=\"sequence\" type=\"u\"/>\n"
"      <arg name=\"line\" type=\"s\"/>\n"
"    </signal>\n"
"    <!-- Refused(method, error_name, message), to one process: what would have been the\n"
"         error reply to its call of method, had the call not been sent without expecting\n"
"         a reply (the flag NO_REPLY_EXPECTED; the bus daemon drops unexpected replies). -->\n"
"    <signal name=\"Refused\">\n"
"      <arg name=\"method\" type=\"s\"/>\n"
"      <arg name=\"error_name\" type=\"s\"/>\n"
"      <arg name=\"message\" type=\"s\"/>\n"
"    </signal>\n"
"    <!-- Dropped(reason), to one process: its agent was removed and its monitoring ended\n"
"         without its asking, because it went over a limit or the router was withdrawn. -->\n"
"    <signal name=\"Dropped\">\n"
"      <arg name=\"reason\" type=\"s\"/>\n"
"    </signal>\n"
"    <!-- MaxPending: how many Packet and Traffic signals a process may leave\n"
"         unacknowledged. -->\n"
"    <property name=\"MaxPending\" type=\"u\" access=\"read\">\n"
"      <annotation name=\"org.freedesktop.DBus.Property.EmitsChangedSignal\" value=\"false\"/>\n"
"    </property>\n"
"    <!-- MaxPendingBytes: how many characters of them. -->\n"
"    <property name=\"MaxPendingBytes\" type=\"t\" access=\"read\">\n"
"      <annotation name=\"org.freedesktop.DBus.Property.EmitsChangedSignal\" value=\"false\"/>\n"
"    </property>\n"
"    <!-- MaxPacketBytes: the largest packet Send takes, in bytes of UTF-8. -->\n"
"    <property name=\"MaxPacketBytes\" type=\"t\" access=\"read\">\n"
"      <annotation name=\"org.freedesktop.DBus.Property.EmitsChangedSignal\" value=\"false\"/>\n"
"    </property>\n"
"  </interface>\n")
    Q_PROPERTY(uint MaxPending READ maxPending)
    Q_PROPERTY(qulonglong MaxPendingBytes READ maxPendingBytes)
    Q_PROPERTY(qulonglong MaxPacketBytes READ maxPacketBytes)

public:
    /// An adaptor on @p exporter (its parent), calling @p d.
    XMLBusAdaptor(XMLBusExporter* exporter, XMLBusExporterPrivate* d);
    ~XMLBusAdaptor() override;

    uint maxPending() const;
    qulonglong maxPendingBytes() const;
    qulonglong maxPacketBytes() const;

public Q_SLOTS:
    int Register(int agentType, const QDBusMessage& message);
    void Unregister(const QDBusMessage& message);
    void Send(const QString& packet, const QDBusMessage& message);
    void Acknowledge(uint sequence, const QDBusMessage& message);
    void Monitor(bool on, const QDBusMessage& message);

private:
    template <typename Error>
    void answer(const QDBusMessage& message, const Error& error);

    XMLBusExporterPrivate* d;
};
