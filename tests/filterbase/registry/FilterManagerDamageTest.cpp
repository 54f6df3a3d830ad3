#include "FaultyFilter.h"
#include "HideRecorder.h"
#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/CollectionAsset.h>
#include <data/ClassRegistry.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <QMetaType>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;
using Shared = SharedObject<Assets::Asset>;

// Messages about what only a damaged catalogue, or a change in the middle of a call, leads to.
class FilterManagerDamageTest : public RegistryTest
{
protected:
    FilterManagerDamageTest() { startManager(); }
    ~FilterManagerDamageTest() override
    {
        FaultyFilter::sBeforeAnswer = nullptr;
        produceAsDynamicFilter(
                [] { return Shared::adopt(new DynamicFilterAsset(Shared::badge(), nullptr)); });
    }

    void produceAsDynamicFilter(Data::ClassRegistry::Factory factory)
    {
        Data::ClassRegistry::registerFactory(QMetaType::fromType<DynamicFilterAsset>().id(),
                                             std::move(factory));
    }

    /// Stores an asset of a class that no program knows.
    void storeUnknown(const QByteArray &id)
    {
        Assets::AssetWrite unknown;
        unknown.row.id = id;
        unknown.row.className = "FilterBaseTesting::Unknown";
        store.write({&unknown, 1});
    }

    /// Files a concrete filter for this session only; the links of such assets may form a circle.
    AssetReference internalFilter(const QByteArray &id, const QString &variation)
    {
        const auto made = database->createInternalAsset(id, FakeFilter::sTypeName, "Blur");
        std::dynamic_pointer_cast<FakeFilter>(made)->variation.set(variation);
        return made->ownReference();
    }
};

TEST_F(FilterManagerDamageTest, reportsANullItemOnceAndReadsTheRest)
{
    manager().registerFilter(AssetReference());
    manager().registerFilter(
            descriptor("filterDesc://blur", "Blur", {staticFilter("one", "Blur")})->ownReference());
    restart();

    startManager();

    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("FilterManager",
                                    "invalid asset reference found in the filter collection")));
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(dangling("one")));
}

TEST_F(FilterManagerDamageTest, hidesAToolOnceForEachImplementationThatIsOne)
{
    const auto one = staticFilter("one", "Tool", "default_color");
    const auto two = staticFilter("two", "Tool", "default_float");
    const auto three = staticFilter("three", "Tool", "default_float3");
    setMetaData(one, "Category", "Mesh Tool");
    setMetaData(three, "Category", "HDRI Tools");
    const auto tool = descriptor("filterDesc://tool", "Tool", {one, two, three})->ownReference();
    manager().registerFilter(tool);
    HideRecorder hides;

    startManager();

    const auto calls = hides.take();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].reference, tool);
    EXPECT_EQ(calls[1].reference, tool);
}

TEST_F(FilterManagerDamageTest, givesNullForADescriptorThatCannotBeFetched)
{
    storeUnknown("filterDesc://blur");
    EXPECT_TRUE(manager().getOrCreateFilterDesc("bLUR").isInvalid());
    EXPECT_THAT(log.messages(), ElementsAre(warnsIn("getOrCreateFilterDescImpl",
                                                    "Cannot fetch asset [filterDesc://blur]")));
}

TEST_F(FilterManagerDamageTest, registersNothingWithoutADescriptor)
{
    storeUnknown("filterDesc://blur");
    EXPECT_TRUE(manager().registerFilterDescImpl("Blur", staticFilter("one", "Blur")).isInvalid());
    EXPECT_THAT(log.messages(), ElementsAre(warnsIn("getOrCreateFilterDescImpl",
                                                    "Cannot fetch asset [filterDesc://blur]")));
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDamageTest, usesTheDeclaredDescriptorWhenNoneCanBeFetched)
{
    storeUnknown("filterDesc://blur");
    const auto declared = descriptor("d", "Blur", {staticFilter("one", "Blur")});
    manager().declareFilterDesc(declared);
    const auto two = staticFilter("two", "Blur", "default_float");
    EXPECT_EQ(manager().registerFilterDescImpl("Blur", two), declared->ownReference());
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(dangling("one"), two));
}

TEST_F(FilterManagerDamageTest, listsTheLastOfACircleOfVersions)
{
    const auto a = internalFilter("a", "default_color");
    const auto b = internalFilter("b", "default_color");
    const auto c = internalFilter("c", "default_color");
    setNextVersion(a, b);
    setNextVersion(b, c);
    setNextVersion(c, b);
    manager().registerFilterDescImpl("Blur", a);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(c));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerFilterDescImpl",
                                    "version chain comes back to "
                                            + b.asset()->debugInfo().toStdString())));
}

TEST_F(FilterManagerDamageTest, filesTheLastOfACircleOfVersions)
{
    const auto a = internalFilter("a", {});
    const auto b = internalFilter("b", {});
    for (const auto &each : {a, b}) {
        setMetaData(each, FilterBase::filterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData);
        setMetaData(each, FilterBase::variationTypeUserDataKey, "default_color");
    }
    setNextVersion(a, b);
    setNextVersion(b, a);
    EXPECT_THAT(filed(importOne(a)), ElementsAre("color=b"));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("registerDynamicFilterImpl",
                                    "version chain comes back to "
                                            + a.asset()->debugInfo().toStdString())));
}

TEST_F(FilterManagerDamageTest, takesAnAssetThatIsItsOwnNextVersionAsTheNewest)
{
    const auto a = internalFilter("a", "default_color");
    setNextVersion(a, a);
    manager().registerFilterDescImpl("Blur", a);
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(a));
    EXPECT_THAT(log.texts(),
                ElementsAre("version chain comes back to " + a.asset()->debugInfo().toStdString()));
}

