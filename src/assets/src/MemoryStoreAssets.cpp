#include "MemoryStoreImpl.h"
#include "StoreChecks.h"

#include <QDateTime>

namespace Tesk::Assets {

using namespace StoreChecks;

std::vector<std::optional<AssetRow>> MemoryStore::loadRows(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? std::optional(asset->row) : std::nullopt;
    });
}

std::vector<std::optional<StoredAsset>> MemoryStore::load(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? std::optional(StoredAsset{asset->row, asset->body}) : std::nullopt;
    });
}

std::vector<qint64> MemoryStore::write(std::span<const AssetWrite> assets)
{
    return m_impl->change(TESK_PLACE, [this, assets] {
        std::vector<qint64> revisions;
        revisions.reserve(assets.size());
        for (const AssetWrite &asset : assets)
            revisions.push_back(m_impl->writeLocked(TESK_PLACE, asset));
        return revisions;
    });
}

qsizetype MemoryStore::remove(std::span<const AssetRemoval> assets)
{
    return m_impl->change(TESK_PLACE, [this, assets] {
        qsizetype count = 0;
        for (const AssetRemoval &removal : assets) {
            const MemoryAsset *const asset = m_impl->content->tables.find(removal.id);
            requireRevision(TESK_PLACE, removal.id, removal.expectedRevision,
                            asset ? asset->row.revision : 0);
            if (!asset)
                continue;
            m_impl->content->erase(QByteArray(removal.id));
            ++count;
        }
        return count;
    });
}

std::vector<qint64> MemoryStore::setNames(std::span<const NameWrite> names)
{
    return m_impl->change(TESK_PLACE, [this, names] {
        std::vector<qint64> revisions;
        revisions.reserve(names.size());
        for (const NameWrite &write : names) {
            requireText(TESK_PLACE, write.name, write.id);
            MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, write.id);
            if (asset.row.name != write.name) {
                m_impl->content->change(asset);
                asset.row.name = write.name;
                asset.row.revision = asset.changed;
                asset.row.modifiedMs = QDateTime::currentMSecsSinceEpoch();
            }
            revisions.push_back(asset.row.revision);
        }
        return revisions;
    });
}

qsizetype MemoryStore::setFlags(std::span<const QByteArray> ids, quint32 mask, quint32 flags)
{
    return m_impl->change(TESK_PLACE, [this, ids, mask, flags] {
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            MemoryAsset *const asset = m_impl->content->tables.find(id);
            if (!asset || ((asset->row.flags ^ flags) & mask) == 0)
                continue;
            m_impl->content->change(*asset).row.flags ^= (asset->row.flags ^ flags) & mask;
            ++count;
        }
        return count;
    });
}

static bool matches(const AssetQuery &query, const AssetRow &row)
{
    if (query.className && row.className != *query.className)
        return false;
    if (query.category && row.category != *query.category)
        return false;
    if (!query.name)
        return true;
    return query.nameCase == Qt::CaseSensitive ? row.name == *query.name
                                               : row.name.toLower() == query.name->toLower();
}

AssetPage MemoryStore::find(const AssetQuery &query, ScanPosition position, qsizetype limit) const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const auto &table = m_impl->viewLocked().bySequence;
    AssetPage page;
    for (auto entry = table.upper_bound(position.value()); entry != table.end(); ++entry) {
        if (!matches(query, entry->second->row))
            continue;
        page.rows.push_back(entry->second->row);
        if (static_cast<qsizetype>(page.rows.size()) >= limit) {
            page.next = ScanPosition(entry->first);
            break;
        }
    }
    return page;
}

std::vector<std::vector<MetaRow>> MemoryStore::metaData(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        std::vector<MetaRow> rows;
        if (asset) {
            for (const auto &[key, row] : asset->metaData)
                rows.push_back(row);
        }
        return rows;
    });
}

std::vector<std::optional<MetaRow>> MemoryStore::metaDataItems(std::span<const QByteArray> ids,
                                                               const QString &key) const
{
    return m_impl->collect(ids, [&key](const MemoryAsset *asset) -> std::optional<MetaRow> {
        if (!asset)
            return std::nullopt;
        const auto entry = asset->metaData.find(key);
        return entry == asset->metaData.end() ? std::nullopt : std::optional(entry->second);
    });
}

qsizetype MemoryStore::setMetaData(std::span<const MetaWrite> items)
{
    return m_impl->change(TESK_PLACE, [this, items] {
        qsizetype count = 0;
        for (const MetaWrite &write : items) {
            requireMetaRow(TESK_PLACE, write.item, write.id);
            MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, write.id);
            const auto entry = asset.metaData.find(write.item.key);
            if (entry != asset.metaData.end() && isSame(entry->second, write.item))
                continue;
            m_impl->content->change(asset).metaData.insert_or_assign(write.item.key, write.item);
            ++count;
        }
        return count;
    });
}

qsizetype MemoryStore::removeMetaData(std::span<const QByteArray> ids, const QString &key)
{
    return m_impl->change(TESK_PLACE, [this, ids, &key] {
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            MemoryAsset *const asset = m_impl->content->tables.find(id);
            if (!asset || !asset->metaData.contains(key))
                continue;
            m_impl->content->change(*asset).metaData.erase(key);
            ++count;
        }
        return count;
    });
}

std::vector<std::optional<QByteArray>>
MemoryStore::thumbnails(std::span<const QByteArray> ids) const
{
    return m_impl->collect(
            ids, [](const MemoryAsset *asset) { return asset ? asset->thumbnail : std::nullopt; });
}

void MemoryStore::setThumbnails(std::span<const ThumbnailWrite> thumbnails)
{
    m_impl->change(TESK_PLACE, [this, thumbnails] {
        for (const ThumbnailWrite &write : thumbnails) {
            MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, write.id);
            const auto wanted = write.data.isEmpty() ? std::nullopt : std::optional(write.data);
            if (asset.thumbnail != wanted)
                m_impl->content->change(asset).thumbnail = wanted;
        }
        return true;
    });
}

} // namespace Tesk::Assets
