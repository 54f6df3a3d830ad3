#include "AssetNames.h"
#include "AssetTable.h"
#include "DatabaseCore.h"
#include "StoreChecks.h"
#include "StoreValues.h"
#include "Write.h"

#include <assets/StoreError.h>
#include <vantbase/Location.h>

#include <algorithm>

namespace Tesk::Assets {

const PendingChange *DatabaseCore::pendingLocked(const AssetRecord &record) const
{
    const Batch *scope = m_scopes.current();
    return scope == nullptr ? nullptr : scope->find(record);
}

std::optional<AssetRow> DatabaseCore::rowLocked(const AssetRecord &record) const
{
    if (!m_store || m_removalsPending.contains(&record))
        return std::nullopt;
    const QByteArray id = idOf(record);
    return m_store->loadRows(std::span(&id, 1)).front();
}

// --- names

QString DatabaseCore::recordedName(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    const AssetSlot *slot = slotOfLocked(record);
    const AssetRecord &own = ownRecordLocked(record);
    if (slot != nullptr && slot->unstored)
        return slot->name;
    if (const PendingChange *pending = pendingLocked(own); pending != nullptr && pending->name)
        return *pending->name;
    // Not from the slot: another process may have renamed it.
    const std::optional<AssetRow> row = rowLocked(own);
    return row ? row->name : QString();
}

QString DatabaseCore::recordedType(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    const AssetSlot *slot = m_store ? findLocked(record) : nullptr;
    return slot == nullptr ? QString() : slot->typeName;
}

void DatabaseCore::renameLocked(Batch &batch, AssetSlot &slot, const QString &name,
                                bool renamesObject)
{
    if (!slot.unstored) {
        PendingChange &change = changeLocked(batch, slot);
        change.name = name;
        change.renamesObject |= renamesObject;
    }
    batch.onRollback([this, &slot, before = slot.name] {
        const std::lock_guard lock(m_mutex);
        slot.name = nameBeforeLocked(slot, before);
    });
    slot.name = name;
}

// Another thread may have stored a name since.
QString DatabaseCore::nameBeforeLocked(const AssetSlot &slot, const QString &before) const noexcept
{
    if (slot.unstored)
        return before;
    try {
        const std::optional<AssetRow> row = rowLocked(*slot.record);
        return row ? row->name : before;
    } catch (const StoreError &) {
        return before; // what else is out of date is found when it is written
    }
}

void DatabaseCore::recordName(const AssetRecord &record, const QString &name)
{
    if (recordedName(record) == name)
        return;
    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = findLocked(record);
        if (slot == nullptr)
            return;
        renameLocked(write.batch(), *slot, name, false);
        write.storeLocked();
    }
    write.finish();
}

void DatabaseCore::renameAsset(const std::shared_ptr<Asset> &asset, const QString &name)
{
    const AssetRecord &record = *asset->ownReference().record();
    const QString own = AssetNames::get(*asset);
    const bool isRecorded = recordedName(record) == name;
    if (own == name && own.isNull() == name.isNull() && isRecorded)
        return;
    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetNames::set(*asset, name);
        write.batch().onRollback([asset, own, name] {
            if (AssetNames::get(*asset) == name) // and nobody else has named it since
                AssetNames::set(*asset, own);
        });
        AssetSlot *slot = liveSlotLocked(*asset);
        if (slot != nullptr && !isRecorded)
            renameLocked(write.batch(), *slot, name, true);
        write.storeLocked();
    }
    write.finish();
}

// --- metadata

std::optional<MetaDataItem> DatabaseCore::metaDataItemLocked(const AssetRecord &record,
                                                             const QString &key) const
{
    const AssetSlot *slot = slotOfLocked(record);
    if (slot != nullptr && slot->unstored) {
        const MetaDataItem *item = slot->unstored->metaData.find(key);
        return item == nullptr ? std::nullopt : std::optional(*item);
    }
    const AssetRecord &own = ownRecordLocked(record);
    if (const PendingChange *pending = pendingLocked(own)) {
        const auto changed = pending->metaData.find(key);
        if (changed != pending->metaData.end())
            return changed->second;
    }
    if (!m_store || m_removalsPending.contains(&own))
        return std::nullopt;
    if (const auto kept = m_keptMetaData.find(&own); kept != m_keptMetaData.end()) {
        const auto item = std::find_if(kept->second.begin(), kept->second.end(),
                                       [&key](const MetaRow &row) { return row.key == key; });
        return item == kept->second.end() ? std::nullopt
                                          : std::optional(StoreValues::toItem(*item));
    }
    const QByteArray id = idOf(own);
    const std::optional<MetaRow> row = m_store->metaDataItems(std::span(&id, 1), key).front();
    return row ? std::optional(StoreValues::toItem(*row)) : std::nullopt;
}

