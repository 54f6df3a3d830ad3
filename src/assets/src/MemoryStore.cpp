#include <assets/MemoryStore.h>

#include "MemoryContent.h"
#include "StoreChecks.h"

#include <assets/StoreError.h>

#include <QDateTime>
#include <QSet>

#include <algorithm>
#include <utility>

namespace Tesk::Assets {

using namespace StoreChecks;

static const QString sLocation = QStringLiteral("memory");

class MemoryStore::Impl
{
public:
    explicit Impl(std::shared_ptr<MemoryContent> shared)
        : content(std::move(shared))
    {}

    /// Returns the state this store sees: not what another one has not committed.
    const MemoryTables &viewLocked() const
    {
        return content->writer && content->writer != this ? *content->snapshot : content->tables;
    }
    bool inTransactionLocked() const { return content->writer == this; }
    void requireWritableLocked(const Place &place) const;

    /// Runs \a work so that all or nothing of it remains, committed outside a transaction.
    template<class Work>
    auto change(const Place &place, Work work);
    void noteCommitLocked(qint64 before);

    /// Calls \a give with the asset of each id, or null, and collects the results.
    template<class Give>
    auto collect(std::span<const QByteArray> ids, Give give) const;

    /// Returns the ids of the assets of which \a isMeant holds, oldest first.
    template<class Predicate>
    std::vector<QByteArray> idsWhere(Predicate isMeant) const;

    MemoryAsset &requireLocked(const Place &place, const QByteArray &id) const
    {
        MemoryAsset *const asset = content->tables.find(id);
        if (!asset)
            raiseNoSuchAsset(place, id);
        return *asset;
    }
    void linkLocked(const Place &place, MemoryAsset &asset, const QByteArray &next) const;
    qint64 writeLocked(const Place &place, const AssetWrite &write);

    const std::shared_ptr<MemoryContent> content;

