#include "FaultyFiles.h"
#include "SqliteFixture.h"

#include <QFile>

#include <gmock/gmock.h>

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace Tesk::Assets {

using FindingCode = StoreFinding::Code;
using FaultyFiles::File;
using Ids = std::vector<QByteArray>;

TEST_F(SqliteStoreTest, showsWhatWasBeforeOnceAFailureEndedATransaction)
{
    const auto store = open();
    putAsset(*store, "before");
    AssetWrite taken = assetWrite("before");
    taken.expectedRevision = 0;
    store->begin(SyncLevel::Process);
    store->endAtFailure();
    putAsset(*store, "first");
    ASSERT_EQ(codeRaisedBy([&] { store->write({&taken, 1}); }), StoreError::Code::Changed);

    const auto rows = store->loadRows(std::vector<QByteArray>{"before", "first"});
    EXPECT_TRUE(rows[0]);
    EXPECT_FALSE(rows[1]);
    const StoreError error = raisedBy([&] { putAsset(*store, "later"); });
    EXPECT_EQ(error.code(), StoreError::Code::Io);
    EXPECT_EQ(QString::fromUtf8(error.what()),
              QStringLiteral("Cannot use \"%1\": the transaction was given up before (a call in it "
                             "failed); roll it back, then try again")
                      .arg(filePath()));
    EXPECT_EQ(codeRaisedBy([&] { store->commit(); }), StoreError::Code::Io);

    EXPECT_FALSE(store->inTransaction());
    putAsset(*store, "after");
    EXPECT_EQ(raw("SELECT COUNT(*) FROM asset"), QStringLiteral("2"));
}

TEST_F(SqliteStoreTest, endsNoTransactionAtAFailureWhereThereIsNone)
{
    const auto store = open();

    const StoreError error = raisedBy([&] { store->endAtFailure(); });

    EXPECT_EQ(error.code(), StoreError::Code::Misuse);
    EXPECT_STREQ(error.what(), "Cannot let a transaction end at a failure: none is open");
}

TEST_F(SqliteStoreTest, syncsABatchToTheDiskWhenItIsCommitted)
{
    const auto store = open(SqliteStore::Mode::OpenOrCreate, FaultyFiles::name());
    putAsset(*store, "first"); // the log is begun and has its header

    FaultyFiles::arm(0, 0);
    store->begin(SyncLevel::Disk);
    putAsset(*store, "a");
    putAsset(*store, "b");
    EXPECT_TRUE(FaultyFiles::syncs().empty());
    store->commit();
    EXPECT_EQ(FaultyFiles::syncs(), std::vector<File>{File::Log});
    FaultyFiles::disarm();
}

TEST_F(SqliteStoreTest, doesNotSyncSingleWritesNorSmallTransactions)
{
    const auto store = open(SqliteStore::Mode::OpenOrCreate, FaultyFiles::name());
    store->begin(SyncLevel::Disk);
    putAsset(*store, "first");
    store->commit();

    FaultyFiles::arm(0, 0);
    putAsset(*store, "a");
    store->begin(SyncLevel::Process);
    putAsset(*store, "b");
    store->commit();
    EXPECT_TRUE(FaultyFiles::syncs().empty());
    EXPECT_GT(FaultyFiles::calls(), 0);
    FaultyFiles::disarm();
}

TEST_F(SqliteStoreTest, refusesACycleThatIsWrittenPastTheStore)
{
    const auto store = open();
    std::vector<AssetWrite> writes{assetWrite("a"), assetWrite("b"), assetWrite("c")};
    writes[0].nextVersion = QByteArray("b");
    writes[1].nextVersion = QByteArray("c");
    store->write(writes);

    sqlite3 *handle = nullptr;
    sqlite3_open(filePath().toUtf8().constData(), &handle);
    const auto code = [handle](const char *sql) {
        return sqlite3_exec(handle, sql, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(code("INSERT INTO version_edge VALUES (3, CAST('a' AS BLOB))"), SQLITE_CONSTRAINT);
    EXPECT_STREQ(sqlite3_errmsg(handle), "version cycle");
    EXPECT_EQ(code("UPDATE version_edge SET next_id = CAST('a' AS BLOB) WHERE asset_k = 2"),
              SQLITE_CONSTRAINT);
    EXPECT_EQ(code("UPDATE version_edge SET next_id = CAST('c' AS BLOB) WHERE asset_k = 1"),
              SQLITE_OK);
    sqlite3_close(handle);
}

static StoreFinding onlyFinding(const Store &store)
{
    const std::vector<StoreFinding> findings = store.checkIntegrity();
    EXPECT_EQ(findings.size(), 1U);
    return findings.empty() ? StoreFinding{FindingCode::StoreDamaged, {}, {}, {}}
                            : findings.front();
}

TEST_F(SqliteStoreTest, findsABodyWhoseBytesChanged)
{
    const auto store = open();
    putAsset(*store, "a", {}, QByteArray("body"));
    putAsset(*store, "b", {}, QByteArray("other"));
    raw("UPDATE body SET data = CAST('b0dy' AS BLOB) WHERE asset_k = 1");

    EXPECT_EQ(onlyFinding(*store),
              (StoreFinding{FindingCode::BodyDamaged,
                            "a",
                            {},
                            QStringLiteral("The body of asset \"a\" is not what was written; "
                                           "restore it from a backup")}));
}

TEST_F(SqliteStoreTest, findsVersionsThatLeadBack)
{
    const auto store = open();
    std::vector<AssetWrite> writes{assetWrite("start"), assetWrite("a"), assetWrite("b")};
    writes[0].nextVersion = QByteArray("a");
    writes[1].nextVersion = QByteArray("b");
    store->write(writes);
    raw("DROP TRIGGER version_edge_insert; INSERT INTO version_edge VALUES (3, CAST('a' AS BLOB))");

    EXPECT_EQ(onlyFinding(*store),
              (StoreFinding{FindingCode::VersionCycle, "a", "b",
                            QStringLiteral("The versions after asset \"a\" lead back to it, by way "
                                           "of \"b\"")}));
}

TEST_F(SqliteStoreTest, findsListsThatDifferFromTheirAssets)
{
    const auto store = open();
    putAsset(*store, "list");
    putAsset(*store, "a", QStringLiteral("Name"));
    store->appendToCollection("list", Ids{"a"});

    raw("UPDATE asset SET name = 'Other' WHERE k = 2");

    EXPECT_EQ(onlyFinding(*store),
              (StoreFinding{FindingCode::CatalogueOutOfDate, "list", "a",
                            QStringLiteral("Collection \"list\" keeps another name, class or state "
                                           "of \"a\" than the asset itself")}));
}

TEST_F(SqliteStoreTest, findsAnItemThatIsListedTwice)
{
    const auto store = open();
    putAsset(*store, "list");
    store->appendToCollection("list", Ids{"none"});
    raw("DROP INDEX collection_item_dangling; "
        "INSERT INTO collection_item VALUES (1, 7, NULL, CAST('none' AS BLOB), 0, '', 0)");

    const std::vector<StoreFinding> findings = store->checkIntegrity();

    EXPECT_EQ(std::count_if(findings.begin(), findings.end(),
                            [](const StoreFinding &finding) {
                                return finding.code == FindingCode::DuplicateItem
                                       && finding.id == "list" && finding.other == "none";
                            }),
              1);
}

TEST_F(SqliteStoreTest, findsRowsWithoutTheirAsset)
{
    const auto store = open();
    putAsset(*store, "a", {}, QByteArray("body"));
    raw("DELETE FROM asset WHERE k = 1"); // a connection without foreign keys

    EXPECT_EQ(onlyFinding(*store),
              (StoreFinding{FindingCode::OrphanedRow,
                            {},
                            {},
                            QStringLiteral("A row of table \"body\" belongs to an asset that does "
                                           "not exist")}));
}

TEST_F(SqliteStoreTest, findsADamagedFile)
{
    {
        const auto store = open();
        std::vector<AssetWrite> writes;
        for (int index = 0; index < 500; ++index)
            writes.push_back(assetWrite("asset" + QByteArray::number(index),
                                        QStringLiteral("Filter"), QStringLiteral("Name"),
                                        QByteArray(100, 'x')));
        store->write(writes);
    }
    QByteArray content = contentOf(filePath());
    const qsizetype page =
            raw("SELECT rootpage FROM sqlite_schema WHERE name = 'asset_name'").toInt();
    content.replace((page - 1) * 8192 + 100, 4000, QByteArray(4000, '\x7f'));
    write(filePath(), content);

    const auto store = open();
    const std::vector<StoreFinding> findings = store->checkIntegrity();

    ASSERT_FALSE(findings.empty());
    EXPECT_EQ(findings.front().code, FindingCode::StoreDamaged);
    EXPECT_TRUE(findings.front().text.startsWith(QStringLiteral("The file is damaged: ")));
}

TEST_F(SqliteStoreTest, backsUpWhatIsCommittedWhileItIsInUse)
{
    const auto store = open();
    putAsset(*store, "a", QStringLiteral("Name"), QByteArray("body"));
    store->begin(SyncLevel::Disk);
    putAsset(*store, "open");

    store->backupTo(filePath("copy.db"));

    store->commit();
    const SqliteStore copy(filePath("copy.db"), SqliteStore::Mode::Open);
    EXPECT_EQ(copy.statistics().assets, 1);
    EXPECT_EQ(copy.databaseId(), store->databaseId());
    EXPECT_TRUE(copy.checkIntegrity().empty());
    EXPECT_EQ(store->statistics().assets, 2);
}

TEST_F(SqliteStoreTest, backsUpWholeBatchesWhileOthersWrite)
{
    constexpr std::size_t sBatch = 20;
    const auto store = open();
    putAsset(*store, "list");
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        SqliteStore others(filePath());
        for (int batch = 0; !isDone; ++batch) {
            Ids ids;
            std::vector<AssetWrite> writes;
            for (std::size_t index = 0; index < sBatch; ++index) {
                ids.push_back(QByteArray::number(batch) + '-' + QByteArray::number(index));
                writes.push_back(
                        assetWrite(ids.back(), QStringLiteral("Filter"), {}, QByteArray(100, 'x')));
            }
            Store::Transaction transaction(others, SyncLevel::Process);
            others.write(writes);
            others.appendToCollection("list", ids);
            transaction.commit();
        }
    });

    std::vector<std::size_t> sizes;
    for (int copy = 0; copy < 10; ++copy) {
        const QString path = filePath(("copy" + std::to_string(copy)).c_str());
        store->backupTo(path);
        const SqliteStore backup(path, SqliteStore::Mode::Open);
        sizes.push_back(backup.scanCollection("list").size());
        EXPECT_EQ(sizes.back() % sBatch, 0U);
        EXPECT_EQ(backup.statistics().assets, qint64(sizes.back()) + 1);
        EXPECT_TRUE(backup.checkIntegrity().empty());
    }
    isDone = true;
    writer.join();

    EXPECT_TRUE(std::is_sorted(sizes.begin(), sizes.end()));
    EXPECT_LT(sizes.front(), sizes.back());
}

TEST_F(SqliteStoreTest, saysThatABackupFoundTheFileLockedAndLeavesNoCopy)
{
    const auto store = open(SqliteStore::Mode::OpenOrCreate, FaultyFiles::name());
    putAsset(*store, "a");
    m_log.clear();

    FaultyFiles::refuseLocks(true); // the store has the one it needs
    const StoreError error = raisedBy([&] { store->backupTo(filePath("copy.db")); });
    FaultyFiles::refuseLocks(false);

    const QString text =
            QStringLiteral("Cannot back up to \"%1\": database is locked (SQLite error 5); another "
                           "program is writing to it; try again when it has ended")
                    .arg(filePath("copy.db"));
    EXPECT_EQ(error.code(), StoreError::Code::Busy);
    EXPECT_EQ(QString::fromUtf8(error.what()), text);
    EXPECT_EQ(m_log.texts(), std::vector{text.toStdString()});
    EXPECT_FALSE(QFile::exists(filePath("copy.db")));
    store->backupTo(filePath("copy.db"));
    EXPECT_EQ(SqliteStore(filePath("copy.db"), SqliteStore::Mode::Open).statistics().assets, 1);
}

TEST_F(SqliteStoreTest, refusesToBackUpOverAFileOrIntoNowhere)
{
    const auto store = open();
    write(filePath("copy.db"), "precious");

    EXPECT_EQ(codeRaisedBy([&] { store->backupTo(filePath("copy.db")); }),
              StoreError::Code::CannotOpen);
    EXPECT_EQ(contentOf(filePath("copy.db")), QByteArray("precious"));
    EXPECT_EQ(codeRaisedBy([&] { store->backupTo(filePath("none/copy.db")); }),
              StoreError::Code::CannotOpen);
    EXPECT_EQ(codeRaisedBy([&] { store->backupTo(filePath()); }), StoreError::Code::CannotOpen);
}

TEST_F(SqliteStoreTest, costsAnAppendTheSameInALongListAsInAShortOne)
{
    const auto store = open(SqliteStore::Mode::OpenOrCreate, FaultyFiles::name());
    const auto callsOfAnAppend = [&store](const QByteArray &list, int length) {
        std::vector<QByteArray> ids;
        for (int index = 0; index < length; ++index)
            ids.push_back(list + QByteArray::number(index));
        putAsset(*store, list);
        store->appendToCollection(list, ids);
        FaultyFiles::arm(0, 0);
        store->appendToCollection(list, Ids{list + "last"});
        FaultyFiles::disarm();
        return FaultyFiles::calls();
    };

    const int shortCalls = callsOfAnAppend("short", 100);
    const int longCalls = callsOfAnAppend("long", 20000);

    // Two writes a page of the log: the list's own page and its index, the asset, the counter.
    EXPECT_LE(longCalls, shortCalls + 4);
    EXPECT_LE(longCalls, 20);
}

} // namespace Tesk::Assets
