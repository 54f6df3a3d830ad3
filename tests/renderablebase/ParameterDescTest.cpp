#include <renderablebase/ParameterDesc.h>

#include "RoundTrip.h"

#include <data/ClassRegistry.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

namespace Tesk::RenderableBase {

using RenderableBaseTesting::readStored;
using RenderableBaseTesting::stored;

TEST(ParameterDescTest, storesIdentifierAndUidFirst)
{
    const ParameterDesc parameter;

    EXPECT_EQ(
            parameter.getFieldNames(),
            (QStringList{QStringLiteral("identifier"), QStringLiteral("uid"),
                         QStringLiteral("type"), QStringLiteral("default"), QStringLiteral("range"),
                         QStringLiteral("enumeration"), QStringLiteral("presentation")}));
}

TEST(ParameterDescTest, comesBackFromItsStoredForm)
{
    ParameterDesc parameter;
    parameter.identifier.set(QStringLiteral("amount"));
    parameter.uid.set(std::numeric_limits<unsigned int>::max());
    parameter.type.set(QStringLiteral("float"));
    parameter.defaultValue.set(0.5);
    parameter.range.set({0.0, 1.0, 0.25, 0.75, 0.125});
    parameter.enumeration.set({{QStringLiteral("low"), QStringLiteral("high")}, {1, 2.5}});
    parameter.presentation.set({.label = QStringLiteral("Amount"),
                                .group = QStringLiteral("Basic/Size"),
                                .documentation = QStringLiteral("How much of it"),
                                .unit = QStringLiteral("degree"),
                                .unitType = QStringLiteral("angle"),
                                .colorSpace = QStringLiteral("srgb"),
                                .hint = QStringLiteral("transparency"),
                                .uniform = true,
                                .advanced = true});
    ParameterDesc read;

    readStored(stored(parameter), read);

    EXPECT_EQ(read.identifier.get(), parameter.identifier.get());
    EXPECT_EQ(read.uid.get(), parameter.uid.get());
    EXPECT_EQ(read.type.get(), parameter.type.get());
    EXPECT_EQ(read.defaultValue.get(), parameter.defaultValue.get());
    EXPECT_EQ(read.range.get(), parameter.range.get());
    EXPECT_EQ(read.enumeration.get(), parameter.enumeration.get());
    EXPECT_EQ(read.presentation.get(), parameter.presentation.get());
}

TEST(ParameterDescTest, comesBackEmptyFromTheStoredFormOfAnEmptyOne)
{
    ParameterDesc read;
    read.range.set({0.0, 1.0, {}, {}, {}});
    read.enumeration.set({{QStringLiteral("low")}, {1}});
    read.presentation.set({.label = QStringLiteral("Amount"), .uniform = true});

    readStored(stored(ParameterDesc()), read);

    EXPECT_EQ(read.range.get(), ParameterRange());
    EXPECT_EQ(read.enumeration.get(), ParameterEnumeration());
    EXPECT_EQ(read.presentation.get(), ParameterPresentation());
    EXPECT_FALSE(read.defaultValue.get().isValid());
}

TEST(ParameterDescTest, writesNothingForWhatAParameterDoesNotHave)
{
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();

    serializeToNode(root, ParameterRange{.minimum = 0.0});
    Data::Serialization::Node presentation = document.root().addObject("presentation");
    serializeToNode(presentation, ParameterPresentation());

    EXPECT_EQ(root.children().size(), 2); // "min" and the presentation
    EXPECT_EQ(presentation.children().size(), 0);
}

TEST(ParameterDescTest, tellsALimitOfZeroFromNoLimit)
{
    ParameterRange range;
    range.minimum = 0;
    ParameterRange read;

    readStored(stored(range), read);

    EXPECT_EQ(read.minimum, QVariant(0));
    EXPECT_FALSE(read.maximum.isValid());
}

// What a table of a file may hold that this library has not written.
template<class T>
static void expectLeftWhereTheLastMemberIsSpoiled(const T &good, const char *lastMember, T other)
{
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    serializeToNode(root, good);
    Data::Serialization::Node spoiled = root.findObject(lastMember);
    root.removeChild(lastMember);
    spoiled = root.addObject(lastMember);
    spoiled.addObject("unexpected");
    const T before = other;

    EXPECT_THROW(deserializeFromNode(document.root(), other),
                 Exception::Data::SerializationException);
    EXPECT_EQ(other, before);
}

TEST(ParameterDescTest, leavesEachPartAsItWasWhereAMemberCannotBeRead)
{
    expectLeftWhereTheLastMemberIsSpoiled<ParameterRange>({1, 2, 3, 4, 5}, "step", {6, 7, 8, 9, 0});
    expectLeftWhereTheLastMemberIsSpoiled<ParameterEnumeration>(
            {{QStringLiteral("a")}, {1}}, "values", {{QStringLiteral("b")}, {2}});
    expectLeftWhereTheLastMemberIsSpoiled<ParameterPresentation>(
            {.label = QStringLiteral("a"), .advanced = true}, "advanced",
            {.label = QStringLiteral("b")});
}

TEST(ParameterDescTest, refusesAUidThatIsNoUnsignedNumberOf32Bits)
{
    for (const qint64 uid : {qint64(-1), qint64(1) << 32}) {
        Data::Serialization::Document document;
        Data::Serialization::Node root = document.root();
        serializeToNode(root, ParameterDesc());
        root.findObject("Fields").findObject("uid").setValue(uid);
        ParameterDesc read;
        read.uid.set(3);

        EXPECT_THROW(deserializeFromNode(root, read), Exception::Data::SerializationException);
        EXPECT_EQ(read.uid.get(), 3U);
    }
}

TEST(ParameterDescTest, canBeMadeByNameAsSoonAsTheLibraryIsLoaded)
{
    const std::unique_ptr<Data::SerializableData> made(
            Data::ClassRegistry::newInstance(ParameterDesc::sTypeName));

    EXPECT_NE(qobject_cast<ParameterDesc *>(made.get()), nullptr);
    EXPECT_EQ(Data::ClassRegistry::currentVersion(ParameterDesc::sTypeName), 100);
}

} // namespace Tesk::RenderableBase
