#include "SqliteFixture.h"

#include <assets/MemoryStore.h>

#include <QFile>

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <span>
#include <utility>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;
using Writes = std::vector<AssetWrite>;

namespace {

/// What one call, or a row of them, raised, if anything.
struct Raised
{
    StoreError::Code code = {};
    std::string text;
    QByteArray id;

    friend bool operator==(const Raised &, const Raised &) = default;
};

/// Gives the assets to \a store, \a step of them a call, in one transaction.
std::optional<Raised> writeAll(Store &store, std::span<const AssetWrite> writes, std::size_t step)
{
    Store::Transaction transaction(store, SyncLevel::Process);
    try {
        for (std::size_t at = 0; at < writes.size(); at += step)
            store.write(writes.subspan(at, std::min(step, writes.size() - at)));
    } catch (const StoreError &error) {
        return Raised{error.code(), error.what(), error.assetId()};
    }
    transaction.commit();
    return std::nullopt;
}

/// The asset of a number, with parts of all kinds; which ones it has depends on the number.
AssetWrite numbered(int number)
{
    const QByteArray text = QByteArray::number(number);
    AssetWrite write = assetWrite("asset " + text, QStringLiteral("Class %1").arg(number % 3),
                                  QStringLiteral("Näme %1").arg(number / 2));
    write.row.classVersion = number;
    write.row.category = QStringLiteral("category %1").arg(number % 5);
    write.row.flags = static_cast<quint32>(number % 2);
    write.expectedRevision = 0;
    if (number % 7 != 3)
        write.body = BodyRow{number % 4, text.repeated(number % 50)};
    if (number % 6 != 5) {
        std::vector<MetaRow> &rows = write.metaData.emplace();
        for (int key = 0; key < number % 4; ++key)
            rows.push_back({QStringLiteral("key %1").arg((key + number) % 9), 3, 0, number});
    }
    if (number % 5 == 2)
        write.nextVersion = "asset " + QByteArray::number(number - 1);
    if (number % 3 != 1) {
        std::vector<DependencyRow> &rows = write.dependencies.emplace();
        for (int position = 0; position < number % 4; ++position)
            rows.push_back({"asset " + QByteArray::number(position + number),
                            QStringLiteral("role %1").arg(number % 8)});
    }
    return write;
}

Writes numberedFrom(int first, std::size_t count)
{
    Writes writes;
    for (std::size_t at = 0; at < count; ++at)
        writes.push_back(numbered(first + static_cast<int>(at)));
    return writes;
}

/// An asset that is there already; most have no such name in common with those of a number.
AssetWrite changed(AssetWrite write)
{
    write.expectedRevision.reset();
    write.row.name = QStringLiteral("changed");
    write.body = BodyRow{9, "changed"};
    return write;
}

} // namespace

/// Many assets in one call must come to the same as one call for each.
class SqliteAssetWriterTest : public SqliteStoreTest
{
protected:
    /// Returns all that writing left in the file, row by row, except for the time.
    std::vector<QString> rows(const char *name) const
    {
        std::vector<QString> found;
        for (const char *sql :
             {"SELECT group_concat(k || ' ' || text, x'0a') FROM (SELECT * FROM term ORDER BY k)",
              "SELECT group_concat(k || ' ' || CAST(id AS TEXT) || ' ' || class_k || ' ' || "
              "class_version || ' ' || name || ' ' || name_key || ' ' || category_k || ' ' || "
              "flags || ' ' || revision || ' ' || changed || ' ' || (modified >= created), x'0a') "
              "FROM (SELECT * FROM asset ORDER BY k)",
              "SELECT group_concat(asset_k || ' ' || encoding || ' ' || hash || ' ' || hex(data), "
              "x'0a') FROM (SELECT * FROM body ORDER BY asset_k)",
              "SELECT group_concat(asset_k || ' ' || encoding || ' ' || items || ' ' || hex(data), "
              "x'0a') FROM (SELECT * FROM metadata ORDER BY asset_k)",
              "SELECT group_concat(asset_k || ' ' || position || ' ' || CAST(id AS TEXT) || ' ' "
              "|| role_k, x'0a') FROM (SELECT * FROM dependency ORDER BY asset_k, position)",
              "SELECT group_concat(asset_k || ' ' || CAST(next_id AS TEXT), x'0a') "
              "FROM (SELECT * FROM version_edge ORDER BY asset_k)",
              "SELECT group_concat(coalesce(item_k, 'none') || ' ' || CAST(item_id AS TEXT) || ' ' "
              "|| class_k || ' ' || name || ' ' || flags, x'0a') "
              "FROM (SELECT * FROM collection_item ORDER BY collection_k, position)",
              "SELECT group_concat(CAST(id AS TEXT) || ' ' || generation, x'0a') "
              "FROM (SELECT * FROM removed ORDER BY id)",
              "PRAGMA integrity_check"})
            found.push_back(raw(sql, name));
        return found;
    }

