#include <nodelibrary/VersionNumber.h>

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

static VersionNumber version(const char *text)
{
    return VersionNumber(QString::fromLatin1(text));
}

TEST(VersionNumberTest, comparesComponentsAsNumbers)
{
    EXPECT_LT(version("1.9"), version("1.10"));
    EXPECT_LT(version("2"), version("10"));
    EXPECT_LT(version("1.2.3"), version("1.2.4"));
}

TEST(VersionNumberTest, takesAMissingComponentForZero)
{
    EXPECT_EQ(version("1"), version("1.0"));
    EXPECT_EQ(version("1"), version("1.0.0"));
    EXPECT_LT(version("1"), version("1.0.1"));
}

TEST(VersionNumberTest, ignoresLeadingZeros)
{
    EXPECT_EQ(version("1.02"), version("1.2"));
    EXPECT_EQ(version("00"), version("0"));
}

TEST(VersionNumberTest, putsNoVersionBelowAll)
{
    EXPECT_LT(version(""), version("0"));
    EXPECT_TRUE(version("").isNone());
    EXPECT_TRUE(version("  ").isNone());
    EXPECT_FALSE(version("0").isNone());
}

TEST(VersionNumberTest, comparesNumbersThatNoIntegerHolds)
{
    EXPECT_LT(version("99999999999999999999"), version("100000000000000000000"));
}

TEST(VersionNumberTest, takesTheLeadingDigitsOfAnOddComponent)
{
    EXPECT_EQ(version("1.2-beta"), version("1.2"));
    EXPECT_EQ(version("v3"), version("0"));
}

} // namespace Tesk::NodeLibrary
