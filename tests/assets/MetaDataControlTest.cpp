#include "support/DatabaseFixture.h"

#include <assets/MetaDataControl.h>
#include <assets/StoreError.h>
#include <support/RecordedLog.h>

#include <QPoint>

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

ASSETS_FOR_EVERY_STORE(MetaDataControlTest);

} // namespace Tesk::Assets
