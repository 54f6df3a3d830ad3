#include "StoreFixture.h"

#include <thread>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

TEST_P(StoreTest, makesATransactionSeenByOthersWhenItIsCommitted)
{
    const auto other = openAnother();
    const Ids ids{"a", "b"};
    store().begin(SyncLevel::Disk);
    put("a");
    put("b");
    EXPECT_FALSE(other->loadRows(ids)[0]);
    EXPECT_TRUE(store().loadRows(ids)[0]);
    EXPECT_TRUE(store().inTransaction());

    store().commit();

    EXPECT_FALSE(store().inTransaction());
    EXPECT_TRUE(other->loadRows(ids)[0]);
    EXPECT_TRUE(other->loadRows(ids)[1]);
}

TEST_P(StoreTest, isAsBeforeAfterARollback)
{
    const QByteArray id = "a";
    const qint64 revision =
            put(id, QStringLiteral("Filter"), QStringLiteral("Before"), QByteArray("1"));
    put("removed");
    store().appendToCollection(id, Ids{"x", "y"});
    const qint64 generation = store().generation();

    store().begin(SyncLevel::Process);
    put(id, QStringLiteral("Other"), QStringLiteral("After"), QByteArray("2"));
    put("new");
    const AssetRemoval removal{"removed", {}};
    store().remove({&removal, 1});
    store().removeFromCollection(id, Ids{"x"});
    store().appendToCollection(id, Ids{"z"});
    store().setFlags({&id, 1}, 1, 1);
    const MetaWrite item{id, MetaRow{QStringLiteral("key"), 3, 0, 1}};
    store().setMetaData({&item, 1});
    const ThumbnailWrite thumbnail{id, "pixels"};
    store().setThumbnails({&thumbnail, 1});
    store().rollback();

    EXPECT_EQ(row(id)->name, QStringLiteral("Before"));
    EXPECT_EQ(row(id)->revision, revision);
    EXPECT_EQ(row(id)->flags, 0U);
    EXPECT_EQ(body(id), QByteArray("1"));
    EXPECT_EQ(itemsOf(id), (Ids{"x", "y"}));
    EXPECT_TRUE(store().metaData({&id, 1}).front().empty());
    EXPECT_FALSE(store().thumbnails({&id, 1}).front());
    EXPECT_FALSE(row("new"));
    EXPECT_TRUE(row("removed"));
    EXPECT_EQ(store().generation(), generation);
    EXPECT_TRUE(store().changesSince(generation).changes.empty());
}

TEST_P(StoreTest, keepsNothingOfATransactionThatEndsAtAFailure)
{
    put("taken");
    const qint64 generation = store().generation();
    AssetWrite taken = assetWrite("taken");
    taken.expectedRevision = 0;

    store().begin(SyncLevel::Process);
    store().endAtFailure();
    put("first");
    const std::vector<AssetWrite> writes{assetWrite("second"), taken};
    EXPECT_EQ(codeRaisedBy([&] { store().write(writes); }), StoreError::Code::Changed);
    EXPECT_TRUE(store().inTransaction());
    store().rollback();

    EXPECT_FALSE(row("first"));
    EXPECT_FALSE(row("second"));
    EXPECT_EQ(store().generation(), generation);
}

TEST_P(StoreTest, storesATransactionThatWouldHaveEndedAtAFailure)
{
    {
        Store::Transaction transaction(store(), SyncLevel::Disk);
        store().endAtFailure();
        put("a", QStringLiteral("Filter"), QStringLiteral("Name"), QByteArray("body"));
        store().appendToCollection("a", Ids{"b"});
        put("b");
        transaction.commit();
    }

    EXPECT_EQ(body("a"), QByteArray("body"));
    EXPECT_EQ(itemsOf("a"), (Ids{"b"}));
    EXPECT_TRUE(store().checkIntegrity().empty());
}

TEST_P(StoreTest, undoesACallAloneInTheTransactionAfterOneThatEndedAtAFailure)
{
    AssetWrite bad = assetWrite("bad");
    bad.expectedRevision = 4;
    store().begin(SyncLevel::Process);
    store().endAtFailure();
    EXPECT_EQ(codeRaisedBy([&] { store().write({&bad, 1}); }), StoreError::Code::Changed);
    store().rollback();

    Store::Transaction transaction(store(), SyncLevel::Process);
    put("a");
    const std::vector<AssetWrite> writes{assetWrite("b"), bad};
    EXPECT_EQ(codeRaisedBy([&] { store().write(writes); }), StoreError::Code::Changed);
    put("c");
    transaction.commit();

    EXPECT_TRUE(row("a"));
    EXPECT_FALSE(row("b"));
    EXPECT_TRUE(row("c"));
}