    // guarded by the content's mutex
    bool readOnly = false;
    qint64 seen = 0;
};

void MemoryStore::Impl::requireWritableLocked(const Place &place) const
{
    if (readOnly)
        raiseReadOnly(place, sLocation);
    if (content->writer && content->writer != this)
        raise(place, StoreError::Code::Busy,
              QStringLiteral("Cannot write to \"%1\": another store has a transaction "
                             "open; try again when it has ended")
                      .arg(sLocation));
}

void MemoryStore::Impl::noteCommitLocked(qint64 before)
{
    content->forgetJournal();
    if (seen == before)
        seen = content->tables.generation;
}

template<class Work>
auto MemoryStore::Impl::change(const Place &place, Work work)
{
    const std::lock_guard lock(content->mutex);
    requireWritableLocked(place);
    const std::size_t mark = content->mark();
    const qint64 before = content->tables.generation;
    try {
        auto result = work();
        if (!inTransactionLocked())
            noteCommitLocked(before);
        return result;
    } catch (...) {
        content->undoTo(mark);
        throw;
    }
}

template<class Give>
auto MemoryStore::Impl::collect(std::span<const QByteArray> ids, Give give) const
{
    const std::lock_guard lock(content->mutex);
    const MemoryTables &tables = viewLocked();
    std::vector<decltype(give(static_cast<const MemoryAsset *>(nullptr)))> result;
    result.reserve(ids.size());
    for (const QByteArray &id : ids)
        result.push_back(give(tables.find(id)));
    return result;
}

template<class Predicate>
std::vector<QByteArray> MemoryStore::Impl::idsWhere(Predicate isMeant) const
{
    const std::lock_guard lock(content->mutex);
    const MemoryTables &tables = viewLocked();
    std::vector<QByteArray> result;
    for (const auto &[sequence, asset] : tables.bySequence) {
        if (isMeant(tables, *asset))
            result.push_back(asset->row.id);
    }
    return result;
}

void MemoryStore::Impl::linkLocked(const Place &place, MemoryAsset &asset,
                                   const QByteArray &next) const
{
    QSet<QByteArray> met;
    for (QByteArray id = next; !id.isEmpty() && !met.contains(id);) {
        if (id == asset.row.id)
            raiseCycle(place, asset.row.id, next);
        met.insert(id);
        const MemoryAsset *const step = content->tables.find(id);
        id = step ? step->nextVersion : QByteArray();
    }
    asset.nextVersion = next;
}

qint64 MemoryStore::Impl::writeLocked(const Place &place, const AssetWrite &write)
{
    requireWrite(place, write);
    MemoryAsset *const existing = content->tables.find(write.row.id);
    requireRevision(place, write.row.id, write.expectedRevision,
                    existing ? existing->row.revision : 0);

    MemoryAsset &asset = existing ? content->change(*existing) : content->insert(write.row.id);
    const AssetRow before = asset.row;
    asset.row = write.row;
    asset.row.revision = asset.changed;
    asset.row.modifiedMs = QDateTime::currentMSecsSinceEpoch();
    asset.row.createdMs = existing ? before.createdMs : asset.row.modifiedMs;
    if (existing)
        asset.row.flags = before.flags;
    if (write.body)
        asset.body = write.body;
    if (write.nextVersion)
        linkLocked(place, asset, *write.nextVersion);
    if (write.dependencies)
        asset.dependencies = *write.dependencies;
    if (write.metaData) {
        asset.metaData.clear();
        for (const MetaRow &row : *write.metaData)
            asset.metaData.emplace(row.key, row);
    }
    return asset.row.revision;
}

MemoryStore::MemoryStore()
    : MemoryStore(std::make_shared<MemoryContent>())
{}

MemoryStore::MemoryStore(std::shared_ptr<MemoryContent> content)
    : m_impl(std::make_unique<Impl>(std::move(content)))
{
    const std::lock_guard lock(m_impl->content->mutex);
    ++m_impl->content->storeCount;
    m_impl->seen = m_impl->content->tables.generation;
}

MemoryStore::~MemoryStore()
{
    if (inTransaction())
        rollback();
    const std::lock_guard lock(m_impl->content->mutex);
    --m_impl->content->storeCount;
}

std::unique_ptr<MemoryStore> MemoryStore::openAnother() const
{
    {
        const std::lock_guard lock(m_impl->content->mutex);
        if (m_impl->content->writer)
            raise(TESK_PLACE, StoreError::Code::Busy,
                  QStringLiteral("Cannot open \"%1\" a second time: a transaction is "
                                 "open; try again when it has ended")
                          .arg(sLocation));
    }
    return std::unique_ptr<MemoryStore>(new MemoryStore(m_impl->content));
}

void MemoryStore::setReadOnly(bool readOnly)
{
    const std::lock_guard lock(m_impl->content->mutex);
    m_impl->readOnly = readOnly;
}

QByteArray MemoryStore::databaseId() const
{
    return m_impl->content->databaseId;
}

bool MemoryStore::isReadOnly() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->readOnly;
}

QString MemoryStore::location() const
{
    return sLocation;
}

void MemoryStore::begin(SyncLevel)
{
    const std::lock_guard lock(m_impl->content->mutex);
    if (m_impl->inTransactionLocked())
        raise(TESK_PLACE, StoreError::Code::Misuse,
              QStringLiteral("Cannot begin a transaction: one is open already"));
    m_impl->requireWritableLocked(TESK_PLACE);
    if (m_impl->content->storeCount > 1)
        m_impl->content->snapshot = std::make_unique<MemoryTables>(m_impl->content->tables.copy());
    m_impl->content->writer = m_impl.get();
}

void MemoryStore::commit()
{
    const std::lock_guard lock(m_impl->content->mutex);
    if (!m_impl->inTransactionLocked())
        raise(TESK_PLACE, StoreError::Code::Misuse,
              QStringLiteral("Cannot commit: no transaction is open"));
    m_impl->content->writer = nullptr;
    m_impl->content->snapshot.reset();
    const bool changed = m_impl->content->mark() > 0;
    m_impl->noteCommitLocked(m_impl->content->tables.generation - (changed ? 1 : 0));
}

