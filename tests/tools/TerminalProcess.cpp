#include "TerminalProcess.h"

#include <support/Printers.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tesk::Command {

static constexpr int sTimeout = 120'000;
static constexpr int sCannotRun = 127;

TerminalProcess::TerminalProcess(const QStringList &arguments, int columns,
                                 const QStringList &variables)
{
    std::vector<std::string> texts{COMMAND_FILE};
    for (const QString &each : arguments)
        texts.push_back(each.toStdString());
    std::vector<char *> argv;
    for (std::string &each : texts)
        argv.push_back(each.data());
    argv.push_back(nullptr);
    std::vector<std::string> settings{"TERM=xterm"};
    for (const QString &each : variables)
        settings.push_back(each.toStdString());

    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = 50;
    m_pid = ::forkpty(&m_terminal, nullptr, nullptr, &size);
    if (m_pid == 0) {
        ::unsetenv("COLUMNS");
        ::unsetenv("NO_COLOR");
        for (std::string &each : settings)
            ::putenv(each.data());
        ::execv(argv.front(), argv.data());
        ::_exit(sCannotRun);
    }
    EXPECT_GT(m_pid, 0);
}

TerminalProcess::~TerminalProcess()
{
    if (m_pid > 0) {
        send(SIGKILL);
        wait();
    }
    ::close(m_terminal);
}

// False at the end of the command, which closes its side of the terminal.
bool TerminalProcess::readSome()
{
    pollfd waited{m_terminal, POLLIN, 0};
    if (::poll(&waited, 1, sTimeout) <= 0) {
        ADD_FAILURE() << "the command shows nothing and does not end";
        return false;
    }
    std::array<char, 4096> bytes{};
    const ssize_t count = ::read(m_terminal, bytes.data(), bytes.size());
    if (count > 0)
        m_shown.append(bytes.data(), count);
    return count > 0;
}

bool TerminalProcess::readUntil(const QByteArray &text)
{
    while (!m_shown.contains(text)) {
        if (!readSome())
            return false;
    }
    return true;
}

QByteArray TerminalProcess::readToEnd()
{
    while (readSome()) {
    }
    return m_shown;
}

void TerminalProcess::send(int signal) const
{
    ::kill(m_pid, signal);
}

int TerminalProcess::wait()
{
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace Tesk::Command
