#pragma once

// A D-Bus daemon of the test's own, so that no test ever talks to the user's session bus:
// started with the session configuration, ended with the object. Used by the bus tests and
// by kxxml-bench (KXXML_DBUS_DAEMON is the path of dbus-daemon).

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

#include <signal.h>
#include <sys/prctl.h>

class PrivateBus
{
public:
    ~PrivateBus()
    {
        if (m_daemon.state() == QProcess::NotRunning)
            return;
        m_daemon.terminate();
        if (!m_daemon.waitForFinished(5000))
            m_daemon.kill();
        m_daemon.waitForFinished(5000);
    }

    /// Starts the daemon and reads its address; false with @p error when it cannot.
    bool start(const QString& daemonPath, QString& error)
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        // The daemon ends with the test, also when the test crashes or is killed (Qt 6 only).
        m_daemon.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
#endif
        m_daemon.start(daemonPath, {QStringLiteral("--session"), QStringLiteral("--print-address"),
                                    QStringLiteral("--nofork"), QStringLiteral("--nopidfile")});
        if (!m_daemon.waitForStarted(10000)) {
            error = daemonPath + QStringLiteral(": ") + m_daemon.errorString();
            return false;
        }
        while (!m_daemon.canReadLine()) {
            if (!m_daemon.waitForReadyRead(10000)) {
                error = daemonPath + QStringLiteral(": printed no address");
                return false;
            }
        }
        m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
        return !m_address.isEmpty();
    }

    /// The address clients connect to (QDBusConnection::connectToBus).
    QString address() const { return m_address; }

    /// Makes this bus the session bus of the calling process; call it before anything uses
    /// QDBusConnection::sessionBus(), which keeps the first connection it makes.
    void becomeSessionBus() const { qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8()); }

    /// The environment for child processes: this bus as their session bus.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
        environment.remove(QStringLiteral("DBUS_SESSION_BUS_PID"));
        return environment;
    }

private:
    QProcess m_daemon;
    QString m_address;
};
