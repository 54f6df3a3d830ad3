#include "Child.h"
#include "FaultyFiles.h"
#include "OlderFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <gmock/gmock.h>

#include <sqlite3.h>

#include <random>
#include <string>
#include <utility>

namespace Tesk::Assets {

using Code = StoreError::Code;
using Ids = std::vector<QByteArray>;

/// Each test runs for a file of each older schema.
class SqliteMigrationTest : public OlderFileTest, public testing::WithParamInterface<int>
{
protected:
    void makeOlderFile() { makeFile(GetParam()); }

    QString copyName() const { return QStringLiteral("assets.db.schema-%1").arg(GetParam()); }

    QString rawOfCopy(const char *sql) const { return raw(sql, copyName().toLatin1().constData()); }

    /// Checks that the copy which was kept is whole, and of before.
    void expectKeptCopy()
    {
        EXPECT_EQ(rawOfCopy("PRAGMA user_version"), QString::number(GetParam()));
        EXPECT_EQ(rawOfCopy("PRAGMA integrity_check"), QStringLiteral("ok"));
        EXPECT_EQ(rawOfCopy("SELECT COUNT(*) FROM asset"), QStringLiteral("4"));
        EXPECT_EQ(rawOfCopy("SELECT COUNT(*) FROM meta"), QStringLiteral("21"));
    }

