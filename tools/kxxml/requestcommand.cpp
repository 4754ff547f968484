#include "requestcommand.h"

#include "datasetsource.h"
#include "keyoption.h"
#include "routertrace.h"
#include "session.h"

#include <kxxml/kxxml_config.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/packetable/hostlib.h>
#include <kxxml/ui/xmlaction.h>

#include <QCommandLineParser>

#if KXXML_HAS_DBUS
#include "busrequest.h"
#endif

#include <cstdio>

namespace {

const QString DbOption = QStringLiteral("db");
const QString IncludeOption = QStringLiteral("include-publications");
const QString ExcludeOption = QStringLiteral("exclude-publications");
const QString PageSizeOption = QStringLiteral("page-size");
const QString TimeoutOption = QStringLiteral("timeout");
constexpr int DefaultTimeoutSeconds = 10;

// Writes one page as it arrives, so that the tool holds one page at a time.
void printPage(const XMLPacket& page)
{
    const QByteArray text = page.packetText().toUtf8();
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
    std::fflush(stdout);
}

} // namespace

QString RequestCommand::name() const
{
    return QStringLiteral("request");
}

QString RequestCommand::synopsis() const
{
#if KXXML_HAS_DBUS
    return QStringLiteral("outputs|publications|books|jobs [--dataset FILE] [--db KEY:HKEY]...\n"
                          "              [--include-publications | --exclude-publications] [--page-size N]\n"
                          "              [--trace | --bus NAME [--timeout SECONDS]]");
#else
    return QStringLiteral("outputs|publications|books|jobs [--dataset FILE] [--db KEY:HKEY]...\n"
                          "              [--include-publications | --exclude-publications] [--page-size N]\n"
                          "              [--trace]");
#endif
}

QString RequestCommand::summary() const
{
    return QStringLiteral("Sends one request to the comm-server agent and prints its reply packet.");
}

void RequestCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption(datasetOption());
    parser.addOption({DbOption,
                      QStringLiteral("Asks about the database KEY:HKEY (hexadecimal) only; repeatable."),
                      QStringLiteral("KEY:HKEY")});
    parser.addOption({IncludeOption, QStringLiteral("Lists jobs that belong to publications too.")});
    parser.addOption({ExcludeOption, QStringLiteral("Leaves jobs of publications out (says so explicitly).")});
    parser.addOption({PageSizeOption,
                      QStringLiteral("Asks for the reply in packets of at most N packetables and prints each "
                                     "as it arrives."),
                      QStringLiteral("N")});
    parser.addOption(RouterTrace::option());
#if KXXML_HAS_DBUS
    parser.addOption(BusTarget::option(QStringLiteral("Sends the request to the application published as NAME on "
                                                      "the session bus (e.g. by kxxml serve) instead of a router "
                                                      "of the tool's own.")));
    parser.addOption({TimeoutOption,
                      QStringLiteral("With --bus, waits at most SECONDS (default %1) for the reply, or for each "
                                     "page.").arg(DefaultTimeoutSeconds),
                      QStringLiteral("SECONDS")});
#endif
    parser.addPositionalArgument(QStringLiteral("kind"),
                                 QStringLiteral("outputs (1000), publications (1001), books (1002) or jobs (1003)."));
}

Outcome RequestCommand::execute(const QCommandLineParser& parser)
{
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty())
        return usageError(QStringLiteral("missing the kind of request"));
    if (positional.size() > 1)
        return usageError(QStringLiteral("unexpected argument '%1'").arg(positional.at(1)));
    const QString kind = positional.constFirst();
    if (RequestAgent::requestCode(kind) == 0)
        return usageError(QStringLiteral("unknown kind of request '%1'").arg(kind));

    QList<KXKEY_ELEMENT> keys;
    for (const QString& text : parser.values(DbOption)) {
        KXKEY_ELEMENT key{};
        if (!KeyOption::parse(text, key))
            return usageError(QStringLiteral("--db '%1': expected KEY:HKEY in hexadecimal").arg(text));
        keys.append(key);
    }
    if (parser.isSet(IncludeOption) && parser.isSet(ExcludeOption))
        return usageError(QStringLiteral("--include-publications and --exclude-publications exclude each other"));
    bool exclude = parser.isSet(ExcludeOption);
    const bool* excludeSetting = parser.isSet(IncludeOption) || exclude ? &exclude : nullptr;

    int pageSize = 0;
    if (parser.isSet(PageSizeOption)) {
        bool ok = false;
        const QString text = parser.value(PageSizeOption);
        pageSize = text.toInt(&ok);
        if (!ok || pageSize < 1)
            return usageError(QStringLiteral("--page-size '%1': expected a positive integer").arg(text));
    }

#if KXXML_HAS_DBUS
    if (parser.isSet(BusTarget::option())) {
        if (parser.isSet(QStringLiteral("dataset")))
            return usageError(QStringLiteral("--dataset and --bus exclude each other"));
        if (parser.isSet(RouterTrace::option()))
            return usageError(QStringLiteral("--trace watches the tool's own router; with --bus, use kxxml monitor"));
        double seconds = DefaultTimeoutSeconds;
        if (parser.isSet(TimeoutOption)) {
            bool ok = false;
            const QString text = parser.value(TimeoutOption);
            seconds = text.toDouble(&ok);
            if (!ok || !(seconds > 0) || seconds > 86400)
                return usageError(QStringLiteral("--timeout '%1': expected a number of seconds above 0").arg(text));
        }
        const BusRequest request(BusTarget(parser.value(BusTarget::option())), qMax(1, qRound(seconds * 1000)));
        return request.run(kind, keys, excludeSetting, pageSize, printPage);
    }
    if (parser.isSet(TimeoutOption))
        return usageError(QStringLiteral("--timeout goes with --bus"));
#endif

    const DatasetSource dataset(parser.value(QStringLiteral("dataset")));
    QString error;
    std::unique_ptr<KXCommServer> server = dataset.open(error);
    if (!server)
        return badInput(error);

    Session session(std::move(server), parser.isSet(RouterTrace::option()));
    const std::unique_ptr<XMLAction> action = session.agent().requestAction(kind, keys, excludeSetting);
    const Outcome noReply =
        Outcome::failure(Outcome::NoReply, QStringLiteral("%1: no reply to the %2 request").arg(dataset.name(), kind));
    if (pageSize > 0) {
        // Pages are printed as they arrive; the outcome itself prints nothing more.
        action->setPageSize(pageSize);
        return session.agent().askPaged(*action, printPage) > 0 ? Outcome::success({}) : noReply;
    }
    const std::unique_ptr<XMLPacket> reply = session.agent().ask(*action);
    return reply ? Outcome::success(reply->packetText().toUtf8()) : noReply;
}
