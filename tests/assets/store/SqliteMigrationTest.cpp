#include "Child.h"
#include "SqliteFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <gmock/gmock.h>

#include <random>

namespace Tesk::Assets {

using Code = StoreError::Code;

class SqliteMigrationTest : public SqliteStoreTest
{
protected:
    /// Makes a file as the first version of the program would have left it.
    void makeSchemaOne()
    {
        for (const char *name : {"assets.db", "assets.db-wal", "assets.db-shm"})
            QFile::remove(filePath(name));
        {
            const auto store = open();
            putAsset(*store, "a", QStringLiteral("Name"), QByteArray("body"));
            AssetWrite write = assetWrite("old");
            write.nextVersion = QByteArray("a");
            store->write({&write, 1});
        }
        // Schema 1 lacked the triggers.
        raw("DROP TRIGGER version_edge_insert; DROP TRIGGER version_edge_update; "
            "DELETE FROM migration WHERE version = 2; PRAGMA user_version = 1");
    }

    /// Checks that the copy which was kept is whole, and of before.
    void expectKeptCopy()
    {
        EXPECT_EQ(raw("PRAGMA user_version", "assets.db.schema-1"), QStringLiteral("1"));
        EXPECT_EQ(raw("PRAGMA integrity_check", "assets.db.schema-1"), QStringLiteral("ok"));
        EXPECT_EQ(raw("SELECT COUNT(*) FROM asset", "assets.db.schema-1"), QStringLiteral("2"));
    }
};

TEST_F(SqliteMigrationTest, bringsAnOlderSchemaUpToDateAndKeepsACopy)
{
    makeSchemaOne();

    const auto store = open(SqliteStore::Mode::Open);

    const QByteArray id = "a";
    EXPECT_EQ(store->load({&id, 1}).front()->body->data, QByteArray("body"));
    EXPECT_EQ(raw("PRAGMA user_version"), QStringLiteral("2"));
    EXPECT_EQ(raw("SELECT COUNT(*) FROM sqlite_schema WHERE type = 'trigger'"),
              QStringLiteral("2"));
    EXPECT_EQ(raw("SELECT group_concat(version) FROM migration"), QStringLiteral("1,2"));
    EXPECT_EQ(raw("SELECT length(hash) FROM migration WHERE version = 2"), QStringLiteral("64"));
    EXPECT_EQ(raw("PRAGMA user_version", "assets.db.schema-1"), QStringLiteral("1"));
    EXPECT_EQ(raw("SELECT COUNT(*) FROM asset", "assets.db.schema-1"), QStringLiteral("2"));
    EXPECT_THAT(m_log.texts().back(), testing::EndsWith("assets.db.schema-1\""));
}

TEST_F(SqliteMigrationTest, readsAnOlderSchemaThatItMayNotChange)
{
    makeSchemaOne();

    EXPECT_EQ(open(SqliteStore::Mode::ReadOnly)->statistics().assets, 2);

    EXPECT_EQ(raw("PRAGMA user_version"), QStringLiteral("1"));
    EXPECT_FALSE(QFile::exists(filePath("assets.db.schema-1")));
}

TEST_F(SqliteMigrationTest, changesNothingWhereNoCopyCanBeKept)
{
    makeSchemaOne();
    const QByteArray content = contentOf(filePath());
    QDir().mkdir(filePath("assets.db.schema-1"));

    const StoreError error = raisedBy([this] { open(SqliteStore::Mode::Open); });

    EXPECT_EQ(error.code(), Code::CannotOpen);
    EXPECT_THAT(error.what(), testing::HasSubstr(filePath("assets.db.schema-1").toStdString()));
    EXPECT_EQ(contentOf(filePath()), content);
}

TEST_F(SqliteMigrationTest, changesNothingWhereTheCopyIsDamaged)
{
    makeSchemaOne();
    QByteArray content = contentOf(filePath());
    const qsizetype page =
            raw("SELECT rootpage FROM sqlite_schema WHERE name = 'asset_name'").toInt();
    content.replace((page - 1) * 8192, 4000, QByteArray(4000, '\x7f'));
    write(filePath(), content);

    const StoreError error = raisedBy([this] { open(SqliteStore::Mode::Open); });

    EXPECT_EQ(error.code(), Code::Damaged);
    EXPECT_THAT(error.what(), testing::HasSubstr("the copy is damaged ("));
    EXPECT_EQ(contentOf(filePath()), content);
    EXPECT_FALSE(QFile::exists(filePath("assets.db.schema-1")));
}

TEST_F(SqliteMigrationTest, isDoneOrNotWheneverItIsKilled)
{
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    int keptBefore = 0;
    for (int round = 0; round < 30 && !HasFailure(); ++round) {
        makeSchemaOne();
        QFile::remove(filePath("assets.db.schema-1"));
        {
            Child child({QStringLiteral("migrate"), filePath()});
            ASSERT_EQ(child.line(), QByteArray("ready"));
            // Somewhere inside the migration, which takes a few milliseconds; spent awake.
            const qint64 delay = std::uniform_int_distribution<qint64>(0, 8'000'000)(random);
            QElapsedTimer timer;
            timer.start();
            while (timer.nsecsElapsed() < delay) {
            }
            child.kill();
        }
        const bool isDone = raw("PRAGMA user_version") == QStringLiteral("2");
        if (isDone)
            expectKeptCopy();
        keptBefore += QFile::exists(filePath("assets.db.schema-1")) ? 1 : 0;

        const auto store = open(SqliteStore::Mode::Open);

        EXPECT_EQ(raw("PRAGMA user_version"), QStringLiteral("2"));
        EXPECT_EQ(raw("SELECT group_concat(version) FROM migration"), QStringLiteral("1,2"));
        EXPECT_EQ(store->statistics().assets, 2);
        EXPECT_TRUE(store->checkIntegrity().empty());
        expectKeptCopy();
    }
    std::cout << "seed " << seed << ", killed after the copy was begun: " << keptBefore
              << " of 30\n";
}

TEST_F(SqliteMigrationTest, keepsTheFileOfBeforeWhereTwoProcessesMigrateAtOnce)
{
    for (int round = 0; round < 10 && !HasFailure(); ++round) {
        makeSchemaOne();
        Child first({QStringLiteral("migrate"), filePath()});
        Child second({QStringLiteral("migrate"), filePath()});
        EXPECT_EQ(first.waitForAll(), QByteArray("ready\nopen 2\n"));
        EXPECT_EQ(second.waitForAll(), QByteArray("ready\nopen 2\n"));

        EXPECT_EQ(raw("SELECT group_concat(version) FROM migration"), QStringLiteral("1,2"));
        expectKeptCopy();
    }
}

TEST_F(SqliteMigrationTest, refusesToWriteOnceANewerProgramChangedTheSchema)
{
    const auto store = open();
    putAsset(*store, "a");
    raw("INSERT INTO migration VALUES (3, 'hash', 0, '9.8.7'); PRAGMA user_version = 3");

    const StoreError single = raisedBy([&store] { putAsset(*store, "b"); });
    const StoreError batch = raisedBy([&store] { store->begin(SyncLevel::Disk); });

    EXPECT_EQ(single.code(), Code::NewerSchema);
    EXPECT_EQ(QString::fromUtf8(single.what()),
              QStringLiteral("Cannot write to \"%1\": another program has brought it to schema 3, "
                             "2 is the newest known; close it, and open it with a newer version of "
                             "the program")
                      .arg(filePath()));
    EXPECT_EQ(batch.code(), Code::NewerSchema);
    EXPECT_FALSE(store->inTransaction());
    EXPECT_EQ(store->statistics().assets, 1);
}

} // namespace Tesk::Assets
