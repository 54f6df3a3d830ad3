#include "MemoryContent.h"

#include <QUuid>

namespace Tesk::Assets {

MemoryTables MemoryTables::copy() const
{
    MemoryTables result;
    for (const auto &[sequence, asset] : bySequence) {
        const auto twin = std::make_shared<MemoryAsset>(*asset);
        result.bySequence.emplace(sequence, twin);
        result.byId.insert(twin->row.id, twin);
    }
    for (auto entry = items.begin(); entry != items.end(); ++entry)
        result.items.insert(entry.key(), std::make_shared<MemoryItems>(*entry.value()));
    result.removed = removed;
    result.generation = generation;
    return result;
}

MemoryAsset *MemoryTables::find(const QByteArray &id) const
{
    const auto entry = byId.constFind(id);
    return entry == byId.constEnd() ? nullptr : entry->get();
}

const MemoryItems *MemoryTables::findItems(const QByteArray &collection) const
{
    const auto entry = items.constFind(collection);
    return entry == items.constEnd() ? nullptr : entry->get();
}

MemoryContent::MemoryContent()
    : databaseId(QUuid::createUuid().toRfc4122())
{}

void MemoryContent::undoTo(std::size_t mark)
{
    while (m_journal.size() > mark) {
        m_journal.back()();
        m_journal.pop_back();
    }
}

qint64 MemoryContent::writingGeneration()
{
    // The journal is empty at the start of each transaction: its first entry is this one.
    if (m_journal.empty()) {
        ++tables.generation;
        m_journal.emplace_back([this] { --tables.generation; });
    }
    return tables.generation;
}

MemoryAsset &MemoryContent::insert(const QByteArray &id)
{
    const qint64 generation = writingGeneration();
    const auto asset = std::make_shared<MemoryAsset>();
    asset->row.id = id;
    asset->sequence = tables.bySequence.empty() ? 1 : tables.bySequence.rbegin()->first + 1;
    asset->changed = generation;
    const auto tombstone = tables.removed.constFind(id);
    const std::optional<qint64> removedAt = tombstone == tables.removed.constEnd()
                                                    ? std::nullopt
                                                    : std::optional<qint64>(*tombstone);
    tables.removed.remove(id);
    tables.byId.insert(id, asset);
    tables.bySequence.emplace(asset->sequence, asset);
    m_journal.emplace_back([this, id, sequence = asset->sequence, removedAt] {
        tables.byId.remove(id);
        tables.bySequence.erase(sequence);
        if (removedAt)
            tables.removed.insert(id, *removedAt);
    });
    return *asset;
}

MemoryAsset &MemoryContent::change(MemoryAsset &asset)
{
    const qint64 generation = writingGeneration();
    m_journal.emplace_back([this, before = asset] { *tables.find(before.row.id) = before; });
    asset.changed = generation;
    return asset;
}

void MemoryContent::erase(const QByteArray &id)
{
    const qint64 generation = writingGeneration();
    const std::shared_ptr<MemoryAsset> asset = tables.byId.take(id);
    const std::shared_ptr<MemoryItems> items = tables.items.take(id);
    tables.bySequence.erase(asset->sequence);
    tables.removed.insert(id, generation);
    m_journal.emplace_back([this, id, asset, items] {
        tables.byId.insert(id, asset);
        tables.bySequence.emplace(asset->sequence, asset);
        if (items)
            tables.items.insert(id, items);
        tables.removed.remove(id);
    });
}

bool MemoryContent::append(const QByteArray &collection, const QByteArray &id)
{
    std::shared_ptr<MemoryItems> &items = tables.items[collection];
    if (!items)
        items = std::make_shared<MemoryItems>();
    if (items->positions.contains(id))
        return false;
    writingGeneration();
    const qint64 position = items->byPosition.empty() ? 0 : items->byPosition.rbegin()->first + 1;
    items->byPosition.emplace(position, id);
    items->positions.insert(id, position);
    m_journal.emplace_back([items, position, id] {
        items->byPosition.erase(position);
        items->positions.remove(id);
    });
    return true;
}

bool MemoryContent::take(const QByteArray &collection, const QByteArray &id)
{
    const std::shared_ptr<MemoryItems> items = tables.items.value(collection);
    if (!items || !items->positions.contains(id))
        return false;
    writingGeneration();
    const qint64 position = items->positions.take(id);
    items->byPosition.erase(position);
    m_journal.emplace_back([items, position, id] {
        items->byPosition.emplace(position, id);
        items->positions.insert(id, position);
    });
    return true;
}

} // namespace Tesk::Assets
