#include "AssetTable.h"
#include "DatabaseCore.h"
#include "StoreValues.h"
#include "Write.h"

#include <assets/CollectionAsset.h>

namespace Tesk::Assets {

bool DatabaseCore::loadItems(const CollectionAsset &collection)
{
    const std::lock_guard lock(m_mutex);
    const AssetSlot *slot = m_store ? liveSlotLocked(collection) : nullptr;
    if (slot == nullptr)
        return false;
    std::vector<AssetReference> items;
    if (!slot->unstored) {
        const qint64 generation = m_store->generation();
        const std::vector<CatalogueRow> rows = m_store->scanCollection(idOf(*slot->record));
        items.reserve(rows.size());
        for (const CatalogueRow &row : rows) {
            if (StoreValues::isNullItem(row.id)) {
                items.emplace_back();
                continue;
            }
            const AssetRecord &record = m_table->intern(row.id);
            items.emplace_back(&record);
            if (row.exists && slotOfLocked(record) == nullptr
                && !m_removalsPending.contains(&record))
                knownSlotLocked(record, row.className, row.name).knownAt = generation;
        }
    }
    collection.setItems(std::move(items));
    return true;
}

void DatabaseCore::appendItem(const std::shared_ptr<CollectionAsset> &collection,
                              const AssetReference &item)
{
    changeItems(collection, [&](Batch &batch, AssetSlot &slot) {
        if (!collection->appendItem(item))
            return;
        if (slot.unstored)
            batch.onRollback([collection, item] { collection->removeItem(item); });
        else
            noteItemLocked(batch, slot, collection, {StoreValues::itemId(item), true});
    });
}

void DatabaseCore::removeItem(const std::shared_ptr<CollectionAsset> &collection,
                              const AssetReference &item)
{
    changeItems(collection, [&](Batch &batch, AssetSlot &slot) {
        const qsizetype index = collection->removeItem(item);
        if (index < 0)
            return;
        if (slot.unstored)
            batch.onRollback([collection, index, item] { collection->insertItem(index, item); });
        else
            noteItemLocked(batch, slot, collection, {StoreValues::itemId(item), false});
    });
}

template<class Change>
void DatabaseCore::changeItems(const std::shared_ptr<CollectionAsset> &collection, Change change)
{
    Write write(*this);
    for (bool done = false; !done;) {
        collection->itemCount(); // reads the list now, if that was not done yet
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = liveSlotLocked(*collection);
        if (slot == nullptr)
            return;
        done = collection->isLoaded(); // a refresh may have come between
        if (done) {
            change(write.batch(), *slot);
            write.storeLocked();
        }
    }
    write.finish();
}

void DatabaseCore::noteItemLocked(Batch &batch, AssetSlot &slot,
                                  const std::shared_ptr<CollectionAsset> &collection,
                                  PendingChange::ItemChange itemChange)
{
    PendingChange &change = changeLocked(batch, slot);
    if (change.items.empty()) {
        change.itemsVersion = collection->itemsVersion() - 1;
        batch.onRollback([collection] { collection->forgetItems(); });
    }
    change.items.push_back(std::move(itemChange));
}

} // namespace Tesk::Assets
