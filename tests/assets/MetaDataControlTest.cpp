#include "support/DatabaseFixture.h"

#include <assets/MetaDataControl.h>
#include <assets/StoreError.h>
#include <support/RecordedLog.h>

#include <QPoint>

#include <span>
#include <vector>

namespace Tesk::Assets {

class MetaDataControlTest : public DatabaseFixture
{
};

TEST_P(MetaDataControlTest, tellsAbsentFromPresentButEmpty)
{
    const AssetReference reference = insertNote("a")->ownReference();

    EXPECT_TRUE(MetaDataControl::setMetaDataValue(reference, "empty", QString("")));

    EXPECT_EQ(MetaDataControl::getItem(reference, "empty"), QVariant(QString("")));
    EXPECT_EQ(MetaDataControl::getItem(reference, "absent"), std::nullopt);
    EXPECT_TRUE(AssetControl::getAssetMetadataItem(reference, "empty").isValid());
    EXPECT_FALSE(AssetControl::getAssetMetadataItem(reference, "absent").isValid());
}

TEST_P(MetaDataControlTest, keepsValueTypeAndAccessibilityAcrossReopening)
{
    const AssetReference reference = insertNote("a")->ownReference();
    MetaDataControl::setMetaDataValue(reference, "flag", true, Accessibility::Public,
                                      MetaDataItem::Boolean);
    MetaDataControl::setMetaDataValue(reference, "text", "value", Accessibility::Private,
                                      MetaDataItem::Text);

    reopen();

    const MetaData stored = MetaDataControl::getMetaData(reference);
    EXPECT_EQ(stored.size(), 2U);
    EXPECT_EQ(*stored.find("flag"),
              (MetaDataItem{true, MetaDataItem::Boolean, Accessibility::Public}));
    EXPECT_EQ(*stored.find("text"),
              (MetaDataItem{"value", MetaDataItem::Text, Accessibility::Private}));
}

TEST_P(MetaDataControlTest, writesOnInternalAssets)
{
    const auto asset = service->createInternalAsset("{1}", NoteAsset::sTypeName, {});

    EXPECT_TRUE(MetaDataControl::setMetaDataValue(asset->ownReference(), "key", "value"));

    EXPECT_EQ(MetaDataControl::getItem(asset->ownReference(), "key"), QVariant("value"));
    EXPECT_TRUE(MetaDataControl::removeItem(asset->ownReference(), "key"));
    EXPECT_EQ(MetaDataControl::getItem(asset->ownReference(), "key"), std::nullopt);
}

TEST_P(MetaDataControlTest, writesNothingForWhatDoesNotExist)
{
    EXPECT_FALSE(MetaDataControl::setMetaDataValue(AssetReference(), "key", 1));
    EXPECT_FALSE(MetaDataControl::setMetaDataValue(service->referenceFromId("no"), "key", 1));
    EXPECT_TRUE(MetaDataControl::getMetaData(service->referenceFromId("no")).empty());
    EXPECT_EQ(MetaDataControl::getItem(AssetReference(), "key"), std::nullopt);
}

TEST_P(MetaDataControlTest, saysWhetherAnItemWasThereToRemove)
{
    const AssetReference reference = insertNote("a")->ownReference();
    MetaDataControl::setMetaDataValue(reference, "key", 1);

    EXPECT_TRUE(MetaDataControl::removeItem(reference, "key"));
    EXPECT_FALSE(MetaDataControl::removeItem(reference, "key"));
    reopen();
    EXPECT_EQ(MetaDataControl::getItem(reference, "key"), std::nullopt);
}

TEST_P(MetaDataControlTest, refusesAValueThatNoStoreTakesOnInternalAssetsToo)
{
    const TestSupport::RecordedLog log;
    const auto asset = service->createInternalAsset("{1}", NoteAsset::sTypeName, {});

    EXPECT_THROW(MetaDataControl::setMetaDataValue(asset->ownReference(), "key", QPoint(1, 2)),
                 StoreError);
    EXPECT_EQ(MetaDataControl::getItem(asset->ownReference(), "key"), std::nullopt);
}

TEST_P(MetaDataControlTest, readsOneItemOfManyAssetsInOrder)
{
    const AssetReference stored = insertNote("a")->ownReference();
    const auto internal = service->createInternalAsset("{1}", NoteAsset::sTypeName, {});
    MetaDataControl::setMetaDataValue(stored, "key", "stored");
    MetaDataControl::setMetaDataValue(internal->ownReference(), "key", "internal");

    const std::vector<QVariant> values =
            AssetControl::getAssetMetadataItems({internal->ownReference(), AssetReference(),
                                                 service->referenceFromId("no"), stored, stored},
                                                "key");

    EXPECT_THAT(values, testing::ElementsAre(QVariant("internal"), QVariant(), QVariant(),
                                             QVariant("stored"), QVariant("stored")));
}

// Metadata that are kept at hand for a job.
class MetaDataKeeperTest : public DatabaseFixture
{
protected:
    void storeFromOutside(const QByteArray &id, const QVariant &value)
    {
        const MetaWrite write{id, MetaRow{"key", MetaDataItem::Text, 0, value}};
        store.setMetaData({&write, 1});
    }

