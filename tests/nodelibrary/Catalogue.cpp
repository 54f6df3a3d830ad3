#include "Catalogue.h"

#include <nodelibrary/ImplementationId.h>

#include <filterbase/SerializationRegistration.h>
#include <support/DeferredDeletes.h>
#include <vantbase/ServiceLocator.h>

namespace Tesk::NodeLibrary {

using Assets::AssetDatabaseService;
using Assets::AssetReference;

Catalogue::Catalogue()
{
    FilterBase::Serialization::prepareSerialization();
    NodeDefAsset::registerClass();
    open();
}

Catalogue::~Catalogue()
{
    close();
}

void Catalogue::reopen()
{
    close();
    open();
}

void Catalogue::open()
{
    m_database = AssetDatabaseService::open(m_store.openAnother());
    VantBase::ServiceLocator::instance().registerService(AssetDatabaseService::typeId(),
                                                         m_database);
    m_manager = std::make_unique<FilterBase::FilterManager>();
}

void Catalogue::close()
{
    m_manager.reset();
    VantBase::ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    m_database->close();
    m_database.reset();
    TestSupport::drainDeferredDeletes();
}

std::shared_ptr<FilterBase::DynamicFilterAsset> Catalogue::dynamicFilter(const QString &name)
{
    return std::dynamic_pointer_cast<FilterBase::DynamicFilterAsset>(
            m_manager->getDynamicFilter(name).asset());
}

std::shared_ptr<FilterBase::FilterDescAsset> Catalogue::descriptor(const QString &name)
{
    return std::dynamic_pointer_cast<FilterBase::FilterDescAsset>(
            m_manager->getFilterDesc(name).asset());
}

static QString nodeDefOf(const AssetReference &reference)
{
    const auto id = ImplementationId::fromBytes(reference.id());
    return id ? id->nodeDef : QString();
}

std::map<QString, QString> Catalogue::keysOf(const QString &name)
{
    std::map<QString, QString> keys;
    const auto filter = dynamicFilter(name);
    if (!filter)
        return keys;
    for (const auto &[key, record] : filter->types)
        keys.emplace(QStringLiteral("types/") + key, nodeDefOf(record->implementationRef.get()));
    for (const auto &[key, record] : filter->usages)
        keys.emplace(QStringLiteral("usages/") + key, nodeDefOf(record->implementationRef.get()));
    return keys;
}

QStringList Catalogue::collection()
{
    QStringList ids;
    const auto collection = std::dynamic_pointer_cast<Assets::CollectionAsset>(
            m_manager->getFilterBaseReference().asset());
    for (const AssetReference &item : collection->items())
        ids.append(QString::fromUtf8(item.id()));
    return ids;
}

std::shared_ptr<NodeDefAsset> Catalogue::asset(const QString &nodeDef, int generation)
{
    for (const AssetReference &each : m_database->findByType(NodeDefAsset::sTypeName)) {
        const auto id = ImplementationId::fromBytes(each.id());
        if (id && id->nodeDef == nodeDef && id->generation == generation)
            return std::dynamic_pointer_cast<NodeDefAsset>(each.asset());
    }
    return nullptr;
}

QString Catalogue::nextOf(const QString &nodeDef, int generation)
{
    const auto old = asset(nodeDef, generation);
    const auto id = ImplementationId::fromBytes(old->nextVersion.get().id());
    return id ? id->nodeDef + u'#' + QString::number(id->generation) : QString();
}

} // namespace Tesk::NodeLibrary
