#include <renderablebase/OutputDesc.h>

#include "RoundTrip.h"

#include <data/ClassRegistry.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gtest/gtest.h>

#include <memory>

namespace Tesk::RenderableBase {

using RenderableBaseTesting::readStored;
using RenderableBaseTesting::stored;

TEST(OutputDescTest, isUnknownAndColourlessAtFirst)
{
    const OutputDesc output;

    EXPECT_EQ(output.valueType.get(), ValueType::Unknown);
    EXPECT_FALSE(output.isColor());
}

TEST(OutputDescTest, answersTheColourQueryFromItsField)
{
    OutputDesc output;

    output.color.set(true);

    EXPECT_TRUE(output.isColor());
}

TEST(OutputDescTest, letsASubclassAnswerTheColourQuery)
{
    class AlwaysInColor : public OutputDesc
    {
    public:
        bool isColor() const override { return true; }
    };
    const AlwaysInColor output;

    EXPECT_TRUE(static_cast<const OutputDesc &>(output).isColor());
}

TEST(OutputDescTest, comesBackFromItsStoredForm)
{
    OutputDesc output;
    output.identifier.set(QStringLiteral("out"));
    output.valueType.set(ValueType::Image);
    output.type.set(QStringLiteral("color3"));
    output.color.set(true);
    output.label.set(QStringLiteral("Result"));
    output.usages.append(Usage(QStringLiteral("Base color"), QStringLiteral("baseColor")));
    OutputDesc read;

    readStored(stored(output), read);

    EXPECT_EQ(read.identifier.get(), QStringLiteral("out"));
    EXPECT_EQ(read.valueType.get(), ValueType::Image);
    EXPECT_EQ(read.type.get(), QStringLiteral("color3"));
    EXPECT_TRUE(read.isColor());
    EXPECT_EQ(read.label.get(), QStringLiteral("Result"));
    EXPECT_EQ(read.usages.values(), output.usages.values());
}

TEST(OutputDescTest, keepsACodeThatHasNoName)
{
    for (const int code : {-128, -1, 10, 127}) {
        OutputDesc output;
        output.valueType.set(static_cast<ValueType>(code));
        OutputDesc read;

        readStored(stored(output), read);

        EXPECT_EQ(static_cast<int>(read.valueType.get()), code);
    }
}

TEST(OutputDescTest, refusesACodeOfMoreThanEightBits)
{
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    serializeToNode(root, 128);
    ValueType type = ValueType::String;

    EXPECT_THROW(deserializeFromNode(document.root(), type),
                 Exception::Data::SerializationException);
    EXPECT_EQ(type, ValueType::String);
}

TEST(OutputDescTest, canBeMadeByNameAsSoonAsTheLibraryIsLoaded)
{
    const std::unique_ptr<Data::SerializableData> made(
            Data::ClassRegistry::newInstance(OutputDesc::sTypeName));

    EXPECT_NE(qobject_cast<OutputDesc *>(made.get()), nullptr);
    EXPECT_EQ(Data::ClassRegistry::currentVersion(OutputDesc::sTypeName), 100);
}

} // namespace Tesk::RenderableBase
