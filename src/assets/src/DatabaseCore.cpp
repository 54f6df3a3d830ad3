#include "DatabaseCore.h"

#include "AssetErrors.h"
#include "AssetFactory.h"
#include "AssetNames.h"
#include "AssetTable.h"
#include "BodyCodec.h"
#include "DecodingScope.h"
#include "StoreValues.h"
#include "Write.h"

#include <assets/CollectionAsset.h>
#include <assets/StoreError.h>
#include <vantbase/Exception.h>

#include <algorithm>

namespace Tesk::Assets {

using Exception::BaseException;
using Exception::LogicErrorException;
using VantBase::logger;
using VantBase::LogLevel;
using VantBase::LogService;

thread_local AssetTable *DecodingScope::sTable = nullptr;

static QString readable(const AssetRecord &record)
{
    return QString::fromUtf8(record.id());
}

std::shared_ptr<DatabaseCore> DatabaseCore::open(std::unique_ptr<Store> store)
{
    AssetFactory::registerOwnTypes();
    const QByteArray databaseId = store->databaseId();
    std::shared_ptr<DatabaseCore> core(new DatabaseCore(std::move(store)));
    core->m_table = &AssetTable::acquire(databaseId, core);
    return core;
}

std::shared_ptr<DatabaseCore> DatabaseCore::of(const AssetReference &reference)
{
    return reference.isValid() ? reference.record()->table->core() : nullptr;
}

DatabaseCore::DatabaseCore(std::unique_ptr<Store> store)
    : m_store(std::move(store))
{}

DatabaseCore::~DatabaseCore()
{
    close();
}

void DatabaseCore::close()
{
    std::vector<std::shared_ptr<Asset>> owners;
    std::unique_ptr<Store> store;
    {
        // A decode that is under way still needs the store.
        const auto decoding = Data::SerializableData::lockDecoding();
        const std::lock_guard lock(m_mutex);
        if (!m_store)
            return;
        m_table->closeDoor();
        store = std::move(m_store);
        owners.reserve(m_published.size());
        for (AssetSlot *slot : m_published)
            owners.push_back(withdrawLocked(*slot));
        m_published.clear();
        m_prefetched.clear();
    }
}

bool DatabaseCore::isOpen() const
{
    const std::lock_guard lock(m_mutex);
    return m_store != nullptr;
}

void DatabaseCore::checkOpenLocked() const
{
    if (!m_store)
        raiseAs<LogicErrorException>(TESK_HERE, QStringLiteral("The asset database is closed"));
}

// --- slots

AssetSlot *DatabaseCore::slotOfLocked(const AssetRecord &record) const
{
    AssetSlot *slot = record.slot.load(std::memory_order_relaxed);
    const bool gone =
            slot == nullptr || slot->state.load(std::memory_order_relaxed) == SlotState::Gone;
    return gone ? nullptr : slot;
}

// An object that was removed shares its record with what was made under that id later.
AssetSlot *DatabaseCore::liveSlotLocked(const Asset &asset) const
{
    const AssetRecord *record = asset.ownReference().record();
    AssetSlot *slot = record == nullptr ? nullptr : slotOfLocked(*record);
    return slot != nullptr && slot->owner.get() == &asset ? slot : nullptr;
}

AssetSlot &DatabaseCore::knownSlotLocked(const AssetRecord &record, const QString &typeName,
                                         const QString &name)
{
    AssetSlot &slot = m_table->newSlot(record);
    slot.typeName = *m_typeNames.insert(typeName);
    slot.name = name;
    record.lifespan.store(AssetReference::Lifespan::Persistent, std::memory_order_release);
    record.slot.store(&slot, std::memory_order_release);
    return slot;
}

AssetSlot *DatabaseCore::findLocked(const AssetRecord &record)
{
    if (AssetSlot *slot = slotOfLocked(record))
        return slot;
    const std::optional<AssetRow> row = rowLocked(record);
    return row ? &knownSlotLocked(record, row->className, row->name) : nullptr;
}

// The store knows an asset that was made persistent by its new id only.
const AssetRecord &DatabaseCore::ownRecordLocked(const AssetRecord &record) const
{
    const AssetSlot *slot = slotOfLocked(record);
    return slot == nullptr ? record : *slot->record;
}

void DatabaseCore::publishLocked(AssetSlot &slot, const std::shared_ptr<Asset> &asset)
{
    slot.weak = asset;
    slot.owner = asset;
    asset->m_record.store(slot.record, std::memory_order_release);
    slot.state.store(SlotState::Live, std::memory_order_release);
    slot.record->slot.store(&slot, std::memory_order_release);
    m_published.push_back(&slot);
}

// The caller releases what it gets when it holds no lock any more.
std::shared_ptr<Asset> DatabaseCore::withdrawLocked(AssetSlot &slot)
{
    slot.state.store(SlotState::Gone, std::memory_order_release);
    m_prefetched.erase(slot.record);
    ++m_epoch;
    return std::move(slot.owner);
}

void DatabaseCore::withdraw(AssetSlot &slot)
{
    std::shared_ptr<Asset> owner;
    const std::lock_guard lock(m_mutex);
    owner = withdrawLocked(slot);
}

// --- finding

AssetReference DatabaseCore::reference(const QByteArray &id)
{
    return id.isEmpty() ? AssetReference() : AssetReference(&m_table->intern(id));
}

std::shared_ptr<Asset> DatabaseCore::find(const QByteArray &id)
{
    if (id.isEmpty())
        return nullptr;
    if (const AssetRecord *record = m_table->find(id))
        return AssetReference(record).asset();
    {
        // Ids that do not exist leave no record behind.
        const std::lock_guard lock(m_mutex);
        if (!m_store || !m_store->loadRows(std::span(&id, 1)).front())
            return nullptr;
    }
    return AssetReference(&m_table->intern(id)).asset();
}

std::shared_ptr<Asset> DatabaseCore::resolve(const AssetRecord &record)
{
    for (;;) {
        AssetSlot *slot = nullptr;
        QString typeName;
        QString name;
        quint64 epoch = 0;
        {
            const std::lock_guard lock(m_mutex);
            slot = m_store ? findLocked(record) : nullptr;
            if (slot == nullptr)
                return nullptr;
            if (slot->owner)
                return slot->owner;
            typeName = slot->typeName;
            name = slot->name;
            epoch = m_epoch;
        }
        const std::shared_ptr<Asset> shell = makeShell(typeName, name);
        if (!shell)
            return nullptr;
        const std::lock_guard lock(m_mutex);
        if (slot->owner)
            return slot->owner; // another thread was faster
        if (epoch != m_epoch || !m_store)
            continue;
        publishLocked(*slot, shell);
        return shell;
    }
}

std::shared_ptr<Asset> DatabaseCore::resolveQuietly(const AssetRecord &record) noexcept
{
    try {
        return resolve(record);
    } catch (const std::exception &) {
        return nullptr; // what cannot be loaded does not exist for who holds a reference
    }
}

std::shared_ptr<Asset> DatabaseCore::makeShell(const QString &typeName, const QString &name) const
{
    std::shared_ptr<Asset> shell = AssetFactory::create(typeName);
    if (!shell)
        return nullptr;
    AssetNames::set(*shell, name);
    shell->setBodySource(m_table);
    shell->setChangeListener(m_table);
    return shell;
}

// --- making

bool DatabaseCore::fileNew(Write &write, const AssetRecord &record,
                           const std::shared_ptr<Asset> &asset, const QString &name,
                           const MetaData &metaData, bool internal)
{
    const QString typeName = asset->typeName();
    const std::lock_guard lock(m_mutex);
    checkOpenLocked();
    if (findLocked(record) != nullptr)
        return false;

    AssetSlot &slot = m_table->newSlot(record);
    slot.typeName = *m_typeNames.insert(typeName);
    slot.name = name;
    slot.unstored = std::make_unique<UnstoredAttributes>();
    slot.unstored->metaData = metaData;
    slot.unstored->internal = internal;
    AssetNames::set(*asset, name);
    asset->setChangeListener(m_table);
    record.lifespan.store(internal ? AssetReference::Lifespan::Internal
                                   : AssetReference::Lifespan::Persistent,
                          std::memory_order_release);
    publishLocked(slot, asset);
    if (!internal)
        changeLocked(write.batch(), slot).created = true;
    write.batch().onRollback([this, &slot] { withdraw(slot); });
    return true;
}

AssetReference DatabaseCore::getOrCreate(const QByteArray &id, const QString &typeName,
                                         Status &status)
{
    status = Status::InvalidId;
    if (id.isEmpty())
        return {};
    const AssetRecord &record = m_table->intern(id);
    const auto isKnown = [&] {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        return findLocked(record) != nullptr;
    };
    status = Status::Existing;
    if (isKnown())
        return AssetReference(&record);
    status = Status::UnknownType;
    if (!AssetFactory::isType(typeName))
        return {};
    status = Status::NotCreatable;
    const std::shared_ptr<Asset> asset = AssetFactory::create(typeName);
    if (!asset)
        return AssetReference(&record);

    status = Status::Created;
    try {
        Write write(*this);
        if (!fileNew(write, record, asset, QString(), MetaData(), false))
            status = Status::Existing; // another thread was faster
        write.finish();
    } catch (const StoreError &error) {
        if (error.code() != StoreError::Code::Changed || !isKnown())
            throw;
        status = Status::Existing; // another process was faster
    }
    return AssetReference(&record);
}

std::shared_ptr<Asset> DatabaseCore::createInternal(const QByteArray &id, const QString &typeName,
                                                    const QString &name)
{
    if (id.isEmpty()) {
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot make an asset of type \"%1\": its id is empty")
                                   .arg(typeName));
    }
    std::shared_ptr<Asset> asset =
            AssetFactory::isType(typeName) ? AssetFactory::create(typeName) : nullptr;
    if (!asset) {
        logger(LogService::Assets).record(LogLevel::Warning, TESK_HERE)
                << "cannot make an asset of type \"" << typeName
                << "\": the type is not registered, or has no factory";
        return nullptr;
    }
    const AssetRecord &record = m_table->intern(id);
    Write write(*this);
    if (!fileNew(write, record, asset, name, MetaData(), true)) {
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot make the asset [%1]: the id is taken")
                                   .arg(readable(record)));
    }
    write.finish();
    return asset;
}

