#include "support/DatabaseFixture.h"

#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <assets/StoreError.h>
#include <support/RecordedLog.h>
#include <surfaces/Surface.h>
#include <vantbase/Exception.h>

#include <optional>
#include <thread>

namespace Tesk::Assets {

using BatchScope = AssetDatabaseService::BatchScope;
using Lifespan = AssetReference::Lifespan;

class BatchScopeTest : public DatabaseFixture
{
protected:
    bool isStored(const QByteArray &id) const
    {
        return store.loadRows(std::span(&id, 1)).front().has_value();
    }
};

TEST_P(BatchScopeTest, storesNothingBeforeItsCommitAndEverythingThen)
{
    BatchScope scope(*service);
    insertNote("a", "text", "Name");
    insertNote("b");
    EXPECT_FALSE(isStored("a"));
    EXPECT_NE(service->getAssetFromId("a"), nullptr);

    scope.commit();

    EXPECT_TRUE(isStored("a"));
    EXPECT_TRUE(isStored("b"));
    reopen();
    EXPECT_EQ(note("a")->text.get(), "text");
    EXPECT_EQ(AssetControl::getName(note("a")), "Name");
}

TEST_P(BatchScopeTest, storesEachOfManyAssetsWithItsOwnBody)
{
    static constexpr int sCount = 1000;
    const auto idOf = [](int number) {
        return "note" + QByteArray::number(number);
    };
    {
        BatchScope scope(*service);
        for (int number = 0; number < sCount; ++number)
            insertNote(idOf(number), QStringLiteral("text %1").arg(number))
                    ->friendReference.set(service->referenceFromId(idOf(sCount - number)));
        scope.commit();
    }
    {
        BatchScope scope(*service);
        for (int number = 0; number < sCount; number += 2)
            note(idOf(number))->text.set(QStringLiteral("new %1").arg(number));
        scope.commit();
    }

    reopen();

    for (int number = 0; number < sCount; ++number) {
        const QString word = number % 2 == 0 ? QStringLiteral("new") : QStringLiteral("text");
        ASSERT_EQ(note(idOf(number))->text.get(), QStringLiteral("%1 %2").arg(word).arg(number));
        ASSERT_EQ(note(idOf(number))->friendReference.get().id(), idOf(sCount - number));
    }
}

TEST_P(BatchScopeTest, storesNothingOfManyAssetsAndNamesTheFirstThatCannotBeEncoded)
{
    const QChar half(0xD800);
    BatchScope scope(*service);
    for (int number = 0; number < 1000; ++number)
        insertNote("note" + QByteArray::number(number));
    note("note300")->text.set(QStringLiteral("first") + half);
    note("note900")->text.set(QStringLiteral("second") + half);

    std::string message;
    try {
        scope.commit();
    } catch (const Exception::Data::SerializationException &error) {
        message = error.what();
    }

    EXPECT_EQ(message, "Malformed text: a lone surrogate at unit 5");
    EXPECT_FALSE(isStored("note0"));
    EXPECT_FALSE(isStored("note300"));
    EXPECT_EQ(service->getAssetFromId("note300"), nullptr);
}

TEST_P(BatchScopeTest, leftWithoutCommitLeavesNothingOfWhatItMade)
{
    AssetReference created;
    AssetReference internal;
    {
        const BatchScope scope(*service);
        created = insertNote("a")->ownReference();
        internal = service->createInternalAsset("{1}", NoteAsset::sTypeName, {})->ownReference();
    }

    EXPECT_EQ(created.asset(), nullptr);
    EXPECT_EQ(internal.asset(), nullptr);
    EXPECT_FALSE(isStored("a"));
    EXPECT_NE(insertNote("a"), nullptr); // the id is free again
}

TEST_P(BatchScopeTest, leftWithoutCommitPutsLiveAssetsBackToTheirStoredState)
{
    const auto asset = insertNote("a", "before", "Before");
    MetaDataControl::setMetaDataValue(asset->ownReference(), "key", "before");
    {
        const BatchScope scope(*service);
        asset->text.set("after");
        asset->dependencies.append(service->referenceFromId("x"));
        AssetControl::setName(asset, "After");
        MetaDataControl::setMetaDataValue(asset->ownReference(), "key", "after");
        MetaDataControl::setMetaDataValue(asset->ownReference(), "new", 1);
        CollectionControl::hideAsset(asset->ownReference());
        service->setThumbnail(asset->ownReference(),
                              Surfaces::Surface(QSize(1, 1), Surfaces::PixelFormat::Gray8, "a"));
    }

    EXPECT_EQ(service->getAssetFromId("a"), asset);
    EXPECT_EQ(asset->text.get(), "before");
    EXPECT_TRUE(asset->dependencies.empty());
    EXPECT_EQ(AssetControl::getName(asset), "Before");
    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "Before");
    EXPECT_EQ(MetaDataControl::getItem(asset->ownReference(), "key"), QVariant("before"));
    EXPECT_EQ(MetaDataControl::getItem(asset->ownReference(), "new"), std::nullopt);
    EXPECT_FALSE(CollectionControl::isHidden(asset->ownReference()));
    EXPECT_FALSE(service->getThumbnail(asset->ownReference()));
}

