#include "support/DatabaseFixture.h"

#include <assets/AssetControl.h>
#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <assets/StoreError.h>
#include <data/ClassRegistry.h>
#include <support/DeferredDeletes.h>
#include <support/RecordedLog.h>
#include <surfaces/Surface.h>
#include <vantbase/Exception.h>
#include <vantbase/TypeId.h>

namespace Tesk::Assets {

using Lifespan = AssetReference::Lifespan;
using Status = AssetDatabaseService::Status;

class AssetDatabaseServiceTest : public DatabaseFixture
{
};

TEST_P(AssetDatabaseServiceTest, isFoundByTheHashOfItsClassName)
{
    EXPECT_EQ(AssetDatabaseService::typeId(),
              VantBase::typeIdOf("Tesk::Assets::AssetDatabaseService"));
}

// --- getOrCreateReferenceForInternalAsset

TEST_P(AssetDatabaseServiceTest, createsAnEmptyStoredAssetForAnUnknownId)
{
    Status status = Status::Existing;

    const AssetReference reference =
            service->getOrCreateReferenceForInternalAsset("a", NoteAsset::sTypeName, &status);

    EXPECT_EQ(status, Status::Created);
    EXPECT_EQ(reference.lifespan(), Lifespan::Persistent);
    ASSERT_NE(reference.asset(), nullptr);
    EXPECT_EQ(reference.asset()->ownReference(), reference);
    EXPECT_TRUE(AssetControl::getName(reference.asset()).isNull());
}

TEST_P(AssetDatabaseServiceTest, returnsWhatHasTheIdWhateverItsClass)
{
    const auto asset = insertNote("a", {}, "Name");
    Status status = Status::Created;

    const AssetReference reference =
            service->getOrCreateReferenceForInternalAsset("a", CollectionAsset::sTypeName, &status);

    EXPECT_EQ(status, Status::Existing);
    EXPECT_EQ(reference.asset(), asset);
    EXPECT_EQ(AssetControl::getName(asset), "Name");
}

TEST_P(AssetDatabaseServiceTest, findsACreatedButNeverFilledAssetAgainAfterReopening)
{
    service->getOrCreateReferenceForInternalAsset("a", NoteAsset::sTypeName);

    reopen();

    EXPECT_NE(note("a"), nullptr);
}

TEST_P(AssetDatabaseServiceTest, givesANullReferenceForAnUnknownType)
{
    Status status = Status::Existing;

    const AssetReference reference =
            service->getOrCreateReferenceForInternalAsset("a", "Nobody::Knows", &status);

    EXPECT_EQ(status, Status::UnknownType);
    EXPECT_TRUE(reference.isInvalid());
}

TEST_P(AssetDatabaseServiceTest, givesAValidReferenceWithoutAssetWhenTheTypeHasNoFactory)
{
    AssetDatabaseService::registerAssetType("Tesk::Assets::WithoutFactory");
    Status status = Status::Existing;

    const AssetReference reference = service->getOrCreateReferenceForInternalAsset(
            "a", "Tesk::Assets::WithoutFactory", &status);

    EXPECT_EQ(status, Status::NotCreatable);
    EXPECT_TRUE(reference.isValid());
    EXPECT_EQ(reference.asset(), nullptr);
}

TEST_P(AssetDatabaseServiceTest, givesANullReferenceForAnEmptyId)
{
    Status status = Status::Existing;

    EXPECT_TRUE(service->getOrCreateReferenceForInternalAsset({}, NoteAsset::sTypeName, &status)
                        .isInvalid());
    EXPECT_EQ(status, Status::InvalidId);
}

TEST_P(AssetDatabaseServiceTest, keepsAnAssetAliveThatOnlyAReferenceWasKeptOf)
{
    const AssetReference reference =
            service->getOrCreateReferenceForInternalAsset("a", NoteAsset::sTypeName);
    TestSupport::drainDeferredDeletes();

    EXPECT_NE(reference.asset(), nullptr);
}

// --- internal assets

TEST_P(AssetDatabaseServiceTest, makesInternalAssetsOfThisSessionOnly)
{
    const auto asset = service->createInternalAsset("{1}", NoteAsset::sTypeName, "Name");
    ASSERT_NE(asset, nullptr);
    EXPECT_EQ(asset->ownReference().lifespan(), Lifespan::Internal);
    EXPECT_EQ(service->getAssetFromId("{1}"), asset);
    EXPECT_EQ(AssetControl::getName(asset), "Name");
    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "Name");

