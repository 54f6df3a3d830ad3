#include <data/NodeName.h>

#include <gtest/gtest.h>

namespace Tesk::Data::Serialization {

TEST(NodeNameTest, borrowsUtf8)
{
    const std::string source = "types";

    const NodeName name{std::string_view(source)};

    EXPECT_EQ(name.utf8().data(), source.data());
    EXPECT_EQ(name.utf8(), "types");
}

TEST(NodeNameTest, borrowsAsciiLatin1)
{
    const QLatin1StringView source("usages");

    const NodeName name(source);

    EXPECT_EQ(name.utf8().data(), source.data());
}

TEST(NodeNameTest, transcodesLatin1BeyondAscii)
{
    const NodeName name(QLatin1StringView("caf\xe9"));

    EXPECT_EQ(name.utf8(), "caf\xc3\xa9");
}

TEST(NodeNameTest, transcodesUtf16OfEverySequenceLength)
{
    const NodeName name(u"a\u00e9\u20ac\U0001f600");

    EXPECT_EQ(name.utf8(), "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(NodeNameTest, takesNamesOnBothSidesOfItsInlineSize)
{
    const QString fits(64, QLatin1Char('n'));
    const QString isLonger(65, QLatin1Char('n'));

    EXPECT_EQ(NodeName(fits).utf8(), std::string(64, 'n'));
    EXPECT_EQ(NodeName(isLonger).utf8(), std::string(65, 'n'));
}

} // namespace Tesk::Data::Serialization
