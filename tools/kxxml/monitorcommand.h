#pragma once

#include "command.h"

/// `kxxml monitor --bus NAME`: prints the router events of an application on the session
/// bus as they happen, until SIGINT or SIGTERM.
class MonitorCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
