#include "ProgressBar.h"

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::Command {

TEST(ProgressBarTest, showsHowFarItIs)
{
    EXPECT_EQ(ProgressBar::lineOf(QStringLiteral("files"), 15, 30, 4, 79),
              QStringLiteral("files [############------------] 15/30, 4 s left"));
}

TEST(ProgressBarTest, leavesOutATimeThatIsNotKnown)
{
    EXPECT_EQ(ProgressBar::lineOf(QStringLiteral("files"), 0, 30, -1, 79),
              QStringLiteral("files [------------------------] 0/30"));
}

TEST(ProgressBarTest, survivesNothingToDo)
{
    EXPECT_EQ(ProgressBar::lineOf(QStringLiteral("files"), 0, 0, -1, 79),
              QStringLiteral("files [------------------------] 0/0"));
}

TEST(ProgressBarTest, staysWithinTheTerminal)
{
    EXPECT_EQ(ProgressBar::lineOf(QStringLiteral("files"), 1, 2, -1, 12).size(), 12);
}

} // namespace Tesk::Command
