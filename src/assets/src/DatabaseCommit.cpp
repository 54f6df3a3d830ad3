#include "AssetErrors.h"
#include "AssetTable.h"
#include "BodyCodec.h"
#include "DatabaseCore.h"
#include "StoreValues.h"
#include "Write.h"

#include <assets/CollectionAsset.h>
#include <data/ClassRegistry.h>
#include <vantbase/Exception.h>

#include <algorithm>

namespace Tesk::Assets {

/// One asset as it is to be written.
struct DatabaseCore::Encoded
{
    const PendingChange *change = nullptr;
    std::shared_ptr<Asset> asset;
    AssetWrite write;
};

DatabaseCore::Write::Write(DatabaseCore &core)
    : m_core(core)
{
    const std::lock_guard lock(core.m_mutex);
    core.checkOpenLocked();
    m_batch = core.scopeLocked();
    if (m_batch == nullptr) {
        m_own = std::make_unique<Batch>();
        m_batch = m_own.get();
    }
}

DatabaseCore::Write::~Write()
{
    if (m_own && !m_isStored)
        m_core.rollBack(*m_own);
}

void DatabaseCore::Write::storeLocked()
{
    if (!m_own || m_own->isEmpty() || m_own->needsBodies())
        return;
    std::vector<Encoded> none;
    m_core.storeLocked(*m_own, none, SyncLevel::Process);
    m_isStored = true;
    m_core.settleLocked(*m_own);
    m_changes = changesOf(*m_own);
}

void DatabaseCore::Write::finish()
{
    const std::unique_ptr<Batch> own = std::move(m_own);
    if (m_isStored)
        m_core.notify(m_changes);
    else if (own)
        m_core.commit(*own, SyncLevel::Process);
}

Batch *DatabaseCore::scopeLocked() const
{
    const auto found = std::find_if(m_scopes.begin(), m_scopes.end(), [](const auto &scope) {
        return scope->thread == std::this_thread::get_id();
    });
    return found == m_scopes.end() ? nullptr : found->get();
}

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
    if (Batch *outer = scopeLocked())
        ++outer->depth;
    else
        m_scopes.push_back(std::make_unique<Batch>());
}

std::unique_ptr<Batch> DatabaseCore::endScope(bool doomed)
{
    const std::lock_guard lock(m_mutex);
    Batch *scope = scopeLocked();
    if (scope == nullptr)
        return nullptr;
    scope->doomed |= doomed;
    if (--scope->depth > 0)
        return nullptr;
    const auto found = std::find_if(m_scopes.begin(), m_scopes.end(),
                                    [&](const auto &known) { return known.get() == scope; });
    std::unique_ptr<Batch> ended = std::move(*found);
    m_scopes.erase(found);
    return ended;
}

void DatabaseCore::commitScope()
{
    const std::unique_ptr<Batch> ended = endScope(false);
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
    if (const std::unique_ptr<Batch> ended = endScope(true))
        rollBack(*ended);
}

void DatabaseCore::commit(Batch &batch, SyncLevel level)
{
    if (batch.isEmpty())
        return;
    std::vector<AssetChange> changes;
    try {
        std::vector<Encoded> encoded = encode(batch);
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        storeLocked(batch, encoded, level);
        settleLocked(batch);
        changes = changesOf(batch);
    } catch (...) {
        rollBack(batch);
        throw;
    }
    notify(changes);
}

// Runs without a lock: it asks the assets.
std::vector<DatabaseCore::Encoded> DatabaseCore::encode(const Batch &batch) const
{
    std::vector<Encoded> encoded;
    {
        const std::lock_guard lock(m_mutex);
        for (const auto &change : batch.changes()) {
            if ((change->created || change->contentChanged) && change->slot->owner)
                encoded.push_back({change.get(), change->slot->owner, {}});
        }
    }
    // What a refresh made a shell again has nothing to be written.
    std::erase_if(encoded, [](const Encoded &entry) {
        return !entry.change->created && entry.asset->isShell();
    });
    for (Encoded &entry : encoded) {
        const Asset &asset = *entry.asset;
        AssetWrite &write = entry.write;
        write.row.id = asset.ownReference().id();
        write.row.className = asset.typeName();
        write.row.classVersion = Data::ClassRegistry::currentVersion(asset.typeName()).value_or(0);
        write.row.category = asset.category();
        write.body = BodyCodec::encode(asset);
        write.nextVersion = asset.nextVersion.get().id();
        std::vector<DependencyRow> &dependencies = write.dependencies.emplace();
        for (const AssetReference &dependency : asset.dependencies.values()) {
            if (dependency.isValid())
                dependencies.push_back({dependency.id(), QString()});
        }
    }
    return encoded;
}

