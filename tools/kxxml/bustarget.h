#pragma once

#include "outcome.h"

#include <QString>

#include <optional>

class QCommandLineOption;
class XMLBusClient;

/// The application that a command reaches over the session bus (`--bus NAME`), and the tool's
/// messages for what can go wrong on the way: no bus, a name nobody owns, an owner that offers
/// no router, an application that does not answer.
class BusTarget
{
public:
    /// `--bus NAME`, described as @p description; its name alone, for isSet() and value().
    static QCommandLineOption option(const QString& description = QString());
    /// Where `kxxml serve` publishes without --bus-name, and the example everywhere.
    static QString defaultName();

    /// The application that owns @p name on the session bus.
    explicit BusTarget(const QString& name);

    const QString& name() const;
    /// Makes @p client an agent of type @p agentType of the application; the error to end
    /// with when it cannot (exit status 2, or 1 when the application does not answer).
    std::optional<Outcome> registerAgent(XMLBusClient& client, int agentType, int timeoutMs) const;
    /// Has @p client watch the application's router; the error to end with when it cannot.
    std::optional<Outcome> startMonitoring(XMLBusClient& client, int timeoutMs) const;

private:
    Outcome failure(const XMLBusClient& client) const;

    QString m_name;
};
