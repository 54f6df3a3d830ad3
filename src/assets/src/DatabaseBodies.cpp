#include "AssetNames.h"
#include "AssetTable.h"
#include "BodyCodec.h"
#include "DatabaseCore.h"
#include "DecodingScope.h"
#include "Write.h"

#include <assets/StoreError.h>
#include <data/ClassRegistry.h>
#include <vantbase/Exception.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <algorithm>

namespace Tesk::Assets {

using Data::ClassRegistry;
using Exception::BaseException;
using VantBase::logger;
using VantBase::LogLevel;
using VantBase::LogService;

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
    QString typeName;
    {
        const std::lock_guard lock(m_mutex);
        const AssetSlot *slot = m_store ? liveSlotLocked(asset) : nullptr;
        if (slot == nullptr)
            throw unreadable(asset, QStringLiteral("it is no longer in an open database"));
        record = slot->record;
        typeName = slot->typeName;
        stored = takeBodyLocked(*record);
    }
    if (!stored)
        throw unreadable(asset, QStringLiteral("it is no longer in the store"));
    const QString &storedName = stored->row.className;
    if (storedName != typeName
        && ClassRegistry::currentName(storedName) != ClassRegistry::currentName(typeName)) {
        throw unreadable(asset,
                         QStringLiteral("the store has a \"%1\" under its id now").arg(storedName));
    }

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
    if (AssetSlot *slot = liveSlotLocked(asset)) {
        slot->revision = stored->row.revision;
        takeNameLocked(*slot, stored->row.name);
    }
    m_reportedBodies.erase(record);
}

// Who writes the body next writes the name with it, and must not put back one that another
// process has changed.
void DatabaseCore::takeNameLocked(AssetSlot &slot, const QString &name)
{
    const auto renames = [&slot](const auto &scope) {
        const PendingChange *pending = scope->find(*slot.record);
        return pending != nullptr && pending->name;
    };
    if (slot.name == name || std::any_of(m_scopes.all().begin(), m_scopes.all().end(), renames))
        return;
    slot.name = name;
    if (slot.owner)
        AssetNames::set(*slot.owner, name);
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
    const qint64 generation = m_store->generation();
    std::vector<const AssetRecord *> wanted;
    std::vector<QByteArray> ids;
    wanted.reserve(references.size());
    ids.reserve(references.size());
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
            knownSlotLocked(*wanted[at], stored[at]->row.className, stored[at]->row.name).knownAt =
                    generation;
        m_prefetched.insert_or_assign(wanted[at], std::move(*stored[at]));
    }
}

} // namespace Tesk::Assets
