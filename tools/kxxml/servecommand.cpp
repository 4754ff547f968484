#include "servecommand.h"

#include "bustarget.h"
#include "datasetsource.h"
#include "quitsignals.h"

#include <kxxml/bus/xmlbusexporter.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/packetable/hostlib.h>

#include <QCommandLineParser>
#include <QDBusConnection>
#include <QDBusError>
#include <QEventLoop>

#include <cstdio>

namespace {

const QString BusNameOption = QStringLiteral("bus-name");

} // namespace

QString ServeCommand::name() const
{
    return QStringLiteral("serve");
}

QString ServeCommand::synopsis() const
{
    return QStringLiteral("[--dataset FILE] [--bus-name NAME]");
}

QString ServeCommand::summary() const
{
    return QStringLiteral("Publishes a router with the comm-server agent on the session bus until stopped.");
}

void ServeCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption(datasetOption());
    parser.addOption({BusNameOption,
                      QStringLiteral("Publishes under NAME (default %1), printed on standard output when "
                                     "ready; serves until SIGINT or SIGTERM.").arg(BusTarget::defaultName()),
                      QStringLiteral("NAME")});
}

Outcome ServeCommand::execute(const QCommandLineParser& parser)
{
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    const QString busName = parser.isSet(BusNameOption) ? parser.value(BusNameOption) : BusTarget::defaultName();

    const DatasetSource dataset(parser.value(QStringLiteral("dataset")));
    QString error;
    const std::unique_ptr<KXCommServer> server = dataset.open(error);
    if (!server)
        return badInput(error);
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return badInput(QStringLiteral("no session bus: ") + bus.lastError().message());

    // The signals are caught before the name appears: whoever sees it may stop the server.
    QuitSignals quit;
    XMLRouter router(server.get(), nullptr, "kxxml");
    XMLBusExporter exporter(&router);
    if (!exporter.publish(busName, bus))
        return badInput(exporter.errorString());

    const QByteArray ready = busName.toUtf8() + '\n';
    std::fwrite(ready.constData(), 1, static_cast<size_t>(ready.size()), stdout);
    std::fflush(stdout);

    QEventLoop loop;
    QObject::connect(&quit, &QuitSignals::received, &loop, &QEventLoop::quit);
    loop.exec();
    exporter.withdraw(); // the processes still attached are told, before the name goes
    return Outcome::success({});
}
