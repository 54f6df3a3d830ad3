#include "BatchWriter.h"

#include "AssetRecord.h"
#include "StoreValues.h"

#include <assets/CollectionAsset.h>

namespace Tesk::Assets {

BatchWriter::BatchWriter(Store &store, const Batch &batch)
    : m_store(store)
    , m_batch(batch)
{}

void BatchWriter::write(std::span<EncodedAsset> assets, const EncodedAfter &encodedAfter,
                        SyncLevel level)
{
    const std::vector<AssetRemoval> removed = removals();
    Store::Transaction transaction(m_store, level);
    m_store.endAtFailure(); // all of the batch or nothing
    if (!removed.empty())
        m_store.remove(removed);
    const std::vector<qint64> revisions = writeAssets(assets, encodedAfter);
    const Revisions renamed = writeNames();
    writeAttributes();
    for (const auto &change : m_batch.changes())
        writeItems(*change);
    transaction.commit();

    for (std::size_t at = 0; at < assets.size(); ++at)
        assets[at].change->slot->revision = revisions[at];
    for (const auto &[slot, revision] : renamed)
        slot->revision = revision;
}

std::vector<qint64> BatchWriter::writeAssets(std::span<EncodedAsset> assets,
                                             const EncodedAfter &encodedAfter)
{
    std::vector<qint64> revisions;
    revisions.reserve(assets.size());
    while (revisions.size() < assets.size()) {
        const std::size_t begin = revisions.size();
        const std::size_t count = encodedAfter(begin) - begin;
        const std::vector<qint64> written = m_store.write(writes(assets.subspan(begin, count)));
        revisions.insert(revisions.end(), written.begin(), written.end());
    }
    return revisions;
}

std::vector<AssetRemoval> BatchWriter::removals() const
{
    std::vector<AssetRemoval> removals;
    for (const auto &change : m_batch.changes()) {
        if (!change->removed)
            continue;
        AssetRemoval &removal = removals.emplace_back();
        removal.id = idOf(*change->record);
        if (change->removedRevision != 0)
            removal.expectedRevision = change->removedRevision;
    }
    return removals;
}

std::vector<AssetWrite> BatchWriter::writes(std::span<EncodedAsset> encoded)
{
    std::vector<AssetWrite> writes;
    writes.reserve(encoded.size());
    for (EncodedAsset &entry : encoded) {
        const AssetSlot &slot = *entry.change->slot;
        entry.write.row.name = entry.change->name.value_or(slot.name);
        entry.write.expectedRevision = slot.revision;
        if (entry.change->created && slot.unstored) {
            entry.write.expectedRevision = 0;
            entry.write.row.flags = slot.unstored->hidden ? StoreFlags::sHidden : 0;
            std::vector<MetaRow> &rows = entry.write.metaData.emplace();
            rows.reserve(slot.unstored->metaData.size());
            for (const auto &[key, item] : slot.unstored->metaData)
                rows.push_back(StoreValues::toRow(key, item));
        }
        writes.push_back(std::move(entry.write));
    }
    return writes;
}

// A rename goes past the revision check, so it must not hide what somebody else wrote before.
BatchWriter::Revisions BatchWriter::writeNames()
{
    std::vector<NameWrite> names;
    std::vector<QByteArray> ids;
    std::vector<AssetSlot *> slotList;
    for (const auto &change : m_batch.changes()) {
        if (!change->name || change->created || change->contentChanged)
            continue;
        ids.push_back(idOf(*change->record));
        names.push_back({ids.back(), *change->name});
        slotList.push_back(change->slot);
    }
    Revisions renamed;
    if (names.empty())
        return renamed;
    const std::vector<std::optional<AssetRow>> before = m_store.loadRows(ids);
    const std::vector<qint64> revisions = m_store.setNames(names);
    for (std::size_t at = 0; at < names.size(); ++at) {
        AssetSlot *slot = slotList[at];
        if (slot != nullptr && slot->revision != 0 && before[at]
            && before[at]->revision == slot->revision)
            renamed.emplace_back(slot, revisions[at]);
    }
    return renamed;
}

void BatchWriter::writeAttributes()
{
    std::vector<QByteArray> hidden;
    std::vector<QByteArray> shown;
    std::vector<MetaWrite> items;
    std::vector<ThumbnailWrite> thumbnails;
    for (const auto &change : m_batch.changes()) {
        const QByteArray id = idOf(*change->record);
        if (change->created && change->slot->unstored
            && !change->slot->unstored->thumbnail.isEmpty())
            thumbnails.push_back({id, change->slot->unstored->thumbnail});
        if (change->hidden)
            (*change->hidden ? hidden : shown).push_back(id);
        if (change->thumbnail)
            thumbnails.push_back({id, *change->thumbnail});
        for (const auto &[key, item] : change->metaData) {
            if (item)
                items.push_back({id, StoreValues::toRow(key, *item)});
            else
                m_store.removeMetaData(std::span(&id, 1), key);
        }
    }
    if (!hidden.empty())
        m_store.setFlags(hidden, StoreFlags::sHidden, StoreFlags::sHidden);
    if (!shown.empty())
        m_store.setFlags(shown, StoreFlags::sHidden, 0);
    if (!items.empty())
        m_store.setMetaData(items);
    if (!thumbnails.empty())
        m_store.setThumbnails(thumbnails);
}

void BatchWriter::writeItems(const PendingChange &change)
{
    const QByteArray collection = idOf(*change.record);
    if (change.created && change.slot->unstored) {
        const auto asset = std::dynamic_pointer_cast<CollectionAsset>(change.slot->owner);
        if (!asset)
            return;
        std::vector<QByteArray> ids;
        for (const AssetReference &item : asset->loadedItems())
            ids.push_back(StoreValues::itemId(item));
        if (!ids.empty())
            m_store.appendToCollection(collection, ids);
        return;
    }
    // Neighbours of one kind go into one call.
    for (std::size_t at = 0; at < change.items.size();) {
        const bool appended = change.items[at].appended;
        std::vector<QByteArray> ids;
        for (; at < change.items.size() && change.items[at].appended == appended; ++at)
            ids.push_back(change.items[at].item);
        if (appended)
            m_store.appendToCollection(collection, ids);
        else
            m_store.removeFromCollection(collection, ids);
    }
}

} // namespace Tesk::Assets