void MemoryStore::rollback()
{
    const std::lock_guard lock(m_impl->content->mutex);
    if (!m_impl->inTransactionLocked())
        raise(TESK_PLACE, StoreError::Code::Misuse,
              QStringLiteral("Cannot roll back: no transaction is open"));
    m_impl->content->undoTo(0);
    m_impl->content->writer = nullptr;
    m_impl->content->snapshot.reset();
}

bool MemoryStore::inTransaction() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->inTransactionLocked();
}

void MemoryStore::beginRead() const {}

void MemoryStore::endRead() const noexcept {}

std::vector<std::optional<AssetRow>> MemoryStore::loadRows(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? std::optional(asset->row) : std::nullopt;
    });
}

std::vector<std::optional<StoredAsset>> MemoryStore::load(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? std::optional(StoredAsset{asset->row, asset->body}) : std::nullopt;
    });
}

std::vector<qint64> MemoryStore::write(std::span<const AssetWrite> assets)
{
    return m_impl->change(TESK_PLACE, [this, assets] {
        std::vector<qint64> revisions;
        revisions.reserve(assets.size());
        for (const AssetWrite &asset : assets)
            revisions.push_back(m_impl->writeLocked(TESK_PLACE, asset));
        return revisions;
    });
}

qsizetype MemoryStore::remove(std::span<const AssetRemoval> assets)
{
    return m_impl->change(TESK_PLACE, [this, assets] {
        qsizetype count = 0;
        for (const AssetRemoval &removal : assets) {
            const MemoryAsset *const asset = m_impl->content->tables.find(removal.id);
            requireRevision(TESK_PLACE, removal.id, removal.expectedRevision,
                            asset ? asset->row.revision : 0);
            if (!asset)
                continue;
            m_impl->content->erase(QByteArray(removal.id));
            ++count;
        }
        return count;
    });
}

std::vector<qint64> MemoryStore::setNames(std::span<const NameWrite> names)
{
    return m_impl->change(TESK_PLACE, [this, names] {
        std::vector<qint64> revisions;
        revisions.reserve(names.size());
        for (const NameWrite &write : names) {
            requireText(TESK_PLACE, write.name, write.id);
            MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, write.id);
            if (asset.row.name != write.name) {
                m_impl->content->change(asset);
                asset.row.name = write.name;
                asset.row.revision = asset.changed;
                asset.row.modifiedMs = QDateTime::currentMSecsSinceEpoch();
            }
            revisions.push_back(asset.row.revision);
        }
        return revisions;
    });
}

qsizetype MemoryStore::setFlags(std::span<const QByteArray> ids, quint32 mask, quint32 flags)
{
    return m_impl->change(TESK_PLACE, [this, ids, mask, flags] {
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            MemoryAsset *const asset = m_impl->content->tables.find(id);
            if (!asset || ((asset->row.flags ^ flags) & mask) == 0)
                continue;
            m_impl->content->change(*asset).row.flags ^= (asset->row.flags ^ flags) & mask;
            ++count;
        }
        return count;
    });
}

static bool matches(const AssetQuery &query, const AssetRow &row)
{
    if (query.className && row.className != *query.className)
        return false;
    if (query.category && row.category != *query.category)
        return false;
    if (!query.name)
        return true;
    return query.nameCase == Qt::CaseSensitive ? row.name == *query.name
                                               : row.name.toLower() == query.name->toLower();
}

AssetPage MemoryStore::find(const AssetQuery &query, ScanPosition position, qsizetype limit) const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const auto &table = m_impl->viewLocked().bySequence;
    AssetPage page;
    for (auto entry = table.upper_bound(position.value()); entry != table.end(); ++entry) {
        if (!matches(query, entry->second->row))
            continue;
        page.rows.push_back(entry->second->row);
        if (static_cast<qsizetype>(page.rows.size()) >= limit) {
            page.next = ScanPosition(entry->first);
            break;
        }
    }
    return page;
}

