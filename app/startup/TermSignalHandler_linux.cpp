// The self-pipe pattern: the signal handler only writes one byte (all it may
// safely do); the event loop reads it and acts on the main thread.
#include "TermSignalHandler.h"

#include "AppController.h"

#include <QDebug>
#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int g_signalFds[2] = {-1, -1};

void onTermSignal(int signo)
{
    const char byte = static_cast<char>(signo);
    const ssize_t n = ::write(g_signalFds[0], &byte, 1);
    (void)n;
}
} // namespace

TermSignalHandler::TermSignalHandler(AppController* controller, QObject* parent)
    : QObject(parent)
    , m_controller(controller)
{
}

TermSignalHandler::~TermSignalHandler()
{
    ::signal(SIGTERM, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
}

bool TermSignalHandler::install()
{
    if (g_signalFds[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, g_signalFds) != 0) {
        qWarning() << "[main]: cannot create the signal pipe, TERM ends the program without clean-up";
        return false;
    }
    m_notifier = new QSocketNotifier(g_signalFds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TermSignalHandler::handleSignal);

    struct sigaction sa = {};
    sa.sa_handler = onTermSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &sa, nullptr);
    ::sigaction(SIGINT, &sa, nullptr);
    return true;
}

void TermSignalHandler::setFirstResponder(std::function<bool()> responder)
{
    m_firstResponder = std::move(responder);
}

void TermSignalHandler::handleSignal()
{
    char byte = 0;
    while (::read(g_signalFds[1], &byte, 1) == 1) {
    }
    qDebug() << "[main]: signal" << static_cast<int>(byte) << "received, quitting";
    if (m_quitting || !m_controller)
        return;
    if (!m_responded && m_firstResponder && m_firstResponder()) {
        m_responded = true;
        return;
    }
    m_quitting = true;
    m_controller->quit();
}
