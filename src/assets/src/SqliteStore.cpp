#include <assets/SqliteStore.h>

#include "SqliteCore.h"
#include "StoreChecks.h"

#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace Tesk::Assets {

// Assets and their metadata are in SqliteStoreAssets.cpp, links, lists and thumbnails in
// SqliteStoreLinks.cpp, the integrity check in SqliteStoreCheck.cpp.

SqliteStore::SqliteStore(const QString &path, Mode mode)
    : SqliteStore(path, mode, Options())
{}

SqliteStore::SqliteStore(const QString &path, Mode mode, const Options &options)
    : m_core(std::make_unique<SqliteCore>(path, mode, options))
{}

SqliteStore::~SqliteStore() = default;

QByteArray SqliteStore::databaseId() const
{
    return m_core->databaseId;
}

bool SqliteStore::isReadOnly() const
{
    return m_core->isReadOnly;
}

QString SqliteStore::location() const
{
    return m_core->path;
}

void SqliteStore::begin(SyncLevel level)
{
    m_core->begin(TESK_PLACE, level);
}

void SqliteStore::commit()
{
    m_core->commit(TESK_PLACE);
}

void SqliteStore::rollback()
{
    m_core->rollback(TESK_PLACE);
}

bool SqliteStore::inTransaction() const
{
    const std::lock_guard lock(m_core->mutex);
    return m_core->isInTransaction;
}

void SqliteStore::endAtFailure()
{
    m_core->endAtFailure(TESK_PLACE);
}

void SqliteStore::beginRead() const
{
    m_core->beginBurst(TESK_PLACE);
}

void SqliteStore::endRead() const noexcept
{
    m_core->endBurst();
}

qint64 SqliteStore::generation() const
{
    return m_core->read(TESK_PLACE, false, [this] { return m_core->storedGeneration(); });
}

ChangeList SqliteStore::changesSince(qint64 generation) const
{
    return m_core->read(TESK_PLACE, true, [this, generation] {
        SqliteQuery query(*m_core->connection,
                          "SELECT changed, id, 0, revision FROM asset WHERE changed > ?1 "
                          "UNION ALL "
                          "SELECT generation, id, 1, 0 FROM removed WHERE generation > ?1 "
                          "ORDER BY 1, 2");
        ChangeList list;
        query.bind(generation);
        while (query.next())
            list.changes.push_back({query.bytes(1), query.integer(2) != 0, query.integer(3)});
        list.generation = m_core->storedGeneration();
        return list;
    });
}

qint64 SqliteStore::seenGeneration() const
{
    const std::lock_guard lock(m_core->mutex);
    return m_core->seenGeneration;
}

void SqliteStore::setSeenGeneration(qint64 generation)
{
    const std::lock_guard lock(m_core->mutex);
    m_core->seenGeneration = generation;
}

void SqliteStore::backupTo(const QString &path) const
{
    m_core->backUp(TESK_PLACE, path);
}

StoreStatistics SqliteStore::statistics() const
{
    return m_core->read(TESK_PLACE, true, [this] {
        SqliteQuery query(*m_core->connection,
                          "SELECT (SELECT COUNT(*) FROM asset), "
                          "(SELECT COUNT(*) FROM collection_item), "
                          "(SELECT COUNT(*) FROM version_edge), (SELECT COUNT(*) FROM dependency), "
                          "(SELECT COUNT(*) FROM thumbnail), "
                          "(SELECT COALESCE(SUM(LENGTH(data)), 0) FROM body)");
        query.next();
        SqliteQuery items(*m_core->connection,
                          m_core->hasOldMetaData()
                                  ? "SELECT COUNT(*) FROM meta"
                                  : "SELECT COALESCE(SUM(items), 0) FROM metadata");
        items.next();
        StoreStatistics statistics;
        statistics.assets = query.integer(0);
        statistics.collectionItems = query.integer(1);
        statistics.metaDataItems = items.integer(0);
        statistics.versionEdges = query.integer(2);
        statistics.dependencies = query.integer(3);
        statistics.thumbnails = query.integer(4);
        statistics.bodyBytes = query.integer(5);
        statistics.storageBytes = QFileInfo(m_core->path).size()
                                  + QFileInfo(m_core->path + QStringLiteral("-wal")).size();
        return statistics;
    });
}

} // namespace Tesk::Assets
