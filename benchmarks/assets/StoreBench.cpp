// The SQLite store beside SQLite itself: the same rows into the same tables, nothing around them.

#include <assets/SqliteStore.h>

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <sqlite3.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace Tesk::Assets {

namespace {

/// What an import of filters looks like: ids of 30 characters, names of 16, bodies of 300 bytes.
struct Import
{
    explicit Import(int count)
    {
        std::mt19937 random(1);
        writes.resize(static_cast<std::size_t>(count));
        for (int index = 0; index < count; ++index) {
            AssetWrite &write = writes[static_cast<std::size_t>(index)];
            const QByteArray number = QByteArray::number(random(), 16).rightJustified(8, '0');
            write.row.id = "filter://library/" + number + QByteArray::number(index);
            write.row.className = QStringLiteral("Tesk::NodeLibrary::NodeDefAsset");
            write.row.name = QStringLiteral("Filter %1").arg(index, 9);
            write.row.category = QStringLiteral("filter");
            write.expectedRevision = 0;
            write.body = BodyRow{BodyRow::sCbor, number.repeated(38)};
            write.metaData = {
                    MetaRow{QStringLiteral("filter_name"), 3, 0, write.row.name},
                    MetaRow{QStringLiteral("filter_type"), 3, 0, QStringLiteral("dynamic_filter")},
                    MetaRow{QStringLiteral("hidden"), 12, 0, false}};
            ids.push_back(write.row.id);
        }
    }

    std::vector<AssetWrite> writes;
    std::vector<QByteArray> ids;
};

/// A prepared statement without any care.
class RawStatement
{
public:
    RawStatement(sqlite3 *handle, const char *sql)
    {
        sqlite3_prepare_v2(handle, sql, -1, &m_statement, nullptr);
    }
    ~RawStatement() { sqlite3_finalize(m_statement); }
    RawStatement(const RawStatement &) = delete;
    RawStatement &operator=(const RawStatement &) = delete;

    RawStatement &integer(sqlite3_int64 value)
    {
        sqlite3_bind_int64(m_statement, ++m_parameter, value);
        return *this;
    }
    RawStatement &text(const QByteArray &value)
    {
        sqlite3_bind_text(m_statement, ++m_parameter, value.constData(), int(value.size()),
                          SQLITE_STATIC);
        return *this;
    }
    RawStatement &blob(const QByteArray &value)
    {
        sqlite3_bind_blob(m_statement, ++m_parameter, value.constData(), int(value.size()),
                          SQLITE_STATIC);
        return *this;
    }
    bool step() { return sqlite3_step(m_statement) == SQLITE_ROW; }
    void reset()
    {
        sqlite3_reset(m_statement);
        m_parameter = 0;
    }
    void run()
    {
        step();
        reset();
    }
    sqlite3_stmt *statement() const { return m_statement; }

private:
    sqlite3_stmt *m_statement = nullptr;
    int m_parameter = 0;
};

/// The rows of an import, already in the form in which SQLite takes them.
struct RawImport
{
    explicit RawImport(const Import &import)
        : source(import)
    {
        for (const AssetWrite &write : import.writes) {
            names.push_back(write.row.name.toUtf8());
            keys.push_back(write.row.name.toLower().toUtf8());
            metaDataRows.push_back(QByteArray::fromHex("850303000770") + names.back()
                                   + QByteArray::fromHex("85040300076e") + "dynamic_filter"
                                   + QByteArray::fromHex("85050c0001f4"));
        }
    }

    void run(const QString &path) const
    {
        sqlite3 *handle = nullptr;
        sqlite3_open(path.toUtf8().constData(), &handle);
        sqlite3_exec(handle,
                     "PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON; PRAGMA cache_size=-65536; "
                     "BEGIN IMMEDIATE; INSERT INTO term (k, text) VALUES (1, 'class'), "
                     "(2, 'category'), (3, 'filter_name'), (4, 'filter_type'), (5, 'hidden')",
                     nullptr, nullptr, nullptr);
        {
            RawStatement asset(handle,
                               "INSERT INTO asset (id, class_k, class_version, name, name_key, "
                               "category_k, flags, revision, changed, created, modified) "
                               "VALUES (?1, 1, 0, ?2, ?3, 2, 0, 1, 1, 0, 0)");
            RawStatement body(handle, "INSERT INTO body VALUES (?1, 1, 0, ?2)");
            RawStatement metaData(handle, "INSERT INTO metadata VALUES (?1, 1, 3, ?2)");
            for (std::size_t index = 0; index < names.size(); ++index) {
                asset.blob(source.ids[index]).text(names[index]).text(keys[index]).run();
                const sqlite3_int64 key = sqlite3_last_insert_rowid(handle);
                body.integer(key).blob(source.writes[index].body->data).run();
                metaData.integer(key).blob(metaDataRows[index]).run();
            }
        }
        sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(handle);
    }

    const Import &source;
    std::vector<QByteArray> names;
    std::vector<QByteArray> keys;
    std::vector<QByteArray> metaDataRows;
};

QString newFile(const QTemporaryDir &folder)
{
    static int count = 0;
    const QString path = folder.filePath(QStringLiteral("%1.db").arg(++count));
    const SqliteStore store(path, SqliteStore::Mode::Create); // the tables, outside of the time
    return path;
}

/// A file with a collection of all assets of an import.
class Catalogue
{
public:
    explicit Catalogue(int count)
        : import(count)
        , path(newFile(m_folder))
    {
        SqliteStore store(path);
        Store::Transaction transaction(store, SyncLevel::Process);
        store.write(import.writes);
        AssetWrite list;
        list.row.id = "list";
        list.row.className = QStringLiteral("List");
        store.write({&list, 1});
        store.appendToCollection("list", import.ids);
        transaction.commit();
    }

private:
    QTemporaryDir m_folder;

public:
    const Import import;
    const QString path;
};

const Catalogue &catalogue(int count)
{
    static const Catalogue small(100);
    static const Catalogue large(100000);
    return count == 100 ? small : large;
}

} // namespace

static void bulkInsertByTheStore(benchmark::State &state)
{
    const QTemporaryDir folder;
    const Import import(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        const QString path = newFile(folder);
        state.ResumeTiming();
        SqliteStore store(path);
        Store::Transaction transaction(store, SyncLevel::Disk);
        store.write(import.writes);
        transaction.commit();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

static void bulkInsertRaw(benchmark::State &state)
{
    const QTemporaryDir folder;
    const Import import(static_cast<int>(state.range(0)));
    const RawImport raw(import);
    for (auto _ : state) {
        state.PauseTiming();
        const QString path = newFile(folder);
        state.ResumeTiming();
        raw.run(path);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(bulkInsertRaw)->ArgName("assets")->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(bulkInsertByTheStore)
        ->ArgName("assets")
        ->Arg(10000)
        ->Arg(100000)
        ->Unit(benchmark::kMillisecond);

// Each append is a new id, so that something is really written.
static void appendOneItem(benchmark::State &state)
{
    SqliteStore store(catalogue(static_cast<int>(state.range(0))).path);
    static int count = 0;
    for (auto _ : state) {
        const QByteArray id = "appended" + QByteArray::number(++count);
        benchmark::DoNotOptimize(store.appendToCollection("list", {&id, 1}));
    }
}
BENCHMARK(appendOneItem)->ArgName("items")->Arg(100)->Arg(100000)->Unit(benchmark::kMicrosecond);

static void openAFile(benchmark::State &state)
{
    const QString &path = catalogue(static_cast<int>(state.range(0))).path;
    const SqliteStore other(path); // as when another process works with it; no log to write back
    for (auto _ : state) {
        const SqliteStore store(path, SqliteStore::Mode::Open);
        benchmark::DoNotOptimize(store.isReadOnly());
    }
}
BENCHMARK(openAFile)->ArgName("assets")->Arg(100)->Arg(100000)->Unit(benchmark::kMillisecond);

static void openAFileAlone(benchmark::State &state)
{
    const QString &path = catalogue(static_cast<int>(state.range(0))).path;
    for (auto _ : state) {
        const SqliteStore store(path, SqliteStore::Mode::Open);
        benchmark::DoNotOptimize(store.isReadOnly());
    }
}
BENCHMARK(openAFileAlone)->ArgName("assets")->Arg(100)->Arg(100000)->Unit(benchmark::kMillisecond);

static void scanACollectionRaw(benchmark::State &state)
{
    const QString &path = catalogue(static_cast<int>(state.range(0))).path;
    sqlite3 *handle = nullptr;
    sqlite3_open(path.toUtf8().constData(), &handle);
    for (auto _ : state) {
        RawStatement scan(handle,
                          "SELECT item_id, item_k, class_k, name, flags FROM collection_item "
                          "WHERE collection_k = (SELECT k FROM asset WHERE id = ?1) "
                          "ORDER BY position");
        const QByteArray list = "list";
        scan.blob(list);
        sqlite3_int64 sum = 0;
        while (scan.step()) {
            benchmark::DoNotOptimize(sqlite3_column_blob(scan.statement(), 0));
            benchmark::DoNotOptimize(sqlite3_column_text(scan.statement(), 3));
            sum += sqlite3_column_int64(scan.statement(), 1)
                   + sqlite3_column_int64(scan.statement(), 2)
                   + sqlite3_column_int64(scan.statement(), 4);
        }
        benchmark::DoNotOptimize(sum);
    }
    sqlite3_close(handle);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(scanACollectionRaw)
        ->ArgName("items")
        ->Arg(100)
        ->Arg(100000)
        ->Unit(benchmark::kMillisecond);

static void scanACollection(benchmark::State &state)
{
    const SqliteStore store(catalogue(static_cast<int>(state.range(0))).path);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.scanCollection("list"));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(scanACollection)->ArgName("items")->Arg(100)->Arg(100000)->Unit(benchmark::kMillisecond);

// A hundred ids of anywhere in the file, as when shells are filled that somebody looks at.
static void loadAHundredAssets(benchmark::State &state)
{
    const Catalogue &source = catalogue(static_cast<int>(state.range(0)));
    const SqliteStore store(source.path);
    std::mt19937 random(2);
    std::vector<QByteArray> ids(100);
    for (auto _ : state) {
        for (QByteArray &id : ids)
            id = source.import.ids[random() % source.import.ids.size()];
        benchmark::DoNotOptimize(store.load(ids));
    }
    state.SetItemsProcessed(state.iterations() * 100);
}
BENCHMARK(loadAHundredAssets)
        ->ArgName("assets")
        ->Arg(100)
        ->Arg(100000)
        ->Unit(benchmark::kMicrosecond);

static void loadAHundredRaw(benchmark::State &state)
{
    const Catalogue &source = catalogue(static_cast<int>(state.range(0)));
    sqlite3 *handle = nullptr;
    sqlite3_open(source.path.toUtf8().constData(), &handle);
    std::mt19937 random(2);
    {
        RawStatement load(handle,
                          "SELECT asset.id, class_k, class_version, name, category_k, flags, "
                          "revision, created, modified, body.encoding, body.data FROM asset "
                          "LEFT JOIN body ON body.asset_k = asset.k WHERE asset.id = ?1");
        for (auto _ : state) {
            sqlite3_exec(handle, "BEGIN", nullptr, nullptr, nullptr);
            for (int number = 0; number < 100; ++number) {
                load.blob(source.import.ids[random() % source.import.ids.size()]);
                load.step();
                for (int column = 0; column < sqlite3_column_count(load.statement()); ++column) {
                    benchmark::DoNotOptimize(sqlite3_column_blob(load.statement(), column));
                    benchmark::DoNotOptimize(sqlite3_column_bytes(load.statement(), column));
                }
                load.reset();
            }
            sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr);
        }
    }
    sqlite3_close(handle);
    state.SetItemsProcessed(state.iterations() * 100);
}
BENCHMARK(loadAHundredRaw)->ArgName("assets")->Arg(100)->Arg(100000)->Unit(benchmark::kMicrosecond);

// The body differs each time: SQLite writes nothing where the bytes are the same.
static void saveOneAssetRaw(benchmark::State &state)
{
    const Catalogue &source = catalogue(static_cast<int>(state.range(0)));
    sqlite3 *handle = nullptr;
    sqlite3_open(source.path.toUtf8().constData(), &handle);
    sqlite3_exec(handle, "PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON", nullptr, nullptr,
                 nullptr);
    std::mt19937 random(3);
    const auto number = [&] {
        return static_cast<std::int64_t>(random());
    };
    {
        RawStatement asset(handle, "UPDATE asset SET revision = revision + 1, changed = changed + "
                                   "1, modified = ?2 WHERE id = ?1 RETURNING k");
        RawStatement body(handle, "UPDATE body SET hash = ?2, data = ?3 WHERE asset_k = ?1");
        for (auto _ : state) {
            const QByteArray &id = source.import.ids[random() % source.import.ids.size()];
            const QByteArray data = QByteArray::number(random()).repeated(30);
            sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
            asset.blob(id).integer(number()).step();
            const sqlite3_int64 key = sqlite3_column_int64(asset.statement(), 0);
            asset.reset();
            body.integer(key).integer(number()).blob(data).run();
            sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr);
        }
    }
    sqlite3_close(handle);
}
BENCHMARK(saveOneAssetRaw)->ArgName("assets")->Arg(100)->Arg(100000)->Unit(benchmark::kMicrosecond);

static void saveOneAsset(benchmark::State &state)
{
    const Catalogue &source = catalogue(static_cast<int>(state.range(0)));
    SqliteStore store(source.path);
    std::mt19937 random(3);
    for (auto _ : state) {
        AssetWrite write = source.import.writes[random() % source.import.writes.size()];
        write.expectedRevision.reset();
        write.metaData.reset();
        write.body->data = QByteArray::number(random()).repeated(30);
        benchmark::DoNotOptimize(store.write({&write, 1}));
    }
}
BENCHMARK(saveOneAsset)->ArgName("assets")->Arg(100)->Arg(100000)->Unit(benchmark::kMicrosecond);

} // namespace Tesk::Assets