AssetReference DatabaseCore::insert(const std::shared_ptr<Asset> &asset, const QByteArray &id,
                                    const QString &name, const MetaData &metaData)
{
    const QString refusal = [&] {
        if (!asset)
            return QStringLiteral("Cannot insert a null asset");
        if (id.isEmpty())
            return QStringLiteral("Cannot insert %1: its id is empty").arg(asset->debugInfo());
        const std::lock_guard lock(m_mutex);
        return liveSlotLocked(*asset) != nullptr
                       ? QStringLiteral("Cannot insert %1: it is filed already")
                                 .arg(asset->debugInfo())
                       : QString();
    }();
    if (!refusal.isEmpty())
        raiseAs<Exception::InvalidArgumentException>(TESK_HERE, refusal);

    MetaData all;
    asset->initMetaData(all);
    for (const auto &[key, item] : metaData)
        all.set(key, item);
    AssetFactory::moveToMainThread(*asset);

    const AssetRecord &record = m_table->intern(id);
    Write write(*this);
    if (!fileNew(write, record, asset, name, all, false)) {
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot insert the asset [%1]: the id is taken")
                                   .arg(readable(record)));
    }
    write.finish();
    return AssetReference(&record);
}

void DatabaseCore::makePersistent(const std::shared_ptr<Asset> &asset, const MetaData &metaData)
{
    if (!asset)
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot make a null asset persistent"));
    // Asked before anything is locked: the asset may look at other assets to answer.
    const QByteArray contentId = asset->generateId();
    MetaData own;
    asset->initMetaData(own);

    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = liveSlotLocked(*asset);
        if (slot == nullptr) {
            raiseAs<Exception::InvalidArgumentException>(
                    TESK_HERE,
                    QStringLiteral("Cannot make %1 persistent: it is not in this database")
                            .arg(asset->debugInfo()));
        }
        if (slot->unstored && slot->unstored->internal)
            refileLocked(write.batch(), *slot, asset, contentId, own);
    }
    for (const auto &[key, item] : metaData)
        setMetaDataItem(*asset->ownReference().record(), key, item, write);
    write.finish();
}

