#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/UserDataKeys.h>

#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <QUuid>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;

// Dynamic filters are registered through createOrUpdateFilters alone.
class FilterManagerDynamicTest : public RegistryTest
{
protected:
    FilterManagerDynamicTest() { startManager(); }

    std::vector<std::string> logged() { return log.texts(); }
};

TEST_F(FilterManagerDynamicTest, findsADynamicFilterInAnyLetterCase)
{
    const auto filter = importOne(implementation("impl", "Slope Blur", "default_color"));
    EXPECT_TRUE(filter.isValid());
    EXPECT_EQ(manager().getDynamicFilter("slope blur"), filter);
    EXPECT_EQ(manager().getDynamicFilter("SLOPE BLUR"), filter);
    EXPECT_EQ(manager().getDynamicFilter("sLoPe bLuR"), filter);
}

TEST_F(FilterManagerDynamicTest, comparesNamesExactlyButForCase)
{
    importOne(implementation("impl", "Blur", "default_color"));
    EXPECT_TRUE(manager().getDynamicFilter(" blur").isInvalid());
    EXPECT_TRUE(manager().getDynamicFilter("blur ").isInvalid());
    EXPECT_TRUE(manager().getDynamicFilter("").isInvalid());
    EXPECT_TRUE(manager().getDynamicFilter(QString()).isInvalid());
}

TEST_F(FilterManagerDynamicTest, givesNothingForAnUnknownName)
{
    EXPECT_TRUE(manager().getDynamicFilter("blur").isInvalid());
    EXPECT_THAT(manager().getFilterVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDynamicTest, givesTheDynamicFilterAloneAsItsVariations)
{
    const auto filter = importOne(implementation("impl", "Blur", "default_color"));
    EXPECT_THAT(manager().getFilterVariations("BLUR"), ElementsAre(filter));
}

TEST_F(FilterManagerDynamicTest, prefersTheDescriptorsListAsVariations)
{
    importOne(implementation("impl", "Blur", "default_color"));
    const auto one = staticFilter("one", "Blur");
    manager().registerFilterDescImpl("Blur", one);
    EXPECT_THAT(manager().getFilterVariations("blur"), ElementsAre(one));
}

TEST_F(FilterManagerDynamicTest, hidesTheDescriptorOfTheName)
{
    const auto desc = manager().registerFilterDescImpl("Blur", staticFilter("one", "Blur"));
    EXPECT_FALSE(isHidden(desc));
    importOne(implementation("impl", "bLUR", "default_color"));
    EXPECT_TRUE(isHidden(desc));
}

TEST_F(FilterManagerDynamicTest, dropsAMissingImplementationBeforeItComesToAName)
{
    EXPECT_THAT(manager().createOrUpdateFilters({dangling()}, "Blur"), IsEmpty());
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("createOrUpdateFilters", "Failed to get asset with reference: "
                                                                     + describe(dangling()))));
    EXPECT_TRUE(manager().getDynamicFilter("blur").isInvalid());
}

TEST_F(FilterManagerDynamicTest, registersTheNewestOfThreeVersions)
{
    const auto a = implementation("a", "Blur", "default_color");
    const auto b = implementation("b", "Blur", "default_color");
    const auto c = implementation("c", "Blur", "default_color");
    setNextVersion(a, b);
    setNextVersion(b, c);
    EXPECT_THAT(filed(importOne(a)), ElementsAre("color=c"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDynamicTest, registersTheMiddleOneWhenTheNewestIsMissing)
{
    const auto a = implementation("a", "Blur", "default_color");
    const auto b = implementation("b", "Blur", "default_color");
    setNextVersion(a, b);
    setNextVersion(b, dangling());
    EXPECT_THAT(filed(importOne(a)), ElementsAre("color=b"));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerDynamicFilterImpl",
                                    "cannot find asset from ref " + describe(dangling())
                                            + ", which is the next version for "
                                            + b.asset()->debugInfo().toStdString())));
}

TEST_F(FilterManagerDynamicTest, bearsTheNameOfTheLatestRegistration)
{
    const auto lower = implementation("a", "blur", "default_color");
    const auto upper = implementation("b", "BLUR", "default_float");
    const auto result = manager().createOrUpdateFilters({lower, upper}, {});
    ASSERT_EQ(result.size(), 1U);
    EXPECT_EQ(nameOf(result[0]), "BLUR");
    EXPECT_THAT(filed(result[0]), ElementsAre("color=a", "float=b"));
}

TEST_F(FilterManagerDynamicTest, leavesTheFilterListedWhenAnImplementationHasNoVariation)
{
    auto made = FakeFilter::make();
    Assets::MetaData metaData;
    metaData.set(FilterBase::filterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData,
                 Assets::MetaDataItem::Text);
    const auto bare = database->insertAsset(made, "bare", "Blur", metaData);

    EXPECT_THROW(manager().createOrUpdateFilters({bare}, {}), Exception::InvalidArgumentException);

    const auto filter = manager().getDynamicFilter("blur");
    EXPECT_EQ(filter.lifespan(), AssetReference::Lifespan::Internal);
    EXPECT_EQ(nameOf(filter), "Blur");
    EXPECT_FALSE(QUuid::fromString(QString::fromLatin1(filter.id())).isNull());
    EXPECT_TRUE(filter.id().startsWith('{'));
}

TEST_F(FilterManagerDynamicTest, throwsHalfWayWhenABatchHoldsOneImplementationTwice)
{
    const auto one = implementation("one", "Blur", "default_color");
    EXPECT_THROW(manager().createOrUpdateFilters({one, one}, {}),
                 Exception::InvalidArgumentException);
    EXPECT_THAT(filed(manager().getDynamicFilter("blur")), ElementsAre("color=one"));
    // The lock was released on the way out.
    EXPECT_EQ(manager().getFilterVariations("blur").size(), 1U);
}

TEST_F(FilterManagerDynamicTest, doesNotCollectWhatItRegisters)
{
    importOne(implementation("impl", "Blur", "default_color"));
    restart();
    startManager();
    EXPECT_TRUE(manager().getDynamicFilter("blur").isInvalid());
}

} // namespace FilterBaseTesting
