// A client of the installed package: imports a library into a catalogue in memory.

#include <assets/AssetDatabaseService.h>
#include <assets/MemoryStore.h>
#include <filterbase/FilterManager.h>
#include <filterbase/SerializationRegistration.h>
#include <nodelibrary/LibraryImporter.h>
#include <nodelibrary/NodeDefAsset.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace Tesk;

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc != 2)
        return 2;
    FilterBase::Serialization::prepareSerialization();
    NodeLibrary::NodeDefAsset::registerClass();

    auto &services = VantBase::ServiceLocator::instance();
    const auto database =
            Assets::AssetDatabaseService::open(std::make_unique<Assets::MemoryStore>());
    services.registerService(Assets::AssetDatabaseService::typeId(), database);
    {
        FilterBase::FilterManager filters;
        NodeLibrary::LibraryImporter importer(*database, filters);
        const NodeLibrary::ImportSummary summary =
                importer.import({QString::fromLocal8Bit(argv[1])}, {});
        QTextStream(stdout) << summary.fileCount << " files, " << summary.nodeDefCount
                            << " nodedefs, " << summary.filters.size() << " filters\n";
    }
    services.unregisterService(Assets::AssetDatabaseService::typeId());
    return 0;
}
