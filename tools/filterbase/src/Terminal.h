#pragma once

#include <QString>

namespace Tesk::Command {

/// What stands behind the standard streams.
struct Terminal
{
    static bool isOutputTerminal();
    static bool isErrorTerminal();

    /// Columns of the terminal; a number that cuts nothing when there is none.
    static int width();

    /// \a text in bold on a terminal, unless NO_COLOR is set.
    static QString bold(const QString &text);

    static void print(const QString &text);      ///< to the output stream, as UTF-8
    static void printError(const QString &text); ///< to the error stream, as UTF-8

    /// \a text without control characters, which a file could smuggle onto the terminal.
    static QString harmless(const QString &text);
};

} // namespace Tesk::Command
