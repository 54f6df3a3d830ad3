#include "AssetFactory.h"
#include "AssetNames.h"
#include "AssetTable.h"
#include "BodyCodec.h"
#include "DatabaseCore.h"
#include "DecodingScope.h"

#include <assets/CollectionAsset.h>
#include <data/ClassRegistry.h>
#include <vantbase/Exception.h>

#include <QSet>

#include <utility>

namespace Tesk::Assets {

static constexpr qsizetype sPageSize = 256;

// --- queries over the whole

static bool matches(const AssetQuery &query, const QString &typeName, const QString &name)
{
    if (query.className && *query.className != Data::ClassRegistry::currentName(typeName))
        return false;
    return !query.name || query.name->compare(name, query.nameCase) == 0
           || query.name->toLower() == name.toLower();
}

// Assets are stored under the name that their class had then.
static std::vector<AssetQuery> storedForms(const AssetQuery &query)
{
    std::vector<AssetQuery> forms{query};
    if (query.className) {
        for (const QString &oldName : Data::ClassRegistry::oldNames(*query.className))
            forms.emplace_back(query).className = oldName;
    }
    return forms;
}

std::vector<AssetReference> DatabaseCore::findByQuery(const AssetQuery &query)
{
    std::vector<AssetReference> found;
    const std::lock_guard lock(m_mutex);
    if (!m_store)
        return found;
    const Batch *scope = m_scopes.current();
    for (const AssetQuery &stored : storedForms(query)) {
        std::optional<ScanPosition> position = ScanPosition();
        while (position) {
            const AssetPage page = m_store->find(stored, *position, sPageSize);
            for (const AssetRow &row : page.rows) {
                const AssetRecord &record = m_table->intern(row.id);
                const PendingChange *pending = scope == nullptr ? nullptr : scope->find(record);
                const bool isRenamed = pending != nullptr && pending->name;
                if (!isRenamed && !m_removalsPending.contains(&record))
                    found.emplace_back(&record);
            }
            position = page.next;
        }
    }
    // What is not stored yet, and what this scope renamed.
    for (const AssetSlot *slot : m_published) {
        if (slot->owner && slot->unstored && matches(query, slot->typeName, slot->name))
            found.emplace_back(slot->record);
    }
    if (scope != nullptr) {
        for (const auto &change : scope->changes()) {
            if (change->name && !change->created && !change->removed && change->slot != nullptr
                && matches(query, change->slot->typeName, *change->name))
                found.emplace_back(change->record);
        }
    }
    return found;
}

void DatabaseCore::forEach(
        const std::function<bool(const AssetReference &, const QString &, const QString &)> &visit)
{
    std::optional<ScanPosition> position = ScanPosition();
    while (position) {
        AssetPage page;
        {
            const std::lock_guard lock(m_mutex);
            if (!m_store)
                return;
            page = m_store->find(AssetQuery(), *position, sPageSize);
        }
        for (const AssetRow &row : page.rows) {
            if (!visit(AssetReference(&m_table->intern(row.id)), row.className, row.name))
                return;
        }
        position = page.next;
    }
}

// --- what others wrote

AssetDatabaseService::RefreshResult DatabaseCore::refresh()
{
    AssetDatabaseService::RefreshResult result;
    ChangeList list;
    std::vector<std::optional<AssetRow>> rows;
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        const qint64 seen = m_store->seenGeneration();
        if (m_store->generation() == seen && m_conflicts.empty())
            return result;
        list = m_store->changesSince(seen);
        addConflictsLocked(list);
        std::vector<QByteArray> ids;
        for (const ChangeRow &change : list.changes)
            ids.push_back(change.id);
        rows = m_store->loadRows(ids);
        m_keptMetaData.clear();
    }
    std::vector<AssetChange> changes;
    for (std::size_t at = 0; at < list.changes.size(); ++at) {
        const bool isGone = !rows[at];
        if (!refreshAsset(list.changes[at], rows[at], result))
            continue;
        const AssetReference reference = this->reference(list.changes[at].id);
        (isGone ? result.removed : result.refreshed).push_back(reference);
        changes.push_back({isGone ? AssetChange::Kind::Removed : AssetChange::Kind::ContentChanged,
                           reference, true});
    }
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        m_store->setSeenGeneration(list.generation);
    }
    m_observers.notify(changes);
    return result;
}

static bool isSameClass(const QString &left, const QString &right)
{
    return left == right
           || Data::ClassRegistry::currentName(left) == Data::ClassRegistry::currentName(right);
}

// What was left alone for the sake of a scope is looked at again, also when nothing is new.
void DatabaseCore::addConflictsLocked(ChangeList &list)
{
    QSet<QByteArray> listed;
    for (const ChangeRow &change : list.changes)
        listed.insert(change.id);
    for (const AssetRecord *record : std::exchange(m_conflicts, {})) {
        if (!listed.contains(idOf(*record)))
            list.changes.push_back({idOf(*record), false, 0});
    }
}

