#include "AssetErrors.h"
#include "AssetNames.h"
#include "BatchWriter.h"
#include "DatabaseCore.h"
#include "EncodingAhead.h"

#include <assets/CollectionAsset.h>
#include <vantbase/Exception.h>

namespace Tesk::Assets {

PendingChange &DatabaseCore::changeLocked(Batch &batch, AssetSlot &slot)
{
    PendingChange &change = batch.change(*slot.record);
    change.slot = &slot;
    return change;
}

void DatabaseCore::beginScope()
{
    const std::lock_guard lock(m_mutex);
    checkOpenLocked();
    m_scopes.enter();
}

std::unique_ptr<Batch> DatabaseCore::leaveScope(bool doomed)
{
    const std::lock_guard lock(m_mutex);
    return m_scopes.leave(doomed);
}

void DatabaseCore::commitScope()
{
    const std::unique_ptr<Batch> ended = leaveScope(false);
    if (!ended)
        return;
    if (!ended->doomed) {
        commit(*ended, SyncLevel::Disk);
        return;
    }
    rollBack(*ended);
    raiseAs<Exception::RuntimeErrorException>(
            TESK_HERE, QStringLiteral("Cannot commit the batch: a scope inside it was left "
                                      "without commit"));
}

void DatabaseCore::abandonScope()
{
    if (const std::unique_ptr<Batch> ended = leaveScope(true))
        rollBack(*ended);
}

void DatabaseCore::commit(Batch &batch, SyncLevel level)
{
    if (batch.isEmpty())
        return;
    std::vector<AssetChange> changes;
    try {
        std::vector<EncodedAsset> assets = assetsToWrite(batch);
        EncodingAhead encoding(assets);
        const auto encodedAfter = [&encoding](std::size_t count) {
            return encoding.encodedAfter(count);
        };
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        BatchWriter(*m_store, batch).write(assets, encodedAfter, level);
        settleLocked(batch);
        changes = batch.notices();
    } catch (...) {
        rollBack(batch);
        throw;
    }
    m_observers.notify(changes);
}

std::vector<EncodedAsset> DatabaseCore::assetsToWrite(const Batch &batch) const
{
    std::vector<EncodedAsset> assets;
    {
        const std::lock_guard lock(m_mutex);
        for (const auto &change : batch.changes()) {
            if ((change->created || change->contentChanged) && change->slot->owner)
                assets.push_back({.asset = change->slot->owner,
                                  .record = change->record,
                                  .isNew = change->created,
                                  .change = change.get(),
                                  .write = {}});
        }
    }
    // What a refresh made a shell again has nothing to be written.
    std::erase_if(assets, [](const EncodedAsset &entry) {
        return !entry.change->created && entry.asset->isShell();
    });
    return assets;
}

void DatabaseCore::settleLocked(const Batch &batch)
{
    for (const auto &change : batch.changes()) {
        if (change->removed) {
            const auto pending = m_removalsPending.find(change->record);
            if (pending != m_removalsPending.end() && --pending->second == 0)
                m_removalsPending.erase(pending);
        }
        if (change->created)
            change->slot->unstored.reset();
        if (change->contentChanged || change->name)
            m_prefetched.erase(change->record);
        if (change->created || change->removed || !change->metaData.empty())
            m_keptMetaData.erase(change->record);
        if (change->name)
            settleNameLocked(*change);
        if (!change->items.empty())
            settleItemsLocked(*change);
    }
}

// Another thread renamed it while the scope was open: the name that was stored last remains.
void DatabaseCore::settleNameLocked(const PendingChange &change)
{
    change.slot->name = *change.name;
    if (change.renamesObject && change.slot->owner)
        AssetNames::set(*change.slot->owner, *change.name);
}

// Another thread changed the list while the scope was open: what is stored has the order.
void DatabaseCore::settleItemsLocked(const PendingChange &change)
{
    const auto collection = std::dynamic_pointer_cast<CollectionAsset>(change.slot->owner);
    if (collection && collection->itemsVersion() != change.itemsVersion + change.items.size())
        collection->forgetItems();
}

void DatabaseCore::rollBack(Batch &batch)
{
    std::vector<std::function<void()>> steps = batch.takeUndo();
    for (auto step = steps.rbegin(); step != steps.rend(); ++step)
        (*step)();
    std::vector<AssetChange> changes;
    for (const auto &change : batch.changes()) {
        if (!change->created)
            changes.push_back(
                    {AssetChange::Kind::RolledBack, AssetReference(change->record), false});
    }
    m_observers.notify(changes);
}

} // namespace Tesk::Assets
