#include "xmlbusadaptor_p.h"

#include "xmlbusexporter_p.h"

#include <QDBusMessage>

XMLBusAdaptor::XMLBusAdaptor(XMLBusExporter* exporter, XMLBusExporterPrivate* exporterPrivate)
    : QDBusAbstractAdaptor(exporter)
    , d(exporterPrivate)
{
}

XMLBusAdaptor::~XMLBusAdaptor() = default;

uint XMLBusAdaptor::maxPending() const
{
    return static_cast<uint>(d->maxPendingPackets);
}

qulonglong XMLBusAdaptor::maxPendingBytes() const
{
    return static_cast<qulonglong>(d->maxPendingBytes);
}

qulonglong XMLBusAdaptor::maxPacketBytes() const
{
    return static_cast<qulonglong>(d->maxPacketBytes);
}

// Each call is answered from the caller's registration: message.service() is the unique
// name the bus daemon vouches for, never something the caller wrote.

template <typename Error>
void XMLBusAdaptor::answer(const QDBusMessage& message, const Error& error)
{
    if (!error)
        return; // QtDBus sends the ordinary reply, when one is wanted
    if (message.isReplyRequired()) {
        message.setDelayedReply(true);
        d->connection.send(message.createErrorReply(error->name, error->message));
        return;
    }
    // A caller that wants no reply would never see an error reply: the bus daemon drops
    // replies that nobody waits for. It hears of the refusal as a signal instead.
    QDBusMessage refused = QDBusMessage::createTargetedSignal(message.service(), XMLBusExporter::OBJECT_PATH,
                                                              XMLBusExporter::INTERFACE, QStringLiteral("Refused"));
    refused << message.member() << error->name << error->message;
    d->connection.send(refused);
}

int XMLBusAdaptor::Register(int agentType, const QDBusMessage& message)
{
    int id = 0;
    answer(message, d->registerAgent(message.service(), agentType, id));
    return id;
}

void XMLBusAdaptor::Unregister(const QDBusMessage& message)
{
    answer(message, d->unregisterAgent(message.service()));
}

void XMLBusAdaptor::Send(const QString& packet, const QDBusMessage& message)
{
    answer(message, d->send(message.service(), packet));
}

void XMLBusAdaptor::Acknowledge(uint sequence, const QDBusMessage& message)
{
    answer(message, d->acknowledge(message.service(), sequence));
}

void XMLBusAdaptor::Monitor(bool on, const QDBusMessage& message)
{
    d->monitor(message.service(), on);
}
