#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <renderablebase/RenderableIODesc.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>
#include <vantbase/ServiceLocator.h>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;

class FilterManagerUpdateTest : public RegistryTest
{
protected:
    FilterManagerUpdateTest() { startManager(); }

    std::vector<AssetReference> import(const std::vector<AssetReference> &assets,
                                       const QString &nameOverride = {})
    {
        return manager().createOrUpdateFilters(assets, nameOverride);
    }
};

TEST_F(FilterManagerUpdateTest, asksTheDatabaseNothingForAnEmptyBatch)
{
    VantBase::ServiceLocator::instance().unregisterService(Assets::AssetDatabaseService::typeId());
    EXPECT_THAT(import({}), IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerUpdateTest, leavesOutWhatDoesNotResolveAndGoesOn)
{
    const auto plain = plainAsset("plain");
    EXPECT_THAT(import({dangling(), plain, AssetReference()}), ElementsAre(plain));
    EXPECT_THAT(
            log.messages(),
            ElementsAre(warnsIn("createOrUpdateFilters",
                                "Failed to get asset with reference: " + describe(dangling())),
                        warnsIn("createOrUpdateFilters", "Failed to get asset with reference: "
                                                                 + describe(AssetReference()))));
}

TEST_F(FilterManagerUpdateTest, givesBackWhatIsNoFilter)
{
    const auto plain = plainAsset("plain");
    setMetaData(plain, FilterBase::filterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData);
    EXPECT_THAT(import({plain, plain}), ElementsAre(plain));
    EXPECT_THAT(manager().getFilterVariations("plain"), IsEmpty());
}

TEST_F(FilterManagerUpdateTest, putsTwoImplementationsOfANameIntoOneFilter)
{
    const auto result = import({implementation("a", "Blur", "default_color"),
                                implementation("b", "Blur", "output_size,default_float")});
    ASSERT_EQ(result.size(), 1U);
    EXPECT_THAT(filed(result[0]), ElementsAre("color=a", "float=b", "output_size=b"));
}

TEST_F(FilterManagerUpdateTest, makesANewFilterPersistentWithItsDescription)
{
    const auto result = import({implementation("a", "Blur", "default_color"),
                                implementation("b", "Blur", "default_float")});
    const auto filter = asDynamicFilter(result.at(0));
    EXPECT_EQ(result[0].lifespan(), AssetReference::Lifespan::Persistent);
    EXPECT_EQ(result[0].id(), filter->generateId());
    EXPECT_EQ(result[0], filter->ownReference());
    EXPECT_EQ(manager().getDynamicFilter("blur"), result[0]);
    EXPECT_EQ(nameOf(result[0]), "Blur");
    ASSERT_NE(filter->ioDesc.get(), nullptr);
    EXPECT_EQ(filter->ioDesc.get()->parameters.size(), 2);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerUpdateTest, findsARegisteredFilterAfterARestart)
{
    const auto result = import({implementation("a", "Blur", "default_color")});
    manager().registerFilter(result.at(0));
    const QByteArray id = result[0].id();
    restart();
    startManager();
    EXPECT_EQ(manager().getDynamicFilter("BLUR").id(), id);
    EXPECT_THAT(filed(manager().getDynamicFilter("blur")), ElementsAre("color=a"));
}

TEST_F(FilterManagerUpdateTest, dropsAVariationThatAPersistentFilterLacks)
{
    const auto filter = import({implementation("a", "Blur", "default_color")}).at(0);
    EXPECT_THAT(import({implementation("b", "Blur", "default_float")}), ElementsAre(filter));
    EXPECT_THAT(filed(filter), ElementsAre("color=a"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerUpdateTest, givesAPersistentFilterOnceHoweverManyAskForIt)
{
    const auto a = implementation("a", "Blur", "default_color");
    const auto filter = import({a}).at(0);
    EXPECT_THAT(import({a, implementation("b", "Blur", "default_float"), a}), ElementsAre(filter));
}

TEST_F(FilterManagerUpdateTest, makesANewVersionForANewerImplementation)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto first = import({old}).at(0);
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);

    const auto result = import({renewed});

    ASSERT_EQ(result.size(), 1U);
    EXPECT_NE(result[0], first);
    EXPECT_EQ(result[0].lifespan(), AssetReference::Lifespan::Persistent);
    EXPECT_THAT(filed(result[0]), ElementsAre("color=new"));
    EXPECT_THAT(filed(first), ElementsAre("color=old"));
    EXPECT_EQ(nextVersionOf(first), result[0]);
    EXPECT_EQ(manager().getDynamicFilter("blur"), result[0]);
    EXPECT_EQ(nameOf(result[0]), "Blur");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerUpdateTest, startsANewVersionEmpty)
{
    const auto old = implementation("old", "Blur", "default_color");
    import({old, implementation("kept", "Blur", "default_float")});
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);
    EXPECT_THAT(filed(import({renewed}).at(0)), ElementsAre("color=new"));
}

