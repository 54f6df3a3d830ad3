#include "FaultyFilter.h"
#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/UserDataKeys.h>

#include <renderablebase/RenderableIODesc.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;

// What is left when an implementation throws while it is asked: what was done until then.
class FilterManagerFaultTest : public RegistryTest
{
protected:
    FilterManagerFaultTest()
    {
        FaultyFilter::registerClass();
        startManager();
    }
    ~FilterManagerFaultTest() override { FaultyFilter::sBeforeAnswer = nullptr; }

    AssetReference faultyFilter(const QByteArray &id, const QString &name, const QString &variation)
    {
        const auto made = FaultyFilter::make();
        made->variation.set(variation);
        return database->insertAsset(made, id, name);
    }

    AssetReference faultyImplementation(const QByteArray &id, const QString &name,
                                        const QString &variations)
    {
        const auto reference = faultyFilter(id, name, {});
        setMetaData(reference, FilterBase::filterTypeUserDataKey,
                    FilterBase::dynamicFilterTypeUserData);
        setMetaData(reference, FilterBase::variationTypeUserDataKey, variations);
        return reference;
    }

    void failAt(Operation operation, int call = 1)
    {
        FaultyFilter::sBeforeAnswer = [operation, call](const FaultyFilter & /*asked*/,
                                                        Operation asked) mutable {
            if (asked == operation && --call == 0)
                throw InjectedFault("no answer");
        };
    }

    void import(const std::vector<AssetReference> &batch)
    {
        manager().createOrUpdateFilters(batch, {});
    }

    bool isInternal(const AssetReference &reference)
    {
        return reference.lifespan() == AssetReference::Lifespan::Internal;
    }
};

TEST_F(FilterManagerFaultTest, leavesTheNewVersionEmptyWhenClassifyingThrows)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto first = importOne(old);
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);
    const auto faulty = faultyImplementation("faulty", "Warp", "default_color");
    failAt(Operation::Category);

    EXPECT_THROW(import({renewed, faulty}), InjectedFault);

    const auto second = manager().getDynamicFilter("blur");
    EXPECT_NE(second, first);
    EXPECT_TRUE(isInternal(second));
    EXPECT_THAT(filed(second), IsEmpty());
    EXPECT_EQ(nameOf(second), QString());
    EXPECT_TRUE(nextVersionOf(first).isInvalid());
    EXPECT_TRUE(manager().getDynamicFilter("warp").isInvalid());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerFaultTest, leavesAFilterInternalWhenRegisteringTheNextThrows)
{
    const auto faulty = faultyImplementation("faulty", "Warp", "default_color");
    failAt(Operation::Category, 2); // the first call classifies

    EXPECT_THROW(import({implementation("a", "Blur", "default_color"), faulty}), InjectedFault);

    const auto filter = manager().getDynamicFilter("blur");
    EXPECT_TRUE(isInternal(filter));
    EXPECT_THAT(filed(filter), ElementsAre("color=a"));
    EXPECT_EQ(nameOf(filter), "Blur");
    EXPECT_EQ(asDynamicFilter(filter)->ioDesc.get(), nullptr);
    EXPECT_TRUE(manager().getDynamicFilter("warp").isInvalid());
}

TEST_F(FilterManagerFaultTest, leavesAFilterInternalWhenADescriptionThrows)
{
    const auto old = implementation("old", "Blur", "default_color");
    const auto first = importOne(old);
    const auto renewed = implementation("new", "Blur", "default_color");
    setNextVersion(old, renewed);
    const auto faulty = faultyImplementation("faulty", "Warp", "default_color");
    failAt(Operation::Description);

    EXPECT_THROW(import({renewed, faulty, implementation("c", "Noise", "default_color")}),
                 InjectedFault);

    const auto second = manager().getDynamicFilter("blur"); // settled before
    EXPECT_FALSE(isInternal(second));
    EXPECT_THAT(filed(second), ElementsAre("color=new"));
    EXPECT_TRUE(nextVersionOf(first).isInvalid()); // would be linked after
    const auto broken = manager().getDynamicFilter("warp");
    EXPECT_TRUE(isInternal(broken));
    EXPECT_THAT(filed(broken), ElementsAre("color=faulty"));
    EXPECT_EQ(nameOf(broken), "Warp");
    EXPECT_EQ(asDynamicFilter(broken)->ioDesc.get(), nullptr);
    const auto later = manager().getDynamicFilter("noise"); // would be settled after
    EXPECT_TRUE(isInternal(later));
    EXPECT_THAT(filed(later), ElementsAre("color=c"));
}

TEST_F(FilterManagerFaultTest, keepsTheOldDescriptionOutWhenALaterImplementationThrows)
{
    const auto a = faultyImplementation("a", "Blur", "default_color");
    const auto b = faultyImplementation("b", "Blur", "default_float");
    failAt(Operation::Description, 3); // the first implementation is asked twice

    EXPECT_THROW(import({a, b}), InjectedFault);

    const auto filter = manager().getDynamicFilter("blur");
    EXPECT_TRUE(isInternal(filter));
    EXPECT_THAT(filed(filter), ElementsAre("color=a", "float=b"));
    EXPECT_EQ(asDynamicFilter(filter)->ioDesc.get(), nullptr);
}