std::vector<std::vector<MetaRow>> MemoryStore::metaData(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        std::vector<MetaRow> rows;
        if (asset) {
            for (const auto &[key, row] : asset->metaData)
                rows.push_back(row);
        }
        return rows;
    });
}

std::vector<std::optional<MetaRow>> MemoryStore::metaDataItems(std::span<const QByteArray> ids,
                                                               const QString &key) const
{
    return m_impl->collect(ids, [&key](const MemoryAsset *asset) -> std::optional<MetaRow> {
        if (!asset)
            return std::nullopt;
        const auto entry = asset->metaData.find(key);
        return entry == asset->metaData.end() ? std::nullopt : std::optional(entry->second);
    });
}

qsizetype MemoryStore::setMetaData(std::span<const MetaWrite> items)
{
    return m_impl->change(TESK_PLACE, [this, items] {
        qsizetype count = 0;
        for (const MetaWrite &write : items) {
            requireMetaRow(TESK_PLACE, write.item, write.id);
            MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, write.id);
            const auto entry = asset.metaData.find(write.item.key);
            if (entry != asset.metaData.end() && isSame(entry->second, write.item))
                continue;
            m_impl->content->change(asset).metaData.insert_or_assign(write.item.key, write.item);
            ++count;
        }
        return count;
    });
}

qsizetype MemoryStore::removeMetaData(std::span<const QByteArray> ids, const QString &key)
{
    return m_impl->change(TESK_PLACE, [this, ids, &key] {
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            MemoryAsset *const asset = m_impl->content->tables.find(id);
            if (!asset || !asset->metaData.contains(key))
                continue;
            m_impl->content->change(*asset).metaData.erase(key);
            ++count;
        }
        return count;
    });
}

std::vector<QByteArray> MemoryStore::nextVersions(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? asset->nextVersion : QByteArray();
    });
}

std::vector<QByteArray> MemoryStore::previousVersions(const QByteArray &id) const
{
    return m_impl->idsWhere([&id](const MemoryTables &, const MemoryAsset &asset) {
        return !id.isEmpty() && asset.nextVersion == id;
    });
}

std::vector<std::vector<DependencyRow>>
MemoryStore::dependencies(std::span<const QByteArray> ids) const
{
    return m_impl->collect(ids, [](const MemoryAsset *asset) {
        return asset ? asset->dependencies : std::vector<DependencyRow>();
    });
}

std::vector<QByteArray> MemoryStore::dependents(const QByteArray &id) const
{
    return m_impl->idsWhere([&id](const MemoryTables &, const MemoryAsset &asset) {
        return std::any_of(asset.dependencies.begin(), asset.dependencies.end(),
                           [&id](const DependencyRow &row) { return row.id == id; });
    });
}

std::vector<CatalogueRow> MemoryStore::scanCollection(const QByteArray &collection) const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    std::vector<CatalogueRow> rows;
    const MemoryItems *const items = tables.findItems(collection);
    if (!items)
        return rows;
    rows.reserve(items->byPosition.size());
    for (const auto &[position, id] : items->byPosition) {
        CatalogueRow row{.id = id, .className = {}, .name = {}};
        if (const MemoryAsset *const asset = tables.find(id)) {
            row.exists = true;
            row.className = asset->row.className;
            row.name = asset->row.name;
            row.flags = asset->row.flags;
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

qsizetype MemoryStore::appendToCollection(const QByteArray &collection,
                                          std::span<const QByteArray> ids)
{
    return m_impl->change(TESK_PLACE, [this, &collection, ids] {
        MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, collection);
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            requireId(TESK_PLACE, id);
            if (m_impl->content->append(collection, id))
                ++count;
        }
        if (count > 0)
            m_impl->content->change(asset);
        return count;
    });
}

qsizetype MemoryStore::removeFromCollection(const QByteArray &collection,
                                            std::span<const QByteArray> ids)
{
    return m_impl->change(TESK_PLACE, [this, &collection, ids] {
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            if (m_impl->content->take(collection, id))
                ++count;
        }
        if (count > 0)
            m_impl->content->change(m_impl->requireLocked(TESK_PLACE, collection));
        return count;
    });
}

