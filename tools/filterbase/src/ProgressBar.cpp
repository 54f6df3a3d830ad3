#include "ProgressBar.h"

#include "Terminal.h"

#include <algorithm>

namespace Tesk::Command {

static constexpr int sMillisecondsBetween = 50;
static constexpr int sBarWidth = 24;

ProgressBar::ProgressBar()
    : m_isWanted(Terminal::isErrorTerminal() && qgetenv("TERM") != "dumb")
{}

ProgressBar::~ProgressBar()
{
    clear();
}

void ProgressBar::show(const QString &task, int done, int total)
{
    if (!m_isWanted)
        return;
    if (task != m_task) {
        m_task = task;
        m_taskTime.start();
    } else if (m_lastShown.isValid() && m_lastShown.elapsed() < sMillisecondsBetween) {
        return;
    }
    m_lastShown.start();
    const qint64 elapsed = m_taskTime.elapsed();
    const int secondsLeft =
            done > 0 && elapsed > 500
                    ? static_cast<int>((elapsed * (total - done) / done + 999) / 1000)
                    : -1;
    Terminal::printError(u'\r' + lineOf(task, done, total, secondsLeft, Terminal::errorWidth() - 1)
                         + QStringLiteral("\033[K"));
    m_isShown = true;
}

QString ProgressBar::lineOf(const QString &task, int done, int total, int secondsLeft, int width)
{
    const int filled = total > 0 ? std::clamp(sBarWidth * done / total, 0, sBarWidth) : 0;
    QString line = QStringLiteral("%1 [%2%3] %4/%5")
                           .arg(task, QString(filled, u'#'), QString(sBarWidth - filled, u'-'),
                                QString::number(done), QString::number(total));
    if (secondsLeft >= 0)
        line += QStringLiteral(", %1 s left").arg(secondsLeft);
    return line.left(width);
}

void ProgressBar::clear()
{
    if (m_isShown)
        Terminal::printError(QStringLiteral("\r\033[K"));
    m_isShown = false;
}

} // namespace Tesk::Command
