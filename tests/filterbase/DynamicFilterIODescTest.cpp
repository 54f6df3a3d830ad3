#include <filterbase/DynamicFilterAsset.h>

#include "support/FilterDatabase.h"
#include "support/ObservedIODesc.h"
#include "support/Stored.h"

#include <data/Document.h>
#include <data/Serialization.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::FakeFilter;
using FilterBaseTesting::identifiersOf;
using FilterBaseTesting::ObservedIODesc;
using FilterBaseTesting::recordOf;
using RenderableBase::RenderableIODesc;
using RenderableBase::ResolutionPolicy;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using TestSupport::isLogMessage;
using TestSupport::placeIs;

using Table = std::map<unsigned int, unsigned int>;

class DynamicFilterIODescTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    /// Files an implementation with those parameters under a type.
    std::shared_ptr<FakeFilter> type(const char *key, const std::vector<const char *> &identifiers,
                                     unsigned int firstUid = 1)
    {
        auto implementation = filter(QByteArray("impl-") + key);
        implementation->description = descriptionOf(identifiers, firstUid);
        dynamic->types.insert(QString::fromUtf8(key), recordOf(implementation->ownReference()));
        return implementation;
    }

    std::shared_ptr<FakeFilter> usage(const char *key, const std::vector<const char *> &identifiers,
                                      unsigned int firstUid = 1)
    {
        auto implementation = filter(QByteArray("usage-") + key);
        implementation->description = descriptionOf(identifiers, firstUid);
        dynamic->usages.insert(QString::fromUtf8(key), recordOf(implementation->ownReference()));
        return implementation;
    }

    std::vector<std::string> merged()
    {
        dynamic->generateIODesc();
        return identifiersOf(*dynamic->ioDesc.get());
    }

    ImplementationInfo &typeRecord(const char *key) const
    {
        return *dynamic->types.find(QString::fromUtf8(key))->second;
    }

    static Table tableOf(const ImplementationInfo &info)
    {
        return {info.paramUidCorrespondance.begin(), info.paramUidCorrespondance.end()};
    }

    std::string noDescription(const Assets::AssetReference &reference) const
    {
        return "The implementation " + reference.debugInfo().toStdString()
               + " is not an AssetWithIO, cannot generate IODesc for dynamic filter "
               + dynamic->ownReference().debugInfo().toStdString();
    }

    std::shared_ptr<DynamicFilterAsset> dynamic = dynamicFilter();
};

TEST_F(DynamicFilterIODescTest, staysWithoutDescriptionWhileThereAreNoImplementations)
{
    dynamic->generateIODesc();

    EXPECT_EQ(dynamic->ioDesc.get(), nullptr);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DynamicFilterIODescTest, handsOutANewEmptyDescriptionEachTimeWhereThereIsNone)
{
    const auto first = dynamic->getIODesc({});
    const auto second = dynamic->getIODesc({});

    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_TRUE(first->parameters.empty());
    EXPECT_TRUE(first->outputs.empty());
    EXPECT_EQ(first->parent(), nullptr);
    EXPECT_EQ(dynamic->ioDesc.get(), nullptr);
}

TEST_F(DynamicFilterIODescTest, handsOutTheDescriptionItHoldsWhateverTheTweaks)
{
    const auto description = descriptionOf({"a"});
    dynamic->ioDesc.set(description);

    EXPECT_EQ(dynamic->getIODesc({}), description);
    EXPECT_EQ(dynamic->getIODesc({{1, 0.5}}), description);
}

