#include "tool.h"

#include "archivecommand.h"
#include "democommand.h"
#include "requestcommand.h"
#include "totextcommand.h"
#include "toxmlcommand.h"

#include <kxxml/kxxml_config.h>

#if KXXML_HAS_DBUS
#include "monitorcommand.h"
#include "servecommand.h"
#endif

Tool::Tool()
{
    m_commands.push_back(std::make_unique<DemoCommand>());
    m_commands.push_back(std::make_unique<RequestCommand>());
    m_commands.push_back(std::make_unique<ToXmlCommand>());
    m_commands.push_back(std::make_unique<ToTextCommand>());
    m_commands.push_back(std::make_unique<ArchiveCommand>());
#if KXXML_HAS_DBUS
    m_commands.push_back(std::make_unique<ServeCommand>());
    m_commands.push_back(std::make_unique<MonitorCommand>());
#endif
}

Tool::~Tool() = default;

Outcome Tool::run(const QStringList& arguments)
{
    const QString first = arguments.value(0);
    if (first.isEmpty())
        return Outcome::failure(Outcome::BadInput, QStringLiteral("missing command (see kxxml --help)"));
    if (first == u"--help" || first == u"-h" || first == u"help")
        return Outcome::success(helpText().toUtf8());
    if (first == u"--version" || first == u"-v")
        return Outcome::success(QByteArrayLiteral("kxxml " KXXML_VERSION "\n"));
    Command* const command = find(first);
    if (!command) {
        return Outcome::failure(Outcome::BadInput,
                                QStringLiteral("unknown command '%1' (see kxxml --help)").arg(first));
    }
    return command->run(arguments);
}

QString Tool::helpText() const
{
    QString text = QStringLiteral(
        "Usage: kxxml <command> [options]\n"
        "\n"
        "Talks to the kxxml messaging layer from the command line: sends requests to the\n"
        "comm-server agent and converts host packets between their text form and XML.\n"
        "Without --dataset, commands work on the sample dataset built into the tool.\n"
        "\n"
        "Commands:\n");
    for (const auto& command : m_commands)
        text += QStringLiteral("  kxxml ") + command->name() + u' ' + command->synopsis()
            + QStringLiteral("\n      ") + command->summary() + u'\n';
    text += QStringLiteral(
        "\n"
        "Options:\n"
        "  -h, --help     Shows this help; kxxml <command> --help describes one command.\n"
        "  -v, --version  Shows the version.\n"
        "\n"
        "Output goes to standard output only when a command succeeds; errors are one line on\n"
        "standard error.\n"
        "\n"
        "Exit status: 0 success, 1 no reply, 2 bad usage or bad input.\n");
    return text;
}

Command* Tool::find(const QString& name) const
{
    for (const auto& command : m_commands) {
        if (command->name() == name)
            return command.get();
    }
    return nullptr;
}
