#include "../support/Alternating.h"
#include "Catalogue.h"
#include "RawRows.h"

#include <filterbase/FilterManager.h>

#include <QFile>

namespace Tesk::Benchmarks {

using FilterBase::FilterManager;

// One batch of new implementations, three to a filter, which are in the file already: the filters
// are made, collected and committed. Beside it, bare SQLite writes the rows that came of it.
static void createFilters(benchmark::State &state)
{
    const int implementations = static_cast<int>(state.range(0));
    std::vector<double> ours;
    std::vector<double> floors;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < (implementations > 10000 ? 3 : 7); ++round) {
            const QTemporaryDir folder;
            const QString path = folder.filePath(QStringLiteral("catalogue.db"));
            qint64 lastImplementation = 0;
            {
                Catalogue catalogue(path);
                FilterManager manager;
                std::vector<Assets::AssetReference> references;
                {
                    Assets::AssetDatabaseService::BatchScope scope(*catalogue.database());
                    references = catalogue.makeImplementations(implementations / 3);
                    scope.commit();
                }
                lastImplementation = RawFile(path).number("SELECT max(k) FROM asset");
                ours.push_back(secondsOf([&] {
                    Assets::AssetDatabaseService::BatchScope scope(*catalogue.database());
                    for (const auto &filter : manager.createOrUpdateFilters(references, {}))
                        manager.registerFilter(filter);
                    scope.commit();
                }));
            }
            RawFile written(path);
            const RawRows rows(written, lastImplementation);
            RawFile empty(folder.filePath(QStringLiteral("floor.db")));
            RawRows::copySchema(written, empty);
            floors.push_back(secondsOf([&] { rows.writeTo(empty); }));
        }
    }
    state.counters["ours_us_each"] = median(ours) / implementations * 1e6;
    state.counters["floor_us_each"] = median(floors) / implementations * 1e6;
    state.counters["ratio"] = median(ours) / median(floors);
}
BENCHMARK(createFilters)
        ->ArgName("implementations")
        ->Arg(1000)
        ->Arg(10000)
        ->Arg(100000)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);

} // namespace Tesk::Benchmarks
