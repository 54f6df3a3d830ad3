#include "NearNames.h"

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::Command {

TEST(NearNamesTest, countsChangedAddedAndDroppedLetters)
{
    EXPECT_EQ(NearNames::distance(QStringLiteral("blur"), QStringLiteral("blur")), 0);
    EXPECT_EQ(NearNames::distance(QStringLiteral("blur"), QStringLiteral("blr")), 1);
    EXPECT_EQ(NearNames::distance(QStringLiteral("blur"), QStringLiteral("blurs")), 1);
    EXPECT_EQ(NearNames::distance(QStringLiteral("blur"), QStringLiteral("slub")), 2);
    EXPECT_EQ(NearNames::distance(QString(), QStringLiteral("ab")), 2);
}

TEST(NearNamesTest, findsTheNearestFirstInAnyLetterCase)
{
    const QStringList names{QStringLiteral("weld"), QStringLiteral("Weave"),
                            QStringLiteral("velvet")};

    EXPECT_EQ(NearNames::find(QStringLiteral("waeve"), names),
              QStringList{QStringLiteral("Weave")});
}

TEST(NearNamesTest, findsANameThatContainsTheWord)
{
    EXPECT_EQ(NearNames::find(QStringLiteral("blur"), {QStringLiteral("motion_blur")}),
              QStringList{QStringLiteral("motion_blur")});
}

TEST(NearNamesTest, findsAtMostThree)
{
    const QStringList names{QStringLiteral("aa1"), QStringLiteral("aa2"), QStringLiteral("aa3"),
                            QStringLiteral("aa4")};

    EXPECT_EQ(NearNames::find(QStringLiteral("aa"), names).size(), 3);
}

TEST(NearNamesTest, hintsAtNothingWhenNothingIsNear)
{
    EXPECT_EQ(NearNames::hint(QStringLiteral("sharpen"), {QStringLiteral("wood_rings")}),
              QString());
    EXPECT_EQ(NearNames::hint(QStringLiteral("weav"), {QStringLiteral("weave")}),
              QStringLiteral(" Did you mean \"weave\"?"));
}

} // namespace Tesk::Command
