#include "support/FilterDatabase.h"
#include "support/Golden.h"
#include "support/Stored.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/ImplementationInfo.h>

#include <support/Printers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QString>

#include <map>
#include <memory>

namespace Tesk::FilterBase {

using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::golden;
using FilterBaseTesting::identifiersOf;
using FilterBaseTesting::readStored;
using FilterBaseTesting::recordOf;
using FilterBaseTesting::stored;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// The files were written once, by the version that they name. They never change.
class GoldenFilesTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    static std::map<unsigned int, unsigned int> tableOf(const ImplementationInfo &info)
    {
        return {info.paramUidCorrespondance.begin(), info.paramUidCorrespondance.end()};
    }

    void fill(FilterDescAsset &descriptor)
    {
        descriptor.nextVersion.set(dangling("filterDesc://next"));
        descriptor.dependencies.append(dangling("font"));
        descriptor.implementations.append(dangling("blur-float"));
        descriptor.implementations.append(dangling("blur-color"));
    }

    void expectFilled(const FilterDescAsset &descriptor)
    {
        EXPECT_EQ(descriptor.nextVersion.get(), dangling("filterDesc://next"));
        EXPECT_THAT(descriptor.dependencies.values(), ElementsAre(dangling("font")));
        EXPECT_THAT(descriptor.implementations.values(),
                    ElementsAre(dangling("blur-float"), dangling("blur-color")));
    }

    void fill(DynamicFilterAsset &dynamic)
    {
        dynamic.dependencies.append(dangling("blur-float"));
        dynamic.types.insert(QStringLiteral("float"), recordOf(dangling("blur-float")));
        dynamic.types.insert(QStringLiteral("color"), nullptr);
        dynamic.types.find(QStringLiteral("float"))
                ->second->paramUidCorrespondance.insert(3000000000U, 7);
        dynamic.usages.insert(QStringLiteral("output_size"), recordOf(dangling("blur-size")));
        const auto description = descriptionOf({"radius"}, 3000000000U);
        RenderableBase::ParameterDesc &radius = *description->parameters.at(0);
        radius.type.set(QStringLiteral("float"));
        radius.defaultValue.set(0.5);
        radius.range.set({.minimum = 0, .softMaximum = 1.5});
        radius.enumeration.set({{QStringLiteral("small")}, {0.25}});
        radius.presentation.set({.label = QStringLiteral("Radius"), .uniform = true});
        const auto output = std::make_shared<RenderableBase::OutputDesc>();
        output->identifier.set(QStringLiteral("out"));
        output->valueType.set(RenderableBase::ValueType::Image);
        output->type.set(QStringLiteral("color3"));
        output->color.set(true);
        output->label.set(QStringLiteral("Result"));
        output->usages.append({QStringLiteral("Base color"), QStringLiteral("baseColor")});
        description->outputs.append(output);
        dynamic.ioDesc.set(description);
    }
};

TEST_F(GoldenFilesTest, readsADescriptorOfVersion100UnderItsOldName)
{
    const auto descriptor = filterDesc();

    readStored(golden("FilterDescAsset-100.cbor"), *descriptor);

    expectFilled(*descriptor);
}

TEST_F(GoldenFilesTest, readsADescriptorOfVersion200UnderItsOldName)
{
    const auto descriptor = filterDesc();

    readStored(golden("FilterDescAsset-200.cbor"), *descriptor);

    expectFilled(*descriptor);
}

TEST_F(GoldenFilesTest, readsADescriptorOfVersion300UnderItsOldName)
{
    const auto descriptor = filterDesc();

    readStored(golden("FilterDescAsset-300-old-name.cbor"), *descriptor);

    expectFilled(*descriptor);
}

TEST_F(GoldenFilesTest, readsADescriptorOfVersion300)
{
    const auto descriptor = filterDesc();

    readStored(golden("FilterDescAsset-300.cbor"), *descriptor);

    expectFilled(*descriptor);
}

