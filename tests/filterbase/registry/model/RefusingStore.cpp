#include "RefusingStore.h"

#include <assets/StoreError.h>

#include <utility>

namespace FilterBaseTesting {

using namespace Tesk::Assets;

using Ids = std::span<const QByteArray>;

RefusingStore::RefusingStore(std::unique_ptr<Store> store,
                             std::shared_ptr<std::optional<Refusal>> refusal)
    : m_store(std::move(store))
    , m_refusal(std::move(refusal))
{}

void RefusingStore::askFor(const QByteArray &id)
{
    const std::optional<Refusal> &refusal = *m_refusal;
    if (!refusal || (!refusal->id.isEmpty() && refusal->id != id))
        return;
    if (refusal->atCommit)
        m_refusesCommit = true;
    else
        refuse();
}

void RefusingStore::refuse()
{
    m_refusal->reset();
    throw StoreError(StoreError::Code::Full, QStringLiteral("The disk is full"));
}

// --- what may be refused

void RefusingStore::commit()
{
    if (std::exchange(m_refusesCommit, false)) {
        m_store->rollback();
        refuse();
    }
    m_store->commit();
}

void RefusingStore::rollback()
{
    m_refusesCommit = false;
    m_store->rollback();
}

std::vector<qint64> RefusingStore::write(std::span<const AssetWrite> assets)
{
    for (const AssetWrite &asset : assets)
        askFor(asset.row.id);
    return m_store->write(assets);
}

qsizetype RefusingStore::remove(std::span<const AssetRemoval> assets)
{
    for (const AssetRemoval &asset : assets)
        askFor(asset.id);
    return m_store->remove(assets);
}

std::vector<qint64> RefusingStore::setNames(std::span<const NameWrite> names)
{
    for (const NameWrite &name : names)
        askFor(name.id);
    return m_store->setNames(names);
}

qsizetype RefusingStore::setFlags(Ids ids, quint32 mask, quint32 flags)
{
    for (const QByteArray &id : ids)
        askFor(id);
    return m_store->setFlags(ids, mask, flags);
}

qsizetype RefusingStore::setMetaData(std::span<const MetaWrite> items)
{
    for (const MetaWrite &item : items)
        askFor(item.id);
    return m_store->setMetaData(items);
}

qsizetype RefusingStore::removeMetaData(Ids ids, const QString &key)
{
    for (const QByteArray &id : ids)
        askFor(id);
    return m_store->removeMetaData(ids, key);
}

qsizetype RefusingStore::appendToCollection(const QByteArray &collection, Ids ids)
{
    askFor(collection);
    return m_store->appendToCollection(collection, ids);
}

qsizetype RefusingStore::removeFromCollection(const QByteArray &collection, Ids ids)
{
    askFor(collection);
    return m_store->removeFromCollection(collection, ids);
}

void RefusingStore::setThumbnails(std::span<const ThumbnailWrite> thumbnails)
{
    for (const ThumbnailWrite &thumbnail : thumbnails)
        askFor(thumbnail.id);
    m_store->setThumbnails(thumbnails);
}

// --- what never is

QByteArray RefusingStore::databaseId() const
{
    return m_store->databaseId();
}

bool RefusingStore::isReadOnly() const
{
    return m_store->isReadOnly();
}

QString RefusingStore::location() const
{
    return m_store->location();
}

void RefusingStore::begin(SyncLevel level)
{
    m_store->begin(level);
}

bool RefusingStore::inTransaction() const
{
    return m_store->inTransaction();
}

void RefusingStore::beginRead() const
{
    m_store->beginRead();
}

void RefusingStore::endRead() const noexcept
{
    m_store->endRead();
}

std::vector<std::optional<AssetRow>> RefusingStore::loadRows(Ids ids) const
{
    return m_store->loadRows(ids);
}

std::vector<std::optional<StoredAsset>> RefusingStore::load(Ids ids) const
{
    return m_store->load(ids);
}

AssetPage RefusingStore::find(const AssetQuery &query, ScanPosition position, qsizetype limit) const
{
    return m_store->find(query, position, limit);
}

std::vector<std::vector<MetaRow>> RefusingStore::metaData(Ids ids) const
{
    return m_store->metaData(ids);
}

std::vector<std::optional<MetaRow>> RefusingStore::metaDataItems(Ids ids, const QString &key) const
{
    return m_store->metaDataItems(ids, key);
}

std::vector<QByteArray> RefusingStore::nextVersions(Ids ids) const
{
    return m_store->nextVersions(ids);
}

std::vector<QByteArray> RefusingStore::previousVersions(const QByteArray &id) const
{
    return m_store->previousVersions(id);
}

std::vector<std::vector<DependencyRow>> RefusingStore::dependencies(Ids ids) const
{
    return m_store->dependencies(ids);
}

std::vector<QByteArray> RefusingStore::dependents(const QByteArray &id) const
{
    return m_store->dependents(id);
}

std::vector<CatalogueRow> RefusingStore::scanCollection(const QByteArray &collection) const
{
    return m_store->scanCollection(collection);
}

std::vector<QByteArray> RefusingStore::collectionsOf(const QByteArray &id) const
{
    return m_store->collectionsOf(id);
}

std::vector<std::optional<QByteArray>> RefusingStore::thumbnails(Ids ids) const
{
    return m_store->thumbnails(ids);
}

qint64 RefusingStore::generation() const
{
    return m_store->generation();
}

ChangeList RefusingStore::changesSince(qint64 generation) const
{
    return m_store->changesSince(generation);
}

qint64 RefusingStore::seenGeneration() const
{
    return m_store->seenGeneration();
}

void RefusingStore::setSeenGeneration(qint64 generation)
{
    m_store->setSeenGeneration(generation);
}

void RefusingStore::backupTo(const QString &path) const
{
    m_store->backupTo(path);
}

std::vector<StoreFinding> RefusingStore::checkIntegrity() const
{
    return m_store->checkIntegrity();
}

StoreStatistics RefusingStore::statistics() const
{
    return m_store->statistics();
}

} // namespace FilterBaseTesting
