#pragma once

#include "command.h"

/// `kxxml to-xml`: a host packet's text form in, the packetable XML out.
class ToXmlCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
