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

TEST(NodeNameTest, transcodesAsQtDoesWhateverTheLengthAndWhereverTextIsNotAscii)
{
    for (int size = 0; size <= 40; ++size) {
        QString text;
        for (int i = 0; i < size; ++i)
            text.append(QChar(i % 2 == 0 ? 0x7f - i : 0x21 + i));
        EXPECT_EQ(NodeName(text).utf8(), text.toStdString());
        for (int at = 0; at < size; ++at) {
            QString mixed = text;
            mixed[at] = QChar(at % 3 == 0 ? 0x80 : at % 3 == 1 ? 0x100 : 0x8041);
            EXPECT_EQ(NodeName(mixed).utf8(), mixed.toStdString()) << size << ' ' << at;
        }
    }
}

TEST(NodeNameTest, takesNamesOnBothSidesOfItsInlineSize)
{
    const QString fits(64, QLatin1Char('n'));
    const QString isLonger(65, QLatin1Char('n'));

    EXPECT_EQ(NodeName(fits).utf8(), std::string(64, 'n'));
    EXPECT_EQ(NodeName(isLonger).utf8(), std::string(65, 'n'));
}

} // namespace Tesk::Data::Serialization
