#include "AssetErrors.h"
#include "AssetFactory.h"
#include "AssetNames.h"
#include "AssetTable.h"
#include "DatabaseCore.h"
#include "StoreValues.h"
#include "Write.h"

#include <assets/StoreError.h>
#include <vantbase/Exception.h>

namespace Tesk::Assets {

using VantBase::logger;
using VantBase::LogLevel;
using VantBase::LogService;

static QString readable(const AssetRecord &record)
{
    return QString::fromUtf8(record.id());
}

// An asset of this id would be an item of every list that has a null one.
static void requireNoNullItem(const QByteArray &id)
{
    if (StoreValues::isNullItem(id)) {
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot file an asset under the id of one zero byte: it "
                                          "stands for null items of collections"));
    }
}

static void requireInsertable(const AssetDatabaseService::NewAsset &asset)
{
    const auto refuse = [](const QString &reason) {
        raiseAs<Exception::InvalidArgumentException>(TESK_HERE, reason);
    };
    if (!asset.asset)
        refuse(QStringLiteral("Cannot insert a null asset"));
    if (asset.id.isEmpty())
        refuse(QStringLiteral("Cannot insert %1: its id is empty").arg(asset.asset->debugInfo()));
    requireNoNullItem(asset.id);
}

/// Files an asset of an id that the store did not know a moment ago; false when another thread has
/// taken it since.
bool DatabaseCore::fileNew(Write &write, const AssetRecord &record,
                           const std::shared_ptr<Asset> &asset, const QString &name, bool internal)
{
    const QString typeName = asset->typeName();
    if (!internal)
        write.encode({{.asset = asset, .record = &record, .isNew = true, .write = {}}});
    const std::lock_guard lock(m_mutex);
    checkOpenLocked();
    AssetSlot *const slot = slotOfLocked(record);
    if (slot != nullptr && isStillStoredLocked(*slot))
        return false;
    fileNewLocked(write, record, asset, typeName, name, {}, internal);
    write.storeLocked();
    return true;
}

void DatabaseCore::fileNewLocked(Write &write, const AssetRecord &record,
                                 const std::shared_ptr<Asset> &asset, const QString &typeName,
                                 const QString &name, MetaData metaData, bool internal)
{
    AssetSlot &slot = m_table->newSlot(record);
    slot.typeName = sharedTypeNameLocked(typeName);
    slot.name = name;
    slot.unstored = std::make_unique<UnstoredAttributes>();
    slot.unstored->metaData = std::move(metaData);
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
}

bool DatabaseCore::isKnown(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    checkOpenLocked();
    return findLocked(record) != nullptr;
}

AssetReference DatabaseCore::getOrCreate(const QByteArray &id, const QString &typeName,
                                         Status &status)
{
    status = Status::InvalidId;
    if (id.isEmpty() || StoreValues::isNullItem(id))
        return {};
    const AssetRecord &record = m_table->intern(id);
    status = Status::Existing;
    if (isKnown(record))
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
        if (!fileNew(write, record, asset, QString(), false))
            status = Status::Existing; // another thread was faster
        write.finish();
    } catch (const StoreError &error) {
        if (error.code() != StoreError::Code::Changed || !isKnown(record))
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
    requireNoNullItem(id);
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
    if (isKnown(record) || !fileNew(write, record, asset, name, true)) {
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot make the asset [%1]: the id is taken")
                                   .arg(readable(record)));
    }
    write.finish();
    return asset;
}

void DatabaseCore::requireUnfiledLocked(const Asset &asset) const
{
    if (liveSlotLocked(asset) != nullptr)
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE,
                QStringLiteral("Cannot insert %1: it is filed already").arg(asset.debugInfo()));
}

/// Makes known which of the ids are stored, of those that nothing is known of.
void DatabaseCore::lookUpLocked(const std::vector<const AssetRecord *> &records)
{
    std::vector<const AssetRecord *> unknown;
    std::vector<QByteArray> ids;
    for (const AssetRecord *record : records) {
        if (slotOfLocked(*record) != nullptr || m_removalsPending.contains(record))
            continue;
        unknown.push_back(record);
        ids.push_back(idOf(*record));
    }
    const std::vector<std::optional<AssetRow>> rows = m_store->loadRows(ids);
    for (std::size_t at = 0; at < rows.size(); ++at) {
        if (rows[at])
            knownSlotLocked(*unknown[at], rows[at]->className, rows[at]->name);
    }
}

void DatabaseCore::insert(std::span<const NewAsset> assets)
{
    struct Prepared
    {
        QString typeName;
        MetaData metaData;
    };
    std::vector<Prepared> prepared;
    std::vector<const AssetRecord *> records;
    std::vector<EncodedAsset> unencoded;
    for (const NewAsset &each : assets) {
        requireInsertable(each);
        {
            const std::lock_guard lock(m_mutex);
            requireUnfiledLocked(*each.asset);
        }
        Prepared &one = prepared.emplace_back();
        one.typeName = each.asset->typeName();
        each.asset->initMetaData(one.metaData);
        for (const auto &[key, item] : each.metaData)
            one.metaData.set(key, item);
        AssetFactory::moveToMainThread(*each.asset);
        records.push_back(&m_table->intern(each.id));
        unencoded.push_back(
                {.asset = each.asset, .record = records.back(), .isNew = true, .write = {}});
    }

    Write write(*this);
    write.encode(std::move(unencoded));
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        lookUpLocked(records);
        for (std::size_t at = 0; at < assets.size(); ++at) {
            AssetSlot *slot = slotOfLocked(*records[at]);
            if (slot != nullptr && isStillStoredLocked(*slot))
                raiseAs<Exception::InvalidArgumentException>(
                        TESK_HERE, QStringLiteral("Cannot insert the asset [%1]: the id is taken")
                                           .arg(readable(*records[at])));
            requireUnfiledLocked(*assets[at].asset); // it may be given twice
            fileNewLocked(write, *records[at], assets[at].asset, prepared[at].typeName,
                          assets[at].name, std::move(prepared[at].metaData), false);
        }
        write.storeLocked();
    }
    write.finish();
}

void DatabaseCore::makePersistent(const std::shared_ptr<Asset> &asset, const MetaData &metaData)
{
    if (!asset)
        raiseAs<Exception::InvalidArgumentException>(
                TESK_HERE, QStringLiteral("Cannot make a null asset persistent"));
    // Asked before anything is locked: the asset may look at other assets to answer.
    const QByteArray contentId = asset->generateId();
    requireNoNullItem(contentId);
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
        {
            const std::lock_guard lock(m_mutex);
            if (stored && --m_removalsPending[&record] == 0)
                m_removalsPending.erase(&record);
            if (!m_store)
                return; // closed meanwhile: nothing resolves any more
            slot.owner = removed;
            slot.state.store(state, std::memory_order_release);
            record.slot.store(&slot, std::memory_order_release);
            ++m_epoch;
        }
        if (removed)
            restore(*removed); // who kept it may have changed it, unseen
    });
}

// The asset may have been made in the scope of another thread.
void DatabaseCore::dropCreationLocked(const AssetRecord &record)
{
    for (const auto &scope : m_scopes.all()) {
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

} // namespace Tesk::Assets