TEST_F(FilterManagerDamageTest, givesBackAReferenceWhoseAssetIsRemovedInTheMiddleOfABatch)
{
    FaultyFilter::registerClass();
    const auto first = database->insertAsset(FaultyFilter::make(), "first", "Warp");
    const auto second = staticFilter("second", "Blur");
    FaultyFilter::sBeforeAnswer = [&](const FaultyFilter & /*asked*/, Operation operation) {
        if (operation == Operation::VariationType)
            database->removeAsset(second);
    };

    const auto result = manager().createOrUpdateFilters({first, second}, {});

    EXPECT_THAT(result, ElementsAre(manager().getFilterDesc("warp"), second));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn("createOrUpdateFilter",
                                    "Failed to get asset with reference: [second]")));
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

TEST_F(FilterManagerDamageTest, keepsAnUnnamedFilterForAnImplementationThatVanishes)
{
    const auto desc = manager().registerFilterDescImpl("Blur", staticFilter("one", "Blur"));
    const auto vanishing = implementation("vanishing", "Blur", "default_color");
    const auto observer = database->addChangeObserver([&](const auto &changes) {
        for (const auto &change : changes) {
            if (change.kind == Assets::AssetChange::Kind::VisibilityChanged)
                database->removeAsset(vanishing);
        }
    });

    const auto result = manager().createOrUpdateFilters({vanishing}, {});

    database->removeChangeObserver(observer);
    EXPECT_THAT(result, ElementsAre(AssetReference()));
    EXPECT_THAT(log.messages(), ElementsAre(warnsIn("registerDynamicFilterImpl",
                                                    "cannot find asset from ref [vanishing]")));
    const auto filter = manager().getDynamicFilter("blur");
    EXPECT_EQ(filter.lifespan(), AssetReference::Lifespan::Internal);
    EXPECT_TRUE(nameOf(filter).isNull());
    EXPECT_THAT(filed(filter), IsEmpty());
    EXPECT_TRUE(isHidden(desc));
}

TEST_F(FilterManagerDamageTest, listsNoFilterWhenTheDatabaseMakesSomethingElse)
{
    produceAsDynamicFilter([] { return PlainAsset::make(); });
    const auto desc = manager().registerFilterDescImpl("Blur", staticFilter("one", "Blur"));

    const auto result =
            manager().createOrUpdateFilters({implementation("impl", "Blur", "default_color")}, {});

    EXPECT_THAT(result, ElementsAre(AssetReference()));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn(
                        "registerDynamicFilterImpl",
                        "The asset database gave no DynamicFilterAsset for the filter Blur")));
    EXPECT_TRUE(manager().getDynamicFilter("blur").isInvalid());
    EXPECT_FALSE(isHidden(desc));
}

TEST_F(FilterManagerDamageTest, keepsTheOldVersionWhenTheDatabaseMakesSomethingElse)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto first = importOne(old);
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);
    produceAsDynamicFilter([] { return PlainAsset::make(); });

    EXPECT_THAT(manager().createOrUpdateFilters({renewed}, {}), IsEmpty());

    EXPECT_EQ(manager().getDynamicFilter("blur"), first);
    EXPECT_THAT(filed(first), ElementsAre("color=old"));
    EXPECT_TRUE(nextVersionOf(first).isInvalid());
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn(
                        "createOrUpdateFilters",
                        "The asset database gave no DynamicFilterAsset for the filter Blur")));
}

TEST_F(FilterManagerDamageTest, filesNothingIntoAListedFilterThatWasRemoved)
{
    const auto one = implementation("one", "Blur", "default_color");
    EXPECT_THROW(manager().createOrUpdateFilters({one, one}, {}),
                 Exception::InvalidArgumentException);
    database->removeAsset(manager().getDynamicFilter("blur"));
    const auto desc = manager().registerFilterDescImpl("Blur", staticFilter("s", "Blur"));
    log.clear();
    HideRecorder hides;

    const auto result =
            manager().createOrUpdateFilters({implementation("two", "Blur", "default_float")}, {});

    EXPECT_THAT(result, ElementsAre(AssetReference()));
    EXPECT_THAT(log.messages(),
                ElementsAre(warnsIn(
                        "registerDynamicFilterImpl",
                        "The asset database gave no DynamicFilterAsset for the filter Blur")));
    EXPECT_EQ(hides.take().size(), 1U);
    EXPECT_TRUE(isHidden(desc));
}

// Nobody had read it before: there is nothing left that would tell what it holds.
TEST_F(FilterManagerDamageTest, raisesForAListedFilterThatWasRemovedUnread)
{
    const auto blur = importOne(implementation("one", "Blur", "default_color"));
    manager().registerFilter(blur);
    restart();
    startManager();
    const auto removed = manager().getDynamicFilter("blur");
    const auto asset = removed.asset();
    database->removeAsset(removed);
    const auto two = implementation("two", "Blur", "default_float");

    try {
        manager().createOrUpdateFilters({two}, {});
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_EQ(error.what(), "Cannot read the body of " + asset->debugInfo().toStdString()
                                        + ": it is no longer in an open database");
    }
    EXPECT_EQ(manager().getDynamicFilter("blur"), removed);
    EXPECT_EQ(removed.asset(), nullptr);
    startManager();
    EXPECT_THAT(filed(importOne(two)), ElementsAre("float=two"));
}

} // namespace FilterBaseTesting
