#include "MemoryStoreImpl.h"
#include "StoreChecks.h"

namespace Tesk::Assets {

using namespace StoreChecks;

std::vector<StoreFinding> MemoryStore::checkIntegrity() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    std::vector<StoreFinding> findings;
    for (const auto &[sequence, asset] : tables.bySequence) {
        const QByteArray &id = asset->row.id;
        const QByteArray &next = asset->nextVersion;
        if (!next.isEmpty() && !tables.find(next))
            findings.push_back(danglingNextVersion(id, next));
        for (const DependencyRow &row : asset->dependencies) {
            if (!tables.find(row.id))
                findings.push_back(danglingDependency(id, row.id));
        }
        if (const MemoryItems *const items = tables.findItems(id)) {
            for (const auto &[position, item] : items->byPosition) {
                if (!tables.find(item))
                    findings.push_back(danglingItem(id, item));
            }
        }
    }
    return findings;
}

StoreStatistics MemoryStore::statistics() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    StoreStatistics statistics;
    for (const auto &[sequence, asset] : tables.bySequence) {
        ++statistics.assets;
        statistics.metaDataItems += static_cast<qint64>(asset->metaData.size());
        statistics.versionEdges += asset->nextVersion.isEmpty() ? 0 : 1;
        statistics.dependencies += static_cast<qint64>(asset->dependencies.size());
        statistics.thumbnails += asset->thumbnail ? 1 : 0;
        statistics.bodyBytes += asset->body ? asset->body->data.size() : 0;
        if (const MemoryItems *const items = tables.findItems(asset->row.id))
            statistics.collectionItems += static_cast<qint64>(items->byPosition.size());
    }
    return statistics;
}

} // namespace Tesk::Assets