void DatabaseCore::refileLocked(Batch &batch, AssetSlot &slot, const std::shared_ptr<Asset> &asset,
                                const QByteArray &contentId, const MetaData &initial)
{
    const AssetRecord &before = *slot.record;
    const AssetRecord &after = contentId.isEmpty() ? before : m_table->intern(contentId);
    if (&after != &before && findLocked(after) != nullptr) {
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot make [%1] persistent: the id [%2] is taken")
                                   .arg(readable(before), readable(after)));
    }
    for (const auto &[key, item] : initial) {
        if (!slot.unstored->metaData.contains(key))
            slot.unstored->metaData.set(key, item);
    }
    slot.unstored->internal = false;
    slot.record = &after;
    after.lifespan.store(AssetReference::Lifespan::Persistent, std::memory_order_release);
    after.slot.store(&slot, std::memory_order_release);
    asset->m_record.store(&after, std::memory_order_release);
    PendingChange &change = changeLocked(batch, slot);
    change.created = true;
    change.madePersistent = true;

    batch.onRollback([this, &slot, asset, &before, &after] {
        const std::lock_guard lock(m_mutex);
        if (slot.unstored)
            slot.unstored->internal = true;
        if (&after != &before)
            after.slot.store(nullptr, std::memory_order_release);
        slot.record = &before;
        before.lifespan.store(AssetReference::Lifespan::Internal, std::memory_order_release);
        asset->m_record.store(&before, std::memory_order_release);
    });
}

