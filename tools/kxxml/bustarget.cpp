#include "bustarget.h"

#include <kxxml/bus/xmlbusclient.h>
#include <kxxml/bus/xmlbusexporter.h>

#include <QCommandLineOption>
#include <QDBusConnection>
#include <QDBusError>

namespace {

// The tool talks to the session bus only: its absence is said first, whatever else fails.
std::optional<Outcome> noSessionBus()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected())
        return std::nullopt;
    return Outcome::failure(Outcome::BadInput, QStringLiteral("no session bus: ") + bus.lastError().message());
}

} // namespace

QCommandLineOption BusTarget::option(const QString& description)
{
    return QCommandLineOption(QStringLiteral("bus"), description, QStringLiteral("NAME"));
}

QString BusTarget::defaultName()
{
    return QStringLiteral("org.kxxml.Demo");
}

BusTarget::BusTarget(const QString& name)
    : m_name(name)
{
}

const QString& BusTarget::name() const
{
    return m_name;
}

std::optional<Outcome> BusTarget::registerAgent(XMLBusClient& client, int agentType, int timeoutMs) const
{
    if (auto none = noSessionBus())
        return none;
    if (client.registerAgent(m_name, agentType, timeoutMs))
        return std::nullopt;
    return failure(client);
}

std::optional<Outcome> BusTarget::startMonitoring(XMLBusClient& client, int timeoutMs) const
{
    if (auto none = noSessionBus())
        return none;
    if (client.startMonitoring(m_name, timeoutMs))
        return std::nullopt;
    return failure(client);
}

Outcome BusTarget::failure(const XMLBusClient& client) const
{
    const QDBusError error = client.lastError();
    // Qt has no type of its own for NameHasNoOwner, the answer when auto-starting is off.
    if (error.name() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner"))
        return Outcome::failure(Outcome::BadInput, m_name + QStringLiteral(": not on the session bus"));
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
        return Outcome::failure(Outcome::BadInput, m_name + QStringLiteral(": not on the session bus"));
    case QDBusError::UnknownObject:
    case QDBusError::UnknownInterface:
    case QDBusError::UnknownMethod:
    case QDBusError::InvalidArgs:
        return Outcome::failure(Outcome::BadInput,
                                m_name + QStringLiteral(": offers no kxxml router (") + XMLBusExporter::INTERFACE
                                    + u')');
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
        return Outcome::failure(Outcome::NoReply, m_name + QStringLiteral(": no answer from the application"));
    default:
        return Outcome::failure(Outcome::BadInput, m_name + QStringLiteral(": ") + error.message());
    }
}
