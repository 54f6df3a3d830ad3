#include "MemoryStoreImpl.h"
#include "StoreChecks.h"

#include <algorithm>

namespace Tesk::Assets {

using namespace StoreChecks;

std::vector<QByteArray> MemoryStore::nextVersions(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? asset->nextVersion : QByteArray();
    });
}

std::vector<QByteArray> MemoryStore::previousVersions(const QByteArray &id) const
{
    return m_impl->idsWhere([&id](const MemoryTables &, const MemoryAsset &asset) {
        return !id.isEmpty() && asset.nextVersion == id;
    });
}

std::vector<std::vector<DependencyRow>>
MemoryStore::dependencies(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? asset->dependencies : std::vector<DependencyRow>();
    });
}

std::vector<QByteArray> MemoryStore::dependents(const QByteArray &id) const
{
    return m_impl->idsWhere([&id](const MemoryTables &, const MemoryAsset &asset) {
        return std::any_of(asset.dependencies.begin(), asset.dependencies.end(),
                           [&id](const DependencyRow &row) { return row.id == id; });
    });
}

std::vector<CatalogueRow> MemoryStore::scanCollection(const QByteArray &collection) const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    std::vector<CatalogueRow> rows;
    const MemoryItems *const items = tables.findItems(collection);
    if (!items)
        return rows;
    rows.reserve(items->byPosition.size());
    for (const auto &[position, id] : items->byPosition) {
        CatalogueRow row{.id = id, .className = {}, .name = {}};
        if (const MemoryAsset *const asset = tables.find(id)) {
            row.exists = true;
            row.className = asset->row.className;
            row.name = asset->row.name;
            row.flags = asset->row.flags;
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

qsizetype MemoryStore::appendToCollection(const QByteArray &collection,
                                          std::span<const QByteArray> ids)
{
    return m_impl->change(TESK_PLACE, [this, &collection, ids] {
        MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, collection);
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            requireId(TESK_PLACE, id);
            if (m_impl->content->append(collection, id))
                ++count;
        }
        if (count > 0)
            m_impl->content->change(asset);
        return count;
    });
}

qsizetype MemoryStore::removeFromCollection(const QByteArray &collection,
                                            std::span<const QByteArray> ids)
{
    return m_impl->change(TESK_PLACE, [this, &collection, ids] {
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            if (m_impl->content->take(collection, id))
                ++count;
        }
        if (count > 0)
            m_impl->content->change(m_impl->requireLocked(TESK_PLACE, collection));
        return count;
    });
}

std::vector<QByteArray> MemoryStore::collectionsOf(const QByteArray &id) const
{
    return m_impl->idsWhere([&id](const MemoryTables &tables, const MemoryAsset &asset) {
        const MemoryItems *const items = tables.findItems(asset.row.id);
        return items && items->positions.contains(id);
    });
}

} // namespace Tesk::Assets
