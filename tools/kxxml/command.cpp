#include "command.h"

#include <QCommandLineParser>

Command::~Command() = default;

Outcome Command::run(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Shows this help."));
    parser.addOption(help);
    addOptions(parser);
    if (!parser.parse(arguments)) {
        QString reason = parser.errorText();
        if (reason.endsWith(u'.'))
            reason.chop(1);
        if (!reason.isEmpty())
            reason[0] = reason.at(0).toLower();
        return usageError(reason);
    }
    if (parser.isSet(help))
        return Outcome::success(helpText(parser).toUtf8());
    return execute(parser);
}

Outcome Command::usageError(const QString& message) const
{
    return Outcome::failure(Outcome::BadInput,
                            name() + QStringLiteral(": ") + message
                                + QStringLiteral(" (see kxxml %1 --help)").arg(name()));
}

Outcome Command::badInput(const QString& message)
{
    return Outcome::failure(Outcome::BadInput, message);
}

QCommandLineOption Command::datasetOption()
{
    return QCommandLineOption(QStringLiteral("dataset"),
                              QStringLiteral("Works on the dataset FILE instead of the built-in sample."),
                              QStringLiteral("FILE"));
}

QString Command::helpText(const QCommandLineParser& parser) const
{
    // Qt's own help text starts with the program's path as it was typed; only its list of
    // options is kept, so the help reads the same wherever the tool runs from.
    const QString qtText = parser.helpText();
    const qsizetype options = qtText.indexOf(QStringLiteral("Options:"));
    return QStringLiteral("Usage: kxxml ") + name() + u' ' + synopsis() + QStringLiteral("\n\n")
        + summary() + QStringLiteral("\n\n") + (options < 0 ? QString() : qtText.mid(options))
        + QStringLiteral("\nExit status: 0 success, 1 no reply, 2 bad usage or bad input.\n");
}
