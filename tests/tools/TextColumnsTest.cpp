#include "TextColumns.h"

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::Command {

static QStringList broken(const QString &text, int width)
{
    return TextColumns::wrapped(text, width, TextColumns::Break::Anywhere);
}

static QStringList folded(const QString &text, int width)
{
    return TextColumns::wrapped(text, width, TextColumns::Break::AtBlanks);
}

TEST(TextColumnsTest, measuresLettersByTheColumnsTheyTake)
{
    EXPECT_EQ(TextColumns::widthOf(u"weave"), 5);
    EXPECT_EQ(TextColumns::widthOf(u"\u65E5\u672C"), 4);
    EXPECT_EQ(TextColumns::widthOf(u"e\u0301"), 1);
    EXPECT_EQ(TextColumns::widthOf(u"\U0001F3A8"), 2);
    EXPECT_EQ(TextColumns::widthOf(u"\u05E9\u05DC"), 2);
}

TEST(TextColumnsTest, padsByColumns)
{
    EXPECT_EQ(TextColumns::padded(QStringLiteral("\u65E5"), 4), QStringLiteral("\u65E5  "));
    EXPECT_EQ(TextColumns::padded(QStringLiteral("long"), 2), QStringLiteral("long"));
}

TEST(TextColumnsTest, breaksAtTheLastBlankThatFits)
{
    EXPECT_EQ(broken(QStringLiteral("one two three"), 7),
              (QStringList{QStringLiteral("one two"), QStringLiteral("three")}));
}

TEST(TextColumnsTest, breaksAWordBehindAMark)
{
    EXPECT_EQ(broken(QStringLiteral("ND_cells_float"), 10),
              (QStringList{QStringLiteral("ND_cells_"), QStringLiteral("float")}));
}

TEST(TextColumnsTest, breaksAWordWhereverTheLineEnds)
{
    EXPECT_EQ(broken(QStringLiteral("0123456789"), 4),
              (QStringList{QStringLiteral("0123"), QStringLiteral("4567"), QStringLiteral("89")}));
}

TEST(TextColumnsTest, keepsBothHalvesOfACharacterTogether)
{
    EXPECT_EQ(broken(QStringLiteral("a\U0001F3A8\U0001F3A8"), 2),
              (QStringList{QStringLiteral("a"), QStringLiteral("\U0001F3A8"),
                           QStringLiteral("\U0001F3A8")}));
}

TEST(TextColumnsTest, leavesALongWordWholeWhereItIsToBeCopied)
{
    EXPECT_EQ(folded(QStringLiteral("=> 0123456789 end"), 6),
              (QStringList{QStringLiteral("=>"), QStringLiteral("0123456789"),
                           QStringLiteral("end")}));
}

TEST(TextColumnsTest, makesOneLineOfNothing)
{
    EXPECT_EQ(broken(QString(), 4), QStringList{QString()});
    EXPECT_EQ(broken(QStringLiteral("ab"), 0).size(), 2);
}

} // namespace Tesk::Command