TEST_F(DynamicFilterIODescTest, copiesTheDescriptionOfTheFirstType)
{
    const auto first = type("a", {"x", "y"}, 7);
    const auto output = std::make_shared<RenderableBase::OutputDesc>();
    output->identifier.set(QStringLiteral("out"));
    std::const_pointer_cast<RenderableIODesc>(first->description)->outputs.append(output);
    usage("0", {"z"});
    type("b", {});

    EXPECT_THAT(merged(), ElementsAre("z", "x", "y"));

    const auto result = dynamic->ioDesc.get();
    EXPECT_NE(result, first->description);
    EXPECT_EQ(result->parent(), nullptr);
    EXPECT_NE(result->parameters.at(1), first->description->parameters.at(0));
    EXPECT_EQ(result->parameters.at(1)->uid.get(), 7U);
    ASSERT_EQ(result->outputs.size(), 1);
    EXPECT_EQ(result->outputs.at(0)->identifier.get(), QStringLiteral("out"));
    EXPECT_EQ(first->description->parameters.size(), 2);
    EXPECT_THAT(first->lastTweaks, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DynamicFilterIODescTest, copiesTheDescriptionOfTheFirstUsageWhereThereAreNoTypes)
{
    const auto second = usage("b", {"y"});
    const auto first = usage("a", {"x"});

    EXPECT_THAT(merged(), ElementsAre("y", "x"));
    EXPECT_NE(dynamic->ioDesc.get()->parameters.at(1), first->description->parameters.at(0));
    EXPECT_EQ(dynamic->ioDesc.get()->parameters.at(0), second->description->parameters.at(0));
}

TEST_F(DynamicFilterIODescTest, insertsBehindThePredecessorOrAtTheFront)
{
    type("1", {"a", "b", "c"});
    type("2", {"a", "x", "c", "y"});
    EXPECT_THAT(merged(), ElementsAre("a", "x", "b", "c", "y"));

    type("3", {"z", "b"});
    EXPECT_THAT(merged(), ElementsAre("z", "a", "x", "b", "c", "y"));

    type("4", {"w", "q"});
    EXPECT_THAT(merged(), ElementsAre("w", "q", "z", "a", "x", "b", "c", "y"));
}

TEST_F(DynamicFilterIODescTest, equalsTheFirstDescriptionWhereAllHaveTheSameParameters)
{
    type("1", {"a", "b"}, 10);
    type("2", {"b", "a"}, 20);

    EXPECT_THAT(merged(), ElementsAre("a", "b"));
    EXPECT_EQ(tableOf(typeRecord("1")), (Table{{10, 10}, {11, 11}}));
    EXPECT_EQ(tableOf(typeRecord("2")), (Table{{10, 21}, {11, 20}}));
}

TEST_F(DynamicFilterIODescTest, insertsTheParameterObjectsOfTheImplementation)
{
    type("1", {"a"}, 10);
    const auto second = type("2", {"b"}, 10);

    merged();

    EXPECT_EQ(dynamic->ioDesc.get()->parameters.at(0), second->description->parameters.at(0));
}

TEST_F(DynamicFilterIODescTest, keepsUidsThatTwoParametersShare)
{
    type("1", {"a"}, 5);
    type("2", {"b"}, 5);

    EXPECT_THAT(merged(), ElementsAre("b", "a"));
    EXPECT_EQ(dynamic->ioDesc.get()->parameters.at(0)->uid.get(), 5U);
    EXPECT_EQ(dynamic->ioDesc.get()->parameters.at(1)->uid.get(), 5U);
    EXPECT_EQ(tableOf(typeRecord("1")), (Table{{5, 5}}));
    EXPECT_EQ(tableOf(typeRecord("2")), (Table{{5, 5}}));
}

// Both have the parameters under one merged uid: the later one of the list is entered last.
TEST_F(DynamicFilterIODescTest, translatesASharedUidToTheLaterParameterOfTheList)
{
    type("1", {"a"}, 5);
    type("2", {"b"}, 5);
    type("3", {"a", "b"}, 8);
    merged(); // "b", "a": "a" of the third has uid 8

    EXPECT_EQ(tableOf(typeRecord("3")), (Table{{5, 8}}));
}

TEST_F(DynamicFilterIODescTest, tellsIdentifiersApartCaseByCase)
{
    type("1", {"a"});
    type("2", {"a", "A"});

    EXPECT_THAT(merged(), ElementsAre("a", "A"));
}

TEST_F(DynamicFilterIODescTest, countsTheFirstOfTwoParametersWithOneIdentifier)
{
    type("1", {"a", "b"}, 1);
    type("2", {"x", "x", "y"}, 10);

    EXPECT_THAT(merged(), ElementsAre("x", "y", "a", "b"));
    EXPECT_EQ(tableOf(typeRecord("2")), (Table{{10, 10}, {12, 12}}));
}

TEST_F(DynamicFilterIODescTest, keepsAnIdentifierThatTheFirstDescriptionHasTwice)
{
    type("1", {"a", "a", "b"}, 1);
    type("2", {"a", "c"}, 10);

    EXPECT_THAT(merged(), ElementsAre("a", "c", "a", "b"));
    EXPECT_EQ(tableOf(typeRecord("1")), (Table{{1, 1}, {2, 1}, {3, 3}}));
    EXPECT_EQ(tableOf(typeRecord("2")), (Table{{1, 10}, {2, 10}, {11, 11}}));
}

TEST_F(DynamicFilterIODescTest, correctsStaleEntriesOfAUidTableAndRemovesNone)
{
    type("1", {"a", "b"}, 1);
    typeRecord("1").paramUidCorrespondance.insert(1, 99);
    typeRecord("1").paramUidCorrespondance.insert(77, 78);

    merged();

    EXPECT_EQ(tableOf(typeRecord("1")), (Table{{1, 1}, {2, 2}, {77, 78}}));
}

TEST_F(DynamicFilterIODescTest, translatesTweaksAfterwards)
{
    type("1", {"a", "b"}, 1);
    type("2", {"b", "c"}, 1);
    merged(); // a 1, b 2, c 2

    EXPECT_EQ(typeRecord("2").getImplementationTweaks({{1, 0.1}, {2, 0.2}}), (TweakMap{{2, 0.2}}));
}

TEST_F(DynamicFilterIODescTest, givesUpWhereTheFirstImplementationHasNoDescription)
{
    const auto before = descriptionOf({"old"});
    dynamic->ioDesc.set(before);
    dynamic->types.insert(QStringLiteral("a"), recordOf(plainAsset("plain")->ownReference()));
    const auto second = type("b", {"x"});

    dynamic->generateIODesc();

    EXPECT_EQ(dynamic->ioDesc.get(), before);
    EXPECT_THAT(second->answers.calls, IsEmpty());
    EXPECT_TRUE(typeRecord("b").paramUidCorrespondance.empty());
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, noDescription(dangling("plain")))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("DynamicFilterAsset.cpp",
                        "Tesk::FilterBase::DynamicFilterAsset::generateIODesc()"));
}