std::optional<MetaDataItem> DatabaseCore::metaDataItem(const AssetRecord &record,
                                                       const QString &key)
{
    const std::lock_guard lock(m_mutex);
    return metaDataItemLocked(record, key);
}

MetaData DatabaseCore::metaData(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    const AssetSlot *slot = slotOfLocked(record);
    if (slot != nullptr && slot->unstored)
        return slot->unstored->metaData;
    MetaData all;
    const AssetRecord &own = ownRecordLocked(record);
    if (!m_store || m_removalsPending.contains(&own))
        return all;
    const QByteArray id = idOf(own);
    const std::vector<std::vector<MetaRow>> rows = m_store->metaData(std::span(&id, 1));
    for (const MetaRow &row : rows.front())
        all.set(row.key, StoreValues::toItem(row));
    if (const PendingChange *pending = pendingLocked(own)) {
        for (const auto &[key, item] : pending->metaData) {
            if (item)
                all.set(key, *item);
            else
                all.remove(key);
        }
    }
    return all;
}

std::vector<QVariant> DatabaseCore::metaDataValues(const std::vector<const AssetRecord *> &records,
                                                   const QString &key)
{
    std::vector<QVariant> values(records.size());
    const std::lock_guard lock(m_mutex);
    if (!m_store)
        return values;
    std::vector<std::size_t> places;
    std::vector<QByteArray> ids;
    for (std::size_t at = 0; at < records.size(); ++at) {
        const AssetRecord &own = ownRecordLocked(*records[at]);
        const AssetSlot *slot = slotOfLocked(own);
        const bool isOnlyStored = (slot == nullptr || !slot->unstored)
                                  && pendingLocked(own) == nullptr
                                  && !m_removalsPending.contains(&own);
        if (isOnlyStored) {
            places.push_back(at);
            ids.push_back(idOf(own));
        } else if (const auto item = metaDataItemLocked(own, key)) {
            values[at] = item->value;
        }
    }
    if (ids.empty())
        return values;
    const std::vector<std::optional<MetaRow>> rows = m_store->metaDataItems(ids, key);
    for (std::size_t at = 0; at < rows.size(); ++at) {
        if (rows[at])
            values[places[at]] = rows[at]->value;
    }
    return values;
}

// Returns what was not kept before.
std::vector<const AssetRecord *>
DatabaseCore::keepMetaData(std::span<const AssetReference> references)
{
    std::vector<const AssetRecord *> records;
    std::vector<QByteArray> ids;
    const std::lock_guard lock(m_mutex);
    if (!m_store)
        return records;
    for (const AssetReference &reference : references) {
        if (reference.isInvalid() || reference.record()->table != m_table)
            continue;
        const AssetRecord &own = ownRecordLocked(*reference.record());
        const AssetSlot *slot = slotOfLocked(own);
        if ((slot != nullptr && slot->unstored) || !m_keptMetaData.try_emplace(&own).second)
            continue;
        records.push_back(&own);
        ids.push_back(idOf(own));
    }
    try {
        std::vector<std::vector<MetaRow>> rows = m_store->metaData(ids);
        for (std::size_t at = 0; at < records.size(); ++at)
            m_keptMetaData[records[at]] = std::move(rows[at]);
    } catch (const StoreError &) {
        // One bad value must not spoil the others: each read meets what concerns it by itself.
        for (const AssetRecord *record : records)
            m_keptMetaData.erase(record);
        records.clear();
    }
    return records;
}

void DatabaseCore::dropMetaData(std::span<const AssetRecord *const> records)
{
    const std::lock_guard lock(m_mutex);
    for (const AssetRecord *record : records)
        m_keptMetaData.erase(record);
}

