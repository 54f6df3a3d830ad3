#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

namespace Tesk::Assets {

/// The other process of a test; killed at the latest when it goes out of scope.
class Child
{
public:
    /// Starts the program with a command of StoreChild.cpp and what that takes.
    explicit Child(const QStringList &arguments);
    ~Child();
    Q_DISABLE_COPY_MOVE(Child)

    /// Waits for the next line; empty when the process ended.
    QByteArray line();
    void send(const QByteArray &line);

    /// Kills it at once; nothing of it runs on.
    void kill();

    QByteArray waitForAll();

    /// Returns what was still in the pipe when it died.
    QByteArrayList rest();

private:
    QProcess m_process;
};

} // namespace Tesk::Assets
