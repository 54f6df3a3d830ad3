#include "support/DatabaseFixture.h"

#include <assets/StoreError.h>
#include <support/RecordedLog.h>

namespace Tesk::Assets {

class AssetControlTest : public DatabaseFixture
{
protected:
    void SetUp() override
    {
        a = insertNote("a", {}, "A");
        b = insertNote("b", {}, "B");
        c = insertNote("c", {}, "C");
    }

    std::shared_ptr<NoteAsset> a;
    std::shared_ptr<NoteAsset> b;
    std::shared_ptr<NoteAsset> c;
};

TEST_P(AssetControlTest, givesANullNameForANullPointerAndIgnoresSettingIt)
{
    AssetControl::setName(nullptr, "Name");

    EXPECT_TRUE(AssetControl::getName(std::shared_ptr<Asset>()).isNull());
}

TEST_P(AssetControlTest, namesAnAssetThatIsInNoDatabase)
{
    const auto asset = NoteAsset::make();

    AssetControl::setName(asset, "Name");

    EXPECT_EQ(AssetControl::getName(asset), "Name");
    EXPECT_EQ(asset->debugInfo(), "Tesk::Assets::NoteAsset \"Name\" [not filed]");
    EXPECT_TRUE(asset->ownReference().isInvalid());
}

TEST_P(AssetControlTest, writesNothingWhenTheNameIsTheSame)
{
    const qint64 before = store.generation();

    AssetControl::setName(a, "A");

    EXPECT_EQ(store.generation(), before);
}

TEST_P(AssetControlTest, renamesAShellWithoutReadingItsBody)
{
    reopen();
    const auto shell = note("a");

    AssetControl::setName(shell, "New");

    EXPECT_TRUE(shell->isShell());
    reopen();
    EXPECT_EQ(AssetControl::getName(note("a")), "New");
}

TEST_P(AssetControlTest, savesABodyAfterARename)
{
    AssetControl::setName(a, "New");
    a->text.set("changed");
    AssetControl::setName(a, "Newer");
    a->text.set("changed again");

    reopen();
    EXPECT_EQ(note("a")->text.get(), "changed again");
    EXPECT_EQ(AssetControl::getName(note("a")), "Newer");
}

TEST_P(AssetControlTest, findsNewVersionsAlongAllLinks)
{
    a->nextVersion.set(b->ownReference());
    b->nextVersion.set(c->ownReference());

    EXPECT_TRUE(AssetControl::isNewVersion(a, b->ownReference()));
    EXPECT_TRUE(AssetControl::isNewVersion(a, c->ownReference()));
    EXPECT_FALSE(AssetControl::isNewVersion(a, a->ownReference()));
    EXPECT_FALSE(AssetControl::isNewVersion(c, a->ownReference()));
    EXPECT_FALSE(AssetControl::isNewVersion(a, AssetReference()));
    EXPECT_FALSE(AssetControl::isNewVersion(nullptr, a->ownReference()));
    EXPECT_EQ(a->getUptodateAssetInDB(), c);
    EXPECT_EQ(c->getUptodateAssetInDB(), c);
}

TEST_P(AssetControlTest, countsANextVersionThatDoesNotResolve)
{
    const AssetReference nobody = service->referenceFromId("nobody");
    a->nextVersion.set(nobody);

    EXPECT_TRUE(AssetControl::isNewVersion(a, nobody));
    EXPECT_FALSE(AssetControl::isNewVersion(a, b->ownReference()));
    EXPECT_EQ(a->getUptodateAssetInDB(), a);
}

TEST_P(AssetControlTest, stopsAtAnAssetMetTwiceWithOneLogLine)
{
    // Only a scope lets a cycle live for a while: the store refuses it.
    const AssetDatabaseService::BatchScope scope(*service);
    a->nextVersion.set(b->ownReference());
    b->nextVersion.set(c->ownReference());
    c->nextVersion.set(b->ownReference());
    const TestSupport::RecordedLog log;

    EXPECT_FALSE(AssetControl::isNewVersion(a, service->referenceFromId("x")));

    EXPECT_THAT(log.messages(),
                testing::ElementsAre(TestSupport::isLogMessage(
                        3, 1,
                        "the versions of Tesk::Assets::NoteAsset \"A\" [a] lead back to "
                        "\"B\" [b]")));
}

TEST_P(AssetControlTest, refusesACycleOfVersionsWhenItIsWrittenAndNamesBoth)
{
    const TestSupport::RecordedLog log;
    a->nextVersion.set(b->ownReference());
    AssetDatabaseService::BatchScope scope(*service);
    b->nextVersion.set(a->ownReference()); // the setter knows no such error

    try {
        scope.commit();
        FAIL() << "stored a cycle";
    } catch (const StoreError &error) {
        EXPECT_EQ(error.code(), StoreError::Code::VersionCycle);
        EXPECT_THAT(error.what(), testing::HasSubstr("\"a\""));
        EXPECT_THAT(error.what(), testing::HasSubstr("\"b\""));
    }

    EXPECT_TRUE(b->nextVersion.get().isInvalid());
    EXPECT_EQ(a->nextVersion.get(), b->ownReference());
}

TEST_P(AssetControlTest, putsAnAssetBackWhoseCycleIsRefusedOutsideAScope)
{
    const TestSupport::RecordedLog log;
    a->nextVersion.set(b->ownReference());

    EXPECT_THROW(b->nextVersion.set(a->ownReference()), StoreError);

    EXPECT_TRUE(b->nextVersion.get().isInvalid());
}

TEST_P(AssetControlTest, replacesDependenciesByOtherVersions)
{
    a->dependencies.append(b->ownReference());
    a->dependencies.append(c->ownReference());

    EXPECT_TRUE(a->mapChildrenToPreviousAndNextVersions({{b->ownReference(), c->ownReference()}}));

    EXPECT_THAT(a->discoverChildren(), testing::ElementsAre(c->ownReference()));
    EXPECT_FALSE(a->mapChildrenToPreviousAndNextVersions({{b->ownReference(), c->ownReference()}}));
}

ASSETS_FOR_EVERY_STORE(AssetControlTest);

} // namespace Tesk::Assets