bool DatabaseCore::remove(const AssetRecord &record)
{
    std::shared_ptr<Asset> removed;
    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = findLocked(record);
        if (slot == nullptr)
            return false;
        removeLocked(write.batch(), *slot, removed);
        write.storeLocked();
    }
    write.finish();
    return true;
}

void DatabaseCore::removeLocked(Batch &batch, AssetSlot &slot, std::shared_ptr<Asset> &removed)
{
    const AssetRecord &record = *slot.record;
    const SlotState state = slot.state.load(std::memory_order_relaxed);
    removed = withdrawLocked(slot);
    if (slot.unstored) {
        dropCreationLocked(record);
    } else {
        PendingChange &change = batch.change(record);
        change = PendingChange();
        change.record = &record;
        change.removed = true;
        change.removedRevision = slot.revision;
        ++m_removalsPending[&record];
    }
    batch.onRollback([this, &slot, state, removed, &record, stored = !slot.unstored] {
        const std::lock_guard lock(m_mutex);
        if (stored && --m_removalsPending[&record] == 0)
            m_removalsPending.erase(&record);
        slot.owner = removed;
        slot.state.store(state, std::memory_order_release);
        record.slot.store(&slot, std::memory_order_release);
        ++m_epoch;
    });
}

// The asset may have been made in the scope of another thread.
void DatabaseCore::dropCreationLocked(const AssetRecord &record)
{
    for (const auto &scope : m_scopes) {
        const PendingChange *pending = scope->find(record);
        if (pending == nullptr || !pending->created)
            continue;
        PendingChange left;
        left.record = &record;
        left.removed = pending->removed;
        left.removedRevision = pending->removedRevision;
        scope->change(record) = std::move(left);
    }
}

// --- bodies

std::optional<StoredAsset> DatabaseCore::takeBodyLocked(const AssetRecord &record)
{
    const auto prefetched = m_prefetched.find(&record);
    if (prefetched == m_prefetched.end()) {
        const QByteArray id = idOf(record);
        return std::move(m_store->load(std::span(&id, 1)).front());
    }
    return std::move(m_prefetched.extract(prefetched).mapped());
}

static Exception::Data::SerializationException unreadable(const Asset &asset, const QString &why)
{
    return Exception::Data::SerializationException(
            QStringLiteral("Cannot read the body of %1: %2").arg(asset.debugInfo(), why));
}

