#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <assets/AssetControl.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;

class FilterManagerDescriptorTest : public RegistryTest
{
protected:
    FilterManagerDescriptorTest() { startManager(); }

    AssetReference enter(const QString &name, const AssetReference &implementation)
    {
        return manager().registerFilterDescImpl(name, implementation);
    }
    std::vector<AssetReference> listOf(const AssetReference &reference)
    {
        return asDescriptor(reference)->implementations.values();
    }
};

// --- declareFilterDesc

TEST_F(FilterManagerDescriptorTest, reportsANullDeclaration)
{
    manager().declareFilterDesc(nullptr);
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_THAT(log.messages()[0],
                TestSupport::isLogMessage(1, 1, "Declaring a null asset to the FilterManager."));
    EXPECT_THAT(log.messages()[0].place,
                TestSupport::placeIs("FilterManager.cpp",
                                     "Tesk::FilterBase::FilterManager::declareFilterDesc()"));
}

TEST_F(FilterManagerDescriptorTest, declaresADescriptorUnderItsFoldedName)
{
    manager().declareFilterDesc(descriptor("d", "Blur", {staticFilter("one", "Blur")}));
    EXPECT_THAT(manager().getFilterDescVariations("BLUR"), ElementsAre(dangling("one")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, declaresAnEmptyDescriptorAndSaysSo)
{
    const auto empty = descriptor("d", "Blur");
    manager().declareFilterDesc(empty);
    EXPECT_THAT(log.messages(), ElementsAre(warnsIn("declareFilterDesc",
                                                    "Declaring pre-existing FilterDescAsset "
                                                            + describe(empty->ownReference())
                                                            + ", but it has no implementations.")));
    log.clear();
    manager().declareFilterDesc(empty); // it is in the table: silent
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, keepsTheDeclaredOneOfTwoAndSaysSo)
{
    const auto first = descriptor("d1", "Blur", {staticFilter("one", "Blur")});
    const auto second = descriptor("d2", "BLUR", {staticFilter("two", "Blur")});
    manager().declareFilterDesc(first);
    manager().declareFilterDesc(second);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(dangling("one")));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn(
                        "declareFilterDesc",
                        "Declaring pre-existing FilterDescAsset " + describe(second->ownReference())
                                + " with name \"blur\" but asset " + describe(first->ownReference())
                                + " with the same name is already declared to the "
                                  "FilterManager.")));
}

TEST_F(FilterManagerDescriptorTest, declaresWithoutCollectingOrHiding)
{
    importOne(implementation("impl", "Blur", "default_color"));
    const auto declared = descriptor("d", "Blur", {staticFilter("one", "Blur")});
    manager().declareFilterDesc(declared);
    EXPECT_FALSE(isHidden(declared->ownReference()));
}

// --- look-ups

TEST_F(FilterManagerDescriptorTest, findsADescriptorThatWasNeverDeclared)
{
    const auto undeclared = descriptor("filterDesc://blur", "Blur")->ownReference();
    EXPECT_EQ(manager().getFilterDesc("bLUR"), undeclared);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, findsNoDescriptorOfAnUnknownNameAndCreatesNone)
{
    EXPECT_TRUE(manager().getFilterDesc("blur").isInvalid());
    EXPECT_EQ(database->getAssetFromId("filterDesc://blur"), nullptr);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, createsADescriptorUnderTheFoldedIdWithTheNameAsGiven)
{
    const auto created = manager().getOrCreateFilterDesc("Slope Blur");
    EXPECT_EQ(created.id(), QByteArray("filterDesc://slope blur"));
    EXPECT_EQ(nameOf(created), "Slope Blur");
    EXPECT_EQ(database->getTypeNameFromRef(created), FilterDescAsset::sTypeName);
    EXPECT_EQ(manager().getOrCreateFilterDesc("SLOPE BLUR"), created);
    EXPECT_EQ(nameOf(created), "Slope Blur");
    EXPECT_THAT(manager().getFilterDescVariations("slope blur"), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, findsACreatedDescriptorAfterARestart)
{
    const auto id = manager().getOrCreateFilterDesc("Blur").id();
    restart();
    startManager();
    EXPECT_EQ(manager().getFilterDesc("blur").id(), id);
    EXPECT_EQ(nameOf(manager().getFilterDesc("blur")), "Blur");
}

TEST_F(FilterManagerDescriptorTest, listsAVariationThatDoesNotResolveAsItIsStored)
{
    manager().declareFilterDesc(descriptor("d", "Blur", {dangling(), AssetReference()}));
    EXPECT_THAT(manager().getFilterDescVariations("blur"),
                ElementsAre(dangling(), AssetReference()));
}

// --- registerFilterDescImpl

TEST_F(FilterManagerDescriptorTest, putsTwoVariationsOfOneNameIntoOneDescriptor)
{
    const auto one = staticFilter("one", "blur", "default_color");
    const auto two = staticFilter("two", "BLUR", "default_float");
    const auto first = enter("blur", one);
    const auto second = enter("BLUR", two);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first.id(), QByteArray("filterDesc://blur"));
    EXPECT_EQ(nameOf(first), "blur");
    EXPECT_THAT(listOf(first), ElementsAre(one, two));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, takesTheSameImplementationTwiceInSilence)
{
    const auto one = staticFilter("one", "Blur");
    const auto first = enter("Blur", one);
    EXPECT_EQ(enter("Blur", one), first);
    EXPECT_THAT(listOf(first), ElementsAre(one));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, refusesASecondImplementationOfOneVariation)
{
    const auto one = staticFilter("one", "Blur");
    const auto first = enter("Blur", one);
    EXPECT_EQ(enter("bLUR", staticFilter("two", "Blur")), first);
    EXPECT_THAT(listOf(first), ElementsAre(one));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "The filter bLUR, with variation default_color cannot be "
                                    "registered. A similar filter already exists.")));
}

