#include "monitorcommand.h"

#include "bustarget.h"
#include "quitsignals.h"

#include <kxxml/bus/xmlbusclient.h>

#include <QCommandLineParser>
#include <QEventLoop>

#include <cstdio>

namespace {

constexpr int AnswerTimeoutMs = 10000;

} // namespace

QString MonitorCommand::name() const
{
    return QStringLiteral("monitor");
}

QString MonitorCommand::synopsis() const
{
    return QStringLiteral("--bus NAME");
}

QString MonitorCommand::summary() const
{
    return QStringLiteral("Prints the router events of an application as they happen, as --trace does.");
}

void MonitorCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption(BusTarget::option(QStringLiteral("Watches the application published as NAME on the session bus "
                                                      "until SIGINT or SIGTERM (exit status 0) or until it leaves "
                                                      "the bus (exit status 1).")));
}

Outcome MonitorCommand::execute(const QCommandLineParser& parser)
{
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    if (!parser.isSet(BusTarget::option()))
        return usageError(QStringLiteral("missing --bus NAME"));
    const BusTarget target(parser.value(BusTarget::option()));

    QuitSignals quit;
    XMLBusClient client;
    if (auto failed = target.startMonitoring(client, AnswerTimeoutMs))
        return *failed;

    QEventLoop loop;
    QString why;
    QObject::connect(&client, &XMLBusClient::trafficReceived, &loop, [](const QString& line) {
        const QByteArray text = line.toUtf8() + '\n';
        std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
        std::fflush(stdout);
    });
    QObject::connect(&client, &XMLBusClient::disconnected, &loop, [&](const QString& reason) {
        why = reason;
        loop.quit();
    });
    QObject::connect(&quit, &QuitSignals::received, &loop, &QEventLoop::quit);
    loop.exec();
    if (!why.isEmpty())
        return Outcome::failure(Outcome::NoReply, target.name() + QStringLiteral(": ") + why);
    return Outcome::success({});
}