TEST_F(GoldenFilesTest, stillWritesADescriptorOfVersion300)
{
    const auto descriptor = filterDesc();
    fill(*descriptor);

    EXPECT_EQ(stored(*descriptor), golden("FilterDescAsset-300.cbor"));
}

TEST_F(GoldenFilesTest, readsARecordOfVersion100)
{
    ImplementationInfo info;

    readStored(golden("ImplementationInfo-100.cbor"), info);

    EXPECT_EQ(info.implementationRef.get(), dangling("blur-float"));
    EXPECT_THAT(tableOf(info), ElementsAre(Pair(1U, 4294967295U)));
}

TEST_F(GoldenFilesTest, stillWritesARecordOfVersion100)
{
    ImplementationInfo info;
    info.implementationRef.set(dangling("blur-float"));
    info.paramUidCorrespondance.insert(1, 4294967295U);

    EXPECT_EQ(stored(info), golden("ImplementationInfo-100.cbor"));
}

TEST_F(GoldenFilesTest, readsADynamicFilterOfVersion100)
{
    const auto dynamic = dynamicFilter();

    readStored(golden("DynamicFilterAsset-100.cbor"), *dynamic);

    EXPECT_TRUE(dynamic->nextVersion.get().isInvalid());
    EXPECT_THAT(dynamic->dependencies.values(), ElementsAre(dangling("blur-float")));
    ASSERT_EQ(dynamic->types.size(), 2);
    EXPECT_EQ(dynamic->types.find(QStringLiteral("color"))->second, nullptr);
    const ImplementationInfo &info = *dynamic->types.find(QStringLiteral("float"))->second;
    EXPECT_EQ(info.implementationRef.get(), dangling("blur-float"));
    EXPECT_THAT(tableOf(info), ElementsAre(Pair(3000000000U, 7U)));
    ASSERT_EQ(dynamic->usages.size(), 1);
    EXPECT_EQ(dynamic->usages.begin()->first, QStringLiteral("output_size"));
    const auto description = dynamic->ioDesc.get();
    ASSERT_NE(description, nullptr);
    EXPECT_THAT(identifiersOf(*description), ElementsAre("radius"));
    const RenderableBase::ParameterDesc &radius = *description->parameters.at(0);
    EXPECT_EQ(radius.uid.get(), 3000000000U);
    EXPECT_EQ(radius.type.get(), QStringLiteral("float"));
    EXPECT_EQ(radius.defaultValue.get(), QVariant(0.5));
    EXPECT_EQ(radius.range.get(),
              (RenderableBase::ParameterRange{.minimum = 0, .softMaximum = 1.5}));
    EXPECT_EQ(radius.enumeration.get(),
              (RenderableBase::ParameterEnumeration{{QStringLiteral("small")}, {0.25}}));
    EXPECT_EQ(radius.presentation.get(),
              (RenderableBase::ParameterPresentation{.label = QStringLiteral("Radius"),
                                                     .uniform = true}));
    const RenderableBase::OutputDesc &output = *description->outputs.at(0);
    EXPECT_EQ(output.identifier.get(), QStringLiteral("out"));
    EXPECT_EQ(output.valueType.get(), RenderableBase::ValueType::Image);
    EXPECT_EQ(output.type.get(), QStringLiteral("color3"));
    EXPECT_TRUE(output.isColor());
    EXPECT_EQ(output.label.get(), QStringLiteral("Result"));
    EXPECT_THAT(output.usages.values(),
                ElementsAre(RenderableBase::Usage(QStringLiteral("Base color"),
                                                  QStringLiteral("baseColor"))));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(GoldenFilesTest, stillWritesADynamicFilterOfVersion100)
{
    const auto dynamic = dynamicFilter();
    fill(*dynamic);

    EXPECT_EQ(stored(*dynamic), golden("DynamicFilterAsset-100.cbor"));
}

} // namespace Tesk::FilterBase
