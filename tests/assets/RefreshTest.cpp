#include "support/DatabaseFixture.h"

#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <assets/StoreError.h>
#include <support/RecordedLog.h>
#include <vantbase/Exception.h>

namespace Tesk::Assets {

/// Two databases on one content, as two processes would have.
class RefreshTest : public DatabaseFixture
{
protected:
    RefreshTest() { other = openAnother(); }
    ~RefreshTest() override { other.reset(); }

    std::shared_ptr<NoteAsset> theirs(const QByteArray &id) const
    {
        return std::dynamic_pointer_cast<NoteAsset>(other->getAssetFromId(id));
    }

    std::shared_ptr<AssetDatabaseService> other;
};

TEST_P(RefreshTest, refusesToOverwriteWhatSomebodyElseChanged)
{
    const TestSupport::RecordedLog log;
    const auto ours = insertNote("a", "first");
    theirs("a")->text.set("theirs");

    try {
        ours->text.set("ours");
        FAIL() << "overwrote what somebody else stored";
    } catch (const StoreError &error) {
        EXPECT_EQ(error.code(), StoreError::Code::Changed);
        EXPECT_THAT(error.what(), testing::HasSubstr("\"a\""));
        EXPECT_THAT(error.what(), testing::HasSubstr("someone else"));
    }

    EXPECT_EQ(ours->text.get(), "theirs");
}

TEST_P(RefreshTest, doesNotLetARenameHideWhatSomebodyElseChanged)
{
    const TestSupport::RecordedLog log;
    const auto ours = insertNote("a", "first");
    theirs("a")->text.set("theirs");

    AssetControl::setName(ours, "Name");

    EXPECT_THROW(ours->text.set("ours"), StoreError);
}

TEST_P(RefreshTest, refusesToRemoveWhatSomebodyElseChanged)
{
    const TestSupport::RecordedLog log;
    const auto ours = insertNote("a", "first");
    theirs("a")->text.set("theirs");
    theirs("a")->text.set("theirs again");

    EXPECT_THROW(service->removeAsset(ours->ownReference()), StoreError);

    EXPECT_EQ(ours->ownReference().asset(), ours);
}

TEST_P(RefreshTest, bringsLiveAssetsUpToDateAndSaysSo)
{
    const auto ours = insertNote("a", "first", "First");
    const auto untouched = insertNote("b", "b");
    theirs("a")->text.set("theirs");
    AssetControl::setName(theirs("a"), "Theirs");
    std::vector<AssetChange> seen;
    service->addChangeObserver(
            [&](const auto &changes) { seen.insert(seen.end(), changes.begin(), changes.end()); });
    EXPECT_EQ(ours->text.get(), "first");

    const auto result = service->refresh();

    EXPECT_THAT(result.refreshed, testing::ElementsAre(ours->ownReference()));
    EXPECT_TRUE(result.removed.empty());
    EXPECT_TRUE(result.conflicts.empty());
    EXPECT_EQ(seen, (std::vector<AssetChange>{
                            {AssetChange::Kind::ContentChanged, ours->ownReference(), true}}));
    EXPECT_EQ(ours->text.get(), "theirs");
    EXPECT_EQ(AssetControl::getName(ours), "Theirs");
    ours->text.set("ours"); // and can be written again
    EXPECT_FALSE(untouched->isShell());
}

TEST_P(RefreshTest, findsNothingToDoASecondTime)
{
    insertNote("a", "first");
    theirs("a")->text.set("theirs");
    service->refresh();

    EXPECT_TRUE(service->refresh().refreshed.empty());
}

TEST_P(RefreshTest, findsNothingToDoWhenOnlyThisProcessWrote)
{
    insertNote("a", "first")->text.set("second");

    EXPECT_TRUE(service->refresh().refreshed.empty());
}

TEST_P(RefreshTest, bringsCollectionsUpToDate)
{
    const auto list = collection("c");
    CollectionControl::appendAssetFromRef(list, service->referenceFromId("a"));
    const auto theirList = std::dynamic_pointer_cast<CollectionAsset>(other->getAssetFromId("c"));
    CollectionControl::appendAssetFromRef(theirList, other->referenceFromId("b"));
    EXPECT_EQ(list->itemCount(), 1);

    service->refresh();

    EXPECT_THAT(list->items(),
                testing::ElementsAre(service->referenceFromId("a"), service->referenceFromId("b")));
}

TEST_P(RefreshTest, letsRemovedAssetsGo)
{
    const auto ours = insertNote("a", "first");
    other->removeAsset(other->referenceFromId("a"));

    const auto result = service->refresh();

    EXPECT_THAT(result.removed, testing::ElementsAre(ours->ownReference()));
    EXPECT_EQ(ours->ownReference().asset(), nullptr);
}

TEST_P(RefreshTest, leavesWhatAScopeChangedAloneAndReportsIt)
{
    const auto ours = insertNote("a", "first");
    const AssetDatabaseService::BatchScope scope(*service);
    ours->text.set("ours");
    theirs("a")->text.set("theirs");

    const auto result = service->refresh();

    EXPECT_TRUE(result.refreshed.empty());
    EXPECT_THAT(result.conflicts, testing::ElementsAre(ours->ownReference()));
    EXPECT_EQ(ours->text.get(), "ours");
}

TEST_P(RefreshTest, givesTheAssetThatAnotherProcessMadeFirst)
{
    const AssetReference reference = service->referenceFromId("a");
    EXPECT_EQ(reference.asset(), nullptr);
    other->getOrCreateReferenceForInternalAsset("a", NoteAsset::sTypeName);
    AssetDatabaseService::Status status = AssetDatabaseService::Status::Created;

    service->getOrCreateReferenceForInternalAsset("a", NoteAsset::sTypeName, &status);

    EXPECT_EQ(status, AssetDatabaseService::Status::Existing);
    EXPECT_NE(reference.asset(), nullptr);
}

TEST_P(RefreshTest, appendsToACollectionThatAnotherProcessExtended)
{
    const auto list = collection("c");
    EXPECT_EQ(list->itemCount(), 0);
    const auto theirList = std::dynamic_pointer_cast<CollectionAsset>(other->getAssetFromId("c"));
    CollectionControl::appendAssetFromRef(theirList, other->referenceFromId("theirs"));

    CollectionControl::appendAssetFromRef(list, service->referenceFromId("ours"));
    CollectionControl::appendAssetFromRef(list, service->referenceFromId("theirs"));
    reopen();

    EXPECT_THAT(collection("c")->items(), testing::ElementsAre(service->referenceFromId("theirs"),
                                                               service->referenceFromId("ours")));
}

TEST_P(RefreshTest, keepsTheNameThatAnotherProcessGaveWhenABodyIsWritten)
{
    insertNote("a", "text", "First");
    reopen();
    const auto shell = note("a");
    AssetControl::setName(theirs("a"), "Theirs");

    shell->text.set("ours"); // reads the body first, as it is now

    EXPECT_EQ(service->getNameFromRef(shell->ownReference()), "Theirs");
    EXPECT_EQ(AssetControl::getName(shell), "Theirs");
}

TEST_P(RefreshTest, findsAnAssetThatAnotherProcessRenamedAsIsRecorded)
{
    CollectionControl::appendAssetFromRef(collection("c"),
                                          insertNote("a", "text", "First")->ownReference());
    reopen();
    const AssetReference item = collection("c")->items().front();
    AssetControl::setName(theirs("a"), "Theirs");

    EXPECT_EQ(AssetControl::getName(item.asset()), "Theirs");
}

TEST_P(RefreshTest, givesNothingForAnItemThatAnotherProcessRemoved)
{
    const auto list = collection("c");
    CollectionControl::appendAssetFromRef(list, insertNote("a")->ownReference());
    CollectionControl::appendAssetFromRef(list, insertNote("b")->ownReference());
    reopen();
    const std::vector<AssetReference> items = collection("c")->items();
    other->removeAsset(other->referenceFromId("a"));

    EXPECT_EQ(items[0].asset(), nullptr);
    EXPECT_NE(items[1].asset(), nullptr);
    EXPECT_EQ(service->getTypeNameFromRef(items[0]), QString());
    EXPECT_NE(insertNote("a"), nullptr); // the id is free
}

TEST_P(RefreshTest, givesWhatAnotherProcessMadeOfAnItem)
{
    const auto list = collection("c");
    CollectionControl::appendAssetFromRef(list, insertNote("a")->ownReference());
    reopen();
    const AssetReference item = collection("c")->items().front();
    other->removeAsset(other->referenceFromId("a"));
    other->getOrCreateReferenceForInternalAsset("a", CollectionAsset::sTypeName);

    EXPECT_NE(std::dynamic_pointer_cast<CollectionAsset>(item.asset()), nullptr);
}

TEST_P(RefreshTest, readsNoBodyOfAnotherClass)
{
    const TestSupport::RecordedLog log;
    insertNote("a", "text");
    reopen();
    const auto shell = note("a");
    other->removeAsset(other->referenceFromId("a"));
    other->getOrCreateReferenceForInternalAsset("a", CollectionAsset::sTypeName);

    try {
        shell->text.get();
        FAIL() << "read the body of a collection";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(),
                     "Cannot read the body of Tesk::Assets::NoteAsset \"\" [a]: the "
                     "store has a \"Tesk::Assets::CollectionAsset\" under its id now");
    }
    const auto result = service->refresh();

    EXPECT_THAT(result.refreshed, testing::ElementsAre(service->referenceFromId("a")));
    EXPECT_NE(std::dynamic_pointer_cast<CollectionAsset>(service->getAssetFromId("a")), nullptr);
}

TEST_P(RefreshTest, bringsUpToDateLaterWhatAScopeKeptFromIt)
{
    const auto ours = insertNote("a", "first");
    AssetDatabaseService::BatchScope scope(*service);
    CollectionControl::hideAsset(ours->ownReference());
    theirs("a")->text.set("theirs");
    EXPECT_THAT(service->refresh().conflicts, testing::ElementsAre(ours->ownReference()));
    EXPECT_THAT(service->refresh().conflicts, testing::ElementsAre(ours->ownReference()));
    scope.commit();
    EXPECT_EQ(ours->text.get(), "first");

    EXPECT_THAT(service->refresh().refreshed, testing::ElementsAre(ours->ownReference()));

    EXPECT_EQ(ours->text.get(), "theirs");
    EXPECT_TRUE(service->refresh().refreshed.empty());
}

ASSETS_FOR_EVERY_STORE(RefreshTest);

} // namespace Tesk::Assets