TEST_F(DynamicFilterIODescTest, skipsALaterImplementationWithoutDescription)
{
    type("a", {"x"}, 1);
    dynamic->types.insert(QStringLiteral("b"), recordOf(plainAsset("plain")->ownReference()));
    dynamic->types.insert(QStringLiteral("c"), recordOf(dangling()));
    dynamic->types.insert(QStringLiteral("d"), recordOf({}));
    usage("e", {"x", "y"}, 5);

    EXPECT_THAT(merged(), ElementsAre("x", "y"));
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, noDescription(dangling("plain"))),
                                            isLogMessage(2, 1, noDescription(dangling())),
                                            isLogMessage(2, 1, noDescription({}))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("DynamicFilterAsset.cpp",
                        "Tesk::FilterBase::DynamicFilterAsset::generateIODesc()"));
}

TEST_F(DynamicFilterIODescTest, replacesTheDescriptionAndLeavesTheOldOneToItsHolders)
{
    type("a", {"x"});
    merged();
    const auto before = dynamic->getIODesc({});
    type("b", {"x", "y"});

    merged();

    EXPECT_NE(dynamic->ioDesc.get(), before);
    EXPECT_THAT(identifiersOf(*before), ElementsAre("x"));
}

TEST_F(DynamicFilterIODescTest, buildsTheLookUpOfTheMergedDescription)
{
    type("a", {"x"}, 3);
    const auto second = type("b", {"y"}, 4);

    merged();

    EXPECT_EQ(dynamic->ioDesc.get()->parameterByIdentifier(QStringLiteral("y")),
              second->description->parameters.at(0));
    EXPECT_EQ(dynamic->ioDesc.get()->parameterByUid(3)->identifier.get(), QStringLiteral("x"));
}

// Only a look-up that was built before does not see a name that is written past it.
TEST_F(DynamicFilterIODescTest, leavesTheMergedDescriptionWithItsLookUpInPlace)
{
    type("a", {"x"}, 3);
    type("b", {"y"}, 4);
    merged();
    const auto description = dynamic->ioDesc.get();

    for (const auto &parameter : description->parameters)
        parameter->identifier.set(QStringLiteral("new"));

    EXPECT_NE(description->parameterByIdentifier(QStringLiteral("x")), nullptr);
    EXPECT_NE(description->parameterByIdentifier(QStringLiteral("y")), nullptr);
    EXPECT_EQ(description->parameterByIdentifier(QStringLiteral("new")), nullptr);
}

TEST_F(DynamicFilterIODescTest, announcesEachInsertionToADescriptionThatListens)
{
    ObservedIODesc::registerClass();
    const auto observed = std::make_shared<ObservedIODesc>();
    observed->parameters.assign(descriptionOf({"a", "b"})->parameters.values());
    type("1", {})->description = observed;
    type("2", {"z", "a", "x", "b", "y"});
    ObservedIODesc::events().clear();
    ObservedIODesc::sizes().clear();

    EXPECT_THAT(merged(), ElementsAre("z", "a", "x", "b", "y"));

    EXPECT_NE(dynamic_cast<ObservedIODesc *>(dynamic->ioDesc.get().get()), nullptr);
    EXPECT_THAT(ObservedIODesc::events(), ElementsAre(Pair(0, 0), Pair(1, 0), Pair(0, 2),
                                                      Pair(1, 2), Pair(0, 4), Pair(1, 4)));
    EXPECT_THAT(ObservedIODesc::sizes(), ElementsAre(2, 3, 3, 4, 4, 5));
}

