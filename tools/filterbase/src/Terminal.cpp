#include "Terminal.h"

#include <QByteArray>

#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Tesk::Command {

static constexpr int sUnlimited = 1'000'000;

bool Terminal::isOutputTerminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

bool Terminal::isErrorTerminal()
{
    return isatty(STDERR_FILENO) != 0;
}

int Terminal::width()
{
    if (!isOutputTerminal())
        return sUnlimited;
    const int columns = qEnvironmentVariableIntValue("COLUMNS");
    if (columns > 0)
        return columns;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

QString Terminal::bold(const QString &text)
{
    const bool isWanted = isOutputTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR")
                          && qgetenv("TERM") != "dumb";
    return isWanted ? QStringLiteral("\033[1m") + text + QStringLiteral("\033[0m") : text;
}

static void write(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
    std::fflush(stream);
}

void Terminal::print(const QString &text)
{
    write(stdout, text);
}

void Terminal::printError(const QString &text)
{
    write(stderr, text);
}

QString Terminal::harmless(const QString &text)
{
    QString shown = text;
    for (QChar &c : shown) {
        if (c.category() == QChar::Other_Control)
            c = u' ';
    }
    return shown;
}

} // namespace Tesk::Command
