#include "Terminal.h"

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::Command {

TEST(TerminalTest, letsNoControlCharacterThrough)
{
    EXPECT_EQ(Terminal::harmless(QStringLiteral("a\033[2Jb\r\n\tc\u0085d\u2028e")),
              QStringLiteral("a [2Jb   c d e"));
}

TEST(TerminalTest, letsNoMarkThroughThatTurnsTheDirection)
{
    EXPECT_EQ(Terminal::harmless(QStringLiteral("a\u202Eb\u2066c\u200Fd")),
              QStringLiteral("a b c d"));
}

TEST(TerminalTest, leavesTheLettersOfAllLanguagesAlone)
{
    const QString text = QStringLiteral("\u05E9\u05DC \u65E5\u672C \u0645\u06CC\u200C\u062E"
                                        " \U0001F3A8 \"a/b\"");

    EXPECT_EQ(Terminal::harmless(text), text);
}

} // namespace Tesk::Command
