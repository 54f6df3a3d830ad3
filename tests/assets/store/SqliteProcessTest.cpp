#include "../support/NoteAsset.h"
#include "Child.h"
#include "SqliteFixture.h"

#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>

#include <QElapsedTimer>
#include <QFile>

#include <sqlite3.h>

#include <algorithm>
#include <random>
#include <string>

#include <unistd.h>

namespace Tesk::Assets {

using Mode = SqliteStore::Mode;

namespace {

constexpr int sBatchSize = 20;

int killCount()
{
    const int wanted = qEnvironmentVariableIntValue("TESK_KILLS");
    return wanted > 0 ? wanted : 50;
}

// Both add to one number that both have read before.
void addAtOnce(Child &first, Child &second, const QByteArray &round)
{
    first.send(round);
    second.send(round);
    ASSERT_EQ(first.line(), QByteArray("read"));
    ASSERT_EQ(second.line(), QByteArray("read"));
    first.send("go");
    second.send("go");
    const QByteArray firstAnswer = first.line();
    const QByteArray secondAnswer = second.line();
    ASSERT_FALSE(firstAnswer.isEmpty());
    ASSERT_FALSE(secondAnswer.isEmpty());
    // Both had read the same number: one was told, and added to what the other wrote.
    ASSERT_EQ(firstAnswer.toInt() + secondAnswer.toInt(), 1);
}

} // namespace

class SqliteKillTest : public SqliteStoreTest, public testing::WithParamInterface<const char *>
{
protected:
    /// Lets a child import from \a batch on and kills it; returns the last batch it acknowledged.
    int importAndKill(int batch)
    {
        Child child({QString::fromLatin1(GetParam()), filePath(), QString::number(batch)});
        int last = batch - 1;
        const int lines = std::uniform_int_distribution<int>(0, 12)(m_random);
        for (int line = 0; line < lines; ++line)
            last = child.line().toInt();
        // Somewhere inside a batch: the time of about two of them, spent awake.
        const qint64 delay = std::uniform_int_distribution<qint64>(0, 3'000'000)(m_random);
        QElapsedTimer timer;
        timer.start();
        while (timer.nsecsElapsed() < delay) {
        }
        child.kill();
        for (const QByteArray &line : child.rest()) {
            if (!line.isEmpty())
                last = line.toInt();
        }
        return last;
    }

    /// Checks the file; returns how many batches are in it.
    int checkFile(int acknowledged)
    {
        const auto store = open(Mode::OpenOrCreate);
        EXPECT_TRUE(store->checkIntegrity().empty());
        const std::vector<CatalogueRow> items = store->scanCollection("list");
        EXPECT_EQ(items.size() % sBatchSize, 0U);
        const int batches = static_cast<int>(items.size()) / sBatchSize;
        EXPECT_GE(batches, acknowledged);
        EXPECT_LE(batches, acknowledged + 1);

        std::vector<QByteArray> ids;
        for (int batch = 0; batch < batches; ++batch) {
            for (int index = 0; index < sBatchSize; ++index)
                ids.push_back("batch-" + QByteArray::number(batch) + '-'
                              + QByteArray::number(index));
        }
        const auto assets = store->load(ids);
        const auto metaData = store->metaDataItems(ids, QStringLiteral("batch"));
        for (std::size_t index = 0; index < ids.size(); ++index) {
            EXPECT_EQ(items[index].id, ids[index]);
            EXPECT_TRUE(items[index].exists);
            EXPECT_TRUE(assets[index] && assets[index]->body
                        && assets[index]->body->data.contains(ids[index].repeated(20)))
                    << ids[index].toStdString();
            EXPECT_TRUE(metaData[index]
                        && metaData[index]->value.toInt() == static_cast<int>(index) / sBatchSize);
        }
        // Nothing of a batch that is not whole: all that is there besides is the list.
        const qint64 others = store->statistics().assets - qint64(ids.size());
        EXPECT_GE(others, items.empty() ? 0 : 1);
        EXPECT_LE(others, 1);
        return batches;
    }