    reopen();

    EXPECT_EQ(service->getAssetFromId("{1}"), nullptr);
    EXPECT_EQ(service->statistics().storedAssets, 0U);
}

TEST_P(AssetDatabaseServiceTest, leavesAnInternalAssetWithANullNameUnnamed)
{
    const auto asset = service->createInternalAsset("{1}", NoteAsset::sTypeName, QString());

    EXPECT_TRUE(AssetControl::getName(asset).isNull());
}

TEST_P(AssetDatabaseServiceTest, makesNoInternalAssetOfAnUnknownTypeAndSaysSo)
{
    const TestSupport::RecordedLog log;

    EXPECT_EQ(service->createInternalAsset("{1}", "Nobody::Knows", {}), nullptr);
    EXPECT_THAT(log.messages(),
                testing::ElementsAre(TestSupport::isLogMessage(
                        3, 1,
                        "cannot make an asset of type \"Nobody::Knows\": the type is not "
                        "registered, or has no factory")));
}

TEST_P(AssetDatabaseServiceTest, refusesAnInternalAssetUnderATakenId)
{
    const TestSupport::RecordedLog log;
    insertNote("a");

    EXPECT_THROW(service->createInternalAsset("a", NoteAsset::sTypeName, {}),
                 Exception::InvalidArgumentException);
    reopen();
    EXPECT_THROW(service->createInternalAsset("a", NoteAsset::sTypeName, {}),
                 Exception::InvalidArgumentException);
}

// --- making persistent

class MakeAssetPersistentTest : public DatabaseFixture
{
protected:
    std::shared_ptr<NoteAsset> internalNote()
    {
        auto asset = std::dynamic_pointer_cast<NoteAsset>(
                service->createInternalAsset("{1}", NoteAsset::sTypeName, "Name"));
        asset->contentId = "content";
        return asset;
    }
};

TEST_P(MakeAssetPersistentTest, filesTheAssetUnderItsContentId)
{
    const auto asset = internalNote();
    asset->text.set("text");

    service->makeAssetPersistent(asset, nullptr);

    EXPECT_EQ(asset->ownReference().id(), QByteArray("content"));
    EXPECT_EQ(asset->ownReference().lifespan(), Lifespan::Persistent);
    EXPECT_EQ(service->getAssetFromId("content"), asset);
    reopen();
    ASSERT_NE(note("content"), nullptr);
    EXPECT_EQ(note("content")->text.get(), "text");
    EXPECT_EQ(AssetControl::getName(note("content")), "Name");
}

TEST_P(MakeAssetPersistentTest, doesNotFindAnInternalAssetByItsContentId)
{
    const auto asset = internalNote();

    EXPECT_EQ(service->getAssetFromId(asset->generateId()), nullptr);
}

TEST_P(MakeAssetPersistentTest, letsTheOldReferenceResolveButNotCompareEqual)
{
    const auto asset = internalNote();
    const AssetReference before = asset->ownReference();

    service->makeAssetPersistent(asset, nullptr);

    EXPECT_EQ(before.asset(), asset);
    EXPECT_EQ(service->getAssetFromId("{1}"), asset);
    EXPECT_NE(before, asset->ownReference());
    EXPECT_EQ(before.id(), QByteArray("{1}"));
    reopen();
    EXPECT_EQ(before.asset(), nullptr);
    EXPECT_EQ(service->getAssetFromId("{1}"), nullptr);
}