    static QVariant item(const AssetReference &reference)
    {
        return AssetControl::getAssetMetadataItem(reference, "key");
    }
};

TEST_P(MetaDataKeeperTest, readsTheStoreOnceForAllItems)
{
    const AssetReference a = insertNote("a")->ownReference();
    const AssetReference b = insertNote("b")->ownReference();
    storeFromOutside("a", "first");
    storeFromOutside("b", "first");
    {
        const AssetDatabaseService::MetaDataKeeper keeper(*service, std::span(&a, 1));
        storeFromOutside("a", "second");
        storeFromOutside("b", "second");

        EXPECT_EQ(item(a), QVariant("first"));
        EXPECT_EQ(MetaDataControl::getItem(a, "other"), std::nullopt);
        EXPECT_EQ(item(b), QVariant("second"));
    }
    EXPECT_EQ(item(a), QVariant("second"));
}

TEST_P(MetaDataKeeperTest, showsWhatIsWrittenMeanwhile)
{
    const AssetReference reference = insertNote("a")->ownReference();
    MetaDataControl::setMetaDataValue(reference, "key", "before");
    const AssetDatabaseService::MetaDataKeeper keeper(*service, std::span(&reference, 1));

    MetaDataControl::setMetaDataValue(reference, "key", "written");

    EXPECT_EQ(item(reference), QVariant("written"));
    MetaDataControl::removeItem(reference, "key");
    EXPECT_EQ(item(reference), QVariant());
}

TEST_P(MetaDataKeeperTest, showsWhatAScopeWritesAndAfterItsRollbackWhatIsStored)
{
    const AssetReference reference = insertNote("a")->ownReference();
    MetaDataControl::setMetaDataValue(reference, "key", "before");
    const AssetDatabaseService::MetaDataKeeper keeper(*service, std::span(&reference, 1));
    {
        const AssetDatabaseService::BatchScope scope(*service);
        MetaDataControl::setMetaDataValue(reference, "key", "written");
        EXPECT_EQ(item(reference), QVariant("written"));
    }
    EXPECT_EQ(item(reference), QVariant("before"));
}

TEST_P(MetaDataKeeperTest, showsTheMetadataOfAnAssetThatIsMadeOrRemovedMeanwhile)
{
    const AssetReference gone = insertNote("gone")->ownReference();
    MetaDataControl::setMetaDataValue(gone, "key", "value");
    const std::vector<AssetReference> kept{gone, service->referenceFromId("new")};
    const AssetDatabaseService::MetaDataKeeper keeper(*service, kept);
    MetaData metaData;
    metaData.set("key", "of the new one", MetaDataItem::Text);

    service->removeAsset(gone);
    service->insertAsset(NoteAsset::make(), "new", {}, metaData);

    EXPECT_EQ(item(gone), QVariant());
    EXPECT_EQ(item(kept[1]), QVariant("of the new one"));
}

TEST_P(MetaDataKeeperTest, showsWhatARefreshBringsIn)
{
    const AssetReference reference = insertNote("a")->ownReference();
    const AssetDatabaseService::MetaDataKeeper keeper(*service, std::span(&reference, 1));
    storeFromOutside("a", "from outside");

    service->refresh();

    EXPECT_EQ(item(reference), QVariant("from outside"));
}

TEST_P(MetaDataKeeperTest, leavesWhatAnOuterOneKeeps)
{
    const AssetReference reference = insertNote("a")->ownReference();
    storeFromOutside("a", "first");
    const AssetDatabaseService::MetaDataKeeper outer(*service, std::span(&reference, 1));
    {
        const AssetDatabaseService::MetaDataKeeper inner(*service, std::span(&reference, 1));
    }
    storeFromOutside("a", "second");

    EXPECT_EQ(item(reference), QVariant("first"));
}

TEST_P(MetaDataKeeperTest, keepsNothingOfAnAssetThatIsNotStored)
{
    const auto internal = service->createInternalAsset("{1}", NoteAsset::sTypeName, {});
    const AssetReference reference = internal->ownReference();
    const AssetDatabaseService::MetaDataKeeper keeper(*service, std::span(&reference, 1));

    MetaDataControl::setMetaDataValue(reference, "key", "value");

    EXPECT_EQ(item(reference), QVariant("value"));
    service->makeAssetPersistent(internal, nullptr);
    EXPECT_EQ(item(internal->ownReference()), QVariant("value"));
}

ASSETS_FOR_EVERY_STORE(MetaDataControlTest);
ASSETS_FOR_EVERY_STORE(MetaDataKeeperTest);

} // namespace Tesk::Assets