TEST_F(FilterManagerDescriptorTest, comparesVariationsExactly)
{
    const auto one = staticFilter("one", "Blur", "default_color");
    const auto two = staticFilter("two", "Blur", "Default_color");
    const auto three = staticFilter("three", "Blur", "default_color ");
    enter("Blur", one);
    enter("Blur", two);
    EXPECT_THAT(listOf(enter("Blur", three)), ElementsAre(one, two, three));
}

TEST_F(FilterManagerDescriptorTest, replacesAnOlderVersionAtTheEndOfTheList)
{
    const auto old = staticFilter("old", "Blur", "default_color");
    const auto other = staticFilter("other", "Blur", "default_float");
    const auto renewed = staticFilter("new", "Blur", "default_color");
    enter("Blur", old);
    enter("Blur", other);
    setNextVersion(old, renewed);
    EXPECT_THAT(listOf(enter("Blur", renewed)), ElementsAre(other, renewed));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, registersTheNewestVersionOfTheLine)
{
    const auto a = staticFilter("a", "Blur");
    const auto b = staticFilter("b", "Blur");
    const auto c = staticFilter("c", "Blur");
    setNextVersion(a, b);
    setNextVersion(b, c);
    EXPECT_THAT(listOf(enter("Blur", a)), ElementsAre(c));
}

TEST_F(FilterManagerDescriptorTest, stopsAtAVersionThatIsMissingAndNamesIt)
{
    const auto a = staticFilter("a", "Blur");
    const auto b = staticFilter("b", "Blur");
    setNextVersion(a, b);
    setNextVersion(b, dangling());
    EXPECT_THAT(listOf(enter("Blur", a)), ElementsAre(b));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "cannot find asset from ref " + describe(dangling())
                                            + ", which is the next version for "
                                            + b.asset()->debugInfo().toStdString())));
}

TEST_F(FilterManagerDescriptorTest, givesNullForAMissingImplementationButKeepsTheDescriptor)
{
    EXPECT_TRUE(enter("Blur", dangling()).isInvalid());
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "cannot find asset from ref " + describe(dangling()))));
    log.clear();
    // It is in the table: another descriptor of the name is refused.
    manager().declareFilterDesc(descriptor("d2", "blur", {staticFilter("one", "Blur")}));
    EXPECT_EQ(log.messages().size(), 1U);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, givesNullForANullImplementation)
{
    EXPECT_TRUE(enter("Blur", AssetReference()).isInvalid());
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "cannot find asset from ref " + describe(AssetReference()))));
}

TEST_F(FilterManagerDescriptorTest, purgesWhatIsInvalidOrMissingFromTheLastEntryOn)
{
    const auto kept = staticFilter("kept", "Blur", "default_float");
    manager().declareFilterDesc(descriptor(
            "d", "Blur", {dangling("gone1"), AssetReference(), kept, dangling("gone2")}));
    const auto one = staticFilter("one", "Blur");
    enter("bLUR", one);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(kept, one));
    EXPECT_THAT(
            log.texts(),
            ElementsAre("cannot get asset " + describe(dangling("gone2")) + " in filter desc bLUR",
                        "an invalid asset reference was found in the filter desc bLUR",
                        "cannot get asset " + describe(dangling("gone1"))
                                + " in filter desc bLUR"));
    for (const auto &message : log.messages()) {
        EXPECT_THAT(message.place,
                    testing::HasSubstr(" Tesk::FilterBase::FilterManager::registerFilterDescImpl"));
        EXPECT_EQ(message.level, VantBase::LogLevel::Warning);
        EXPECT_EQ(message.service, VantBase::LogService::Filter);
    }
}

