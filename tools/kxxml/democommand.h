#pragma once

#include "command.h"

/// `kxxml demo`: a short scripted session on a dataset, each step printed under a heading.
class DemoCommand : public Command
{
public:
    QString name() const override;
    QString synopsis() const override;
    QString summary() const override;

protected:
    void addOptions(QCommandLineParser& parser) const override;
    Outcome execute(const QCommandLineParser& parser) override;
};