    std::mt19937 m_random{std::random_device()()};
};

TEST_P(SqliteKillTest, keepsWhatWasAcknowledgedWheneverItIsKilled)
{
    constexpr int sKillsOfAFile = 10;
    const int kills = killCount();
    int batches = 0;
    int unacknowledged = 0;
    for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
        if (kill % sKillsOfAFile == 0) {
            batches = 0;
            for (const char *name : {"assets.db", "assets.db-wal", "assets.db-shm"})
                QFile::remove(filePath(name));
        }
        const int acknowledged = importAndKill(batches) + 1;
        batches = checkFile(acknowledged);
        unacknowledged += batches - acknowledged;
    }
    std::cout << kills << " kills, " << unacknowledged
              << " of them between a commit and its acknowledgement\n";
}

INSTANTIATE_TEST_SUITE_P(Levels, SqliteKillTest, testing::Values("import-store", "import-service"),
                         [](const auto &kind) {
                             return std::string(kind.param).substr(sizeof("import-") - 1);
                         });

TEST_F(SqliteStoreTest, letsTwoProcessesImportAtOnceForAHundredRounds)
{
    constexpr int sRounds = 100;
    const auto store = open();
    putAsset(*store, "list");
    putAsset(*store, "number", {}, QByteArray("0"));
    Child first({QStringLiteral("share"), filePath(), QStringLiteral("first")});
    Child second({QStringLiteral("share"), filePath(), QStringLiteral("second")});
    ASSERT_EQ(first.line(), QByteArray("ready"));
    ASSERT_EQ(second.line(), QByteArray("ready"));

    for (int round = 1; round <= sRounds; ++round) {
        const qint64 generation = store->generation();
        const QByteArray name = QByteArray::number(round);
        ASSERT_NO_FATAL_FAILURE(addAtOnce(first, second, name));

        // Seen at once, and nothing was written over: each addition counts.
        const std::vector<QByteArray> ids{"number", "first-" + name + "-4",
                                          "second-" + name + "-0"};
        const auto found = store->load(ids);
        ASSERT_EQ(found[0]->body->data, QByteArray::number(2 * round));
        ASSERT_TRUE(found[1]);
        ASSERT_TRUE(found[2]);
        ASSERT_EQ(store->scanCollection("list").size(), static_cast<std::size_t>(10 * round));
        ASSERT_EQ(store->generation(), generation + 6); // a batch, a list and a number of each
        ASSERT_EQ(store->changesSince(generation).changes.size(), 12U);
    }
    EXPECT_TRUE(store->checkIntegrity().empty());
}

TEST_F(SqliteStoreTest, letsTwoServicesImportAtOnce)
{
    // Fewer where the machine has much else to do, unless many kills are asked for.
    constexpr int sRounds = 100;
    constexpr int sFewestRounds = 20;
    constexpr qint64 sLongestMs = 12000;
    const bool isBounded = !qEnvironmentVariableIsSet("TESK_KILLS");
    QElapsedTimer timer;
    timer.start();
    NoteAsset::registerType();
    const auto service = AssetDatabaseService::open(std::make_unique<SqliteStore>(filePath()));
    service->getOrCreateReferenceForInternalAsset("list", CollectionAsset::sTypeName);
    const auto number = NoteAsset::make();
    number->text.set(QStringLiteral("0"));
    service->insertAsset(number, "number", {});
    const auto list = std::dynamic_pointer_cast<CollectionAsset>(service->getAssetFromId("list"));
    std::vector<AssetChange> seen;
    service->addChangeObserver([&seen](const auto &changes) {
        seen.insert(seen.end(), changes.begin(), changes.end());
    });
    Child first({QStringLiteral("share-service"), filePath(), QStringLiteral("first")});
    Child second({QStringLiteral("share-service"), filePath(), QStringLiteral("second")});
    ASSERT_EQ(first.line(), QByteArray("ready"));
    ASSERT_EQ(second.line(), QByteArray("ready"));

    int round = 1;
    for (; round <= sRounds; ++round) {
        if (isBounded && round > sFewestRounds && timer.elapsed() > sLongestMs)
            break;
        const QByteArray name = QByteArray::number(round);
        ASSERT_NO_FATAL_FAILURE(addAtOnce(first, second, name));

        // Look-ups see it at once; what is live follows with a refresh.
        const auto note = std::dynamic_pointer_cast<NoteAsset>(
                service->getAssetFromId("first-" + name + "-4"));
        ASSERT_TRUE(note);
        ASSERT_EQ(note->text.get(), QStringLiteral("first-%1-").arg(round));
        ASSERT_TRUE(service->getAssetFromId("second-" + name + "-0"));
        seen.clear();
        const auto result = service->refresh();
        ASSERT_EQ(number->text.get().toInt(), 2 * round);
        ASSERT_EQ(list->itemCount(), 10 * round);
        const AssetChange changed{AssetChange::Kind::ContentChanged, number->ownReference(), true};
        ASSERT_EQ(std::count(seen.begin(), seen.end(), changed), 1);
        ASSERT_EQ(
                std::count(result.refreshed.begin(), result.refreshed.end(), list->ownReference()),
                1);
    }
    std::cout << round - 1 << " rounds\n";
    EXPECT_TRUE(service->checkIntegrity().empty());
}

