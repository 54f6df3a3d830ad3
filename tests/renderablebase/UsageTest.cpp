#include <renderablebase/Usage.h>

#include "RoundTrip.h"

#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gtest/gtest.h>

namespace Tesk::RenderableBase {

using RenderableBaseTesting::readStored;
using RenderableBaseTesting::stored;

TEST(UsageTest, keepsItsTwoTextsInTheOrderGiven)
{
    const Usage usage(QStringLiteral("Base color"), QStringLiteral("baseColor"));

    EXPECT_EQ(usage.first(), QStringLiteral("Base color"));
    EXPECT_EQ(usage.second(), QStringLiteral("baseColor"));
}

TEST(UsageTest, isEqualOnlyWhenBothTextsAre)
{
    const Usage usage(QStringLiteral("a"), QStringLiteral("b"));

    EXPECT_EQ(usage, Usage(QStringLiteral("a"), QStringLiteral("b")));
    EXPECT_NE(usage, Usage(QStringLiteral("b"), QStringLiteral("a")));
    EXPECT_NE(usage, Usage(QStringLiteral("a"), QStringLiteral("B")));
}

TEST(UsageTest, comesBackFromItsStoredForm)
{
    const Usage usage(QStringLiteral("Höhe"), QStringLiteral("height"));
    Usage read;

    readStored(stored(usage), read);

    EXPECT_EQ(read, usage);
}

TEST(UsageTest, isLeftAsItWasWhenATextIsMissing)
{
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    Data::Serialization::Node first = root.addObject("first");
    serializeToNode(first, QStringLiteral("only one"));
    Usage usage(QStringLiteral("a"), QStringLiteral("b"));

    EXPECT_THROW(deserializeFromNode(document.root(), usage), Exception::Data::NotFoundException);
    EXPECT_EQ(usage, Usage(QStringLiteral("a"), QStringLiteral("b")));
}

} // namespace Tesk::RenderableBase
