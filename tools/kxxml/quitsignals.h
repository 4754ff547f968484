#pragma once

#include <QObject>

class QSocketNotifier;

/// SIGINT and SIGTERM as a Qt signal, for the commands that run until stopped: while the
/// object lives, either signal makes it emit received() from the event loop instead of
/// ending the process. The handler only writes the signal's number to a pipe (the one thing
/// a signal handler may safely do), which a socket notifier reads. One object at a time.
class QuitSignals : public QObject
{
    Q_OBJECT

public:
    explicit QuitSignals(QObject* parent = nullptr);
    /// Restores the handlers that were there before.
    ~QuitSignals() override;
    QuitSignals(const QuitSignals&) = delete;
    QuitSignals& operator=(const QuitSignals&) = delete;

    /// Whether the handlers are in place; false when the pipe could not be made.
    bool isValid() const;

Q_SIGNALS:
    /// SIGINT or SIGTERM (@p signalNumber) arrived.
    void received(int signalNumber);

private:
    void readPipe();

    QSocketNotifier* m_notifier = nullptr; ///< child
};