TEST_P(MakeAssetPersistentTest, keepsMetadataAndVisibilityWrittenBefore)
{
    const auto asset = internalNote();
    asset->initial.set("from asset", 1, MetaDataItem::Integer);
    asset->initial.set("both", "of the asset", MetaDataItem::Text);
    MetaDataControl::setMetaDataValue(asset->ownReference(), "both", "written");
    CollectionControl::hideAsset(asset->ownReference());

    service->makeAssetPersistent(asset, nullptr);
    reopen();

    const AssetReference reference = service->referenceFromId("content");
    EXPECT_EQ(MetaDataControl::getItem(reference, "both"), QVariant("written"));
    EXPECT_EQ(MetaDataControl::getItem(reference, "from asset"), QVariant(1));
    EXPECT_TRUE(CollectionControl::isHidden(reference));
}

TEST_P(MakeAssetPersistentTest, prefersTheMetadataThatIsPassed)
{
    const auto asset = internalNote();
    MetaDataControl::setMetaDataValue(asset->ownReference(), "key", "written");
    const auto metaData = std::make_shared<MetaData>();
    metaData->set("key", "passed", MetaDataItem::Text);

    service->makeAssetPersistent(asset, metaData);
    reopen();

    EXPECT_EQ(MetaDataControl::getItem(service->referenceFromId("content"), "key"),
              QVariant("passed"));
}

TEST_P(MakeAssetPersistentTest, keepsTheIdOfAnAssetWithoutContentId)
{
    const auto asset = internalNote();
    asset->contentId.clear();
    const AssetReference before = asset->ownReference();

    service->makeAssetPersistent(asset, nullptr);

    EXPECT_EQ(asset->ownReference(), before);
    EXPECT_EQ(before.lifespan(), Lifespan::Persistent);
    reopen();
    EXPECT_NE(note("{1}"), nullptr);
}

TEST_P(MakeAssetPersistentTest, refusesAContentIdThatIsTaken)
{
    const TestSupport::RecordedLog log;
    insertNote("content");
    const auto asset = internalNote();

    EXPECT_THROW(service->makeAssetPersistent(asset, nullptr), Exception::InvalidArgumentException);

    EXPECT_EQ(asset->ownReference().lifespan(), Lifespan::Internal);
    EXPECT_THAT(log.texts(), testing::ElementsAre("Cannot make [{1}] persistent: the id "
                                                  "[content] is taken"));
}

TEST_P(MakeAssetPersistentTest, onlyAddsMetadataToAnAssetThatIsPersistent)
{
    const auto asset = insertNote("a");
    const auto metaData = std::make_shared<MetaData>();
    metaData->set("key", "value", MetaDataItem::Text);

    service->makeAssetPersistent(asset, metaData);
    reopen();

    EXPECT_EQ(MetaDataControl::getItem(service->referenceFromId("a"), "key"), QVariant("value"));
}

TEST_P(MakeAssetPersistentTest, storesItemsOfAnInternalCollection)
{
    const auto asset = std::dynamic_pointer_cast<CollectionAsset>(
            service->createInternalAsset("c", CollectionAsset::sTypeName, {}));
    CollectionControl::appendAssetFromRef(asset, service->referenceFromId("x"));

    service->makeAssetPersistent(asset, nullptr);
    reopen();

    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(service->referenceFromId("x")));
}

// --- inserting

TEST_P(AssetDatabaseServiceTest, storesAnInsertedAssetWithNameFieldsAndMetadata)
{
    const auto asset = NoteAsset::make();
    asset->text.set("text");
    asset->initial.set("own", true, MetaDataItem::Boolean);
    MetaData metaData;
    metaData.set("given", "value", MetaDataItem::Text, Accessibility::Private);

    const AssetReference reference = service->insertAsset(asset, "a", "Name", metaData);
    reopen();

    EXPECT_EQ(reference.id(), QByteArray("a"));
    ASSERT_NE(note("a"), nullptr);
    EXPECT_NE(note("a"), asset);
    EXPECT_EQ(note("a")->text.get(), "text");
    EXPECT_EQ(AssetControl::getName(note("a")), "Name");
    MetaData expected = metaData;
    expected.set("own", true, MetaDataItem::Boolean);
    EXPECT_EQ(MetaDataControl::getMetaData(reference), expected);
}

