#include <assets/Asset.h>
#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <assets/MemoryStore.h>
#include <data/ClassRegistry.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEvent>

#include <cstdio>
#include <malloc.h>
#include <memory>
#include <unordered_map>
#include <vector>

using namespace Tesk;
using namespace Tesk::Assets;

namespace {

// Ids as those of descriptors: a scheme and a name.
QByteArray idOf(int number)
{
    return "filterDesc://some filter name " + QByteArray::number(number);
}

void drainDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::sendPostedEvents(); // only this shortens the queue of what was delivered
}

/// A database of collections without items, the cheapest assets there are.
struct Catalogue
{
    explicit Catalogue(int count)
        : service(AssetDatabaseService::open(content.openAnother()))
    {
        AssetDatabaseService::BatchScope scope(*service);
        for (int number = 0; number < count; ++number) {
            references.push_back(service->getOrCreateReferenceForInternalAsset(
                    idOf(number), CollectionAsset::sTypeName));
        }
        scope.commit();
    }

    void reopen()
    {
        service->close();
        drainDeletes();
        service = AssetDatabaseService::open(content.openAnother());
    }

    MemoryStore content;
    std::shared_ptr<AssetDatabaseService> service;
    std::vector<AssetReference> references;
};

// A prime step: all of them, in an order that the cache does not like.
std::size_t after(std::size_t at, std::size_t count)
{
    return (at + 7919) % count;
}

// --- references; the floor is copying a shared pointer

void copySharedPointer(benchmark::State &state)
{
    const auto shared = std::make_shared<int>(1);
    for (auto _ : state) {
        std::shared_ptr<int> copy = shared;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(copySharedPointer);

void ownReference(benchmark::State &state)
{
    const Catalogue catalogue(1);
    const std::shared_ptr<Asset> asset = catalogue.references.front().asset();
    for (auto _ : state)
        benchmark::DoNotOptimize(asset->ownReference());
}
BENCHMARK(ownReference);

void assetOfReference(benchmark::State &state)
{
    const Catalogue catalogue(1);
    const AssetReference reference = catalogue.references.front();
    for (auto _ : state)
        benchmark::DoNotOptimize(reference.asset());
}
BENCHMARK(assetOfReference);

// --- look-up by id; the floor is a hash table of shared pointers without any lock

void hashTableLookUp(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    std::unordered_map<QByteArray, std::shared_ptr<int>> table;
    std::vector<QByteArray> ids;
    for (int number = 0; number < count; ++number) {
        ids.push_back(idOf(number));
        table.emplace(idOf(number), std::make_shared<int>(number));
    }
    std::size_t at = 0;
    for (auto _ : state) {
        std::shared_ptr<int> found = table.find(ids[at])->second;
        benchmark::DoNotOptimize(found);
        at = after(at, ids.size());
    }
}
BENCHMARK(hashTableLookUp)->ArgName("assets")->Arg(100)->Arg(10000)->Arg(100000);

// The same with the assets themselves, which lie far apart: sharing one touches its counter.
void hashTableOfAssetsLookUp(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const Catalogue catalogue(count);
    std::unordered_map<QByteArray, std::shared_ptr<Asset>> table;
    std::vector<QByteArray> ids;
    for (int number = 0; number < count; ++number) {
        ids.push_back(idOf(number));
        table.emplace(idOf(number), catalogue.references[static_cast<std::size_t>(number)].asset());
    }
    std::size_t at = 0;
    for (auto _ : state) {
        std::shared_ptr<Asset> found = table.find(ids[at])->second;
        benchmark::DoNotOptimize(found);
        at = after(at, ids.size());
    }
}
BENCHMARK(hashTableOfAssetsLookUp)->ArgName("assets")->Arg(100)->Arg(10000)->Arg(100000);

void getAssetFromId(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const Catalogue catalogue(count);
    std::vector<QByteArray> ids;
    for (int number = 0; number < count; ++number)
        ids.push_back(idOf(number));
    std::size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(catalogue.service->getAssetFromId(ids[at]));
        at = after(at, ids.size());
    }
}
BENCHMARK(getAssetFromId)->ArgName("assets")->Arg(100)->Arg(10000)->Arg(100000);

// --- the touch check of a decoded asset; the floor is reading a plain member

void readPlainMember(benchmark::State &state)
{
    struct
    {
        AssetReference nextVersion;
    } plain;
    auto *where = &plain;
    benchmark::DoNotOptimize(where);
    for (auto _ : state) {
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(where->nextVersion.record());
    }
}
BENCHMARK(readPlainMember);

void readField(benchmark::State &state)
{
    const Catalogue catalogue(1);
    const std::shared_ptr<Asset> asset = catalogue.references.front().asset();
    const Asset *where = asset.get();
    benchmark::DoNotOptimize(where);
    for (auto _ : state) {
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(where->nextVersion.get().record());
    }
}
BENCHMARK(readField);

// --- creating and dropping a shell; the floor is the object alone, deleted the same way

void createAndDropObjects(benchmark::State &state)
{
    const Catalogue registersTheClass(1);
    const auto count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        std::vector<std::shared_ptr<SharedObjectBase>> objects;
        objects.reserve(count);
        for (std::size_t number = 0; number < count; ++number)
            objects.push_back(Data::ClassRegistry::createShared(CollectionAsset::sTypeName));
        objects.clear();
        drainDeletes();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<qint64>(count));
}
BENCHMARK(createAndDropObjects)->ArgName("assets")->Arg(100)->Arg(10000);

void createAndDropShells(benchmark::State &state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    Catalogue catalogue(static_cast<int>(count));
    for (auto _ : state) {
        state.PauseTiming();
        catalogue.reopen();
        state.ResumeTiming();
        for (const AssetReference &reference : catalogue.references)
            benchmark::DoNotOptimize(reference.asset());
        catalogue.service->close();
        drainDeletes();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<qint64>(count));
}
BENCHMARK(createAndDropShells)->ArgName("assets")->Arg(100)->Arg(10000);

// --- memory, by what the heap has given out

double heapBytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd);
}

void memoryOfAssets(benchmark::State &state)
{
    constexpr int count = 20000;
    MemoryStore content;
    const auto writer = AssetDatabaseService::open(content.openAnother());
    AssetDatabaseService::BatchScope scope(*writer);
    for (int number = 0; number < count; ++number)
        writer->getOrCreateReferenceForInternalAsset(idOf(number), CollectionAsset::sTypeName);
    scope.commit();

    for (auto _ : state) {
        const auto service = AssetDatabaseService::open(content.openAnother());
        std::vector<AssetReference> references;
        references.reserve(count);
        const double start = heapBytes();
        for (int number = 0; number < count; ++number)
            references.push_back(service->referenceFromId(idOf(number)));
        const double ids = heapBytes();
        for (const AssetReference &reference : references)
            reference.asset();
        const double shells = heapBytes();
        for (const AssetReference &reference : references)
            reference.asset()->load();
        const double decoded = heapBytes();
        state.counters["B/id"] = (ids - start) / count;
        state.counters["B/shell"] = (shells - ids) / count;
        state.counters["B/decoding"] = (decoded - shells) / count;
    }
    drainDeletes();
}
BENCHMARK(memoryOfAssets)->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