TEST_P(BatchScopeTest, saysWhichLiveAssetsWentBack)
{
    const auto asset = insertNote("a", "before");
    std::vector<AssetChange> seen;
    service->addChangeObserver(
            [&](const auto &changes) { seen.insert(seen.end(), changes.begin(), changes.end()); });
    {
        const BatchScope scope(*service);
        asset->text.set("after");
        insertNote("b");
        EXPECT_TRUE(seen.empty());
    }

    EXPECT_EQ(seen, (std::vector<AssetChange>{
                            {AssetChange::Kind::RolledBack, asset->ownReference(), false}}));
}

TEST_P(BatchScopeTest, leftWithoutCommitBringsRemovedAssetsBack)
{
    const auto asset = insertNote("a", "text");
    {
        const BatchScope scope(*service);
        EXPECT_TRUE(service->removeAsset(asset->ownReference()));
        EXPECT_EQ(asset->ownReference().asset(), nullptr);
        EXPECT_TRUE(service->findByType(NoteAsset::sTypeName).empty());
        insertNote("a", "other");
    }

    EXPECT_EQ(asset->ownReference().asset(), asset);
    EXPECT_EQ(asset->text.get(), "text");
}

TEST_P(BatchScopeTest, leftWithoutCommitForgetsWhatWasDoneToARemovedAsset)
{
    const auto asset = insertNote("a", "stored");
    {
        const BatchScope scope(*service);
        service->removeAsset(asset->ownReference());
        asset->text.set("kept by somebody");
    }

    EXPECT_EQ(asset->ownReference().asset(), asset);
    EXPECT_EQ(asset->text.get(), "stored");
}

TEST_P(BatchScopeTest, removesAndMakesTheSameIdInOneCommit)
{
    insertNote("a", "before");
    {
        BatchScope scope(*service);
        service->removeAsset(service->referenceFromId("a"));
        insertNote("a", "after");
        scope.commit();
    }

    EXPECT_EQ(note("a")->text.get(), "after");
    reopen();
    EXPECT_EQ(note("a")->text.get(), "after");
}

TEST_P(BatchScopeTest, makesAndRemovesWithoutATrace)
{
    BatchScope scope(*service);
    const AssetReference reference = insertNote("a")->ownReference();
    EXPECT_TRUE(service->removeAsset(reference));
    scope.commit();

    EXPECT_FALSE(isStored("a"));
    EXPECT_EQ(reference.asset(), nullptr);
}

