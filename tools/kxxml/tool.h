#pragma once

#include "outcome.h"

#include <QStringList>

#include <memory>
#include <vector>

class Command;

/// The tool's command table: picks the subcommand named by the first argument, and answers
/// `--help` and `--version` itself.
class Tool
{
public:
    Tool();
    ~Tool();
    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;

    /// Runs the tool on @p arguments (without the program name).
    Outcome run(const QStringList& arguments);

private:
    QString helpText() const;
    Command* find(const QString& name) const;

    std::vector<std::unique_ptr<Command>> m_commands;
};