TEST_P(StoreTest, goesOnWithATransactionInWhichACallFailed)
{
    put("taken");
    store().begin(SyncLevel::Process);
    put("first");
    std::vector<AssetWrite> writes{assetWrite("half"), assetWrite("taken")};
    writes[1].expectedRevision = 0;
    EXPECT_EQ(codeRaisedBy([&] { store().write(writes); }), StoreError::Code::Changed);
    put("last");
    store().commit();

    const Ids ids{"first", "half", "last"};
    const auto rows = openAnother()->loadRows(ids);
    EXPECT_TRUE(rows[0]);
    EXPECT_FALSE(rows[1]);
    EXPECT_TRUE(rows[2]);
}

TEST_P(StoreTest, keepsTheGenerationWhenTheFirstCallOfATransactionFails)
{
    put("taken");
    const qint64 generation = store().generation();
    store().begin(SyncLevel::Process);
    AssetWrite write = assetWrite("taken");
    write.expectedRevision = 0;
    EXPECT_EQ(codeRaisedBy([&] { store().write({&write, 1}); }), StoreError::Code::Changed);
    store().commit();
    EXPECT_EQ(store().generation(), generation);

    store().begin(SyncLevel::Process);
    EXPECT_EQ(codeRaisedBy([&] { store().write({&write, 1}); }), StoreError::Code::Changed);
    put("new");
    put("newer");
    store().commit();
    EXPECT_EQ(store().generation(), generation + 1);
}

TEST_P(StoreTest, refusesCallsThatDoNotFitTheTransaction)
{
    EXPECT_EQ(codeRaisedBy([&] { store().commit(); }), StoreError::Code::Misuse);
    EXPECT_EQ(codeRaisedBy([&] { store().rollback(); }), StoreError::Code::Misuse);
    store().begin(SyncLevel::Process);
    EXPECT_EQ(codeRaisedBy([&] { store().begin(SyncLevel::Process); }), StoreError::Code::Misuse);
    EXPECT_TRUE(store().inTransaction());
    store().rollback();
}

TEST_P(StoreTest, rollsBackATransactionThatIsLeftWithoutCommit)
{
    {
        Store::Transaction transaction(store(), SyncLevel::Process);
        put("a");
    }
    EXPECT_FALSE(row("a"));
    EXPECT_FALSE(store().inTransaction());
    {
        Store::Transaction transaction(store(), SyncLevel::Process);
        put("a");
        transaction.commit();
    }
    EXPECT_TRUE(row("a"));
}

TEST_P(StoreTest, rollsBackWhatAClosedStoreLeftOpen)
{
    auto other = openAnother();
    other->begin(SyncLevel::Process);
    const AssetWrite write = assetWrite("a");
    other->write({&write, 1});
    other.reset();

    EXPECT_FALSE(row("a"));
    put("b"); // and nobody waits for it
    EXPECT_TRUE(row("b"));
}

TEST_P(StoreTest, raisesBusyWhileSomebodyElseWrites)
{
    const auto other = openAnother();
    other->begin(SyncLevel::Process);

    EXPECT_EQ(codeRaisedBy([&] { put("a"); }), StoreError::Code::Busy);
    EXPECT_EQ(codeRaisedBy([&] { store().begin(SyncLevel::Process); }), StoreError::Code::Busy);
    EXPECT_FALSE(store().inTransaction());

    other->rollback();
    put("a");
    EXPECT_TRUE(row("a"));
}

TEST_P(StoreTest, seesAtOnceWhatOthersCommit)
{
    const auto other = openAnother();
    for (int round = 0; round < 5; ++round) {
        const QByteArray id = "asset" + QByteArray::number(round);
        const AssetWrite write = assetWrite(id);
        const std::vector<qint64> revisions = other->write({&write, 1});
        EXPECT_EQ(row(id)->revision, revisions.front());
        EXPECT_EQ(store().generation(), other->generation());
    }
}

TEST_P(StoreTest, readsInABurstAndWritesInTheMiddleOfIt)
{
    put("a");
    const auto other = openAnother();
    const Store::ReadBurst outer(store());
    EXPECT_TRUE(row("a"));
    const AssetWrite write = assetWrite("other");
    other->write({&write, 1});
    {
        const Store::ReadBurst inner(store());
        put("b"); // after another one's write, which a stale reader could not follow
        EXPECT_TRUE(row("b"));
    }
    store().begin(SyncLevel::Process);
    put("c");
    store().commit();
    EXPECT_TRUE(row("c"));
    EXPECT_TRUE(row("other"));
}

