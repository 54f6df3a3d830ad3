#include "Interrupt.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <unistd.h>

namespace Tesk::Command {

static std::atomic<int> sWriteEnd = -1;

// Only what may be done in a signal handler: the watcher does the rest.
static void onSignal(int number)
{
    const int savedErrno = errno;
    const char byte = 's';
    if (::write(sWriteEnd.load(), &byte, 1) < 0)
        ::_exit(128 + number);
    errno = savedErrno;
}

static void setHandler(void (*handler)(int), int flags)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Interrupt::Interrupt()
{
    if (::pipe(m_pipe) != 0)
        return;
    sWriteEnd = m_pipe[1];
    m_watcher = std::thread([this] {
        char byte = 0;
        while (::read(m_pipe[0], &byte, 1) == 1 && byte == 's')
            m_stop.request_stop();
    });
    // The handler leaves with the first signal, so that a second one always ends the process.
    setHandler(&onSignal, static_cast<int>(SA_RESTART | SA_RESETHAND));
}

Interrupt::~Interrupt()
{
    if (!m_watcher.joinable())
        return;
    setHandler(SIG_DFL, 0);
    const char end = 'e';
    while (::write(m_pipe[1], &end, 1) < 0 && errno == EINTR) {
    }
    m_watcher.join();
    sWriteEnd = -1;
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

} // namespace Tesk::Command
