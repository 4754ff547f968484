// kxxml: the command-line tool of the kxxml messaging layer.
#include "tool.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    Tool tool;
    const Outcome outcome = tool.run(QCoreApplication::arguments().mid(1));
    if (outcome.status() == Outcome::Success) {
        const QByteArray& output = outcome.output();
        std::fwrite(output.constData(), 1, static_cast<size_t>(output.size()), stdout);
    } else {
        const QByteArray line = "kxxml: " + outcome.message().toUtf8() + '\n';
        std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
    }
    return std::fflush(stdout) == 0 ? outcome.status() : Outcome::BadInput;
}
