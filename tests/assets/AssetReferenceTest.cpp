#include "support/DatabaseFixture.h"

#include <assets/MemoryStore.h>
#include <data/Document.h>
#include <data/Serialization.h>
#include <vantbase/ServiceLocator.h>

#include <unordered_set>

namespace Tesk::Assets {

class AssetReferenceTest : public DatabaseFixture
{
};

TEST_P(AssetReferenceTest, isNullAndInvalidWhenDefaultConstructed)
{
    const AssetReference reference;

    EXPECT_FALSE(reference.isValid());
    EXPECT_TRUE(reference.isInvalid());
    EXPECT_EQ(reference.asset(), nullptr);
    EXPECT_EQ(reference.id(), QByteArray());
    EXPECT_EQ(reference.debugInfo(), QStringLiteral("<null reference>"));
    EXPECT_EQ(reference, AssetReference());
}

TEST_P(AssetReferenceTest, isValidButResolvesToNullWhenNothingHasTheId)
{
    const AssetReference reference = service->referenceFromId("nobody");

    EXPECT_TRUE(reference.isValid());
    EXPECT_EQ(reference.asset(), nullptr);
    EXPECT_EQ(reference.debugInfo(), QStringLiteral("[nobody]"));
}

TEST_P(AssetReferenceTest, resolvesToTheSameObjectForEveryone)
{
    const auto asset = insertNote("a", "text", "Name");

    EXPECT_EQ(asset->ownReference().asset(), asset);
    EXPECT_EQ(service->referenceFromId("a").asset(), asset);
    EXPECT_EQ(service->getAssetFromId("a"), asset);
    EXPECT_EQ(asset->ownReference().debugInfo(), QStringLiteral("\"Name\" [a]"));
}

TEST_P(AssetReferenceTest, staysValidAndResolvesToNullAfterRemoval)
{
    const AssetReference reference = insertNote("a")->ownReference();

    EXPECT_TRUE(service->removeAsset(reference));

    EXPECT_TRUE(reference.isValid());
    EXPECT_EQ(reference.asset(), nullptr);
    EXPECT_EQ(service->getAssetFromId("a"), nullptr);
    EXPECT_FALSE(service->removeAsset(reference));
}

TEST_P(AssetReferenceTest, resolvesToNullAfterTheDatabaseClosed)
{
    const AssetReference reference = insertNote("a")->ownReference();

    service->close();

    EXPECT_TRUE(reference.isValid());
    EXPECT_EQ(reference.id(), QByteArray("a"));
    EXPECT_EQ(reference.asset(), nullptr);
}

TEST_P(AssetReferenceTest, resolvesAgainWhenTheSameStoreIsOpenedAgain)
{
    const AssetReference reference = insertNote("a", "text")->ownReference();

    reopen();

    ASSERT_NE(reference.asset(), nullptr);
    EXPECT_EQ(std::dynamic_pointer_cast<NoteAsset>(reference.asset())->text.get(), "text");
}

TEST_P(AssetReferenceTest, comparesAndHashesByTheBytesOfTheIdAlone)
{
    const auto other = AssetDatabaseService::open(std::make_unique<MemoryStore>());
    const AssetReference here = service->referenceFromId("a");
    const AssetReference there = other->referenceFromId("a");

    EXPECT_EQ(here, there);
    EXPECT_EQ(std::hash<AssetReference>()(here), std::hash<AssetReference>()(there));
    EXPECT_EQ(qHash(here), qHash(there));
    EXPECT_NE(here, service->referenceFromId("A"));
    EXPECT_NE(here, AssetReference());
    EXPECT_LT(AssetReference(), here);
    EXPECT_LT(here, other->referenceFromId("b"));
    EXPECT_FALSE(here < there);
    EXPECT_EQ((std::unordered_set<AssetReference>{here, there}).size(), 1U);
}

TEST_P(AssetReferenceTest, keepsTheExactBytesOfAnId)
{
    const QByteArray id("\x00\xff"
                        "b",
                        3);

    EXPECT_EQ(service->referenceFromId(id).id(), id);
    EXPECT_NE(service->referenceFromId(id), service->referenceFromId(id.left(2)));
}

TEST_P(AssetReferenceTest, isAMetaTypeThatVariantsHold)
{
    const AssetReference reference = service->referenceFromId("a");

    const QVariant variant = QVariant::fromValue(reference);

    EXPECT_STREQ(variant.typeName(), "Tesk::Assets::AssetReference");
    EXPECT_EQ(variant.value<AssetReference>(), reference);
}

TEST_P(AssetReferenceTest, isWrittenAsTheBytesOfItsIdAndReadThroughTheService)
{
    VantBase::ServiceLocator::instance().registerService(AssetDatabaseService::typeId(), service);
    const Data::Serialization::Document document;
    Data::Serialization::Node node = document.root().addObject("reference");

    Data::Serialization::serializeToNode(node, service->referenceFromId("a"));
    AssetReference read;
    Data::Serialization::deserializeFromNode(node, read);
    VantBase::ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());

    EXPECT_EQ(node.toBytes(), QByteArray("a"));
    EXPECT_EQ(read, service->referenceFromId("a"));
}

TEST_P(AssetReferenceTest, isReadAsNullFromNoBytes)
{
    const Data::Serialization::Document document;
    Data::Serialization::Node node = document.root().addObject("reference");
    Data::Serialization::serializeToNode(node, AssetReference());
    AssetReference read = service->referenceFromId("a");

    Data::Serialization::deserializeFromNode(node, read);

    EXPECT_EQ(read, AssetReference());
}

TEST_P(AssetReferenceTest, findsManyIdsAfterTheTableGrew)
{
    std::vector<AssetReference> references;
    for (int number = 0; number < 5000; ++number)
        references.push_back(service->referenceFromId("id" + QByteArray::number(number)));

    for (int number = 0; number < 5000; ++number) {
        const QByteArray id = "id" + QByteArray::number(number);
        ASSERT_EQ(references[static_cast<std::size_t>(number)].id(), id);
        ASSERT_EQ(service->referenceFromId(id).record(),
                  references[static_cast<std::size_t>(number)].record());
    }
}

ASSETS_FOR_EVERY_STORE(AssetReferenceTest);

} // namespace Tesk::Assets
