#include "Catalogue.h"

#include <filterbase/SerializationRegistration.h>
#include <filterbase/UserDataKeys.h>

#include <assets/MemoryStore.h>
#include <assets/SqliteStore.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QEvent>

namespace Tesk::Benchmarks {

using Assets::AssetDatabaseService;
using Assets::AssetReference;
using FilterBaseTesting::FakeFilter;

static std::unique_ptr<Assets::Store> openStore(const QString &path)
{
    if (path.isEmpty())
        return std::make_unique<Assets::MemoryStore>();
    return std::make_unique<Assets::SqliteStore>(path);
}

Catalogue::Catalogue(const QString &path)
    : m_database(AssetDatabaseService::open(openStore(path)))
{
    FilterBase::Serialization::prepareSerialization();
    FilterBaseTesting::registerFakeAssets();
    VantBase::ServiceLocator::instance().registerService(AssetDatabaseService::typeId(),
                                                         m_database);
}

Catalogue::~Catalogue()
{
    VantBase::ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    m_database->close();
    m_database.reset();
    // One delivery for each level of ownership: assets, their records, what those hold.
    for (int level = 0; level < 4; ++level)
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::sendPostedEvents(); // only this shortens the queue of what was delivered
}

QString filterName(int number)
{
    return QStringLiteral("Gaussian Blur %1").arg(number, 6, 10, QLatin1Char('0'));
}

static std::shared_ptr<FakeFilter> makeFilter(int variation)
{
    static const char *const identifiers[] = {"radius", "angle",  "amount", "seed", "tiling",
                                              "offset", "colour", "scale",  "mode", "mask"};
    auto made = FakeFilter::make();
    auto description = std::make_shared<RenderableBase::RenderableIODesc>();
    unsigned int number = 0;
    for (const char *identifier : identifiers) {
        auto parameter = std::make_shared<RenderableBase::ParameterDesc>();
        QString name = QString::fromLatin1(identifier);
        if (number % 2 == 1)
            name += QString::number(variation);
        parameter->identifier.set(name);
        parameter->uid.set(static_cast<unsigned int>(variation) * 100 + number++);
        parameter->type.set(QStringLiteral("float"));
        parameter->defaultValue.set(0.5);
        description->parameters.append(parameter);
    }
    made->description = description;
    return made;
}

std::vector<AssetReference> Catalogue::makeImplementations(int filters, int firstFilter)
{
    static const QString variations[] = {QStringLiteral("default_color"),
                                         QStringLiteral("default_float"),
                                         QStringLiteral("default_float3")};
    std::vector<AssetReference> references;
    for (int filter = firstFilter; filter < firstFilter + filters; ++filter) {
        for (int variation = 0; variation < 3; ++variation) {
            Assets::MetaData metaData;
            metaData.set(FilterBase::filterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData,
                         Assets::MetaDataItem::Text);
            metaData.set(FilterBase::variationTypeUserDataKey, variations[variation],
                         Assets::MetaDataItem::Text);
            references.push_back(m_database->insertAsset(
                    makeFilter(variation),
                    "impl://" + QByteArray::number(filter) + '/' + QByteArray::number(variation),
                    filterName(filter), metaData));
        }
    }
    return references;
}

void Catalogue::registerDescriptors(FilterBase::FilterManager &manager, int filters,
                                    int firstFilter)
{
    for (int filter = firstFilter; filter < firstFilter + filters; ++filter) {
        const AssetReference reference = m_database->insertAsset(
                makeFilter(0), "static://" + QByteArray::number(filter), filterName(filter));
        manager.registerFilter(manager.registerFilterDescImpl(filterName(filter), reference));
    }
}

} // namespace Tesk::Benchmarks