TEST_P(BatchScopeTest, leftWithoutCommitMakesAPersistentAssetInternalAgain)
{
    const auto asset = std::dynamic_pointer_cast<NoteAsset>(
            service->createInternalAsset("{1}", NoteAsset::sTypeName, {}));
    asset->contentId = "content";
    {
        const BatchScope scope(*service);
        service->makeAssetPersistent(asset, nullptr);
        EXPECT_EQ(asset->ownReference().id(), QByteArray("content"));
    }

    EXPECT_EQ(asset->ownReference().id(), QByteArray("{1}"));
    EXPECT_EQ(asset->ownReference().lifespan(), Lifespan::Internal);
    EXPECT_EQ(asset->ownReference().asset(), asset);
    EXPECT_EQ(service->getAssetFromId("content"), nullptr);
    EXPECT_FALSE(isStored("content"));
}

TEST_P(BatchScopeTest, leftWithoutCommitMakesAnAssetInternalAgainThatKeptItsId)
{
    const auto asset = std::dynamic_pointer_cast<NoteAsset>(
            service->createInternalAsset("{1}", NoteAsset::sTypeName, {}));
    {
        const BatchScope scope(*service);
        service->makeAssetPersistent(asset, nullptr);
        EXPECT_EQ(asset->ownReference().lifespan(), Lifespan::Persistent);
        EXPECT_EQ(asset->ownReference().id(), QByteArray("{1}"));
    }

    EXPECT_EQ(asset->ownReference().lifespan(), Lifespan::Internal);
    EXPECT_EQ(asset->ownReference().asset(), asset);
    EXPECT_FALSE(isStored("{1}"));
}

// All but its fields, of which nothing is stored that they could go back to.
TEST_P(BatchScopeTest, leftWithoutCommitPutsInternalAssetsBack)
{
    const auto asset = std::dynamic_pointer_cast<NoteAsset>(
            service->createInternalAsset("{1}", NoteAsset::sTypeName, "Before"));
    const AssetReference reference = asset->ownReference();
    MetaDataControl::setMetaDataValue(reference, "key", "before");
    {
        const BatchScope scope(*service);
        asset->text.set("after");
        AssetControl::setName(asset, "After");
        MetaDataControl::setMetaDataValue(reference, "key", "after");
        CollectionControl::hideAsset(reference);
        service->setThumbnail(reference,
                              Surfaces::Surface(QSize(1, 1), Surfaces::PixelFormat::Gray8, "a"));
    }

    EXPECT_EQ(asset->text.get(), "after");
    EXPECT_EQ(AssetControl::getName(asset), "Before");
    EXPECT_EQ(service->getNameFromRef(reference), "Before");
    EXPECT_EQ(MetaDataControl::getItem(reference, "key"), QVariant("before"));
    EXPECT_FALSE(CollectionControl::isHidden(reference));
    EXPECT_FALSE(service->getThumbnail(reference));
}

TEST_P(BatchScopeTest, seesItsOwnChangesInEveryLookUp)
{
    const auto asset = insertNote("a", {}, "Before");
    const auto gone = insertNote("gone", {}, "Before");
    BatchScope scope(*service);
    AssetControl::setName(asset, "After");
    MetaDataControl::setMetaDataValue(asset->ownReference(), "key", 1);
    CollectionControl::hideAsset(asset->ownReference());
    service->removeAsset(gone->ownReference());
    const auto made = insertNote("new", {}, "After");

    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "After");
    EXPECT_EQ(MetaDataControl::getItem(asset->ownReference(), "key"), QVariant(1));
    EXPECT_EQ(MetaDataControl::getMetaData(asset->ownReference()).size(), 1U);
    EXPECT_EQ(AssetControl::getAssetMetadataItems({asset->ownReference()}, "key").front(),
              QVariant(1));
    EXPECT_TRUE(CollectionControl::isHidden(asset->ownReference()));
    EXPECT_EQ(service->getAssetFromId("gone"), nullptr);
    EXPECT_TRUE(service->getNameFromRef(gone->ownReference()).isNull());
    EXPECT_EQ(MetaDataControl::getItem(gone->ownReference(), "key"), std::nullopt);
    EXPECT_TRUE(service->findByName("Before").empty());
    EXPECT_THAT(service->findByName("after"),
                testing::UnorderedElementsAre(asset->ownReference(), made->ownReference()));
    EXPECT_THAT(service->findByType(NoteAsset::sTypeName),
                testing::UnorderedElementsAre(asset->ownReference(), made->ownReference()));
}