// Gives whether what this process holds of the asset was out of date.
bool DatabaseCore::refreshAsset(const ChangeRow &change, const std::optional<AssetRow> &row,
                                AssetDatabaseService::RefreshResult &result)
{
    std::shared_ptr<Asset> asset;
    bool isContentOld = false;
    {
        const std::lock_guard lock(m_mutex);
        const AssetRecord *record = m_table->find(change.id);
        AssetSlot *slot = record == nullptr ? nullptr : slotOfLocked(*record);
        if (slot == nullptr || slot->unstored)
            return false;
        for (const auto &scope : m_scopes.all()) {
            const PendingChange *pending = scope->find(*record);
            if (pending == nullptr || pending->isEmpty())
                continue;
            result.conflicts.emplace_back(record);
            m_conflicts.insert(record);
            return false;
        }
        m_prefetched.erase(record);
        if (!row || !slot->owner || !isSameClass(row->className, slot->typeName)) {
            asset = withdrawLocked(*slot); // asked of the store again when it is needed
            return true;
        }
        asset = slot->owner;
        isContentOld = slot->revision != 0 && slot->revision != row->revision;
        if (slot->revision == 0 || isContentOld) {
            slot->name = row->name;
            AssetNames::set(*asset, row->name);
        }
        slot->revision = isContentOld ? 0 : slot->revision;
    }
    const auto collection = std::dynamic_pointer_cast<CollectionAsset>(asset);
    if (collection)
        collection->forgetItems();
    if (isContentOld && !asset->isShell())
        asset->becomeShell(m_table);
    return true;
}

// --- integrity and figures

static IntegrityFinding::Code codeOf(StoreFinding::Code code)
{
    using Code = IntegrityFinding::Code;
    switch (code) {
    case StoreFinding::Code::StoreDamaged:
        return Code::StoreDamaged;
    case StoreFinding::Code::BodyDamaged:
        return Code::BodyDamaged;
    case StoreFinding::Code::VersionCycle:
        return Code::VersionCycle;
    case StoreFinding::Code::DuplicateItem:
        return Code::DuplicateItem;
    case StoreFinding::Code::CatalogueOutOfDate:
        return Code::CatalogueOutOfDate;
    case StoreFinding::Code::OrphanedRow:
        return Code::OrphanedRow;
    case StoreFinding::Code::DanglingItem:
        return Code::DanglingItem;
    case StoreFinding::Code::DanglingDependency:
        return Code::DanglingDependency;
    case StoreFinding::Code::DanglingNextVersion:
        return Code::DanglingNextVersion;
    }
    return Code::StoreDamaged;
}

std::vector<IntegrityFinding> DatabaseCore::checkIntegrity()
{
    std::vector<IntegrityFinding> findings;
    {
        const std::lock_guard lock(m_mutex);
        checkOpenLocked();
        for (const StoreFinding &finding : m_store->checkIntegrity()) {
            const AssetReference reference = finding.id.isEmpty()
                                                     ? AssetReference()
                                                     : AssetReference(&m_table->intern(finding.id));
            findings.push_back({codeOf(finding.code), reference, finding.text});
        }
    }
    checkBodies(findings);
    return findings;
}

// Into objects of its own: looking must not load the whole database.
void DatabaseCore::checkBodies(std::vector<IntegrityFinding> &findings)
{
    using Code = IntegrityFinding::Code;
    const DecodingScope scope(*m_table);
    std::optional<ScanPosition> position = ScanPosition();
    while (position) {
        std::vector<std::optional<StoredAsset>> bodies;
        {
            const std::lock_guard lock(m_mutex);
            checkOpenLocked();
            const AssetPage page = m_store->find(AssetQuery(), *position, sPageSize);
            std::vector<QByteArray> ids;
            for (const AssetRow &row : page.rows)
                ids.push_back(row.id);
            bodies = m_store->load(ids);
            position = page.next;
        }
        for (const std::optional<StoredAsset> &stored : bodies) {
            if (!stored)
                continue;
            const AssetReference reference(&m_table->intern(stored->row.id));
            const std::shared_ptr<Asset> probe = AssetFactory::create(stored->row.className);
            if (!probe) {
                findings.push_back({Code::UnknownClass, reference,
                                    QStringLiteral("%1 is of the unknown class \"%2\"")
                                            .arg(reference.debugInfo(), stored->row.className)});
                continue;
            }
            try {
                const auto decoding = Data::SerializableData::lockDecoding();
                if (stored->body)
                    BodyCodec::decode(*stored->body, *probe);
            } catch (const Exception::BaseException &error) {
                findings.push_back(
                        {Code::BodyUndecodable, reference,
                         QStringLiteral("The body of %1 cannot be read: %2")
                                 .arg(reference.debugInfo(), BodyCodec::describe(error))});
            }
        }
    }
}

DatabaseStatistics DatabaseCore::statistics()
{
    const std::lock_guard lock(m_mutex);
    DatabaseStatistics figures;
    figures.knownIds = m_table->size();
    figures.recordBytes = m_table->bytes();
    if (!m_store)
        return figures;
    figures.storedAssets = static_cast<std::size_t>(m_store->statistics().assets);
    for (const AssetSlot *slot : m_published) {
        if (!slot->owner)
            continue;
        ++figures.liveAssets;
        figures.shells += slot->owner->isShell() ? 1 : 0;
        figures.internalAssets += slot->unstored && slot->unstored->internal ? 1 : 0;
    }
    return figures;
}

} // namespace Tesk::Assets