    /// Writes to two files that \a prepare fills alike: in one call, and in one for each asset.
    template<class Prepare>
    void expectAsOneByOne(const Writes &writes, Prepare prepare)
    {
        const auto one = std::make_unique<SqliteStore>(filePath("one.db"));
        const auto many = std::make_unique<SqliteStore>(filePath("many.db"));
        MemoryStore memory;
        for (Store *const store : {static_cast<Store *>(one.get()),
                                   static_cast<Store *>(many.get()), static_cast<Store *>(&memory)})
            prepare(*store);

        const auto raisedByOne = writeAll(*one, writes, 1);
        const auto raisedByMany = writeAll(*many, writes, std::max<std::size_t>(writes.size(), 1));

        EXPECT_EQ(raisedByMany, raisedByOne);
        EXPECT_EQ(writeAll(memory, writes, writes.size() + 1), raisedByOne);
        EXPECT_EQ(rows("many.db"), rows("one.db"));
        EXPECT_EQ(many->checkIntegrity(), one->checkIntegrity());
        EXPECT_EQ(many->generation(), one->generation());
    }
};

class SqliteAssetCountTest : public SqliteAssetWriterTest, public testing::WithParamInterface<int>
{
};

TEST_P(SqliteAssetCountTest, writesNewAssetsOfOneCallAsOneByOne)
{
    const Writes writes = numberedFrom(0, static_cast<std::size_t>(GetParam()));

    expectAsOneByOne(writes, [](Store &store) { putAsset(store, "first"); });

    const auto store = std::make_unique<SqliteStore>(filePath("many.db"));
    for (const StoreFinding &finding : store->checkIntegrity()) // they name assets that are to come
        EXPECT_EQ(finding.code, StoreFinding::Code::DanglingDependency) << finding.id.constData();
    EXPECT_EQ(store->statistics().assets, GetParam() + 1);
    for (const AssetWrite &write : writes) {
        const std::span<const QByteArray> id(&write.row.id, 1);
        const auto found = store->load(id).front();
        ASSERT_TRUE(found) << write.row.id.constData();
        EXPECT_EQ(found->row.name, write.row.name);
        EXPECT_EQ(found->row.className, write.row.className);
        EXPECT_EQ(found->row.category, write.row.category);
        EXPECT_EQ(found->row.classVersion, write.row.classVersion);
        EXPECT_EQ(found->row.flags, write.row.flags);
        EXPECT_EQ(found->row.createdMs, found->row.modifiedMs);
        EXPECT_EQ(found->body, write.body);
        EXPECT_EQ(store->nextVersions(id).front(), write.nextVersion.value_or(QByteArray()));
        EXPECT_EQ(store->dependencies(id).front(),
                  write.dependencies.value_or(std::vector<DependencyRow>()));
        EXPECT_EQ(store->metaData(id).front().size(),
                  write.metaData.value_or(std::vector<MetaRow>()).size());
    }
}

INSTANTIATE_TEST_SUITE_P(Counts, SqliteAssetCountTest,
                         testing::Values(0, 1, 2, 15, 16, 17, 31, 32, 35, 63, 64, 65, 79, 80, 81,
                                         131));

TEST_F(SqliteAssetWriterTest, namesTheFirstOfTheIdsThatAreTaken)
{
    const auto store = open();
    putAsset(*store, "asset 30", QStringLiteral("old"));
    putAsset(*store, "asset 21", QStringLiteral("old"));
    const qint64 generation = store->generation();
    const std::vector<QString> before = rows("assets.db");

    const StoreError error = raisedBy([&] { store->write(numberedFrom(0, 40)); });

    EXPECT_EQ(error.code(), StoreError::Code::Changed);
    EXPECT_EQ(error.assetId(), QByteArray("asset 21"));
    EXPECT_STREQ(error.what(), "Cannot store asset \"asset 21\": changed by someone else, it "
                               "exists already; refresh, then try again");
    EXPECT_EQ(store->generation(), generation);
    EXPECT_EQ(rows("assets.db"), before);
    ASSERT_EQ(m_log.messages().size(), 1U);
    EXPECT_THAT(
            m_log.messages().front().place,
            TestSupport::placeIs("SqliteStoreAssets.cpp", "Tesk::Assets::SqliteStore::write()"));
}