TEST_F(DynamicFilterIODescTest, movesADescriptionMadeByAWorkerToItsOwnThread)
{
    type("a", {"x"});
    std::thread([this] { dynamic->generateIODesc(); }).join();

    EXPECT_EQ(dynamic->ioDesc.get()->thread(), QThread::currentThread());
    EXPECT_EQ(dynamic->ioDesc.get()->parameters.at(0)->thread(), QThread::currentThread());
}

TEST_F(DynamicFilterIODescTest, movesADescriptionReadByAWorkerToItsOwnThread)
{
    dynamic->ioDesc.set(descriptionOf({"x"}));
    const QByteArray bytes = FilterBaseTesting::stored(*dynamic);
    const auto read = dynamicFilter("read");
    std::thread([&] { FilterBaseTesting::readStored(bytes, *read); }).join();

    EXPECT_EQ(read->ioDesc.get()->thread(), QThread::currentThread());
    EXPECT_EQ(read->ioDesc.get()->parameters.at(0)->thread(), QThread::currentThread());
}

TEST_F(DynamicFilterIODescTest, generatesADescriptionWhenNoneWasStored)
{
    type("a", {"x"}, 3);

    dynamic->onLoadedFromDisk();

    ASSERT_NE(dynamic->ioDesc.get(), nullptr);
    EXPECT_THAT(identifiersOf(*dynamic->ioDesc.get()), ElementsAre("x"));
}

TEST_F(DynamicFilterIODescTest, leavesAStoredDescriptionAsItIs)
{
    const auto implementation = type("a", {"x"}, 3);
    const auto stored = descriptionOf({"old"});
    dynamic->ioDesc.set(stored);

    dynamic->onLoadedFromDisk();

    EXPECT_EQ(dynamic->ioDesc.get(), stored);
    EXPECT_THAT(implementation->answers.calls, IsEmpty());
    EXPECT_TRUE(typeRecord("a").paramUidCorrespondance.empty());
}

TEST_F(DynamicFilterIODescTest, takesTheFirstAnswerThatChangesThePolicy)
{
    std::vector<std::shared_ptr<FakeFilter>> implementations = {type("a", {}), type("b", {}),
                                                                usage("a", {}), usage("b", {})};
    dynamic->types.insert(QStringLiteral("0"), recordOf(plainAsset("plain")->ownReference()));
    dynamic->types.insert(QStringLiteral("1"), recordOf(dangling()));
    EXPECT_EQ(dynamic->actualResolutionPolicy(ResolutionPolicy::Inherited),
              ResolutionPolicy::Inherited);

    implementations[1]->policy = [](ResolutionPolicy requested) {
        return requested == ResolutionPolicy::Inherited ? ResolutionPolicy::Fixed : requested;
    };
    implementations[2]->policy = [](ResolutionPolicy) {
        return ResolutionPolicy::FromInput;
    };
    implementations[3]->answers.calls.clear();

    EXPECT_EQ(dynamic->actualResolutionPolicy(ResolutionPolicy::Inherited),
              ResolutionPolicy::Fixed);
    EXPECT_EQ(dynamic->actualResolutionPolicy(ResolutionPolicy::Fixed),
              ResolutionPolicy::FromInput);
    EXPECT_EQ(dynamic->actualResolutionPolicy(ResolutionPolicy::FromInput),
              ResolutionPolicy::FromInput);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DynamicFilterIODescTest, asksNobodyAfterThePolicyHasChanged)
{
    type("a", {})->policy = [](ResolutionPolicy) {
        return ResolutionPolicy::Fixed;
    };
    const auto second = type("b", {});

    dynamic->actualResolutionPolicy(ResolutionPolicy::Inherited);

    EXPECT_THAT(second->answers.calls, IsEmpty());
}

TEST_F(DynamicFilterIODescTest, isCustomizableUnlessAUsageSetsTheOutputSize)
{
    EXPECT_TRUE(dynamic->resolutionPolicyIsCustomizable());
    type("output_size", {});
    usage("Output_size", {});
    EXPECT_TRUE(dynamic->resolutionPolicyIsCustomizable());
    usage("output_size", {});
    EXPECT_FALSE(dynamic->resolutionPolicyIsCustomizable());
}

} // namespace Tesk::FilterBase