TEST_F(FilterManagerUpdateTest, takesAWholeNewVersionWhenTheNewerOneComesFirst)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto kept = implementation("kept", "Blur", "default_float");
    const auto first = import({old, kept}).at(0);
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);

    const auto result = import({renewed, kept, implementation("third", "Blur", "default_float3")});

    ASSERT_EQ(result.size(), 1U);
    EXPECT_THAT(filed(result[0]), ElementsAre("color=new", "float=kept", "float3=third"));
    EXPECT_EQ(nextVersionOf(first), result[0]);
}

TEST_F(FilterManagerUpdateTest, dropsWhatComesBeforeTheNewerImplementation)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto kept = implementation("kept", "Blur", "default_float");
    const auto first = import({old, kept}).at(0);
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);

    const auto result = import({kept, renewed});

    ASSERT_EQ(result.size(), 2U);
    EXPECT_EQ(result[0], first);
    EXPECT_THAT(filed(result[1]), ElementsAre("color=new"));
}

TEST_F(FilterManagerUpdateTest, storesTheLinkToTheNewVersion)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto first = import({old}).at(0).id();
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);
    const auto second = import({renewed}).at(0).id();
    restart();
    EXPECT_EQ(nextVersionOf(dangling(first)).id(), second);
}

TEST_F(FilterManagerUpdateTest, usesAnExistingFilterOfTheSameContent)
{
    const auto a = implementation("a", "Blur", "default_color");
    const auto first = import({a}).at(0);
    // The same implementation under another name makes the same content.
    const auto result = import({a}, "Soften");
    EXPECT_THAT(result, ElementsAre(first));
    EXPECT_EQ(manager().getDynamicFilter("soften"), first);
    EXPECT_EQ(manager().getDynamicFilter("blur"), first);
    EXPECT_EQ(nameOf(first), "Blur");
}

TEST_F(FilterManagerUpdateTest, findsTheExistingFilterAfterARestartThatForgotTheName)
{
    const auto first = import({implementation("a", "Blur", "default_color")}).at(0).id();
    restart(); // it was never put into the collection
    startManager();
    const auto result = import({dangling("a")});
    ASSERT_EQ(result.size(), 1U);
    EXPECT_EQ(result[0].id(), first);
    EXPECT_EQ(manager().getDynamicFilter("blur").id(), first);
}

TEST_F(FilterManagerUpdateTest, doesNotChainAFilterThatWasReplacedByAnExistingOne)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto renewed = implementation("new", "Blur", "default_color");
    const auto twin = import({renewed}, "Twin").at(0);
    const auto first = import({old}).at(0);
    setNextVersion(old, renewed);

    EXPECT_THAT(import({renewed}), ElementsAre(twin));

    EXPECT_TRUE(nextVersionOf(first).isInvalid());
    EXPECT_EQ(manager().getDynamicFilter("blur"), twin);
}

TEST_F(FilterManagerUpdateTest, givesNoFilterTwiceWhenTwoNewOnesTurnOutToBeOneThatExists)
{
    const auto a = implementation("a", "Blur", "default_color");
    const auto plain = plainAsset("plain");
    const auto existing = import({a}).at(0);
    // "Soften" becomes the existing one, which the second element names already.
    const auto softened = implementation("b", "Soften", "default_color");
    setNextVersion(softened, a);
    EXPECT_THAT(import({softened, plain, a}), ElementsAre(existing, plain));
    EXPECT_EQ(manager().getDynamicFilter("soften"), existing);
}

TEST_F(FilterManagerUpdateTest, givesOneFilterForTwoNewOnesOfTheSameContent)
{
    const auto newest = implementation("newest", "Blur", "default_color");
    const auto softened = implementation("a", "Soften", "default_color");
    const auto smoothed = implementation("b", "Smooth", "default_color");
    setNextVersion(softened, newest);
    setNextVersion(smoothed, newest);
    const auto plain = plainAsset("plain");

    const auto result = import({softened, smoothed, plain});

    ASSERT_EQ(result.size(), 2U);
    EXPECT_EQ(result[1], plain);
    EXPECT_EQ(manager().getDynamicFilter("soften"), result[0]);
    EXPECT_EQ(manager().getDynamicFilter("smooth"), result[0]);
}

