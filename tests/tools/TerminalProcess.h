#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

namespace Tesk::Command {

/// Drives the built command in a pseudo-terminal, as a person would.
class TerminalProcess
{
public:
    /// Starts the command in a terminal of \a columns columns, with \a variables "NAME=VALUE"
    /// beside the environment of the test.
    TerminalProcess(const QStringList &arguments, int columns, const QStringList &variables = {});
    ~TerminalProcess();
    Q_DISABLE_COPY_MOVE(TerminalProcess)

    /// Reads until \a text has come; false when the command ended before.
    bool readUntil(const QByteArray &text);

    /// Reads until the command ends; everything it has shown since the start.
    QByteArray readToEnd();

    void send(int signal) const;

    /// Its exit code, or the signal that ended it as a negative number.
    int wait();

private:
    bool readSome();

    int m_terminal = -1;
    pid_t m_pid = -1;
    QByteArray m_shown;
};

} // namespace Tesk::Command