TEST_F(SqliteStoreTest, letsTwoProcessesSetDifferentMetadataOfOneAssetAtOnce)
{
    constexpr int sItems = 200;
    const auto store = open();
    putAsset(*store, "shared");
    const QString count = QString::number(sItems);
    Child first({QStringLiteral("set-items"), filePath(), QStringLiteral("first"), count});
    Child second({QStringLiteral("set-items"), filePath(), QStringLiteral("second"), count});
    ASSERT_EQ(first.line(), QByteArray("ready"));
    ASSERT_EQ(second.line(), QByteArray("ready"));

    first.send("go");
    second.send("go");
    ASSERT_EQ(first.waitForAll(), QByteArray("done\n"));
    ASSERT_EQ(second.waitForAll(), QByteArray("done\n"));

    const QByteArray id = "shared";
    for (const char *name : {"first", "second"}) {
        for (int number = 0; number < sItems; ++number) {
            const QString key = QStringLiteral("%1 %2").arg(QLatin1StringView(name)).arg(number);
            const auto item = store->metaDataItems({&id, 1}, key).front();
            ASSERT_TRUE(item) << key.toStdString();
            EXPECT_EQ(item->value, QVariant(number));
        }
    }
    EXPECT_EQ(store->metaData({&id, 1}).front().size(), 2U * sItems);
    EXPECT_TRUE(store->checkIntegrity().empty());
}

TEST_F(SqliteStoreTest, fillsASmallDiskAndGoesOnWhenThereIsSpaceAgain)
{
    Child child({QStringLiteral("fill-disk"), m_folder.path()});
    const QByteArray said = child.waitForAll();
    if (said == "no small disk\n")
        GTEST_SKIP() << "this user may not mount";
    const QByteArrayList lines = said.split('\n');

    ASSERT_EQ(lines.size(), 4) << said.toStdString();
    EXPECT_EQ(
            lines[0],
            QStringLiteral("error 4 Cannot write to the database \"%1\": database or disk is full "
                           "(SQLite error 13); nothing of it was stored; free some space on the "
                           "disk, then try again")
                    .arg(filePath())
                    .toUtf8());
    EXPECT_TRUE(lines[1].startsWith("full ") && lines[1].endsWith(" batches, 0 more, 0 findings"))
            << lines[1].toStdString();
    EXPECT_GT(lines[1].split(' ')[1].toInt(), 2);
    EXPECT_TRUE(lines[2].startsWith("freed ") && lines[2].endsWith(" batches, 0 more, 0 findings"))
            << lines[2].toStdString();
}

TEST_F(SqliteStoreTest, letsTwoProcessesCreateAFileAtOnce)
{
    for (int round = 0; round < 10; ++round) {
        const QString path = filePath(("new" + std::to_string(round) + ".db").c_str());
        Child first({QStringLiteral("share"), path, QStringLiteral("first")});
        Child second({QStringLiteral("share"), path, QStringLiteral("second")});
        EXPECT_EQ(first.line(), QByteArray("ready"));
        EXPECT_EQ(second.line(), QByteArray("ready"));
        EXPECT_EQ(SqliteStore(path).statistics().assets, 0);
    }
}

class SqliteReadOnlyTest : public SqliteStoreTest
{
protected:
    static constexpr auto sReadOnlyFile = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
    static constexpr auto sOpenFolder = sReadOnlyFile | QFile::ExeOwner | QFile::ExeGroup
                                        | QFile::ExeOther | QFile::WriteOwner | QFile::WriteGroup
                                        | QFile::WriteOther;
    static constexpr auto sReadOnlyFolder =
            sReadOnlyFile | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;