TEST_P(StoreTest, tellsOthersWhatChanged)
{
    const auto other = openAnother();
    const qint64 start = store().generation();
    put("created");
    put("collection");
    store().appendToCollection("collection", Ids{"x"});
    const qint64 middle = other->generation();
    put("removed");
    const AssetRemoval removal{"removed", {}};
    store().remove({&removal, 1});
    const QByteArray id = "created";
    const MetaWrite item{id, MetaRow{QStringLiteral("key"), 3, 0, 1}};
    store().setMetaData({&item, 1});

    const ChangeList all = other->changesSince(start);
    EXPECT_EQ(all.generation, store().generation());
    EXPECT_EQ(all.changes,
              (std::vector<ChangeRow>{{"collection", false, row("collection")->revision},
                                      {"removed", true, 0},
                                      {"created", false, row("created")->revision}}));
    const ChangeList rest = other->changesSince(middle);
    EXPECT_EQ(rest.changes, (std::vector<ChangeRow>{{"removed", true, 0},
                                                    {"created", false, row("created")->revision}}));
    EXPECT_TRUE(other->changesSince(all.generation).changes.empty());
}

TEST_P(StoreTest, reportsEveryKindOfChangeOnce)
{
    const QByteArray id = "a";
    put(id);
    const auto changedBy = [this, &id](const std::function<void()> &change) {
        const qint64 before = store().generation();
        change();
        const ChangeList list = store().changesSince(before);
        EXPECT_EQ(list.generation, before + 1);
        return list.changes.size() == 1 && list.changes.front().id == id;
    };
    EXPECT_TRUE(changedBy([&] { put(id); }));
    EXPECT_TRUE(changedBy([&] {
        const NameWrite name{id, QStringLiteral("New")};
        store().setNames({&name, 1});
    }));
    EXPECT_TRUE(changedBy([&] { store().setFlags({&id, 1}, 1, 1); }));
    EXPECT_TRUE(changedBy([&] {
        const MetaWrite item{id, MetaRow{QStringLiteral("key"), 3, 0, 1}};
        store().setMetaData({&item, 1});
    }));
    EXPECT_TRUE(changedBy([&] { store().removeMetaData({&id, 1}, QStringLiteral("key")); }));
    EXPECT_TRUE(changedBy([&] { store().appendToCollection(id, Ids{"x"}); }));
    EXPECT_TRUE(changedBy([&] { store().removeFromCollection(id, Ids{"x"}); }));
    EXPECT_TRUE(changedBy([&] {
        const ThumbnailWrite thumbnail{id, "pixels"};
        store().setThumbnails({&thumbnail, 1});
    }));
    EXPECT_TRUE(changedBy([&] {
        const AssetRemoval removal{id, {}};
        store().remove({&removal, 1});
    }));
}

TEST_P(StoreTest, followsItsOwnCommitsUntilAnotherOneComesBetween)
{
    const auto other = openAnother();
    put("a");
    put("b");
    EXPECT_EQ(store().seenGeneration(), store().generation());
    const qint64 seen = store().seenGeneration();

    const AssetWrite write = assetWrite("other");
    other->write({&write, 1});
    put("c");

    EXPECT_EQ(store().seenGeneration(), seen);
    EXPECT_EQ(store().generation(), seen + 2);
    const ChangeList list = store().changesSince(seen);
    ASSERT_EQ(list.changes.size(), 2U);
    EXPECT_EQ(list.changes[0].id, QByteArray("other"));
    EXPECT_EQ(list.changes[1].id, QByteArray("c"));

    store().setSeenGeneration(list.generation);
    store().begin(SyncLevel::Process);
    put("d");
    EXPECT_EQ(store().seenGeneration(), list.generation);
    store().commit();
    EXPECT_EQ(store().seenGeneration(), list.generation + 1);
}

TEST_P(StoreTest, hasOneIdentityForAllWhoOpenIt)
{
    const auto stranger = GetParam().make()->open();

    EXPECT_EQ(openAnother()->databaseId(), store().databaseId());
    EXPECT_EQ(store().databaseId().size(), 16);
    EXPECT_NE(stranger->databaseId(), store().databaseId());
}

TEST_P(StoreTest, isWritableAndWhole)
{
    EXPECT_FALSE(store().isReadOnly());
    EXPECT_FALSE(store().location().isEmpty());
    EXPECT_TRUE(store().checkIntegrity().empty());
}

TEST_P(StoreTest, letsManyThreadsReadAndWriteAtOnce)
{
    constexpr int sThreads = 4;
    constexpr int sRounds = 50;
    put("collection");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < sThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (int round = 0; round < sRounds; ++round) {
                const QByteArray id = QByteArray::number(thread) + '-' + QByteArray::number(round);
                const AssetWrite write =
                        assetWrite(id, QStringLiteral("Filter"), QString::fromLatin1(id), id);
                store().write({&write, 1});
                store().appendToCollection("collection", {&id, 1});
                const Store::ReadBurst burst(store());
                EXPECT_EQ(store().load({&id, 1}).front()->body->data, id);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    EXPECT_EQ(store().statistics().assets, 1 + sThreads * sRounds);
    EXPECT_EQ(itemsOf("collection").size(), static_cast<std::size_t>(sThreads * sRounds));
    EXPECT_TRUE(store().checkIntegrity().empty());
}

} // namespace Tesk::Assets
