#include <assets/AssetDatabaseService.h>

#include "AssetFactory.h"
#include "AssetRecord.h"
#include "DatabaseCore.h"

#include <assets/Store.h>
#include <data/ClassRegistry.h>
#include <surfaces/Surface.h>
#include <vantbase/TypeId.h>

namespace Tesk::Assets {

unsigned long long AssetDatabaseService::typeId()
{
    return VantBase::typeIdOf("Tesk::Assets::AssetDatabaseService");
}

void AssetDatabaseService::registerAssetType(const QString &typeName)
{
    AssetFactory::registerType(typeName);
}

void AssetDatabaseService::registerAssetType(const QString &typeName, AssetEncoding encoding)
{
    registerAssetType(typeName, encoding == AssetEncoding::Anywhere
                                        ? AssetFactory::encodedAnywhere
                                        : AssetFactory::encodedByCommitter);
}

void AssetDatabaseService::registerAssetType(const QString &typeName, AssetEncodingOf encodingOf)
{
    AssetFactory::registerType(typeName, encodingOf);
}

bool AssetDatabaseService::isAssetType(const QString &typeName)
{
    return AssetFactory::isType(typeName);
}

std::shared_ptr<AssetDatabaseService> AssetDatabaseService::open(std::unique_ptr<Store> store)
{
    return std::shared_ptr<AssetDatabaseService>(
            new AssetDatabaseService(DatabaseCore::open(std::move(store))));
}

AssetDatabaseService::AssetDatabaseService(std::shared_ptr<DatabaseCore> core)
    : m_core(std::move(core))
{}

AssetDatabaseService::~AssetDatabaseService()
{
    m_core->close();
}

void AssetDatabaseService::close()
{
    m_core->close();
}

bool AssetDatabaseService::isOpen() const
{
    return m_core->isOpen();
}

AssetReference AssetDatabaseService::referenceFromId(const QByteArray &id)
{
    return m_core->reference(id);
}

std::shared_ptr<Asset> AssetDatabaseService::getAssetFromId(const QByteArray &id)
{
    return m_core->find(id);
}

std::vector<std::shared_ptr<Asset>>
AssetDatabaseService::getAssets(std::span<const AssetReference> references)
{
    return m_core->resolveMany(references);
}

std::vector<AssetReference> AssetDatabaseService::findByType(const QString &typeName)
{
    AssetQuery query;
    query.className = Data::ClassRegistry::currentName(typeName);
    return m_core->findByQuery(query);
}

std::vector<AssetReference> AssetDatabaseService::findByName(const QString &name)
{
    AssetQuery query;
    query.name = name;
    query.nameCase = Qt::CaseInsensitive;
    return m_core->findByQuery(query);
}

void AssetDatabaseService::forEachAsset(
        const std::function<bool(const AssetReference &, const QString &, const QString &)> &visit)
{
    m_core->forEach(visit);
}

QString AssetDatabaseService::getNameFromRef(const AssetReference &reference)
{
    return reference.isValid() ? m_core->recordedName(*reference.record()) : QString();
}

void AssetDatabaseService::setNameOfRef(const AssetReference &reference, const QString &name)
{
    if (reference.isValid())
        m_core->recordName(*reference.record(), name);
}

QString AssetDatabaseService::getTypeNameFromRef(const AssetReference &reference)
{
    return reference.isValid() ? m_core->recordedType(*reference.record()) : QString();
}

void AssetDatabaseService::prefetch(std::span<const AssetReference> references)
{
    m_core->prefetch(references);
}

AssetReference AssetDatabaseService::getOrCreateReferenceForInternalAsset(const QByteArray &id,
                                                                          const QString &typeName,
                                                                          Status *status)
{
    Status outcome = Status::Existing;
    const AssetReference reference = m_core->getOrCreate(id, typeName, outcome);
    if (status != nullptr)
        *status = outcome;
    return reference;
}

std::shared_ptr<Asset> AssetDatabaseService::createInternalAsset(const QByteArray &id,
                                                                 const QString &typeName,
                                                                 const QString &name)
{
    return m_core->createInternal(id, typeName, name);
}

AssetReference AssetDatabaseService::insertAsset(const std::shared_ptr<Asset> &asset,
                                                 const QByteArray &id, const QString &name,
                                                 const MetaData &metaData)
{
    const NewAsset one{asset, id, name, metaData};
    insertAssets(std::span(&one, 1));
    return asset->ownReference();
}

void AssetDatabaseService::insertAssets(std::span<const NewAsset> assets)
{
    m_core->insert(assets);
}

void AssetDatabaseService::makeAssetPersistent(const std::shared_ptr<Asset> &asset,
                                               const std::shared_ptr<MetaData> &metaData)
{
    m_core->makePersistent(asset, metaData ? *metaData : MetaData());
}

bool AssetDatabaseService::removeAsset(const AssetReference &reference)
{
    return reference.isValid() && m_core->remove(*reference.record());
}

std::optional<Surfaces::Surface> AssetDatabaseService::getThumbnail(const AssetReference &reference)
{
    if (reference.isInvalid())
        return std::nullopt;
    return Surfaces::Surface::fromBytes(m_core->thumbnail(*reference.record()));
}

void AssetDatabaseService::setThumbnail(const AssetReference &reference,
                                        const Surfaces::Surface &surface)
{
    if (reference.isValid())
        m_core->setThumbnail(*reference.record(), surface.toBytes());
}

bool AssetDatabaseService::removeThumbnail(const AssetReference &reference)
{
    return reference.isValid() && m_core->setThumbnail(*reference.record(), QByteArray());
}

std::size_t AssetDatabaseService::addChangeObserver(ChangeObserver observer)
{
    return m_core->observers().add(std::move(observer));
}

void AssetDatabaseService::removeChangeObserver(std::size_t observer)
{
    m_core->observers().remove(observer);
}

AssetDatabaseService::RefreshResult AssetDatabaseService::refresh()
{
    return m_core->refresh();
}

std::vector<IntegrityFinding> AssetDatabaseService::checkIntegrity()
{
    return m_core->checkIntegrity();
}

DatabaseStatistics AssetDatabaseService::statistics()
{
    return m_core->statistics();
}

AssetDatabaseService::BatchScope::BatchScope(AssetDatabaseService &service)
    : m_core(service.core())
{
    m_core->beginScope();
}

AssetDatabaseService::BatchScope::~BatchScope()
{
    if (m_open)
        m_core->abandonScope();
}

void AssetDatabaseService::BatchScope::commit()
{
    // Also when the commit fails: it has rolled back then.
    m_open = false;
    m_core->commitScope();
}

AssetDatabaseService::MetaDataKeeper::MetaDataKeeper(AssetDatabaseService &service,
                                                     std::span<const AssetReference> references)
    : m_core(service.core())
    , m_records(m_core->keepMetaData(references))
{}

AssetDatabaseService::MetaDataKeeper::~MetaDataKeeper()
{
    m_core->dropMetaData(m_records);
}

} // namespace Tesk::Assets
