#include "Terminal.h"

#include "TextColumns.h"

#include <QByteArray>

#include <cerrno>
#include <cstdio>
#include <system_error>

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

static int widthOf(int stream)
{
    if (isatty(stream) == 0)
        return sUnlimited;
    const int columns = qEnvironmentVariableIntValue("COLUMNS");
    if (columns > 0)
        return columns;
    winsize size{};
    if (ioctl(stream, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

int Terminal::width()
{
    return widthOf(STDOUT_FILENO);
}

int Terminal::errorWidth()
{
    return widthOf(STDERR_FILENO);
}

QString Terminal::bold(const QString &text)
{
    const bool isWanted = isOutputTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR")
                          && qgetenv("TERM") != "dumb";
    return isWanted ? QStringLiteral("\033[1m") + text + QStringLiteral("\033[0m") : text;
}

// 0, or why not all of it was written.
static int write(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    const auto size = static_cast<std::size_t>(bytes.size());
    errno = 0;
    if (std::fwrite(bytes.constData(), 1, size, stream) == size && std::fflush(stream) == 0)
        return 0;
    return errno != 0 ? errno : EIO;
}

static int sOutputError = 0;

void Terminal::print(const QString &text)
{
    if (const int error = write(stdout, text); sOutputError == 0)
        sOutputError = error;
}

QString Terminal::outputError()
{
    return sOutputError == 0
                   ? QString()
                   : QString::fromStdString(std::generic_category().message(sOutputError));
}

void Terminal::printWrapped(const QString &text, const QString &indent)
{
    const int room = width() - static_cast<int>(indent.size());
    print(TextColumns::wrapped(harmless(text), room, TextColumns::Break::AtBlanks)
                  .join(u'\n' + indent)
          + u'\n');
}

void Terminal::printError(const QString &text)
{
    write(stderr, text);
}

static bool isHarmful(QChar c)
{
    static constexpr QStringView directionMarks =
            u"\u061C\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069";
    const QChar::Category category = c.category();
    return category == QChar::Other_Control || category == QChar::Separator_Line
           || category == QChar::Separator_Paragraph || directionMarks.contains(c);
}

QString Terminal::harmless(const QString &text)
{
    QString shown = text;
    for (QChar &c : shown) {
        if (isHarmful(c))
            c = u' ';
    }
    return shown;
}

} // namespace Tesk::Command