void DatabaseCore::decode(Asset &asset)
{
    const AssetRecord *record = nullptr;
    std::optional<StoredAsset> stored;
    {
        const std::lock_guard lock(m_mutex);
        const AssetSlot *slot = m_store ? liveSlotLocked(asset) : nullptr;
        if (slot == nullptr)
            throw unreadable(asset, QStringLiteral("it is no longer in an open database"));
        record = slot->record;
        stored = takeBodyLocked(*record);
    }
    if (!stored)
        throw unreadable(asset, QStringLiteral("it is no longer in the store"));

    const DecodingScope scope(*m_table);
    try {
        if (stored->body)
            BodyCodec::decode(*stored->body, asset);
        else
            asset.onLoadedFromDisk();
    } catch (const StoreError &) {
        throw; // the store failed, not the body
    } catch (const BaseException &error) {
        const auto renamed = unreadable(asset, BodyCodec::describe(error));
        if (reportOnce(*record)) {
            logger(LogService::Assets).record(LogLevel::Error, TESK_HERE)
                    << std::string_view(renamed.what());
        }
        throw renamed;
    }
    for (Data::SerializableFieldBase *field : asset.fields())
        field->adoptOwnerThread();

    const std::lock_guard lock(m_mutex);
    if (AssetSlot *slot = liveSlotLocked(asset))
        slot->revision = stored->row.revision;
    m_reportedBodies.erase(record);
}

bool DatabaseCore::reportOnce(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    return m_reportedBodies.insert(&record).second;
}

void DatabaseCore::contentChanged(Asset &asset)
{
    {
        const std::lock_guard lock(m_mutex);
        const AssetSlot *slot = m_store ? liveSlotLocked(asset) : nullptr;
        // What is not stored yet is written as it is when its scope is committed.
        if (slot == nullptr || slot->unstored)
            return;
    }
    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = liveSlotLocked(asset);
        if (slot == nullptr || slot->unstored)
            return;
        PendingChange &change = changeLocked(write.batch(), *slot);
        if (!change.contentChanged) {
            change.contentChanged = true;
            write.batch().onRollback([this, owner = slot->owner] { restore(*owner); });
        }
    }
    write.finish();
}

void DatabaseCore::restore(Asset &asset)
{
    {
        const std::lock_guard lock(m_mutex);
        const AssetSlot *slot = liveSlotLocked(asset);
        if (!m_store || slot == nullptr || slot->unstored)
            return;
        m_prefetched.erase(slot->record);
    }
    asset.becomeShell(m_table);
}

void DatabaseCore::prefetch(std::span<const AssetReference> references)
{
    const std::lock_guard lock(m_mutex);
    checkOpenLocked();
    std::vector<const AssetRecord *> wanted;
    std::vector<QByteArray> ids;
    for (const AssetReference &reference : references) {
        const AssetRecord *record = reference.record();
        if (record == nullptr || record->table != m_table || m_prefetched.contains(record)
            || m_removalsPending.contains(record))
            continue;
        const AssetSlot *slot = slotOfLocked(*record);
        const bool needsBody =
                slot == nullptr || !slot->owner || (!slot->unstored && slot->owner->isShell());
        if (needsBody) {
            wanted.push_back(record);
            ids.push_back(reference.id());
        }
    }
    std::vector<std::optional<StoredAsset>> stored = m_store->load(ids);
    for (std::size_t at = 0; at < wanted.size(); ++at) {
        if (!stored[at])
            continue;
        if (slotOfLocked(*wanted[at]) == nullptr)
            knownSlotLocked(*wanted[at], stored[at]->row.className, stored[at]->row.name);
        m_prefetched.insert_or_assign(wanted[at], std::move(*stored[at]));
    }
}

// --- collections

bool DatabaseCore::loadItems(const CollectionAsset &collection)
{
    const std::lock_guard lock(m_mutex);
    const AssetSlot *slot = m_store ? liveSlotLocked(collection) : nullptr;
    if (slot == nullptr)
        return false;
    std::vector<AssetReference> items;
    if (!slot->unstored) {
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
                knownSlotLocked(record, row.className, row.name);
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

// --- observers

std::size_t DatabaseCore::addObserver(AssetDatabaseService::ChangeObserver observer)
{
    const std::lock_guard lock(m_observersMutex);
    m_observers.emplace(m_nextObserver, std::move(observer));
    return m_nextObserver++;
}

void DatabaseCore::removeObserver(std::size_t observer)
{
    const std::lock_guard lock(m_observersMutex);
    m_observers.erase(observer);
}

void DatabaseCore::notify(const std::vector<AssetChange> &changes)
{
    if (changes.empty())
        return;
    std::vector<AssetDatabaseService::ChangeObserver> observers;
    {
        const std::lock_guard lock(m_observersMutex);
        for (const auto &[number, observer] : m_observers)
            observers.push_back(observer);
    }
    for (const auto &observer : observers)
        observer(changes);
}

} // namespace Tesk::Assets
