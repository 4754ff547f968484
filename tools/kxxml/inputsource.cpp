#include "inputsource.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

InputSource::InputSource(const QString& argument)
    : m_path(argument == u"-" ? QString() : argument)
{
}

QString InputSource::name() const
{
    return m_path.isEmpty() ? QStringLiteral("stdin") : m_path;
}

bool InputSource::read(QByteArray& data, QString& error) const
{
    QFile file;
    if (m_path.isEmpty()) {
        if (!file.open(stdin, QIODevice::ReadOnly)) {
            error = name() + QStringLiteral(": cannot read: ") + file.errorString();
            return false;
        }
    } else {
        if (QFileInfo(m_path).isDir()) {
            error = name() + QStringLiteral(": is a directory");
            return false;
        }
        file.setFileName(m_path);
        if (!file.open(QIODevice::ReadOnly)) {
            error = name() + QStringLiteral(": cannot open: ") + file.errorString();
            return false;
        }
    }
    // Read one byte past the limit to tell "exactly the limit" from "more".
    QByteArray bytes;
    while (bytes.size() <= MaxBytes) {
        const QByteArray chunk = file.read(qMin<qint64>(1 << 20, MaxBytes + 1 - bytes.size()));
        if (chunk.isEmpty())
            break;
        bytes += chunk;
    }
    if (file.error() != QFileDevice::NoError) {
        error = name() + QStringLiteral(": cannot read: ") + file.errorString();
        return false;
    }
    if (bytes.size() > MaxBytes) {
        error = name() + QStringLiteral(": larger than %1 MiB").arg(MaxBytes / (1024 * 1024));
        return false;
    }
    data = bytes;
    return true;
}
