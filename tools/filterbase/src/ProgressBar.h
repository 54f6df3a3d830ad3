#pragma once

#include <QElapsedTimer>
#include <QString>

namespace Tesk::Command {

/// A line on the error stream that shows how far a task is; nothing where that is no terminal.
class ProgressBar
{
public:
    ProgressBar();
    ~ProgressBar();
    Q_DISABLE_COPY_MOVE(ProgressBar)

    void show(const QString &task, int done, int total);

    /// The line for a terminal of \a width columns; \a secondsLeft below 0 is left out.
    static QString lineOf(const QString &task, int done, int total, int secondsLeft, int width);

private:
    void clear();

    bool m_isWanted;
    bool m_isShown = false;
    QString m_task;
    QElapsedTimer m_taskTime;
    QElapsedTimer m_lastShown;
};

} // namespace Tesk::Command
