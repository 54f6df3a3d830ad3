#include "support/DatabaseFixture.h"

#include <assets/CollectionControl.h>
#include <assets/StoreError.h>
#include <support/RecordedLog.h>
#include <vantbase/Exception.h>

namespace Tesk::Assets {

class ShellTest : public DatabaseFixture
{
protected:
    /// Stores bytes as the body of an asset, as damage or another program would.
    void storeBody(const QByteArray &id, const QByteArray &bytes, int encoding = BodyRow::sCbor)
    {
        const std::vector<std::optional<StoredAsset>> stored = store.load(std::span(&id, 1));
        AssetWrite write;
        write.row = stored.front()->row;
        write.body = BodyRow{encoding, bytes};
        store.write(std::span(&write, 1));
    }

    QByteArray bodyOf(const QByteArray &id) const
    {
        return store.load(std::span(&id, 1)).front()->body->data;
    }

    static std::string whatTouchingRaises(const NoteAsset &asset)
    {
        try {
            asset.text.get();
        } catch (const Exception::Data::SerializationException &error) {
            return error.what();
        }
        return {};
    }
};

TEST_P(ShellTest, knowsIdClassAndNameWithoutItsBody)
{
    insertNote("a", "text", "Name");
    reopen();

    const auto shell = note("a");

    EXPECT_TRUE(shell->isShell());
    EXPECT_EQ(shell->ownReference().id(), QByteArray("a"));
    EXPECT_EQ(AssetControl::getName(shell), "Name");
    EXPECT_EQ(shell->typeName(), NoteAsset::sTypeName);
    EXPECT_EQ(shell->debugInfo(), "Tesk::Assets::NoteAsset \"Name\" [a]");
    EXPECT_EQ(shell->loads, 0);
    EXPECT_TRUE(shell->isShell());
}

TEST_P(ShellTest, isDecodedOnceWhenAFieldIsTouched)
{
    insertNote("a", "text");
    reopen();
    const auto shell = note("a");

    EXPECT_EQ(shell->text.get(), "text");
    EXPECT_EQ(shell->text.get(), "text");
    EXPECT_TRUE(shell->nextVersion.get().isInvalid());

    EXPECT_FALSE(shell->isShell());
    EXPECT_EQ(shell->loads, 1);
}

TEST_P(ShellTest, isDecodedBeforeAFieldIsWritten)
{
    const auto before = insertNote("a", "text");
    before->dependencies.append(service->referenceFromId("x"));
    reopen();

    note("a")->text.set("new");

    EXPECT_EQ(note("a")->loads, 1);
    reopen();
    EXPECT_EQ(note("a")->text.get(), "new");
    EXPECT_THAT(note("a")->dependencies.values(),
                testing::ElementsAre(service->referenceFromId("x")));
}

TEST_P(ShellTest, isReadByLoad)
{
    insertNote("a", "text");
    reopen();

    note("a")->load();

    EXPECT_FALSE(note("a")->isShell());
}

TEST_P(ShellTest, writesAndSaysNothingByBeingDecoded)
{
    insertNote("a", "text");
    reopen();
    const qint64 before = store.generation();
    std::vector<AssetChange> seen;
    service->addChangeObserver(
            [&](const auto &changes) { seen.insert(seen.end(), changes.begin(), changes.end()); });
    NoteAsset::sOnLoaded = [](NoteAsset &asset) {
        asset.text.set("set while loading");
    };

    EXPECT_EQ(note("a")->text.get(), "set while loading");

    EXPECT_EQ(store.generation(), before);
    EXPECT_TRUE(seen.empty());
    reopen();
    NoteAsset::sOnLoaded = nullptr;
    EXPECT_EQ(note("a")->text.get(), "text");
}

TEST_P(ShellTest, isDecodedFromAStoreThatMayOnlyBeRead)
{
    insertNote("a", "text");
    service->close();
    service = AssetDatabaseService::open(source->openReadOnly());
    const TestSupport::RecordedLog log;
    NoteAsset::sOnLoaded = [](NoteAsset &asset) {
        asset.text.set("set while loading");
    };

    EXPECT_EQ(note("a")->text.get(), "set while loading");
    EXPECT_THROW(note("a")->text.set("written"), StoreError);

    NoteAsset::sOnLoaded = nullptr;
    EXPECT_EQ(note("a")->text.get(), "text");
}

TEST_P(ShellTest, seesAnotherShellThatItTouchesWhileItIsDecoded)
{
    insertNote("b", "of b");
    insertNote("a", "of a")->friendReference.set(service->referenceFromId("b"));
    reopen();
    QString seen;
    NoteAsset::sOnLoaded = [&](NoteAsset &asset) {
        if (const auto other =
                    std::dynamic_pointer_cast<NoteAsset>(asset.friendReference.get().asset()))
            seen = other->text.get();
    };

    note("a")->load();

    EXPECT_EQ(seen, "of b");
}

TEST_P(ShellTest, showsItselfAsFilledSoFarToWhoItTouchesWhileDecoded)
{
    insertNote("a", "of a")->friendReference.set(service->referenceFromId("b"));
    insertNote("b", "of b")->friendReference.set(service->referenceFromId("a"));
    reopen();
    std::vector<QString> seen;
    NoteAsset::sOnLoaded = [&](NoteAsset &asset) {
        const auto other =
                std::dynamic_pointer_cast<NoteAsset>(asset.friendReference.get().asset());
        seen.push_back(asset.text.get() + " sees " + other->text.get());
    };

    note("a")->load();

    EXPECT_THAT(seen, testing::ElementsAre("of b sees of a", "of a sees of b"));
    EXPECT_EQ(note("a")->loads, 1);
    EXPECT_EQ(note("b")->loads, 1);
}

TEST_P(ShellTest, readsManyBodiesInOneCall)
{
    insertNote("a", "of a");
    insertNote("b", "of b");
    reopen();
    const std::vector<AssetReference> references{service->referenceFromId("a"), AssetReference(),
                                                 service->referenceFromId("b"),
                                                 service->referenceFromId("nobody")};

    service->prefetch(references);
    store.remove(std::vector<AssetRemoval>{{"a", {}}, {"b", {}}}); // only what was read is left

    EXPECT_EQ(std::dynamic_pointer_cast<NoteAsset>(references[0].asset())->text.get(), "of a");
    EXPECT_EQ(std::dynamic_pointer_cast<NoteAsset>(references[2].asset())->text.get(), "of b");
    EXPECT_EQ(references[3].asset(), nullptr);
}

// --- bodies that do not decode

TEST_P(ShellTest, raisesTheSameErrorAtEachTouchAndNamesTheAsset)
{
    insertNote("a", "text", "Name");
    storeBody("a", "no cbor");
    reopen();
    const TestSupport::RecordedLog log;
    const auto shell = note("a");

    const std::string first = whatTouchingRaises(*shell);

    EXPECT_THAT(first, testing::StartsWith("Cannot read the body of Tesk::Assets::NoteAsset "
                                           "\"Name\" [a]: "));
    EXPECT_EQ(whatTouchingRaises(*shell), first);
    EXPECT_THROW(shell->text.set("x"), Exception::Data::SerializationException);
    EXPECT_THROW(shell->dependencies.clear(), Exception::Data::SerializationException);
    EXPECT_TRUE(shell->isShell());
}

TEST_P(ShellTest, reportsABrokenBodyOnceOnTheServiceOfTheDatabase)
{
    insertNote("a", "text");
    storeBody("a", "no cbor");
    reopen();
    const TestSupport::RecordedLog log;
    const auto shell = note("a");

    const std::string what = whatTouchingRaises(*shell);
    whatTouchingRaises(*shell);

    int count = 0;
    for (const VantBase::LogMessage &message : log.messages()) {
        if (message.service == VantBase::LogService::Assets) {
            ++count;
            EXPECT_EQ(message.text, what);
        }
    }
    EXPECT_EQ(count, 1);
}

TEST_P(ShellTest, isNeverSavedOverWhileItsBodyIsBroken)
{
    insertNote("a", "text");
    storeBody("a", "no cbor");
    reopen();
    const TestSupport::RecordedLog log;
    const auto shell = note("a");

    whatTouchingRaises(*shell);
    AssetControl::setName(shell, "New name");
    CollectionControl::hideAsset(shell->ownReference());

    EXPECT_EQ(bodyOf("a"), QByteArray("no cbor"));
    reopen();
    EXPECT_EQ(AssetControl::getName(note("a")), "New name");
}

TEST_P(ShellTest, isReadWhenItsBodyHasBeenRepaired)
{
    insertNote("a", "text");
    const QByteArray good = bodyOf("a");
    storeBody("a", "no cbor");
    reopen();
    const TestSupport::RecordedLog log;
    const auto shell = note("a");
    EXPECT_NE(whatTouchingRaises(*shell), "");

    storeBody("a", good);

    EXPECT_EQ(shell->text.get(), "text");
}

TEST_P(ShellTest, refusesABodyInAnUnknownEncoding)
{
    insertNote("a", "text");
    storeBody("a", "bytes", 7);
    reopen();
    const TestSupport::RecordedLog log;

    EXPECT_EQ(whatTouchingRaises(*note("a")),
              "Cannot read the body of Tesk::Assets::NoteAsset \"\" [a]: Unknown body encoding 7: "
              "expected 1");
}

TEST_P(ShellTest, saysThatItsDatabaseIsGone)
{
    insertNote("a", "text");
    reopen();
    const auto closed = note("a");
    service->close();
    const TestSupport::RecordedLog log;

    EXPECT_EQ(whatTouchingRaises(*closed),
              "Cannot read the body of Tesk::Assets::NoteAsset \"\" [a]: its database is closed");
}

TEST_P(ShellTest, saysThatItWasRemoved)
{
    insertNote("a", "text");
    reopen();
    const auto removed = note("a");
    service->removeAsset(removed->ownReference());
    insertNote("a", "another");
    const TestSupport::RecordedLog log;

    EXPECT_EQ(whatTouchingRaises(*removed),
              "Cannot read the body of Tesk::Assets::NoteAsset \"\" [a]: it is no longer in an "
              "open database");
}

TEST_P(ShellTest, resolvesToNullWhenNothingMakesItsClass)
{
    AssetWrite write;
    write.row.id = "a";
    write.row.className = "Nobody::Makes";
    store.write(std::span(&write, 1));
    const TestSupport::RecordedLog log;

    EXPECT_EQ(service->getAssetFromId("a"), nullptr);
    EXPECT_EQ(service->referenceFromId("a").asset(), nullptr);
    EXPECT_EQ(service->getTypeNameFromRef(service->referenceFromId("a")), "Nobody::Makes");
    EXPECT_TRUE(log.messages().empty());
}

TEST_P(ShellTest, hasDefaultsWhenItWasStoredWithoutABody)
{
    AssetWrite write;
    write.row.id = "a";
    write.row.className = NoteAsset::sTypeName;
    store.write(std::span(&write, 1));

    EXPECT_EQ(note("a")->text.get(), QString());
    EXPECT_EQ(note("a")->loads, 1);
}

ASSETS_FOR_EVERY_STORE(ShellTest);

} // namespace Tesk::Assets
