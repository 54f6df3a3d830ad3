#include "../../tests/assets/support/NoteAsset.h"
#include "../support/Alternating.h"

#include <assets/AssetDatabaseService.h>
#include <assets/AssetReference.h>
#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <assets/SqliteStore.h>
#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <QCoreApplication>
#include <QEvent>
#include <QTemporaryDir>

#include <malloc.h>
#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

namespace Tesk::Assets {

namespace {

constexpr std::size_t sBatch = 4096;

const QByteArray sListId = QByteArrayLiteral("list");

void drainDeletes()
{
    for (int level = 0; level < 2; ++level)
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::sendPostedEvents(); // only this shortens the queue of what was delivered
}

double heapBytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd);
}

// A file with a collection of notes, each with a text of 60 characters.
void fill(const QString &path, int count)
{
    const auto service = AssetDatabaseService::open(std::make_unique<SqliteStore>(path));
    AssetDatabaseService::BatchScope scope(*service);
    const auto list = std::dynamic_pointer_cast<CollectionAsset>(
            service->getOrCreateReferenceForInternalAsset(sListId, CollectionAsset::sTypeName)
                    .asset());
    for (int number = 0; number < count; ++number) {
        const auto note = NoteAsset::make();
        note->text.set(QStringLiteral("The text of the note that has the number %1 of them all.")
                               .arg(number, 6));
        const QByteArray id = "note://some name of a note " + QByteArray::number(number);
        CollectionControl::appendAssetFromRef(
                list, service->insertAsset(note, id, QStringLiteral("Note %1").arg(number)));
    }
    scope.commit();
    service->close();
}

std::vector<std::shared_ptr<NoteAsset>> loadRaw(const QString &path)
{
    std::vector<std::shared_ptr<NoteAsset>> notes;
    sqlite3 *handle = nullptr;
    sqlite3_open(path.toUtf8().constData(), &handle);
    sqlite3_stmt *scan = nullptr;
    sqlite3_prepare_v2(handle,
                       "SELECT body.data FROM collection_item AS item "
                       "JOIN body ON body.asset_k = item.item_k WHERE item.collection_k = "
                       "(SELECT k FROM asset WHERE id = CAST('list' AS BLOB)) "
                       "ORDER BY item.position",
                       -1, &scan, nullptr);
    while (sqlite3_step(scan) == SQLITE_ROW) {
        const auto document = Data::Serialization::fromCbor(
                QByteArray(static_cast<const char *>(sqlite3_column_blob(scan, 0)),
                           sqlite3_column_bytes(scan, 0)));
        notes.push_back(NoteAsset::make());
        Data::Serialization::deserializeFromNode(
                document.root(), static_cast<Data::SerializableData &>(*notes.back()));
    }
    sqlite3_finalize(scan);
    sqlite3_close(handle);
    return notes;
}

std::vector<AssetReference> loadThroughCollection(AssetDatabaseService &service)
{
    const auto list = std::dynamic_pointer_cast<CollectionAsset>(service.getAssetFromId(sListId));
    std::vector<AssetReference> items = list->items();
    for (std::size_t at = 0; at < items.size(); at += sBatch) {
        const auto batch = std::span(items).subspan(at, std::min(sBatch, items.size() - at));
        service.prefetch(batch);
        for (const std::shared_ptr<Asset> &asset : service.getAssets(batch))
            asset->load();
    }
    return items;
}

} // namespace

// From a closed file to assets with their content. The floor reads the bodies in the order of the
// collection and decodes them in the same way into objects of the same class.
static void loadACollection(benchmark::State &state)
{
    NoteAsset::registerType();
    const int count = static_cast<int>(state.range(0));
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("notes.db"));
    fill(path, count);
    drainDeletes();

    std::vector<double> ours;
    std::vector<double> floors;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < 7; ++round) {
            std::shared_ptr<AssetDatabaseService> service;
            ours.push_back(Benchmarks::secondsOf([&] {
                service = AssetDatabaseService::open(std::make_unique<SqliteStore>(path));
                loadThroughCollection(*service);
            }));
            service->close();
            service.reset();
            drainDeletes();

            std::vector<std::shared_ptr<NoteAsset>> notes;
            floors.push_back(Benchmarks::secondsOf([&] { notes = loadRaw(path); }));
            if (notes.size() != static_cast<std::size_t>(count))
                state.SkipWithError("the floor read another number of notes");
            notes.clear();
            drainDeletes();
        }
    }
    state.counters["ours_us_each"] = Benchmarks::median(ours) / count * 1e6;
    state.counters["floor_us_each"] = Benchmarks::median(floors) / count * 1e6;
    state.counters["ratio"] = Benchmarks::median(ours) / Benchmarks::median(floors);
}
BENCHMARK(loadACollection)->ArgName("assets")->Arg(10000)->Arg(100000)->Iterations(1);

// What a note with its text takes, by what the heap has given out.
static void memoryOfContent(benchmark::State &state)
{
    NoteAsset::registerType();
    constexpr int count = 20000;
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("notes.db"));
    fill(path, count);
    drainDeletes();
    for ([[maybe_unused]] auto iteration : state) {
        const auto service = AssetDatabaseService::open(std::make_unique<SqliteStore>(path));
        const auto list =
                std::dynamic_pointer_cast<CollectionAsset>(service->getAssetFromId(sListId));
        const double start = heapBytes();
        const std::vector<AssetReference> items = list->items();
        const double ids = heapBytes();
        for (const AssetReference &item : items)
            item.asset();
        const double shells = heapBytes();
        for (const AssetReference &item : items)
            item.asset()->load();
        const double decoded = heapBytes();
        state.counters["B/id_and_slot"] = (ids - start) / count;
        state.counters["B/shell"] = (shells - ids) / count;
        state.counters["B/content"] = (decoded - shells) / count;
        service->close();
    }
    drainDeletes();
}
BENCHMARK(memoryOfContent)->Iterations(1);

} // namespace Tesk::Assets
