#pragma once

#include "command.h"

/// `kxxml serve`: a router with its comm-server agent on a dataset, published on the session
/// bus for other processes until SIGINT or SIGTERM.
class ServeCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
