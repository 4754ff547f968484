#pragma once

#include <QByteArray>
#include <QString>

/// What one run of the tool comes to: either the whole output for standard output, or one
/// error line for standard error with its exit status. Nothing is printed before the run ends,
/// so a failing run never leaves half an output behind.
class Outcome
{
public:
    /// Exit statuses, as documented in `kxxml --help`.
    enum Status { Success = 0, NoReply = 1, BadInput = 2 };

    /// A successful run printing @p output.
    static Outcome success(const QByteArray& output);
    /// A failed run: @p message (without the "kxxml: " prefix) and @p status (not Success).
    static Outcome failure(Status status, const QString& message);

    Status status() const;
    /// The text for standard output; empty for a failure.
    const QByteArray& output() const;
    /// The one-line error message; empty for a success.
    const QString& message() const;

private:
    Outcome(Status status, const QByteArray& output, const QString& message);

    Status m_status;
    QByteArray m_output;
    QString m_message;
};
