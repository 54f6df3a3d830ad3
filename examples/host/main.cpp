// A complete host: opens a catalogue, starts the registry, looks a filter up by name.

#include <assets/AssetDatabaseService.h>
#include <assets/SqliteStore.h>
#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterManager.h>
#include <filterbase/SerializationRegistration.h>
#include <vantbase/DefaultAsyncRecovery.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace Tesk;

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    if (argc < 3) {
        out << "usage: host CATALOGUE NAME\n";
        return 2;
    }

    // Before any catalogue is opened: the classes that stand in it.
    FilterBase::Serialization::prepareSerialization();

    auto &services = VantBase::ServiceLocator::instance();
    const auto database = Assets::AssetDatabaseService::open(std::make_unique<Assets::SqliteStore>(
            QString::fromLocal8Bit(argv[1]), Assets::SqliteStore::Mode::Open));
    services.registerService(Assets::AssetDatabaseService::typeId(), database);
    services.registerService(VantBase::DefaultAsyncRecovery::typeId(),
                             std::make_shared<VantBase::DefaultAsyncRecovery>());
    const auto filters = std::make_shared<FilterBase::FilterManager>();
    services.registerService(FilterBase::FilterManager::typeId(), filters);
    services.setStarted(true);

    const QString name = QString::fromLocal8Bit(argv[2]);
    const auto reference = filters->getDynamicFilter(name);
    const auto filter =
            std::dynamic_pointer_cast<FilterBase::DynamicFilterAsset>(reference.asset());
    if (filter)
        out << name << ": " << filter->types.size() << " types, " << filter->usages.size()
            << " usages\n";
    else
        out << name << ": no dynamic filter of that name\n";

    services.setStarted(false);
    services.unregisterService(FilterBase::FilterManager::typeId());
    services.unregisterService(VantBase::DefaultAsyncRecovery::typeId());
    services.unregisterService(Assets::AssetDatabaseService::typeId());
    return filter ? 0 : 1;
}