std::vector<QByteArray> MemoryStore::collectionsOf(const QByteArray &id) const
{
    return m_impl->idsWhere([&id](const MemoryTables &tables, const MemoryAsset &asset) {
        const MemoryItems *const items = tables.findItems(asset.row.id);
        return items && items->positions.contains(id);
    });
}

std::vector<std::optional<QByteArray>>
MemoryStore::thumbnails(std::span<const QByteArray> ids) const
{
    return m_impl->collect(
            ids, [](const MemoryAsset *asset) { return asset ? asset->thumbnail : std::nullopt; });
}

void MemoryStore::setThumbnails(std::span<const ThumbnailWrite> thumbnails)
{
    m_impl->change(TESK_PLACE, [this, thumbnails] {
        for (const ThumbnailWrite &write : thumbnails) {
            MemoryAsset &asset = m_impl->requireLocked(TESK_PLACE, write.id);
            const auto wanted = write.data.isEmpty() ? std::nullopt : std::optional(write.data);
            if (asset.thumbnail != wanted)
                m_impl->content->change(asset).thumbnail = wanted;
        }
        return true;
    });
}

qint64 MemoryStore::generation() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->viewLocked().generation;
}

ChangeList MemoryStore::changesSince(qint64 generation) const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    std::map<std::pair<qint64, QByteArray>, ChangeRow> ordered;
    for (const auto &[sequence, asset] : tables.bySequence) {
        if (asset->changed > generation)
            ordered.emplace(std::pair(asset->changed, asset->row.id),
                            ChangeRow{asset->row.id, false, asset->row.revision});
    }
    for (auto entry = tables.removed.begin(); entry != tables.removed.end(); ++entry) {
        if (entry.value() > generation)
            ordered.emplace(std::pair(entry.value(), entry.key()), ChangeRow{entry.key(), true, 0});
    }
    ChangeList list{tables.generation, {}};
    for (const auto &[key, row] : ordered)
        list.changes.push_back(row);
    return list;
}

qint64 MemoryStore::seenGeneration() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->seen;
}

void MemoryStore::setSeenGeneration(qint64 generation)
{
    const std::lock_guard lock(m_impl->content->mutex);
    m_impl->seen = generation;
}

void MemoryStore::backupTo(const QString &path) const
{
    raise(TESK_PLACE, StoreError::Code::Misuse,
          QStringLiteral("Cannot back up to \"%1\": a store in memory has no file form").arg(path));
}

std::vector<StoreFinding> MemoryStore::checkIntegrity() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    std::vector<StoreFinding> findings;
    for (const auto &[sequence, asset] : tables.bySequence) {
        const QByteArray &id = asset->row.id;
        const QByteArray &next = asset->nextVersion;
        if (!next.isEmpty() && !tables.find(next))
            findings.push_back(danglingNextVersion(id, next));
        for (const DependencyRow &row : asset->dependencies) {
            if (!tables.find(row.id))
                findings.push_back(danglingDependency(id, row.id));
        }
        if (const MemoryItems *const items = tables.findItems(id)) {
            for (const auto &[position, item] : items->byPosition) {
                if (!tables.find(item))
                    findings.push_back(danglingItem(id, item));
            }
        }
    }
    return findings;
}

StoreStatistics MemoryStore::statistics() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    StoreStatistics statistics;
    for (const auto &[sequence, asset] : tables.bySequence) {
        ++statistics.assets;
        statistics.metaDataItems += static_cast<qint64>(asset->metaData.size());
        statistics.versionEdges += asset->nextVersion.isEmpty() ? 0 : 1;
        statistics.dependencies += static_cast<qint64>(asset->dependencies.size());
        statistics.thumbnails += asset->thumbnail ? 1 : 0;
        statistics.bodyBytes += asset->body ? asset->body->data.size() : 0;
        if (const MemoryItems *const items = tables.findItems(asset->row.id))
            statistics.collectionItems += static_cast<qint64>(items->byPosition.size());
    }
    return statistics;
}

} // namespace Tesk::Assets
