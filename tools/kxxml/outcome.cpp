#include "outcome.h"

Outcome Outcome::success(const QByteArray& output)
{
    return Outcome(Success, output, QString());
}

Outcome Outcome::failure(Status status, const QString& message)
{
    // A message is one line, whatever the host or Qt handed us.
    QString line = message.simplified();
    return Outcome(status == Success ? BadInput : status, QByteArray(), line);
}

Outcome::Status Outcome::status() const
{
    return m_status;
}

const QByteArray& Outcome::output() const
{
    return m_output;
}

const QString& Outcome::message() const
{
    return m_message;
}

Outcome::Outcome(Status status, const QByteArray& output, const QString& message)
    : m_status(status)
    , m_output(output)
    , m_message(message)
{
}
