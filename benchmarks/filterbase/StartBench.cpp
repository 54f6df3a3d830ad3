#include "../support/Alternating.h"
#include "Catalogue.h"
#include "RawRows.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/FilterManager.h>

#include <QFile>
#include <QHash>
#include <QObject>

#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace Tesk::Benchmarks {

using FilterBase::FilterDescAsset;
using FilterBase::FilterManager;

static void dropFromPageCache(const QString &path)
{
    const int file = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    ::fdatasync(file);
    ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    ::close(file);
}

// Half descriptors of one implementation, half dynamic filters of three with ten parameters.
static void fill(const QString &path, int filters)
{
    Catalogue catalogue(path);
    Assets::AssetDatabaseService::BatchScope scope(*catalogue.database());
    FilterManager manager;
    const auto result =
            manager.createOrUpdateFilters(catalogue.makeImplementations(filters / 2), {});
    for (const auto &reference : result)
        manager.registerFilter(reference);
    catalogue.registerDescriptors(manager, filters / 2, filters / 2);
    scope.commit();
}

// From a closed file to a registry that answers, beside bare SQLite that reads names and classes
// into the same two tables of empty objects. Closing is not part of either.
static void start(benchmark::State &state)
{
    const int filters = static_cast<int>(state.range(0));
    const bool isCold = state.range(1) == 1;
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("catalogue.db"));
    fill(path, filters);

    std::vector<double> ours;
    std::vector<double> floors;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < (filters > 10000 ? 7 : 15); ++round) {
            if (isCold)
                dropFromPageCache(path);
            std::optional<Catalogue> catalogue;
            std::optional<FilterManager> manager;
            ours.push_back(secondsOf([&] {
                catalogue.emplace(path);
                manager.emplace();
            }));
            manager.reset();
            catalogue.reset();

            if (isCold)
                dropFromPageCache(path);
            std::unordered_map<QString, std::shared_ptr<QObject>> descriptors;
            std::unordered_map<QString, std::shared_ptr<QObject>> dynamicFilters;
            floors.push_back(secondsOf([&] {
                RawFile file(path);
                file.forEachItem([&](const QString &className, const QString &name) {
                    auto &table =
                            className == FilterDescAsset::sTypeName ? descriptors : dynamicFilters;
                    table.try_emplace(name.toLower(), std::make_shared<QObject>());
                });
            }));
            if (descriptors.size() + dynamicFilters.size() != static_cast<std::size_t>(filters))
                state.SkipWithError("the floor read another number of filters");
        }
    }
    state.counters["ours_us_each"] = median(ours) / filters * 1e6;
    state.counters["floor_us_each"] = median(floors) / filters * 1e6;
    state.counters["ratio"] = median(ours) / median(floors);
}
BENCHMARK(start)
        ->ArgNames({"filters", "cold"})
        ->ArgsProduct({{1000, 10000, 100000}, {0, 1}})
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);

} // namespace Tesk::Benchmarks