TEST_P(AssetDatabaseServiceTest, refusesToInsertWhatCannotBeFiled)
{
    const TestSupport::RecordedLog log;
    const auto asset = insertNote("a");

    EXPECT_THROW(service->insertAsset(nullptr, "x", {}), Exception::InvalidArgumentException);
    EXPECT_THROW(service->insertAsset(NoteAsset::make(), {}, {}),
                 Exception::InvalidArgumentException);
    EXPECT_THROW(service->insertAsset(asset, "b", {}), Exception::InvalidArgumentException);
    EXPECT_THROW(service->insertAsset(NoteAsset::make(), "a", {}),
                 Exception::InvalidArgumentException);
    EXPECT_EQ(service->statistics().storedAssets, 1U);
}

TEST_P(AssetDatabaseServiceTest, storesManyInsertedAssetsEachWithItsOwnNameFieldsAndMetadata)
{
    std::vector<AssetDatabaseService::NewAsset> assets;
    for (const char *const word : {"a", "b", "c"}) {
        const auto asset = NoteAsset::make();
        asset->text.set(QStringLiteral("text of ") + word);
        asset->initial.set("own", QString(word), MetaDataItem::Text);
        MetaData metaData;
        metaData.set("given", QString(word), MetaDataItem::Text);
        assets.push_back({asset, word, QStringLiteral("Name of ") + word, metaData});
    }

    service->insertAssets(assets);

    EXPECT_EQ(note("b"), assets[1].asset);
    reopen();
    for (const char *const word : {"a", "b", "c"}) {
        ASSERT_NE(note(word), nullptr);
        EXPECT_EQ(note(word)->text.get(), QStringLiteral("text of ") + word);
        EXPECT_EQ(AssetControl::getName(note(word)), QStringLiteral("Name of ") + word);
        const MetaData metaData = MetaDataControl::getMetaData(note(word)->ownReference());
        EXPECT_EQ(metaData.value("own"), QVariant(QString(word)));
        EXPECT_EQ(metaData.value("given"), QVariant(QString(word)));
    }
}

TEST_P(AssetDatabaseServiceTest, filesNoneOfManyAssetsWhenOneIsRefused)
{
    const TestSupport::RecordedLog log;
    insertNote("taken");
    reopen(); // only the store knows it now
    const auto twice = NoteAsset::make();
    const auto refuses = [&](const std::vector<AssetDatabaseService::NewAsset> &assets) {
        EXPECT_THROW(service->insertAssets(assets), Exception::InvalidArgumentException);
    };

    refuses({{NoteAsset::make(), "x", {}, {}}, {NoteAsset::make(), "taken", {}, {}}});
    refuses({{NoteAsset::make(), "x", {}, {}}, {NoteAsset::make(), "x", {}, {}}});
    refuses({{twice, "x", {}, {}}, {twice, "y", {}, {}}});

    EXPECT_EQ(service->getAssetFromId("x"), nullptr);
    EXPECT_EQ(service->statistics().storedAssets, 1U);
    service->insertAssets({});
    EXPECT_NE(insertNote("x"), nullptr); // the id is free
}

TEST_P(AssetDatabaseServiceTest, makesAnIdAnewThatTheSameScopeRemoved)
{
    insertNote("a", "old");
    reopen();
    AssetDatabaseService::BatchScope scope(*service);
    EXPECT_TRUE(service->removeAsset(service->referenceFromId("a")));
    const auto asset = NoteAsset::make();
    asset->text.set("new");
    const AssetDatabaseService::NewAsset again{asset, "a", {}, {}};

    service->insertAssets({&again, 1});
    scope.commit();

    reopen();
    EXPECT_EQ(note("a")->text.get(), "new");
}