TEST_P(BatchScopeTest, isSeenByNoOtherProcessBeforeItsCommit)
{
    const auto other = openAnother();
    BatchScope scope(*service);
    insertNote("a");
    EXPECT_EQ(other->getAssetFromId("a"), nullptr);

    scope.commit();

    EXPECT_NE(other->getAssetFromId("a"), nullptr);
}

TEST_P(BatchScopeTest, insideAnotherScopeJoinsIt)
{
    {
        BatchScope outer(*service);
        {
            BatchScope inner(*service);
            insertNote("a");
            inner.commit();
        }
        EXPECT_FALSE(isStored("a"));
        outer.commit();
    }
    EXPECT_TRUE(isStored("a"));

    {
        const BatchScope outer(*service);
        BatchScope inner(*service);
        insertNote("b");
        inner.commit();
    }
    EXPECT_FALSE(isStored("b"));
}

TEST_P(BatchScopeTest, doomsTheOuterScopeWhenLeftWithoutCommit)
{
    const TestSupport::RecordedLog log;
    BatchScope outer(*service);
    insertNote("a");
    {
        const BatchScope inner(*service);
    }

    EXPECT_THROW(outer.commit(), Exception::RuntimeErrorException);

    EXPECT_THAT(log.texts(),
                testing::ElementsAre(
                        "Cannot commit the batch: a scope inside it was left without commit"));
    EXPECT_EQ(service->getAssetFromId("a"), nullptr);
    EXPECT_FALSE(isStored("a"));
}

TEST_P(BatchScopeTest, rollsBackAndSaysWhyWhenTheStoreRefuses)
{
    const TestSupport::RecordedLog log;
    const auto asset = insertNote("a", "before");
    const auto other = openAnother();
    std::dynamic_pointer_cast<NoteAsset>(other->getAssetFromId("a"))->text.set("theirs");
    BatchScope scope(*service);
    insertNote("b");
    asset->text.set("ours");

    try {
        scope.commit();
        FAIL() << "overwrote what somebody else stored";
    } catch (const StoreError &error) {
        EXPECT_EQ(error.code(), StoreError::Code::Changed);
        EXPECT_EQ(error.assetId(), QByteArray("a"));
    }

    EXPECT_EQ(service->getAssetFromId("b"), nullptr);
    EXPECT_EQ(asset->text.get(), "theirs");
}

TEST_P(BatchScopeTest, belongsToItsThreadAlone)
{
    BatchScope scope(*service);
    insertNote("ours");
    std::thread([&] {
        const auto asset = NoteAsset::make();
        service->insertAsset(asset, "theirs", {});
    }).join();

    EXPECT_TRUE(isStored("theirs"));
    EXPECT_FALSE(isStored("ours"));
    scope.commit();
    EXPECT_TRUE(isStored("ours"));
}

TEST_P(BatchScopeTest, takesAlongWhatAnotherThreadWritesOnAnAssetItMade)
{
    {
        BatchScope scope(*service);
        const AssetReference reference = insertNote("a")->ownReference();
        std::thread([&] { CollectionControl::hideAsset(reference); }).join();
        EXPECT_TRUE(CollectionControl::isHidden(reference));
        scope.commit();
    }

    reopen();
    EXPECT_TRUE(CollectionControl::isHidden(service->referenceFromId("a")));
}

TEST_P(BatchScopeTest, isHarmlessWhenTheDatabaseClosesUnderIt)
{
    const TestSupport::RecordedLog log;
    std::optional<BatchScope> scope;
    scope.emplace(*service);
    insertNote("a", "text")->text.set("more");

    service->close();
    EXPECT_THROW(scope->commit(), Exception::LogicErrorException);
    scope.reset();

    EXPECT_FALSE(isStored("a"));
}