    ~SqliteReadOnlyTest() override { QFile::setPermissions(m_folder.path(), sOpenFolder); }

    QByteArray readAsNobody()
    {
        Child child({QStringLiteral("nobody"), filePath()});
        return child.waitForAll();
    }

    QString readOnlyError() const
    {
        return QStringLiteral("error 3 Cannot write to \"%1\": it was opened read-only; make the "
                              "file and its folder writable and open it again, or work on a copy\n")
                .arg(filePath());
    }
};

TEST_F(SqliteReadOnlyTest, readsAFileInAFolderThatMayOnlyBeRead)
{
    putAsset(*open(), "a", QStringLiteral("Name"), QByteArray("body"));
    const QByteArray content = contentOf(filePath());
    QFile::setPermissions(filePath(), sReadOnlyFile);
    QFile::setPermissions(m_folder.path(), sReadOnlyFolder);

    EXPECT_EQ(QString::fromUtf8(readAsNobody()),
              QStringLiteral("readOnly 1, assets 1, body body, findings 0\n") + readOnlyError());
    EXPECT_EQ(contentOf(filePath()), content);
}

TEST_F(SqliteReadOnlyTest, readsAWritableFileInAFolderThatMayOnlyBeRead)
{
    putAsset(*open(), "a", QStringLiteral("Name"), QByteArray("body"));
    QFile::setPermissions(filePath(), sReadOnlyFile | QFile::WriteOther | QFile::WriteOwner);
    QFile::setPermissions(m_folder.path(), sReadOnlyFolder);

    EXPECT_EQ(QString::fromUtf8(readAsNobody()),
              QStringLiteral("readOnly 1, assets 1, body body, findings 0\n") + readOnlyError());
}

TEST_F(SqliteReadOnlyTest, readsAFileThatMayOnlyBeReadInAnOpenFolder)
{
    putAsset(*open(), "a", QStringLiteral("Name"), QByteArray("body"));
    QFile::setPermissions(filePath(), sReadOnlyFile);
    QFile::setPermissions(m_folder.path(), sOpenFolder);

    EXPECT_EQ(QString::fromUtf8(readAsNobody()),
              QStringLiteral("readOnly 1, assets 1, body body, findings 0\n") + readOnlyError());
}

TEST_F(SqliteReadOnlyTest, refusesAReadOnlyFolderWhoseFileNeedsItsLog)
{
    putAsset(*open(), "a");
    // As a killed program leaves it: the last change is in the log alone.
    sqlite3 *handle = nullptr;
    sqlite3_open(filePath().toUtf8().constData(), &handle);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_exec(handle, "UPDATE asset SET flags = 1", nullptr, nullptr, nullptr);
    sqlite3_close(handle);
    ASSERT_GT(QFile(filePath("assets.db-wal")).size(), 0);
    QFile::remove(filePath("assets.db-shm"));
    QFile::setPermissions(filePath(), sReadOnlyFile);
    QFile::setPermissions(filePath("assets.db-wal"), sReadOnlyFile);
    QFile::setPermissions(m_folder.path(), sReadOnlyFolder);

    const QString answer = QString::fromUtf8(readAsNobody());

    EXPECT_TRUE(answer.startsWith(
            QStringLiteral(
                    "error 0 Cannot open \"%1\": its last changes are in \"%1-wal\", and its "
                    "folder may not be written to (")
                    .arg(filePath())))
            << answer.toStdString();
    EXPECT_TRUE(answer.endsWith(
            QStringLiteral("; copy both files to a folder of your own and open them there\n")));
}

TEST_F(SqliteReadOnlyTest, refusesAFileThatMayNotBeRead)
{
    putAsset(*open(), "a");
    QFile::setPermissions(filePath(), QFile::ReadOwner | QFile::WriteOwner);
    QFile::setPermissions(m_folder.path(), sReadOnlyFolder);
    if (geteuid() != 0)
        QFile::setPermissions(filePath(), {});

    const QString answer = QString::fromUtf8(readAsNobody());

    EXPECT_EQ(
            answer,
            QStringLiteral("error 0 Cannot open the database \"%1\": unable to open database file "
                           "(SQLite error 14); make the file and its folder accessible to this "
                           "user\n")
                    .arg(filePath()));
}

} // namespace Tesk::Assets