TEST_P(AssetDatabaseServiceTest, filesNothingUnderTheIdThatStandsForNullItems)
{
    const TestSupport::RecordedLog log;
    const QByteArray zero(1, '\0');
    Status status = Status::Existing;
    const auto internal = std::dynamic_pointer_cast<NoteAsset>(
            service->createInternalAsset("{1}", NoteAsset::sTypeName, {}));
    internal->contentId = zero;

    EXPECT_THROW(insertNote(zero), Exception::InvalidArgumentException);
    EXPECT_THROW(service->createInternalAsset(zero, NoteAsset::sTypeName, {}),
                 Exception::InvalidArgumentException);
    EXPECT_THROW(service->makeAssetPersistent(internal, nullptr),
                 Exception::InvalidArgumentException);
    EXPECT_TRUE(service->getOrCreateReferenceForInternalAsset(zero, NoteAsset::sTypeName, &status)
                        .isInvalid());
    EXPECT_EQ(status, Status::InvalidId);
}

TEST_P(AssetDatabaseServiceTest, storesAChangedFieldAtOnce)
{
    const auto asset = insertNote("a");

    asset->text.set("changed");
    asset->dependencies.append(service->referenceFromId("other"));
    reopen();

    EXPECT_EQ(note("a")->text.get(), "changed");
    EXPECT_THAT(note("a")->dependencies.values(),
                testing::ElementsAre(service->referenceFromId("other")));
}

TEST_P(AssetDatabaseServiceTest, givesAnIdAgainAfterRemovalAndTheOldObjectIsOutOfIt)
{
    const auto removed = insertNote("a", "removed");
    service->removeAsset(removed->ownReference());
    const auto asset = insertNote("a", "new");

    removed->text.set("late change");

    EXPECT_EQ(removed->ownReference().asset(), asset);
    reopen();
    EXPECT_EQ(note("a")->text.get(), "new");
}

// --- finding

TEST_P(AssetDatabaseServiceTest, findsByTypeStoredAndInternalAssets)
{
    insertNote("a");
    service->createInternalAsset("{1}", NoteAsset::sTypeName, {});
    collection("c");

    EXPECT_THAT(service->findByType(NoteAsset::sTypeName),
                testing::UnorderedElementsAre(service->referenceFromId("a"),
                                              service->referenceFromId("{1}")));
}

TEST_P(AssetDatabaseServiceTest, findsByTypeWhatWasStoredUnderAnOldNameOfTheClass)
{
    Data::ClassRegistry::declareClassNameAlias("Tesk::Assets::OldNote", NoteAsset::sTypeName);
    AssetWrite write;
    write.row.id = "old";
    write.row.className = "Tesk::Assets::OldNote";
    store.write(std::span(&write, 1));
    insertNote("new");
    const auto both = testing::UnorderedElementsAre(service->referenceFromId("old"),
                                                    service->referenceFromId("new"));

    EXPECT_THAT(service->findByType(NoteAsset::sTypeName), both);
    EXPECT_THAT(service->findByType("Tesk::Assets::OldNote"), both);
    note("old")->text.set("written under the name of today");
    EXPECT_THAT(service->findByType(NoteAsset::sTypeName), both);
}

TEST_P(AssetDatabaseServiceTest, findsByNameInAnyLetterCase)
{
    insertNote("a", {}, "Straße");
    insertNote("b", {}, "STRAßE");
    insertNote("c", {}, "other");

    EXPECT_THAT(service->findByName("straße"),
                testing::UnorderedElementsAre(service->referenceFromId("a"),
                                              service->referenceFromId("b")));
}

TEST_P(AssetDatabaseServiceTest, visitsAllStoredAssetsUntilTheVisitorHasEnough)
{
    for (const char *id : {"a", "b", "c"})
        insertNote(id, {}, QString::fromLatin1(id).toUpper());
    std::vector<QString> seen;

    service->forEachAsset(
            [&](const AssetReference &reference, const QString &typeName, const QString &name) {
                seen.push_back(QString::fromUtf8(reference.id()) + name);
                EXPECT_EQ(typeName, NoteAsset::sTypeName);
                return seen.size() < 2;
            });

    EXPECT_THAT(seen, testing::ElementsAre("aA", "bB"));
}