TEST_F(FilterManagerFaultTest, purgesAndListsNothingWhenAVariationTypeThrows)
{
    const auto kept = staticFilter("kept", "Blur", "default_float");
    manager().declareFilterDesc(descriptor("d", "Blur", {dangling(), kept}));
    const auto faulty = faultyFilter("faulty", "Blur", "default_color");
    failAt(Operation::VariationType);

    EXPECT_THROW(manager().registerFilterDescImpl("Blur", faulty), InjectedFault);

    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(kept));
    EXPECT_THAT(log.texts(), ElementsAre("cannot get asset [gone] in filter desc Blur"));
}

TEST_F(FilterManagerFaultTest, keepsANewDescriptorInTheTableWhenAVariationTypeThrows)
{
    const auto faulty = faultyFilter("faulty", "Blur", "default_color");
    failAt(Operation::VariationType);
    EXPECT_THROW(manager().registerFilterDescImpl("Blur", faulty), InjectedFault);

    manager().declareFilterDesc(descriptor("d", "blur", {staticFilter("one", "Blur")}));

    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
    EXPECT_EQ(log.messages().size(), 1U); // another one is declared already
}

TEST_F(FilterManagerFaultTest, listsNothingWhenTheVariationTypeOfAnEntryThrows)
{
    const auto listed = faultyFilter("listed", "Blur", "default_float");
    manager().registerFilterDescImpl("Blur", listed);
    const auto one = staticFilter("one", "Blur");
    failAt(Operation::VariationType);

    EXPECT_THROW(manager().registerFilterDescImpl("Blur", one), InjectedFault);

    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(listed));
    // The lock was released on the way out, and nothing stands in the way of another attempt.
    EXPECT_TRUE(manager().registerFilterDescImpl("Blur", one).isValid());
    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(listed, one));
}

TEST_F(FilterManagerFaultTest, keepsTheListWhenAnEntryCannotBeSuperseded)
{
    const auto one = staticFilter("one", "Blur", "default_color");
    const auto two = faultyFilter("two", "Blur", "default_float");
    const auto three = staticFilter("three", "Blur", "default_float3");
    for (const auto &each : {one, two, three})
        manager().registerFilterDescImpl("Blur", each);
    const auto dynamic = staticFilter("dyn", "Blur", "dynamic");
    failAt(Operation::Changing);

    EXPECT_THROW(manager().registerFilterDescImpl("Blur", dynamic), InjectedFault);

    EXPECT_THAT(manager().getFilterDescVariations("blur"), ElementsAre(one, two, three));
    EXPECT_EQ(nextVersionOf(one), dynamic);
    EXPECT_TRUE(nextVersionOf(two).isInvalid());
    EXPECT_TRUE(nextVersionOf(three).isInvalid());
}

TEST_F(FilterManagerFaultTest, storesTheLinksThatWereMadeBeforeAnEntryThrew)
{
    const auto one = staticFilter("one", "Blur", "default_color");
    const auto two = faultyFilter("two", "Blur", "default_float");
    for (const auto &each : {one, two})
        manager().registerFilterDescImpl("Blur", each);
    const auto dynamic = staticFilter("dyn", "Blur", "dynamic");
    failAt(Operation::Changing);
    EXPECT_THROW(manager().registerFilterDescImpl("Blur", dynamic), InjectedFault);

    restart();

    EXPECT_EQ(nextVersionOf(dangling("one")).id(), QByteArray("dyn"));
    EXPECT_TRUE(nextVersionOf(dangling("two")).isInvalid());
}

TEST_F(FilterManagerFaultTest, passesOnWhatAConcreteFilterThrowsWhenItsDynamicFilterIsSought)
{
    importOne(implementation("impl", "Blur", "default_color"));
    const auto faulty = faultyFilter("faulty", "Blur", "default_color");
    failAt(Operation::Category);
    EXPECT_THROW(manager().getDynamicFilterFromStaticFilter(faulty), InjectedFault);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerFaultTest, keepsADescriptorInTheTableWhenTheImplementationCannotBeRead)
{
    Assets::AssetWrite damaged;
    damaged.row.id = "damaged";
    damaged.row.className = FakeFilter::sTypeName;
    damaged.row.classVersion = 100;
    damaged.body = Assets::BodyRow{.data = "no body at all"};
    store.write({&damaged, 1});

    EXPECT_THROW(manager().registerFilterDescImpl("Blur", dangling("damaged")),
                 Exception::Data::SerializationException);

    log.clear();
    manager().declareFilterDesc(descriptor("d", "blur", {staticFilter("one", "Blur")}));
    EXPECT_EQ(log.messages().size(), 1U); // another one is declared already
    EXPECT_THAT(manager().getFilterDescVariations("blur"), IsEmpty());
}

} // namespace FilterBaseTesting