bool DatabaseCore::setMetaDataItem(const AssetRecord &record, const QString &key,
                                   const std::optional<MetaDataItem> &item)
{
    Write write(*this);
    const bool changed = setMetaDataItem(record, key, item, write);
    write.finish();
    return changed;
}

bool DatabaseCore::setMetaDataItem(const AssetRecord &record, const QString &key,
                                   const std::optional<MetaDataItem> &item, Write &write)
{
    if (item)
        StoreChecks::requireMetaRow(TESK_PLACE, StoreValues::toRow(key, *item), idOf(record));
    const std::lock_guard lock(m_mutex);
    checkOpenLocked();
    AssetSlot *slot = findLocked(record);
    if (slot == nullptr)
        return false;
    std::optional<MetaDataItem> before;
    bool isReadable = true;
    try {
        before = metaDataItemLocked(*slot->record, key);
    } catch (const StoreError &error) {
        if (error.code() != StoreError::Code::Damaged)
            throw;
        isReadable = false; // whatever it was goes
    }
    if (isReadable && !item && !before)
        return false;
    if (isReadable && item == before)
        return true;
    if (!slot->unstored) {
        changeLocked(write.batch(), *slot).metaData.insert_or_assign(key, item);
        return true;
    }
    const auto put = [slot, key](const std::optional<MetaDataItem> &value) {
        if (value)
            slot->unstored->metaData.set(key, *value);
        else
            slot->unstored->metaData.remove(key);
    };
    put(item);
    write.batch().onRollback([this, slot, put, before] {
        const std::lock_guard rollback(m_mutex);
        if (slot->unstored)
            put(before);
    });
    return true;
}

// --- visibility

bool DatabaseCore::isHiddenLocked(const AssetRecord &record) const
{
    const AssetSlot *slot = slotOfLocked(record);
    if (slot != nullptr && slot->unstored)
        return slot->unstored->hidden;
    const AssetRecord &own = ownRecordLocked(record);
    if (const PendingChange *pending = pendingLocked(own); pending != nullptr && pending->hidden)
        return *pending->hidden;
    const std::optional<AssetRow> row = rowLocked(own);
    return row && (row->flags & StoreFlags::sHidden) != 0;
}

bool DatabaseCore::isHidden(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    return isHiddenLocked(record);
}

void DatabaseCore::setHidden(const AssetRecord &record, bool hidden)
{
    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = isHiddenLocked(record) == hidden ? nullptr : findLocked(record);
        if (slot == nullptr)
            return;
        if (slot->unstored) {
            slot->unstored->hidden = hidden;
            write.batch().onRollback([this, slot, hidden] {
                const std::lock_guard rollback(m_mutex);
                if (slot->unstored)
                    slot->unstored->hidden = !hidden;
            });
        } else {
            changeLocked(write.batch(), *slot).hidden = hidden;
            write.storeLocked();
        }
    }
    write.finish();
}

// --- thumbnails

QByteArray DatabaseCore::thumbnail(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    const AssetSlot *slot = slotOfLocked(record);
    if (slot != nullptr && slot->unstored)
        return slot->unstored->thumbnail;
    const AssetRecord &own = ownRecordLocked(record);
    if (const PendingChange *pending = pendingLocked(own); pending != nullptr && pending->thumbnail)
        return *pending->thumbnail;
    if (!m_store || m_removalsPending.contains(&own))
        return {};
    const QByteArray id = idOf(own);
    return m_store->thumbnails(std::span(&id, 1)).front().value_or(QByteArray());
}

bool DatabaseCore::setThumbnail(const AssetRecord &record, const QByteArray &bytes)
{
    const QByteArray before = thumbnail(record);
    Write write(*this);
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        AssetSlot *slot = findLocked(record);
        if (slot == nullptr || before == bytes)
            return slot != nullptr && !before.isEmpty();
        if (slot->unstored) {
            slot->unstored->thumbnail = bytes;
            write.batch().onRollback([this, slot, before] {
                const std::lock_guard rollback(m_mutex);
                if (slot->unstored)
                    slot->unstored->thumbnail = before;
            });
        } else {
            changeLocked(write.batch(), *slot).thumbnail = bytes;
            write.storeLocked();
        }
    }
    write.finish();
    return !before.isEmpty() || !bytes.isEmpty();
}

} // namespace Tesk::Assets
