#include "Implementations.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <list>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace FilterBaseBenchmarks {

using namespace Tesk;

namespace {

// Of this thread: other programs on the machine do not count.
double cpuSeconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

using Table = std::map<unsigned int, unsigned int>;

struct PlainMerged
{
    PlainDescription parameters;
    std::vector<Table> tables;
};

// The same result by the shortest way: one hash look-up for each parameter, a linked list.
PlainMerged mergePlain(const std::vector<PlainDescription> &descriptions)
{
    using List = std::list<PlainParameter>;
    List list;
    std::unordered_map<QString, List::iterator> index;
    PlainMerged merged;
    merged.tables.resize(descriptions.size());
    for (std::size_t d = 0; d < descriptions.size(); ++d) {
        auto place = list.begin();
        for (const PlainParameter &parameter : descriptions[d]) {
            const auto [entry, isNew] = index.try_emplace(parameter.identifier);
            if (isNew)
                entry->second = list.insert(place, parameter);
            merged.tables[d][entry->second->uid] = parameter.uid;
            place = std::next(entry->second);
        }
    }
    merged.parameters.assign(list.begin(), list.end());
    return merged;
}

} // namespace

static void mergeFloor(benchmark::State &state)
{
    const auto descriptions = overlappingDescriptions(static_cast<int>(state.range(0)),
                                                      static_cast<int>(state.range(1)), 30);
    for (auto _ : state) {
        const auto start = cpuSeconds();
        PlainMerged merged = mergePlain(descriptions);
        benchmark::DoNotOptimize(merged);
        state.SetIterationTime(cpuSeconds() - start);
    }
}

// The records start with empty tables each time, as those of a new filter do.
static void merge(benchmark::State &state)
{
    Database database;
    const auto filter = makeFilter();
    int number = 0;
    for (const auto &plain : overlappingDescriptions(static_cast<int>(state.range(0)),
                                                     static_cast<int>(state.range(1)), 30)) {
        FilterBase::ImplementationInfoPtr record(new FilterBase::ImplementationInfo);
        record->implementationRef.set(database.implementation(describe(plain)));
        filter->types.insert(keyOf(number++), std::move(record));
    }
    for (auto _ : state) {
        const auto start = cpuSeconds();
        filter->generateIODesc();
        state.SetIterationTime(cpuSeconds() - start);
        for (const auto &[key, record] : filter->types)
            record->paramUidCorrespondance.clear();
        drainDeferredDeletes();
    }
}

// What any merge pays first: the copy of the first description, object by object.
static void copyFirst(benchmark::State &state)
{
    const auto description =
            describe(overlappingDescriptions(1, static_cast<int>(state.range(1)), 0).front());
    for (auto _ : state) {
        const double start = cpuSeconds();
        benchmark::DoNotOptimize(description->clone());
        state.SetIterationTime(cpuSeconds() - start);
        drainDeferredDeletes();
    }
}

static void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->ArgNames({"implementations", "parameters"})
            ->Args({3, 12})
            ->Args({50, 200})
            ->Args({1000, 50})
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
}
BENCHMARK(mergeFloor)->Apply(sizes);
BENCHMARK(merge)->Apply(sizes);
BENCHMARK(copyFirst)->Apply(sizes);

} // namespace FilterBaseBenchmarks
