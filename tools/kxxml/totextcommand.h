#pragma once

#include "command.h"

/// `kxxml to-text`: packetable XML in, the host packet's text form out.
class ToTextCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