TEST_P(AssetDatabaseServiceTest, seesWhatAnotherProcessStoredAtOnce)
{
    const auto other = openAnother();
    EXPECT_EQ(service->getAssetFromId("a"), nullptr);
    const AssetReference early = service->referenceFromId("a");

    other->insertAsset(NoteAsset::make(), "a", "Name");

    EXPECT_NE(early.asset(), nullptr);
    EXPECT_NE(service->getAssetFromId("a"), nullptr);
    EXPECT_EQ(service->getNameFromRef(early), "Name");
}

// --- the two names

TEST_P(AssetDatabaseServiceTest, givesTheAssetsOfManyReferencesInTheirOrder)
{
    insertNote("a", "of a", "A");
    insertNote("b", "of b", "B");
    const auto list = collection("list");
    for (const char *id : {"b", "nobody", "a"})
        CollectionControl::appendAssetFromRef(list, service->referenceFromId(id));
    reopen();
    std::vector<AssetReference> wanted = collection("list")->items();
    wanted.emplace_back();
    wanted.push_back(wanted.front());

    const std::vector<std::shared_ptr<Asset>> found = service->getAssets(wanted);

    EXPECT_THAT(found, testing::ElementsAre(note("b"), nullptr, note("a"), nullptr, note("b")));
    EXPECT_TRUE(note("a")->isShell());
    EXPECT_EQ(AssetControl::getName(note("a")), "A");
    EXPECT_EQ(note("b")->text.get(), "of b");
}

TEST_P(AssetDatabaseServiceTest, givesNoneOfManyAssetsThatAnotherProcessRemovedMeanwhile)
{
    insertNote("a");
    insertNote("b");
    const auto list = collection("list");
    CollectionControl::appendAssetFromRef(list, service->referenceFromId("a"));
    CollectionControl::appendAssetFromRef(list, service->referenceFromId("b"));
    reopen();
    const std::vector<AssetReference> items = collection("list")->items();
    const AssetRemoval removal{"a", {}};
    store.remove({&removal, 1});

    EXPECT_THAT(service->getAssets(items), testing::ElementsAre(nullptr, note("b")));
}

TEST_P(AssetDatabaseServiceTest, givesNoAssetsForReferencesOnceClosed)
{
    const AssetReference reference = insertNote("a")->ownReference();
    service->close();

    EXPECT_THAT(service->getAssets({&reference, 1}), testing::ElementsAre(nullptr));
}

TEST_P(AssetDatabaseServiceTest, keepsTheRecordedNameApartFromTheAssetsOwn)
{
    const auto asset = insertNote("a", {}, "Own");

    service->setNameOfRef(asset->ownReference(), "Recorded");

    EXPECT_EQ(AssetControl::getName(asset), "Own");
    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "Recorded");
    AssetControl::setName(asset, "Both");
    EXPECT_EQ(AssetControl::getName(asset), "Both");
    EXPECT_EQ(service->getNameFromRef(asset->ownReference()), "Both");
    reopen();
    EXPECT_EQ(AssetControl::getName(note("a")), "Both");
}

TEST_P(AssetDatabaseServiceTest, givesANullNameForWhatItDoesNotKnow)
{
    EXPECT_TRUE(service->getNameFromRef(AssetReference()).isNull());
    EXPECT_TRUE(service->getNameFromRef(service->referenceFromId("nobody")).isNull());
}

// --- thumbnails

TEST_P(AssetDatabaseServiceTest, keepsThumbnails)
{
    const Surfaces::Surface surface(QSize(1, 2), Surfaces::PixelFormat::Gray8, "ab");
    const AssetReference reference = insertNote("a")->ownReference();
    EXPECT_FALSE(service->getThumbnail(reference));

    service->setThumbnail(reference, surface);
    reopen();

    EXPECT_EQ(service->getThumbnail(reference), surface);
    EXPECT_TRUE(service->removeThumbnail(reference));
    EXPECT_FALSE(service->removeThumbnail(reference));
    EXPECT_FALSE(service->getThumbnail(reference));
}