TEST_F(FilterManagerDescriptorTest, usesTheDescriptorOfTheTableAndNotTheOneOfTheIdentifier)
{
    const auto declared = descriptor("d", "Blur", {staticFilter("one", "Blur", "default_float")});
    manager().declareFilterDesc(declared);
    const auto two = staticFilter("two", "Blur");
    EXPECT_EQ(enter("Blur", two), declared->ownReference());
    EXPECT_THAT(listOf(declared->ownReference()), ElementsAre(dangling("one"), two));
    EXPECT_THAT(listOf(manager().getFilterDesc("blur")), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, letsADynamicVariationReplaceAllOthers)
{
    const auto one = staticFilter("one", "Blur", "default_color");
    const auto two = staticFilter("two", "Blur", "default_float");
    const auto dynamic = staticFilter("dyn", "Blur", "dynamic");
    enter("Blur", one);
    enter("Blur", two);
    EXPECT_THAT(listOf(enter("Blur", dynamic)), ElementsAre(dynamic));
    EXPECT_EQ(nextVersionOf(one), dynamic);
    EXPECT_EQ(nextVersionOf(two), dynamic);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, appendsAnOrdinaryVariationBesideADynamicOne)
{
    const auto dynamic = staticFilter("dyn", "Blur", "dynamic");
    const auto one = staticFilter("one", "Blur", "default_color");
    enter("Blur", dynamic);
    EXPECT_THAT(listOf(enter("Blur", one)), ElementsAre(dynamic, one));
    EXPECT_TRUE(nextVersionOf(one).isInvalid());
}

TEST_F(FilterManagerDescriptorTest, refusesASecondDynamicVariation)
{
    const auto dynamic = staticFilter("dyn", "Blur", "dynamic");
    enter("Blur", dynamic);
    EXPECT_THAT(listOf(enter("Blur", staticFilter("dyn2", "Blur", "dynamic"))),
                ElementsAre(dynamic));
    EXPECT_THAT(log.texts(),
                ElementsAre("The filter Blur, with variation dynamic cannot be registered. A "
                            "similar filter already exists."));
}

TEST_F(FilterManagerDescriptorTest, comparesDynamicExactly)
{
    const auto one = staticFilter("one", "Blur", "default_color");
    enter("Blur", one);
    const auto almost = staticFilter("two", "Blur", "Dynamic");
    EXPECT_THAT(listOf(enter("Blur", almost)), ElementsAre(one, almost));
    EXPECT_TRUE(nextVersionOf(one).isInvalid());
}

TEST_F(FilterManagerDescriptorTest, hidesANewDescriptorWhenADynamicFilterHasTheName)
{
    importOne(implementation("impl", "Blur", "default_color"));
    const auto entered = enter("BLUR", staticFilter("one", "BLUR"));
    EXPECT_TRUE(isHidden(entered));
}

TEST_F(FilterManagerDescriptorTest, leavesADescriptorOfTheTableAsVisibleAsItIs)
{
    const auto declared = descriptor("filterDesc://blur", "Blur", {staticFilter("one", "Blur")});
    importOne(implementation("impl", "Blur", "default_color"));
    manager().declareFilterDesc(declared);
    enter("Blur", staticFilter("two", "Blur", "default_float"));
    EXPECT_FALSE(isHidden(declared->ownReference()));
}

TEST_F(FilterManagerDescriptorTest, refusesWhatIsNoStaticFilter)
{
    const auto plain = plainAsset("plain");
    EXPECT_TRUE(enter("Blur", plain).isInvalid());
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "The asset " + plain.asset()->debugInfo().toStdString()
                                            + " cannot be registered in the filter desc Blur: it "
                                              "is not a StaticFilter and has no variation type.")));
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, neverTakesAListedAssetThatIsNoStaticFilterForAVariation)
{
    const auto plain = plainAsset("plain");
    manager().declareFilterDesc(descriptor("d", "Blur", {plain}));
    const auto unnamed = staticFilter("one", "Blur", QString());
    EXPECT_THAT(listOf(enter("Blur", unnamed)), ElementsAre(plain, unnamed));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, refusesToEnterAnAssetOfAnotherClassAsDescriptor)
{
    const auto thief = database->insertAsset(PlainAsset::make(), "filterDesc://blur", "thief");
    EXPECT_TRUE(enter("Blur", staticFilter("one", "Blur")).isInvalid());
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "The asset " + thief.asset()->debugInfo().toStdString()
                                            + " that has the identifier of the filter desc Blur is "
                                              "not a FilterDescAsset.")));
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, usesTheDeclaredDescriptorWhenTheFetchedOneIsOfAnotherClass)
{
    database->insertAsset(PlainAsset::make(), "filterDesc://blur", "thief");
    const auto declared = descriptor("d", "Blur");
    manager().declareFilterDesc(declared);
    log.clear();
    const auto one = staticFilter("one", "Blur");
    EXPECT_EQ(enter("Blur", one), declared->ownReference());
    EXPECT_THAT(listOf(declared->ownReference()), ElementsAre(one));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerDescriptorTest, survivesARestartWithItsList)
{
    enter("Blur", staticFilter("one", "Blur"));
    enter("Blur", staticFilter("two", "Blur", "default_float"));
    restart();
    startManager();
    EXPECT_THAT(listOf(manager().getFilterDesc("blur")),
                ElementsAre(dangling("one"), dangling("two")));
}

} // namespace FilterBaseTesting