TEST_F(SqliteAssetWriterTest, refusesATakenIdAtAnyPlaceAsOneByOne)
{
    for (const int taken : {0, 1, 15, 16, 31, 32, 34, 63, 64, 69}) {
        SCOPED_TRACE(taken);
        QFile::remove(filePath("one.db"));
        QFile::remove(filePath("many.db"));
        expectAsOneByOne(numberedFrom(0, 70),
                         [&](Store &store) { putAsset(store, numbered(taken).row.id); });
        EXPECT_EQ(raw("SELECT COUNT(*) FROM asset", "many.db"), QStringLiteral("1"));
    }
}

TEST_F(SqliteAssetWriterTest, refusesAnIdThatOneCallGivesTwice)
{
    for (const auto &[first, second] : {std::pair(0U, 1U), std::pair(3U, 15U), std::pair(2U, 17U),
                                        std::pair(33U, 39U), std::pair(4U, 68U)}) {
        SCOPED_TRACE(second);
        QFile::remove(filePath("one.db"));
        QFile::remove(filePath("many.db"));
        Writes writes = numberedFrom(0, 70);
        writes[second].row.id = writes[first].row.id;
        expectAsOneByOne(writes, [](Store &store) { putAsset(store, "first"); });
        EXPECT_EQ(raw("SELECT COUNT(*) FROM asset", "many.db"), QStringLiteral("1"));
    }
}

TEST_F(SqliteAssetWriterTest, goesOnWithATransactionAfterARefusedCall)
{
    const auto store = open();
    putAsset(*store, "asset 20");
    {
        Store::Transaction transaction(*store, SyncLevel::Process);
        store->write(numberedFrom(100, 20));
        EXPECT_EQ(codeRaisedBy([&] { store->write(numberedFrom(0, 40)); }),
                  StoreError::Code::Changed);
        store->write(numberedFrom(200, 20));
        transaction.commit();
    }

    EXPECT_EQ(raw("SELECT COUNT(*) || ' ' || MAX(k) FROM asset"), QStringLiteral("41 41"));
    EXPECT_EQ(store->dependencies(Ids{"asset 102"}).front(), *numbered(102).dependencies);
    EXPECT_EQ(store->dependencies(Ids{"asset 206"}).front(), *numbered(206).dependencies);
    EXPECT_EQ(store->metaData(Ids{"asset 115"}).front().size(), 3U);
}

TEST_F(SqliteAssetWriterTest, writesNewAndOldAssetsOfOneCallAsOneByOne)
{
    const unsigned int seed = std::random_device()();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 12; ++round) {
        QFile::remove(filePath("one.db"));
        QFile::remove(filePath("many.db"));
        // Some that are old, a mistake in every second round, and the rest is new.
        Writes writes = numberedFrom(0, 150);
        for (std::size_t at = 0; at < writes.size(); at += 1 + random() % 60)
            writes[at] = changed(numbered(static_cast<int>(random() % 300)));
        if (round % 2 == 0) {
            const std::size_t wrong = random() % writes.size();
            switch (random() % 4) {
            case 0:
                writes[wrong].row.className.clear();
                break;
            case 1:
                writes[wrong].row.id = writes[random() % writes.size()].row.id;
                writes[wrong].expectedRevision = 0;
                break;
            case 2:
                writes[wrong].expectedRevision = 1234;
                break;
            default:
                writes[wrong].nextVersion = writes[wrong].row.id;
            }
        }
        expectAsOneByOne(writes, [](Store &store) {
            store.write(numberedFrom(200, 10));
            putAsset(store, "list");
            store.appendToCollection("list", Ids{"asset 40", "asset 201", "asset 41", "none"});
            const std::vector<AssetRemoval> removals{{"asset 203", {}}, {"asset 209", {}}};
            store.remove(removals);
        });
    }
}

