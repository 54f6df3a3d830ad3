#include "DatabaseCore.h"

#include "AssetErrors.h"
#include "AssetNames.h"
#include "AssetTable.h"
#include "DecodingScope.h"

#include <vantbase/Exception.h>

namespace Tesk::Assets {

using Exception::LogicErrorException;

thread_local AssetTable *DecodingScope::sTable = nullptr;

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
        m_keptMetaData.clear();
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

// Assets come in rows of one class: the last name is mostly the next one too.
const QString &DatabaseCore::sharedTypeNameLocked(const QString &typeName)
{
    if (m_lastTypeName != typeName)
        m_lastTypeName = *m_typeNames.insert(typeName);
    return m_lastTypeName;
}

AssetSlot &DatabaseCore::knownSlotLocked(const AssetRecord &record, const QString &typeName,
                                         const QString &name)
{
    AssetSlot &slot = m_table->newSlot(record);
    slot.typeName = sharedTypeNameLocked(typeName);
    slot.name = name;
    record.lifespan.store(AssetReference::Lifespan::Persistent, std::memory_order_release);
    record.slot.store(&slot, std::memory_order_release);
    return slot;
}

// What is live goes with a refresh. What is not was named by a list or a batch a while ago, and
// another process may have removed it, or made another asset of it.
bool DatabaseCore::isStillStoredLocked(AssetSlot &slot)
{
    const bool isOnlyKnown = slot.state.load(std::memory_order_relaxed) == SlotState::Known;
    if (!isOnlyKnown || !m_store || m_prefetched.contains(slot.record))
        return true;
    const qint64 generation = m_store->generation();
    if (slot.knownAt == generation)
        return true;
    const std::optional<AssetRow> row = rowLocked(*slot.record);
    if (!row || row->className != slot.typeName) {
        withdrawLocked(slot);
        return false;
    }
    slot.knownAt = generation;
    takeNameLocked(slot, row->name);
    return true;
}

AssetSlot *DatabaseCore::findLocked(const AssetRecord &record)
{
    AssetSlot *slot = slotOfLocked(record);
    if (slot != nullptr && isStillStoredLocked(*slot))
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
        AssetFactory::Series series;
        std::shared_ptr<Asset> shell = makeShell(series, typeName, name);
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

// What was named by a list, and not changed since, needs no look into the store each.
std::vector<std::shared_ptr<Asset>>
DatabaseCore::resolveMany(std::span<const AssetReference> references)
{
    struct Known
    {
        std::size_t at;
        AssetSlot *slot;
        QString typeName;
        QString name;
        std::shared_ptr<Asset> shell;
    };
    std::vector<std::shared_ptr<Asset>> assets(references.size());
    std::vector<Known> known;
    quint64 epoch = 0;
    {
        const std::lock_guard lock(m_mutex);
        epoch = m_epoch;
        const qint64 generation =
                m_store ? m_store->generation() : -1; // -1: nothing is known of it
        for (std::size_t at = 0; at < references.size(); ++at) {
            const AssetRecord *record = references[at].record();
            if (record == nullptr || record->table != m_table)
                continue;
            AssetSlot *slot = slotOfLocked(*record);
            if (slot != nullptr && slot->owner)
                assets[at] = slot->owner;
            else if (slot != nullptr && slot->knownAt == generation)
                known.push_back({at, slot, slot->typeName, slot->name, {}});
        }
    }
    AssetFactory::Series series;
    for (Known &item : known)
        item.shell = makeShell(series, item.typeName, item.name);
    {
        const std::lock_guard lock(m_mutex);
        for (Known &item : known) {
            if (item.shell && !item.slot->owner && epoch == m_epoch && m_store)
                publishLocked(*item.slot, item.shell);
            assets[item.at] = item.slot->owner;
        }
    }
    for (std::size_t at = 0; at < references.size(); ++at) {
        if (!assets[at])
            assets[at] = references[at].asset();
    }
    return assets;
}

std::shared_ptr<Asset> DatabaseCore::makeShell(AssetFactory::Series &series,
                                               const QString &typeName, const QString &name) const
{
    std::shared_ptr<Asset> shell = series.create(typeName);
    if (!shell)
        return nullptr;
    AssetNames::set(*shell, name);
    shell->setBodySource(m_table);
    shell->setChangeListener(m_table);
    return shell;
}

} // namespace Tesk::Assets
