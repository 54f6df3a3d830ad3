#include "support/DatabaseFixture.h"

#include <assets/CollectionControl.h>

namespace Tesk::Assets {

class CollectionTest : public DatabaseFixture
{
protected:
    AssetReference ref(const QByteArray &id) const { return service->referenceFromId(id); }
};

TEST_P(CollectionTest, isAnAssetOfItsOwnCategory)
{
    const auto list = collection("c");

    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->typeName(), "Tesk::Assets::CollectionAsset");
    EXPECT_EQ(list->category(), "collection");
    EXPECT_TRUE(list->getSourceFileUrl().isEmpty());
    EXPECT_TRUE(list->getSourceFileUrls().empty());
    EXPECT_EQ(list->getEmbeddedThumbnail({}).get(), nullptr);
}

TEST_P(CollectionTest, keepsTheOrderOfItsItemsAcrossReopening)
{
    for (const char *id : {"z", "a", "m"})
        CollectionControl::appendAssetFromRef(collection("c"), ref(id));

    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(ref("z"), ref("a"), ref("m")));
    reopen();
    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(ref("z"), ref("a"), ref("m")));
}

TEST_P(CollectionTest, refusesASecondEntryOfTheSameIdSilently)
{
    const auto list = collection("c");
    CollectionControl::appendAssetFromRef(list, ref("a"));
    const qint64 before = store.generation();

    CollectionControl::appendAssetFromRef(list, ref("a"));

    EXPECT_EQ(list->itemCount(), 1);
    EXPECT_EQ(store.generation(), before);
}

TEST_P(CollectionTest, doesNothingWhenWhatIsRemovedIsNotThere)
{
    const auto list = collection("c");
    CollectionControl::appendAssetFromRef(list, ref("a"));
    const qint64 before = store.generation();

    CollectionControl::removeAsset(list, ref("b"));
    CollectionControl::removeAsset(list, AssetReference());
    CollectionControl::removeAsset(nullptr, ref("a"));

    EXPECT_THAT(list->items(), testing::ElementsAre(ref("a")));
    EXPECT_EQ(store.generation(), before);
}

TEST_P(CollectionTest, forgetsARemovedItem)
{
    const auto list = collection("c");
    for (const char *id : {"a", "b", "c"})
        CollectionControl::appendAssetFromRef(list, ref(id));

    CollectionControl::removeAsset(list, ref("b"));

    EXPECT_FALSE(list->contains(ref("b")));
    reopen();
    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(ref("a"), ref("c")));
}

TEST_P(CollectionTest, holdsNullReferencesAndIdsThatNameNothing)
{
    CollectionControl::appendAssetFromRef(collection("c"), AssetReference());
    CollectionControl::appendAssetFromRef(collection("c"), ref("nobody"));
    reopen();

    const auto items = collection("c")->items();

    ASSERT_EQ(items.size(), 2U);
    EXPECT_TRUE(items[0].isInvalid());
    EXPECT_TRUE(items[1].isValid());
    EXPECT_EQ(items[1].asset(), nullptr);
}

TEST_P(CollectionTest, keepsARemovedAssetAsADanglingItem)
{
    const auto list = collection("c");
    CollectionControl::appendAssetFromRef(list, insertNote("a")->ownReference());

    service->removeAsset(ref("a"));

    EXPECT_THAT(list->items(), testing::ElementsAre(ref("a")));
    EXPECT_EQ(list->items().front().asset(), nullptr);
}

TEST_P(CollectionTest, makesShellsOfItsItemsWithoutReadingABody)
{
    insertNote("a", "text", "Name");
    CollectionControl::appendAssetFromRef(collection("c"), ref("a"));
    reopen();

    const auto item =
            std::dynamic_pointer_cast<NoteAsset>(collection("c")->items().front().asset());

    ASSERT_NE(item, nullptr);
    EXPECT_TRUE(item->isShell());
    EXPECT_EQ(AssetControl::getName(item), "Name");
    EXPECT_EQ(item->loads, 0);
}

// --- visibility

TEST_P(CollectionTest, hidesAndShowsWhatIsInNoCollection)
{
    const AssetReference reference = insertNote("a")->ownReference();
    EXPECT_FALSE(CollectionControl::isHidden(reference));

    CollectionControl::hideAsset(reference);
    reopen();

    EXPECT_TRUE(CollectionControl::isHidden(reference));
    CollectionControl::showAsset(reference);
    reopen();
    EXPECT_FALSE(CollectionControl::isHidden(reference));
}

TEST_P(CollectionTest, changesNoListByHiding)
{
    const AssetReference reference = insertNote("a")->ownReference();
    CollectionControl::appendAssetFromRef(collection("c"), reference);

    CollectionControl::hideAsset(reference);

    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(reference));
}

TEST_P(CollectionTest, writesNothingWhenWhatIsHiddenIsHiddenAgain)
{
    const AssetReference reference = insertNote("a")->ownReference();
    CollectionControl::showAsset(reference);
    CollectionControl::hideAsset(reference);
    const qint64 before = store.generation();

    CollectionControl::hideAsset(reference);

    EXPECT_EQ(store.generation(), before);
    EXPECT_TRUE(CollectionControl::isHidden(reference));
}

TEST_P(CollectionTest, hidesInternalAssetsAndShellsWithoutReadingThem)
{
    insertNote("a");
    reopen();
    const auto shell = note("a");
    const auto internal = service->createInternalAsset("{1}", NoteAsset::sTypeName, {});

    CollectionControl::hideAsset(shell->ownReference());
    CollectionControl::hideAsset(internal->ownReference());

    EXPECT_TRUE(CollectionControl::isHidden(shell->ownReference()));
    EXPECT_TRUE(CollectionControl::isHidden(internal->ownReference()));
    EXPECT_TRUE(shell->isShell());
}

TEST_P(CollectionTest, hidesNothingThatDoesNotExist)
{
    CollectionControl::hideAsset(AssetReference());
    CollectionControl::hideAsset(ref("nobody"));

    EXPECT_FALSE(CollectionControl::isHidden(ref("nobody")));
}

ASSETS_FOR_EVERY_STORE(CollectionTest);

} // namespace Tesk::Assets