TEST_F(SqliteAssetWriterTest, raisesWhatIsWrongWithTheFirstAssetOfACall)
{
    // Each mistake alone is another error; whichever comes first is the one that counts.
    const auto spoil = [](AssetWrite &write, int kind) {
        switch (kind) {
        case 0:
            write.row.id = "taken";
            break;
        case 1:
            write.row.name = QString(QChar(0xd800));
            break;
        case 2:
            write.nextVersion = write.row.id;
            break;
        case 3:
            write.metaData = {MetaRow{QString(), 3, 0, 1}};
            break;
        default:
            write.row.id.clear();
        }
    };
    for (int first = 0; first < 5; ++first) {
        for (int second = 0; second < 5; ++second) {
            SCOPED_TRACE(std::to_string(first) + ' ' + std::to_string(second));
            QFile::remove(filePath("one.db"));
            QFile::remove(filePath("many.db"));
            Writes writes = numberedFrom(0, 40);
            spoil(writes[5], first);
            spoil(writes[20], second);
            m_log.clear();
            expectAsOneByOne(writes, [](Store &store) { putAsset(store, "taken"); });
            EXPECT_EQ(m_log.messages().size(), 3U); // one for each store
        }
    }
}

TEST_F(SqliteAssetWriterTest, makesItemsOfNewAssetsLiveAndForgetsTheirRemoval)
{
    const auto prepare = [](Store &store) {
        store.write(numberedFrom(10, 3));
        putAsset(store, "list");
        store.appendToCollection("list", Ids{"asset 3", "asset 11", "asset 18", "asset 39", "x"});
        const std::vector<AssetRemoval> removals{{"asset 11", {}}, {"asset 12", {}}};
        store.remove(removals);
    };
    Writes writes = numberedFrom(0, 40);
    writes[10] = changed(writes[10]);

    expectAsOneByOne(writes, prepare);

    EXPECT_EQ(raw("SELECT COUNT(*) FROM removed", "many.db"), QStringLiteral("0"));
    const auto store = std::make_unique<SqliteStore>(filePath("many.db"));
    const std::vector<CatalogueRow> items = store->scanCollection("list");
    ASSERT_EQ(items.size(), 5U);
    EXPECT_EQ(items[1], (CatalogueRow{"asset 11", true, writes[11].row.className,
                                      writes[11].row.name, writes[11].row.flags}));
    EXPECT_TRUE(items[0].exists && items[2].exists && items[3].exists);
    EXPECT_FALSE(items[4].exists);
}

TEST_F(SqliteAssetWriterTest, givesTheNumberOfTheHighestRowAgainOnceItWasRemoved)
{
    const auto prepare = [](Store &store) {
        store.write(numberedFrom(100, 20));
        const std::vector<AssetRemoval> removals{
                {"asset 119", {}}, {"asset 118", {}}, {"asset 105", {}}};
        store.remove(removals);
    };

    expectAsOneByOne(numberedFrom(0, 40), prepare);

    EXPECT_EQ(raw("SELECT MIN(k) || ' ' || MAX(k) FROM asset WHERE name_key LIKE 'n_me 0' "
                  "OR name_key LIKE 'n_me 19'",
                  "many.db"),
              QStringLiteral("19 58"));
}

TEST_F(SqliteAssetWriterTest, keepsThePartsTogetherWhereTheRowNumbersAreUsedUp)
{
    const auto store = open();
    putAsset(*store, "last");
    raw("UPDATE asset SET k = 9223372036854775800");

    store->write(numberedFrom(0, 60));

    for (const AssetWrite &write : numberedFrom(0, 60)) {
        const auto found = store->load({&write.row.id, 1}).front();
        ASSERT_TRUE(found);
        EXPECT_EQ(found->body, write.body);
    }
    EXPECT_EQ(raw("SELECT COUNT(*) FROM body WHERE asset_k NOT IN (SELECT k FROM asset)"),
              QStringLiteral("0"));
}

TEST_F(SqliteAssetWriterTest, writesOverRowsThatBelongToNoAsset)
{
    for (const char *orphan : {"INSERT INTO body VALUES (7, 1, 2, X'00')",
                               "INSERT INTO metadata VALUES (9, 1, 1, X'00')"}) {
        const auto store = open();
        putAsset(*store, "first");
        raw(orphan);

        store->write(numberedFrom(0, 40));

        EXPECT_EQ(store->load(Ids{"asset 5"}).front()->body, numbered(5).body);
        EXPECT_EQ(store->metaData(Ids{"asset 7"}).front().size(), 3U);
        QFile::remove(filePath());
    }
}

} // namespace Tesk::Assets
