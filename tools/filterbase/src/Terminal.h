#pragma once

#include <QString>

namespace Tesk::Command {

/// What stands behind the standard streams.
struct Terminal
{
    static bool isOutputTerminal();
    static bool isErrorTerminal();

    /// Columns of the terminal on the output stream; more than any text has when there is none.
    static int width();

    /// The same of the error stream.
    static int errorWidth();

    /// \a text in bold on a terminal, unless NO_COLOR is set.
    static QString bold(const QString &text);

    static void print(const QString &text);      ///< to the output stream, as UTF-8
    static void printError(const QString &text); ///< to the error stream, as UTF-8

    /// What went wrong with the output stream, such as a full disk; empty for nothing.
    static QString outputError();

    /// Prints \a text in lines that fit the terminal; all but the first begin with \a indent.
    static void printWrapped(const QString &text, const QString &indent);

    /// \a text with blanks for what a file could smuggle onto the terminal: control characters,
    /// line ends, and marks that turn the direction of writing.
    static QString harmless(const QString &text);
};

} // namespace Tesk::Command
