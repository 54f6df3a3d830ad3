#include "../support/Alternating.h"
#include "Catalogue.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterManager.h>

#include <QHash>

#include <latch>
#include <random>
#include <thread>
#include <unordered_map>

namespace Tesk::Benchmarks {

using Assets::AssetReference;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterManager;
using Table = std::unordered_map<QString, std::shared_ptr<DynamicFilterAsset>>;

static constexpr int sLookups = 200000;

// What a host asks in one burst: names in the case in which people write them, in no order.
struct LookupFixture
{
    explicit LookupFixture(int filters)
        : catalogue(QString())
    {
        Assets::AssetDatabaseService::BatchScope scope(*catalogue.database());
        manager = std::make_unique<FilterManager>();
        for (int filter = 0; filter < filters; ++filter) {
            // One implementation is enough: look-ups never open the filter.
            const auto reference = catalogue.makeImplementations(1, filter).front();
            const auto result = manager->createOrUpdateFilters({reference}, {});
            floor.emplace(filterName(filter).toLower(),
                          std::dynamic_pointer_cast<DynamicFilterAsset>(result.front().asset()));
        }
        std::mt19937 random(7);
        for (int i = 0; i < sLookups; ++i) {
            const int filter = static_cast<int>(random() % static_cast<unsigned int>(filters));
            mixed.push_back(filterName(filter));
            folded.push_back(filterName(filter).toLower());
        }
    }

    void askManager(bool hot) const
    {
        for (const QString &name : mixed)
            benchmark::DoNotOptimize(manager->getDynamicFilter(hot ? mixed.front() : name));
    }
    void askFloor(bool hot) const
    {
        for (const QString &name : folded) {
            const auto entry = floor.find(hot ? folded.front() : name);
            benchmark::DoNotOptimize(entry->second->ownReference());
        }
    }

    Catalogue catalogue;
    std::unique_ptr<FilterManager> manager;
    Table floor;
    std::vector<QString> mixed;
    std::vector<QString> folded;
};

// The floor gets its keys folded already; the manager folds.
static void lookUp(benchmark::State &state)
{
    const LookupFixture fixture(static_cast<int>(state.range(0)));
    alternate(
            state, sLookups, 15, [&] { fixture.askManager(false); },
            [&] { fixture.askFloor(false); });
}
BENCHMARK(lookUp)->ArgName("filters")->Arg(1000)->Arg(10000)->Arg(100000)->Iterations(1);

template<class Ask>
static double secondsOfTwo(Ask ask)
{
    std::latch ready(3);
    const auto run = [&] {
        ready.arrive_and_wait();
        ask();
    };
    std::thread first(run);
    std::thread second(run);
    return secondsOf([&] {
        ready.arrive_and_wait();
        first.join();
        second.join();
    });
}

// How much more two threads get done than one: 2 is perfect. The ratio compares the manager's
// figure with the floor's, which shares nothing that anyone writes.
static void lookUpFromTwoThreads(benchmark::State &state)
{
    const LookupFixture fixture(10000);
    const bool hot = state.range(0) == 1;
    std::vector<double> ours;
    std::vector<double> floors;
    std::vector<double> ratios;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < 15; ++round) {
            const auto askManager = [&] {
                fixture.askManager(hot);
            };
            const auto askFloor = [&] {
                fixture.askFloor(hot);
            };
            ours.push_back(2 * secondsOf(askManager) / secondsOfTwo(askManager));
            floors.push_back(2 * secondsOf(askFloor) / secondsOfTwo(askFloor));
            ratios.push_back(ours.back() / floors.back());
        }
    }
    state.counters["ours_scaling"] = median(ours);
    state.counters["floor_scaling"] = median(floors);
    state.counters["ratio"] = median(ratios);
}
BENCHMARK(lookUpFromTwoThreads)->ArgName("hot")->Arg(0)->Arg(1)->Iterations(1);

} // namespace Tesk::Benchmarks