    void expectNewestSchema()
    {
        EXPECT_EQ(raw("PRAGMA user_version"), QStringLiteral("3"));
        EXPECT_EQ(raw("SELECT group_concat(version) FROM migration"), QStringLiteral("1,2,3"));
    }
};

INSTANTIATE_TEST_SUITE_P(Schemas, SqliteMigrationTest, testing::Values(1, 2),
                         [](const auto &schema) {
                             return "OfSchema" + std::to_string(schema.param);
                         });

TEST_P(SqliteMigrationTest, bringsAnOlderSchemaUpToDateAndKeepsACopy)
{
    makeOlderFile();

    const auto store = open(SqliteStore::Mode::Open);

    const QByteArray id = "a";
    EXPECT_EQ(store->load({&id, 1}).front()->body->data, QByteArray("body"));
    expectNewestSchema();
    EXPECT_EQ(raw("SELECT COUNT(*) FROM sqlite_schema WHERE type = 'trigger'"),
              QStringLiteral("2"));
    EXPECT_EQ(raw("SELECT length(hash) FROM migration WHERE version = 3"), QStringLiteral("64"));
    expectKeptCopy();
    EXPECT_THAT(m_log.texts().back(), testing::EndsWith(copyName().toStdString() + '"'));
}

TEST_P(SqliteMigrationTest, keepsAllMetadata)
{
    makeOlderFile();

    const auto store = open(SqliteStore::Mode::Open);

    expectMetaData(*store);
    EXPECT_EQ(raw("SELECT group_concat(name) FROM sqlite_schema WHERE name LIKE 'meta%'"),
              QStringLiteral("metadata"));
    EXPECT_EQ(raw("SELECT group_concat(items) FROM (SELECT items FROM metadata ORDER BY asset_k)"),
              QStringLiteral("19,2"));
    const MetaWrite same{"other", MetaRow{QStringLiteral("alone"), -1, -2, 70000}};
    EXPECT_EQ(store->setMetaData({&same, 1}), 0); // the same bytes as a write makes
}

TEST_P(SqliteMigrationTest, leavesBehindMetadataOfNoAsset)
{
    makeOlderFile();
    raw("INSERT INTO meta VALUES (77, 3, 3, 0, 2, 5)");

    expectMetaData(*open(SqliteStore::Mode::Open));

    EXPECT_EQ(raw("SELECT COUNT(*) FROM metadata"), QStringLiteral("2"));
    EXPECT_EQ(rawOfCopy("SELECT COUNT(*) FROM meta"), QStringLiteral("22"));
}

TEST_P(SqliteMigrationTest, keepsMetadataThatCannotBeReadBesideOthersThatCan)
{
    makeOlderFile();
    raw("UPDATE meta SET kind = 99 WHERE key_k = 13; UPDATE meta SET value = 'text' "
        "WHERE key_k = 5; UPDATE meta SET value = X'ffff' WHERE key_k = 17; "
        "UPDATE meta SET value = 5000000000 WHERE key_k = 24");
    const Ids ids{"a", "other"};
    const std::vector<std::pair<QByteArray, QString>> unreadable{
            {"a", QStringLiteral("key 2")},
            {"a", QStringLiteral("key 10")},
            {"a", QStringLiteral("key 14")},
            {"other", QStringLiteral("alone")}};

    const auto store = open(SqliteStore::Mode::Open);

    for (const auto &[id, key] : unreadable) {
        const StoreError error = raisedBy([&store, &id = id, &key = key] {
            store->metaDataItems({&id, 1}, key);
        });
        EXPECT_EQ(error.code(), Code::Damaged);
        EXPECT_EQ(error.assetId(), id);
        EXPECT_THAT(error.what(),
                    testing::StartsWith("Cannot read the metadata \"" + key.toStdString()
                                        + "\" of asset \"" + id.toStdString() + "\": "));
    }
    EXPECT_EQ(store->metaDataItems(ids, QStringLiteral("key 3"))[0]->value, QVariant(5U));
    EXPECT_EQ(store->checkIntegrity().size(), unreadable.size() + 1); // and the item as it is meant
}

TEST_P(SqliteMigrationTest, readsAnOlderSchemaThatItMayNotChange)
{
    makeOlderFile();
    const QByteArray content = contentOf(filePath());
    {
        const auto store = open(SqliteStore::Mode::ReadOnly);

        EXPECT_EQ(store->statistics().assets, 4);
        expectMetaData(*store);
        const MetaWrite item{"a", MetaRow{QStringLiteral("key"), 3, 0, 1}};
        EXPECT_EQ(codeRaisedBy([&] { store->setMetaData({&item, 1}); }), Code::ReadOnly);
    }
    EXPECT_EQ(contentOf(filePath()), content);
    EXPECT_FALSE(QFile::exists(m_folder.filePath(copyName())));
}

TEST_P(SqliteMigrationTest, readsOnWhereSomebodyElseBringsTheFileUpToDate)
{
    makeOlderFile();
    const auto store = open(SqliteStore::Mode::ReadOnly);
    expectMetaData(*store);

    const auto other = open(SqliteStore::Mode::Open);

    expectNewestSchema();
    expectMetaData(*store);
    const MetaWrite item{"old", MetaRow{QStringLiteral("key 3"), 3, 0, 1}};
    other->setMetaData({&item, 1});
    EXPECT_EQ(store->metaDataItems({&item.id, 1}, QStringLiteral("key 3")).front()->value,
              QVariant(1));
}

TEST_P(SqliteMigrationTest, isDoneOrNotWhicheverWriteOrSyncFails)
{
    for (const bool forEver : {false, true}) {
        int call = 1;
        for (bool hasFailed = true; hasFailed; ++call) {
            makeOlderFile();
            QFile::remove(m_folder.filePath(copyName()));
            bool hasRaised = false;
            FaultyFiles::arm(call, SQLITE_IOERR_WRITE, forEver);
            try {
                open(SqliteStore::Mode::Open, FaultyFiles::name());
            } catch (const StoreError &) {
                hasRaised = true;
            }
            hasFailed = FaultyFiles::hasFailed();
            FaultyFiles::disarm();
            if (!hasRaised) // what fails while the file is closed is in the log
                expectNewestSchema();

            expectMetaData(*open(SqliteStore::Mode::Open));
            expectNewestSchema();
            expectKeptCopy();
        }
        EXPECT_GT(call, 10); // the steps do write
    }
}

TEST_P(SqliteMigrationTest, changesNothingWhereNoCopyCanBeKept)
{
    makeOlderFile();
    const QByteArray content = contentOf(filePath());
    QDir().mkdir(m_folder.filePath(copyName()));

    const StoreError error = raisedBy([this] { open(SqliteStore::Mode::Open); });

    EXPECT_EQ(error.code(), Code::CannotOpen);
    EXPECT_THAT(error.what(), testing::HasSubstr(m_folder.filePath(copyName()).toStdString()));
    EXPECT_EQ(contentOf(filePath()), content);
}

TEST_P(SqliteMigrationTest, changesNothingWhereTheCopyIsDamaged)
{
    makeOlderFile();
    QByteArray content = contentOf(filePath());
    const qsizetype page =
            raw("SELECT rootpage FROM sqlite_schema WHERE name = 'asset_name'").toInt();
    content.replace((page - 1) * 8192, 4000, QByteArray(4000, '\x7f'));
    write(filePath(), content);

    const StoreError error = raisedBy([this] { open(SqliteStore::Mode::Open); });

    EXPECT_EQ(error.code(), Code::Damaged);
    EXPECT_THAT(error.what(), testing::HasSubstr("the copy is damaged ("));
    EXPECT_EQ(contentOf(filePath()), content);
    EXPECT_FALSE(QFile::exists(m_folder.filePath(copyName())));
}

TEST_P(SqliteMigrationTest, isDoneOrNotWheneverItIsKilled)
{
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    int keptBefore = 0;
    for (int round = 0; round < 30 && !HasFailure(); ++round) {
        makeOlderFile();
        QFile::remove(m_folder.filePath(copyName()));
        {
            Child child({QStringLiteral("migrate"), filePath()});
            ASSERT_EQ(child.line(), QByteArray("ready"));
            // Somewhere inside the migration, which takes some milliseconds; spent awake.
            const qint64 delay = std::uniform_int_distribution<qint64>(0, 30'000'000)(random);
            QElapsedTimer timer;
            timer.start();
            while (timer.nsecsElapsed() < delay) {
            }
            child.kill();
        }
        const bool isDone = raw("PRAGMA user_version") == QStringLiteral("3");
        if (isDone)
            expectKeptCopy();
        keptBefore += QFile::exists(m_folder.filePath(copyName())) ? 1 : 0;

        const auto store = open(SqliteStore::Mode::Open);

        expectNewestSchema();
        EXPECT_EQ(store->statistics().assets, 4);
        expectMetaData(*store);
        expectKeptCopy();
    }
    std::cout << "seed " << seed << ", killed after the copy was begun: " << keptBefore
              << " of 30\n";
}

TEST_P(SqliteMigrationTest, keepsTheFileOfBeforeWhereTwoProcessesMigrateAtOnce)
{
    for (int round = 0; round < 10 && !HasFailure(); ++round) {
        makeOlderFile();
        Child first({QStringLiteral("migrate"), filePath()});
        Child second({QStringLiteral("migrate"), filePath()});
        EXPECT_EQ(first.waitForAll(), QByteArray("ready\nopen 4\n"));
        EXPECT_EQ(second.waitForAll(), QByteArray("ready\nopen 4\n"));

        expectNewestSchema();
        expectMetaData(*open());
        expectKeptCopy();
    }
}

TEST_F(SqliteStoreTest, refusesToWriteOnceANewerProgramChangedTheSchema)
{
    const auto store = open();
    putAsset(*store, "a");
    raw("INSERT INTO migration VALUES (4, 'hash', 0, '9.8.7'); PRAGMA user_version = 4");

    const StoreError single = raisedBy([&store] { putAsset(*store, "b"); });
    const StoreError batch = raisedBy([&store] { store->begin(SyncLevel::Disk); });

    EXPECT_EQ(single.code(), Code::NewerSchema);
    EXPECT_EQ(QString::fromUtf8(single.what()),
              QStringLiteral("Cannot write to \"%1\": another program has brought it to schema 4, "
                             "3 is the newest known; close it, and open it with a newer version of "
                             "the program")
                      .arg(filePath()));
    EXPECT_EQ(batch.code(), Code::NewerSchema);
    EXPECT_FALSE(store->inTransaction());
    EXPECT_EQ(store->statistics().assets, 1);
}

} // namespace Tesk::Assets