TEST_P(BatchScopeTest, writesNothingWhenNothingWasWritten)
{
    const qint64 before = store.generation();
    BatchScope scope(*service);
    scope.commit();

    EXPECT_EQ(store.generation(), before);
}

TEST_P(BatchScopeTest, putsCollectionsBack)
{
    const auto list = collection("c");
    const AssetReference a = service->referenceFromId("a");
    const AssetReference b = service->referenceFromId("b");
    CollectionControl::appendAssetFromRef(list, a);
    {
        const BatchScope scope(*service);
        CollectionControl::appendAssetFromRef(list, b);
        CollectionControl::removeAsset(list, a);
        EXPECT_THAT(list->items(), testing::ElementsAre(b));
    }

    EXPECT_THAT(list->items(), testing::ElementsAre(a));
}

TEST_P(BatchScopeTest, givesAListTheOrderInWhichItWasStored)
{
    const auto list = collection("c");
    const AssetReference early = service->referenceFromId("early");
    const AssetReference late = service->referenceFromId("late");
    BatchScope scope(*service);
    CollectionControl::appendAssetFromRef(list, late);
    std::thread([&] { CollectionControl::appendAssetFromRef(list, early); }).join();

    scope.commit();

    EXPECT_THAT(list->items(), testing::ElementsAre(early, late));
    reopen();
    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(early, late));
}

TEST_P(BatchScopeTest, putsInternalCollectionsBackInTheirOrder)
{
    const auto list = std::dynamic_pointer_cast<CollectionAsset>(
            service->createInternalAsset("{c}", CollectionAsset::sTypeName, {}));
    const AssetReference a = service->referenceFromId("a");
    const AssetReference b = service->referenceFromId("b");
    CollectionControl::appendAssetFromRef(list, a);
    CollectionControl::appendAssetFromRef(list, b);
    {
        const BatchScope scope(*service);
        CollectionControl::removeAsset(list, a);
        CollectionControl::appendAssetFromRef(list, service->referenceFromId("x"));
    }

    EXPECT_THAT(list->items(), testing::ElementsAre(a, b));
}

TEST_P(BatchScopeTest, leavesTheNameThatWasStoredLast)
{
    const auto asset = insertNote("a", "text", "Before");
    const auto renameElsewhere = [&] {
        std::thread([&] { AssetControl::setName(asset, "Elsewhere"); }).join();
    };
    {
        BatchScope scope(*service);
        AssetControl::setName(asset, "Here");
        renameElsewhere();
        scope.commit();
    }
    EXPECT_EQ(AssetControl::getName(asset), "Here");
    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "Here");
    {
        const BatchScope scope(*service);
        AssetControl::setName(asset, "Given up");
        renameElsewhere();
    }
    EXPECT_EQ(AssetControl::getName(asset), "Elsewhere");
    asset->text.set("a body, which is stored with the name");

    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "Elsewhere");
    reopen();
    EXPECT_EQ(AssetControl::getName(note("a")), "Elsewhere");
}

TEST_P(BatchScopeTest, bringsNothingBackIntoADatabaseThatIsClosed)
{
    const auto asset = insertNote("a", "text");
    const AssetReference reference = asset->ownReference();
    std::optional<BatchScope> scope;
    scope.emplace(*service);
    service->removeAsset(reference);
    service->close();

    scope.reset();

    EXPECT_EQ(reference.asset(), nullptr);
    EXPECT_EQ(asset.use_count(), 1); // nothing holds it any more
    service = openAnother();
    EXPECT_NE(reference.asset(), nullptr);
    EXPECT_NE(reference.asset(), asset);
}

ASSETS_FOR_EVERY_STORE(BatchScopeTest);

} // namespace Tesk::Assets