void DatabaseCore::storeLocked(const Batch &batch, std::vector<Encoded> &encoded, SyncLevel level)
{
    std::vector<AssetRemoval> removals;
    for (const auto &change : batch.changes()) {
        if (!change->removed)
            continue;
        AssetRemoval &removal = removals.emplace_back();
        removal.id = idOf(*change->record);
        if (change->removedRevision != 0)
            removal.expectedRevision = change->removedRevision;
    }
    std::vector<AssetWrite> writes;
    writes.reserve(encoded.size());
    for (Encoded &entry : encoded) {
        const AssetSlot &slot = *entry.change->slot;
        entry.write.row.name = slot.name;
        entry.write.expectedRevision = slot.revision;
        if (entry.change->created && slot.unstored) {
            entry.write.expectedRevision = 0;
            entry.write.row.flags = slot.unstored->hidden ? StoreFlags::sHidden : 0;
            std::vector<MetaRow> &rows = entry.write.metaData.emplace();
            for (const auto &[key, item] : slot.unstored->metaData)
                rows.push_back(StoreValues::toRow(key, item));
        }
        writes.push_back(std::move(entry.write));
    }

    Store::Transaction transaction(*m_store, level);
    if (!removals.empty())
        m_store->remove(removals);
    std::vector<qint64> revisions;
    if (!writes.empty())
        revisions = m_store->write(writes);
    std::vector<std::pair<AssetSlot *, qint64>> renamed = storeNamesLocked(batch);
    storeAttributesLocked(batch);
    for (const auto &change : batch.changes())
        storeItemsLocked(*change);
    transaction.commit();

    for (std::size_t at = 0; at < encoded.size(); ++at)
        encoded[at].change->slot->revision = revisions[at];
    for (const auto &[slot, revision] : renamed)
        slot->revision = revision;
}

// A rename goes past the revision check, so it must not hide what somebody else wrote before.
std::vector<std::pair<AssetSlot *, qint64>> DatabaseCore::storeNamesLocked(const Batch &batch)
{
    std::vector<NameWrite> names;
    std::vector<QByteArray> ids;
    std::vector<AssetSlot *> slotList;
    for (const auto &change : batch.changes()) {
        if (!change->name || change->created || change->contentChanged)
            continue;
        ids.push_back(idOf(*change->record));
        names.push_back({ids.back(), *change->name});
        slotList.push_back(change->slot);
    }
    std::vector<std::pair<AssetSlot *, qint64>> renamed;
    if (names.empty())
        return renamed;
    const std::vector<std::optional<AssetRow>> before = m_store->loadRows(ids);
    const std::vector<qint64> revisions = m_store->setNames(names);
    for (std::size_t at = 0; at < names.size(); ++at) {
        AssetSlot *slot = slotList[at];
        if (slot != nullptr && slot->revision != 0 && before[at]
            && before[at]->revision == slot->revision)
            renamed.emplace_back(slot, revisions[at]);
    }
    return renamed;
}

void DatabaseCore::storeAttributesLocked(const Batch &batch)
{
    std::vector<QByteArray> hidden;
    std::vector<QByteArray> shown;
    std::vector<MetaWrite> items;
    std::vector<ThumbnailWrite> thumbnails;
    for (const auto &change : batch.changes()) {
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
                m_store->removeMetaData(std::span(&id, 1), key);
        }
    }
    if (!hidden.empty())
        m_store->setFlags(hidden, StoreFlags::sHidden, StoreFlags::sHidden);
    if (!shown.empty())
        m_store->setFlags(shown, StoreFlags::sHidden, 0);
    if (!items.empty())
        m_store->setMetaData(items);
    if (!thumbnails.empty())
        m_store->setThumbnails(thumbnails);
}

void DatabaseCore::storeItemsLocked(const PendingChange &change)
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
            m_store->appendToCollection(collection, ids);
        return;
    }
    // Neighbours of one kind go into one call.
    for (std::size_t at = 0; at < change.items.size();) {
        const bool appended = change.items[at].appended;
        std::vector<QByteArray> ids;
        for (; at < change.items.size() && change.items[at].appended == appended; ++at)
            ids.push_back(change.items[at].item);
        if (appended)
            m_store->appendToCollection(collection, ids);
        else
            m_store->removeFromCollection(collection, ids);
    }
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
        if (!change->items.empty())
            settleItemsLocked(*change);
    }
}

// Another thread changed the list while the scope was open: what is stored has the order.
void DatabaseCore::settleItemsLocked(const PendingChange &change)
{
    const auto collection = std::dynamic_pointer_cast<CollectionAsset>(change.slot->owner);
    if (collection && collection->itemsVersion() != change.itemsVersion + change.items.size())
        collection->forgetItems();
}

std::vector<AssetChange> DatabaseCore::changesOf(const Batch &batch)
{
    using Kind = AssetChange::Kind;
    std::vector<AssetChange> changes;
    for (const auto &change : batch.changes()) {
        const auto add = [&](bool happened, Kind kind) {
            if (happened)
                changes.push_back({kind, AssetReference(change->record), false});
        };
        add(change->removed && !change->created, Kind::Removed);
        add(change->created, change->madePersistent ? Kind::MadePersistent : Kind::Created);
        if (change->created || change->removed)
            continue;
        add(change->contentChanged, Kind::ContentChanged);
        add(change->name.has_value(), Kind::Renamed);
        add(!change->metaData.empty(), Kind::MetaDataChanged);
        add(change->hidden.has_value(), Kind::VisibilityChanged);
        add(change->thumbnail.has_value(), Kind::ThumbnailChanged);
        add(!change->items.empty(), Kind::ItemsChanged);
    }
    return changes;
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
    notify(changes);
}

} // namespace Tesk::Assets