TEST_F(FilterManagerUpdateTest, putsPersistentFiltersBeforeWhatIsRegistered)
{
    const auto a = implementation("a", "Blur", "default_color");
    const auto existing = import({a}).at(0);
    const auto plain = plainAsset("plain");
    EXPECT_THAT(import({plain, a}), ElementsAre(existing, plain));
}

TEST_F(FilterManagerUpdateTest, filesEverythingUnderTheNameOverride)
{
    const auto result = import({implementation("a", "One", "default_color"),
                                implementation("b", "Two", "default_float")},
                               "Both");
    ASSERT_EQ(result.size(), 1U);
    EXPECT_EQ(nameOf(result[0]), "Both");
    EXPECT_THAT(filed(result[0]), ElementsAre("color=a", "float=b"));
    EXPECT_EQ(manager().getDynamicFilter("both"), result[0]);
    EXPECT_TRUE(manager().getDynamicFilter("one").isInvalid());
}

TEST_F(FilterManagerUpdateTest, filesStaticFiltersUnderTheNameOverrideToo)
{
    const auto one = staticFilter("one", "One");
    const auto result = import({one}, "Both");
    ASSERT_EQ(result.size(), 1U);
    EXPECT_EQ(result[0].id(), QByteArray("filterDesc://both"));
    EXPECT_EQ(nameOf(result[0]), "Both");
}

class FilterTypeTest : public FilterManagerUpdateTest,
                       public testing::WithParamInterface<const char *>
{
};

TEST_P(FilterTypeTest, sendsAnyOtherTypeToADescriptor)
{
    const auto one = staticFilter("one", "Blur");
    setMetaData(one, FilterBase::filterTypeUserDataKey, GetParam());
    EXPECT_EQ(import({one}).at(0).id(), QByteArray("filterDesc://blur"));
}

INSTANTIATE_TEST_SUITE_P(Each, FilterTypeTest,
                         testing::Values("Dynamic_filter", "dynamic_filter ", "dynamic", ""));

TEST_F(FilterManagerUpdateTest, doesNotReadTheAlternativeFilterType)
{
    const auto one = staticFilter("one", "Blur");
    setMetaData(one, FilterBase::altFilterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData);
    EXPECT_EQ(import({one}).at(0).id(), QByteArray("filterDesc://blur"));
}

TEST_F(FilterManagerUpdateTest, keepsTheOrderOfTheInputOverBothKinds)
{
    const auto plain = plainAsset("plain");
    const auto result =
            import({implementation("a", "Blur", "default_color"), staticFilter("s", "Warp"), plain,
                    implementation("b", "Blur", "default_float"),
                    implementation("c", "Noise", "default_color")});
    ASSERT_EQ(result.size(), 4U);
    EXPECT_EQ(result[0], manager().getDynamicFilter("blur"));
    EXPECT_EQ(result[1], manager().getFilterDesc("warp"));
    EXPECT_EQ(result[2], plain);
    EXPECT_EQ(result[3], manager().getDynamicFilter("noise"));
}

TEST_F(FilterManagerUpdateTest, putsTheNullReferenceOfARefusedFilterIntoTheResult)
{
    database->insertAsset(PlainAsset::make(), "filterDesc://blur", "thief");
    EXPECT_THAT(import({staticFilter("one", "Blur"), staticFilter("two", "Blur")}),
                ElementsAre(AssetReference()));
}

TEST_F(FilterManagerUpdateTest, leavesAnInternalFilterOpenForMore)
{
    // An exception half-way leaves the filter of the name internal.
    const auto a = implementation("a", "Blur", "default_color");
    EXPECT_THROW(import({a, a}), Exception::InvalidArgumentException);

    const auto result = import({implementation("b", "Blur", "default_float")});

    ASSERT_EQ(result.size(), 1U);
    EXPECT_THAT(filed(result[0]), ElementsAre("color=a", "float=b"));
    EXPECT_EQ(result[0].lifespan(), AssetReference::Lifespan::Persistent);
}

TEST_F(FilterManagerUpdateTest, replacesAnInternalFilterByANewVersionWithoutChainingIt)
{
    const auto old = implementation("old", "Blur", "default_color");
    EXPECT_THROW(import({old, old}), Exception::InvalidArgumentException);
    const auto half = manager().getDynamicFilter("blur");
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);

    const auto result = import({renewed});

    EXPECT_THAT(filed(result.at(0)), ElementsAre("color=new"));
    EXPECT_TRUE(nextVersionOf(half).isInvalid());
}

} // namespace FilterBaseTesting
