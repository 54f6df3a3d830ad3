#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>
#include <vantbase/ServiceLocator.h>

#include <thread>

namespace FilterBaseTesting {

using namespace Tesk;
using Assets::AssetDatabaseService;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using VantBase::ServiceLocator;

class FilterManagerStartTest : public RegistryTest
{
protected:
    void collect(const AssetReference &reference)
    {
        Assets::CollectionControl::appendAssetFromRef(collection(), reference);
    }
};

TEST_F(FilterManagerStartTest, startsEmptyAndSilentOverAnEmptyCollection)
{
    startManager();
    EXPECT_TRUE(manager().getDynamicFilter("blur").isInvalid());
    EXPECT_THAT(manager().getFilterVariations("blur"), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStartTest, createsTheCollectionAndNamesIt)
{
    startManager();
    EXPECT_EQ(manager().getFilterBaseReference().id(), QByteArray("collection://lorimetFilters"));
    EXPECT_NE(collection(), nullptr);
}

TEST_F(FilterManagerStartTest, findsTheSameCollectionAfterARestart)
{
    startManager().registerFilter(staticFilter("a", "A"));
    restart();
    startManager();
    EXPECT_EQ(collection()->items().size(), 1U);
}

TEST_F(FilterManagerStartTest, entersDescriptorsAndDynamicFiltersOfTheCollection)
{
    const auto listed = staticFilter("one", "Blur");
    collect(descriptor("filterDesc://blur", "Blur", {listed})->ownReference());
    startManager();
    const auto dynamic = importOne(implementation("impl", "Warp", "default_color"));
    manager().registerFilter(dynamic);
    restart();

    startManager();

    EXPECT_THAT(manager().getFilterDescVariations("BLUR"), ElementsAre(dangling("one")));
    EXPECT_EQ(manager().getDynamicFilter("wARP"), dangling(dynamic.id()));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStartTest, keepsTheFirstOfTwoNamesThatDifferInCase)
{
    collect(descriptor("first", "Rust", {staticFilter("one", "Rust")})->ownReference());
    collect(descriptor("second", "rUST", {staticFilter("two", "rUST")})->ownReference());

    startManager();

    EXPECT_THAT(manager().getFilterDescVariations("rust"), ElementsAre(dangling("one")));
    EXPECT_THAT(collection()->items(), ElementsAre(dangling("first"), dangling("second")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStartTest, foldsNamesThatAreNotAsciiToo)
{
    collect(descriptor("first", QStringLiteral("\u00c4tzen"), {staticFilter("one", "x")})
                    ->ownReference());
    startManager();
    EXPECT_THAT(manager().getFilterDescVariations(QStringLiteral("\u00e4TZEN")),
                ElementsAre(dangling("one")));
}

class ToolCategoryTest : public FilterManagerStartTest,
                         public testing::WithParamInterface<const char *>
{
};

TEST_P(ToolCategoryTest, hidesTheDescriptorAndEntersItAllTheSame)
{
    const auto listed = staticFilter("one", "Tool");
    setMetaData(listed, "Category", GetParam());
    const auto tool = descriptor("filterDesc://tool", "Tool", {listed})->ownReference();
    collect(tool);

    startManager();

    EXPECT_TRUE(isHidden(tool));
    EXPECT_THAT(manager().getFilterDescVariations("tool"), ElementsAre(listed));
    EXPECT_THAT(collection()->items(), ElementsAre(tool));
}

INSTANTIATE_TEST_SUITE_P(Each, ToolCategoryTest, testing::Values("HDRI Tools", "Mesh Tool"));

class OtherCategoryTest : public FilterManagerStartTest,
                          public testing::WithParamInterface<const char *>
{
};

TEST_P(OtherCategoryTest, hidesNothing)
{
    const auto listed = staticFilter("one", "Tool");
    setMetaData(listed, "Category", GetParam());
    const auto tool = descriptor("filterDesc://tool", "Tool", {listed})->ownReference();
    collect(tool);

    startManager();

    EXPECT_FALSE(isHidden(tool));
}

INSTANTIATE_TEST_SUITE_P(Each, OtherCategoryTest,
                         testing::Values("hdri tools", "HDRI Tool", "Mesh Tools", "mesh tool",
                                         "Mesh Tool ", ""));

TEST_F(FilterManagerStartTest, hidesForAnyImplementationOfTheList)
{
    const auto second = staticFilter("two", "Tool", "default_float");
    setMetaData(second, "Category", "Mesh Tool");
    const auto tool = descriptor("filterDesc://tool", "Tool", {staticFilter("one", "Tool"), second})
                              ->ownReference();
    const auto other = descriptor("filterDesc://other", "Other", {staticFilter("three", "Other")})
                               ->ownReference();
    collect(other);
    collect(tool);

    startManager();

    EXPECT_TRUE(isHidden(tool));
    EXPECT_FALSE(isHidden(other));
}

TEST_F(FilterManagerStartTest, passesOverItemsThatAreMissingOrNoFilters)
{
    collect(dangling());
    collect(plainAsset("plain"));
    collect(staticFilter("static", "Blur"));
    collect(descriptor("filterDesc://blur", "Blur", {staticFilter("one", "Blur")})->ownReference());

    startManager();

    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(dangling("one")));
    EXPECT_TRUE(manager().getFilterDescVariations("plain").empty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStartTest, failsWhenTheCollectionIsOfAnotherClass)
{
    database->insertAsset(PlainAsset::make(), "collection://lorimetFilters", "thief");
    const std::string text = "Cannot fetch filter base collection from reference "
                             + describe(dangling("collection://lorimetFilters"));
    try {
        startManager();
        FAIL() << "nothing was thrown";
    } catch (const Exception::RuntimeErrorException &error) {
        EXPECT_EQ(error.what(), text);
    }
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_THAT(log.messages()[0], TestSupport::isLogMessage(2, 2, text));
    EXPECT_THAT(log.messages()[0].place,
                TestSupport::placeIs("FilterManager.cpp",
                                     "Tesk::FilterBase::FilterManager::FilterManager()"));
}

TEST_F(FilterManagerStartTest, failsWithoutADatabaseService)
{
    ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    try {
        startManager();
        FAIL() << "nothing was thrown";
    } catch (const Exception::LogicErrorException &error) {
        EXPECT_STREQ(error.what(), "Service not found");
    }
}

TEST_F(FilterManagerStartTest, appendsToTheCollectionAndLeavesTheTablesAlone)
{
    startManager();
    const auto blur =
            descriptor("filterDesc://blur", "Blur", {staticFilter("one", "Blur")})->ownReference();
    manager().registerFilter(blur);
    manager().registerFilter(blur);
    EXPECT_THAT(collection()->items(), ElementsAre(blur));
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerStartTest, removesFromTheCollectionAndLeavesTheTablesAlone)
{
    const auto blur =
            descriptor("filterDesc://blur", "Blur", {staticFilter("one", "Blur")})->ownReference();
    collect(blur);
    startManager();
    manager().unregisterFilter(blur);
    manager().unregisterFilter(blur);
    EXPECT_THAT(collection()->items(), IsEmpty());
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(dangling("one")));
}

TEST_F(FilterManagerStartTest, hasTheSameTypeIdOnEveryThread)
{
    unsigned long long other = 0;
    std::thread([&] { other = FilterManager::typeId(); }).join();
    EXPECT_EQ(FilterManager::typeId(), 0x06ab6058d39ce6ecULL);
    EXPECT_EQ(other, FilterManager::typeId());
}

} // namespace FilterBaseTesting
