#include "quitsignals.h"

#include <QSocketNotifier>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace {

int pipeFds[2] = {-1, -1};
struct sigaction previousInt;
struct sigaction previousTerm;

extern "C" void onQuitSignal(int signalNumber)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = write(pipeFds[1], &byte, 1);
    errno = savedErrno;
}

} // namespace

QuitSignals::QuitSignals(QObject* parent)
    : QObject(parent)
{
    if (pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        pipeFds[0] = pipeFds[1] = -1;
        return;
    }
    m_notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &QuitSignals::readPipe);
    struct sigaction action = {};
    action.sa_handler = onQuitSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, &previousInt);
    sigaction(SIGTERM, &action, &previousTerm);
}

QuitSignals::~QuitSignals()
{
    if (!m_notifier)
        return;
    sigaction(SIGINT, &previousInt, nullptr);
    sigaction(SIGTERM, &previousTerm, nullptr);
    delete m_notifier;
    close(pipeFds[0]);
    close(pipeFds[1]);
    pipeFds[0] = pipeFds[1] = -1;
}

bool QuitSignals::isValid() const
{
    return m_notifier != nullptr;
}

void QuitSignals::readPipe()
{
    unsigned char byte = 0;
    while (read(pipeFds[0], &byte, 1) == 1)
        Q_EMIT received(byte);
}