TEST_P(AssetDatabaseServiceTest, keepsTheThumbnailOfAnAssetThatBecomesPersistent)
{
    const Surfaces::Surface surface(QSize(1, 2), Surfaces::PixelFormat::Gray8, "ab");
    const auto asset = service->createInternalAsset("{1}", NoteAsset::sTypeName, {});
    service->setThumbnail(asset->ownReference(), surface);

    service->makeAssetPersistent(asset, nullptr);
    reopen();

    EXPECT_EQ(service->getThumbnail(service->referenceFromId("{1}")), surface);
}

// --- a closed database

TEST_P(AssetDatabaseServiceTest, refusesWritesAndAnswersReadsWithNothingOnceClosed)
{
    const TestSupport::RecordedLog log;
    const auto asset = insertNote("a", {}, "Name");
    const AssetReference reference = asset->ownReference();
    service->close();

    EXPECT_FALSE(service->isOpen());
    EXPECT_EQ(service->getAssetFromId("a"), nullptr);
    EXPECT_TRUE(service->getNameFromRef(reference).isNull());
    EXPECT_THROW(service->createInternalAsset("{1}", NoteAsset::sTypeName, {}),
                 Exception::LogicErrorException);
    EXPECT_FALSE(MetaDataControl::setMetaDataValue(reference, "key", "value"));
    asset->text.set("changed"); // out of any database now
    EXPECT_EQ(asset->text.get(), "changed");
}

// --- observers

TEST_P(AssetDatabaseServiceTest, tellsObserversWhatWasStored)
{
    using Kind = AssetChange::Kind;
    std::vector<std::pair<Kind, QByteArray>> seen;
    const std::size_t observer = service->addChangeObserver([&](const auto &changes) {
        for (const AssetChange &change : changes)
            seen.emplace_back(change.kind, change.reference.id());
    });

    const auto asset = insertNote("a");
    asset->text.set("text");
    asset->text.set("text");
    AssetControl::setName(asset, "Name");
    CollectionControl::hideAsset(asset->ownReference());
    CollectionControl::hideAsset(asset->ownReference());
    MetaDataControl::setMetaDataValue(asset->ownReference(), "key", 1);
    CollectionControl::appendAssetFromRef(collection("c"), asset->ownReference());
    service->removeAsset(asset->ownReference());
    service->removeChangeObserver(observer);
    insertNote("b");

    EXPECT_THAT(seen,
                testing::ElementsAre(
                        std::pair(Kind::Created, "a"), std::pair(Kind::ContentChanged, "a"),
                        std::pair(Kind::Renamed, "a"), std::pair(Kind::VisibilityChanged, "a"),
                        std::pair(Kind::MetaDataChanged, "a"), std::pair(Kind::Created, "c"),
                        std::pair(Kind::ItemsChanged, "c"), std::pair(Kind::Removed, "a")));
}

TEST_P(AssetDatabaseServiceTest, countsWhatItHolds)
{
    insertNote("a");
    insertNote("b");
    reopen();
    service->createInternalAsset("{1}", NoteAsset::sTypeName, {});
    note("a")->text.get();
    note("b");

    const DatabaseStatistics figures = service->statistics();

    EXPECT_EQ(figures.storedAssets, 2U);
    EXPECT_EQ(figures.internalAssets, 1U);
    EXPECT_EQ(figures.liveAssets, 3U);
    EXPECT_EQ(figures.shells, 1U);
    EXPECT_EQ(figures.knownIds, 3U);
    EXPECT_GT(figures.recordBytes, 0U);
}

ASSETS_FOR_EVERY_STORE(AssetDatabaseServiceTest);
ASSETS_FOR_EVERY_STORE(MakeAssetPersistentTest);

} // namespace Tesk::Assets
