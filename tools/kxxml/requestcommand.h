#pragma once

#include "command.h"

/// `kxxml request KIND`: sends one request to the comm-server agent and prints the reply packet.
class RequestCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
