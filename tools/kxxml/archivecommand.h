#pragma once

#include "command.h"

/// `kxxml archive`: the packetable of one archive entry, with the packets it refers to inlined.
class ArchiveCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
