#pragma once

#include "outcome.h"

#include <QString>
#include <QStringList>

class QCommandLineOption;
class QCommandLineParser;

/// One subcommand of the tool: its name, its usage line and its options, and what it does.
///
/// run() parses the subcommand's own arguments, answers `--help` and turns parse errors into
/// usage errors; a subclass declares its options in addOptions() and does its work in
/// execute(), returning the whole output or one error.
class Command
{
public:
    virtual ~Command();

    /// The word that selects the command: "request".
    virtual QString name() const = 0;
    /// The arguments after the name, for usage lines: "[--check] [FILE|-]".
    virtual QString synopsis() const = 0;
    /// One sentence on what the command does.
    virtual QString summary() const = 0;

    /// Runs the command on @p arguments, whose first entry is the command's name.
    Outcome run(const QStringList& arguments);

protected:
    virtual void addOptions(QCommandLineParser& parser) const = 0;
    virtual Outcome execute(const QCommandLineParser& parser) = 0;

    /// Exit status 2 with "<command>: <message>".
    Outcome usageError(const QString& message) const;
    /// Exit status 2 with @p message as it stands (it names the input itself).
    static Outcome badInput(const QString& message);

    /// `--dataset FILE`, shared by the commands that work on a dataset.
    static QCommandLineOption datasetOption();

private:
    QString helpText(const QCommandLineParser& parser) const;
};
