#include <assets/SqliteStore.h>

#include "BodyHash.h"
#include "SqliteAssetWriter.h"
#include "SqliteCore.h"
#include "SqliteIdStatement.h"
#include "StoreChecks.h"

#include <QDateTime>

#include <algorithm>
#include <string>

namespace Tesk::Assets {

using namespace StoreChecks;

// The columns that readAssetRow() expects; whoever uses it puts this at the beginning.
#define ASSET_COLUMNS                                                                              \
    "asset.id, class_k, class_version, name, category_k, flags, revision, created, modified"
static constexpr int sAssetColumnCount = 9;

static AssetRow readAssetRow(SqliteCore &core, const SqliteQuery &query)
{
    AssetRow row;
    row.id = query.bytes(0);
    row.className = core.termText(query.integer(1));
    row.classVersion = static_cast<int>(query.integer(2));
    row.name = query.text(3);
    row.category = core.termText(query.integer(4));
    row.flags = static_cast<quint32>(query.integer(5));
    row.revision = query.integer(6);
    row.createdMs = query.integer(7);
    row.modifiedMs = query.integer(8);
    return row;
}

std::vector<std::optional<AssetRow>> SqliteStore::loadRows(std::span<const QByteArray> ids) const
{
    static const auto &statement = *new SqliteIdStatement(ASSET_COLUMNS, "");
    return m_core->read(TESK_PLACE, ids.size() > 1, [this, ids] {
        std::vector<std::optional<AssetRow>> rows(ids.size());
        statement.run(*m_core->connection, ids, [&](std::size_t at, const SqliteQuery &row) {
            rows[at] = readAssetRow(*m_core, row);
        });
        return rows;
    });
}

std::vector<std::optional<StoredAsset>> SqliteStore::load(std::span<const QByteArray> ids) const
{
    static const auto &statement = *new SqliteIdStatement(
            ASSET_COLUMNS ", body.encoding, body.data", "LEFT JOIN body ON body.asset_k = asset.k");
    return m_core->read(TESK_PLACE, ids.size() > 1, [this, ids] {
        std::vector<std::optional<StoredAsset>> assets(ids.size());
        statement.run(*m_core->connection, ids, [&](std::size_t at, const SqliteQuery &row) {
            StoredAsset &asset = assets[at].emplace(StoredAsset{readAssetRow(*m_core, row), {}});
            if (!row.isNull(sAssetColumnCount))
                asset.body = BodyRow{static_cast<int>(row.integer(sAssetColumnCount)),
                                     row.bytes(sAssetColumnCount + 1)};
        });
        return assets;
    });
}

std::vector<qint64> SqliteStore::write(std::span<const AssetWrite> assets)
{
    const Place place = TESK_PLACE;
    return m_core->change(place, [this, &place, assets] {
        return SqliteAssetWriter(*m_core, place).write(assets);
    });
}

// An asset and all rows that are its own. A later asset may have its number again.
static constexpr const char *sRemovals[] = {
        "DELETE FROM body WHERE asset_k = ?1",
        "DELETE FROM metadata WHERE asset_k = ?1",
        "DELETE FROM collection_item WHERE collection_k = ?1",
        "DELETE FROM dependency WHERE asset_k = ?1",
        "DELETE FROM thumbnail WHERE asset_k = ?1",
        "DELETE FROM version_edge WHERE asset_k = ?1",
        "DELETE FROM asset WHERE k = ?1",
};

qsizetype SqliteStore::remove(std::span<const AssetRemoval> assets)
{
    const Place place = TESK_PLACE;
    return m_core->change(place, [this, &place, assets] {
        SqliteConnection &connection = *m_core->connection;
        qsizetype count = 0;
        for (const AssetRemoval &removal : assets) {
            SqliteQuery find(connection, "SELECT k, revision FROM asset WHERE id = ?1");
            const bool exists = find.bindBytes(removal.id).next();
            const qint64 key = exists ? find.integer(0) : 0;
            requireRevision(place, removal.id, removal.expectedRevision,
                            exists ? find.integer(1) : 0);
            if (!exists)
                continue;
            find.reuse(); // or it would stand on the row that goes
            const qint64 generation = m_core->writingGeneration();
            SqliteQuery(connection, "UPDATE collection_item SET item_k = NULL, class_k = 0, "
                                    "name = '', flags = 0 WHERE item_k = ?1")
                    .bind(key)
                    .run();
            for (const char *sql : sRemovals)
                SqliteQuery(connection, sql).bind(key).run();
            SqliteQuery(connection, "INSERT INTO removed (id, generation) VALUES (?1, ?2)")
                    .bindBytes(removal.id)
                    .bind(generation)
                    .run();
            ++count;
        }
        return count;
    });
}

std::vector<qint64> SqliteStore::setNames(std::span<const NameWrite> names)
{
    const Place place = TESK_PLACE;
    return m_core->change(place, [this, &place, names] {
        SqliteConnection &connection = *m_core->connection;
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        std::vector<qint64> revisions;
        revisions.reserve(names.size());
        for (const NameWrite &write : names) {
            requireText(place, write.name, write.id);
            const qint64 key = m_core->requireAsset(place, write.id);
            SqliteQuery find(connection, "SELECT name, revision FROM asset WHERE k = ?1");
            find.bind(key).next();
            if (find.text(0) == write.name) {
                revisions.push_back(find.integer(1));
                continue;
            }
            find.reuse();
            const qint64 generation = m_core->writingGeneration();
            const QByteArray name = write.name.toUtf8();
            const QByteArray nameKey = write.name.toLower().toUtf8();
            SqliteQuery(connection, "UPDATE asset SET name = ?2, name_key = ?3, revision = ?4, "
                                    "changed = ?4, modified = ?5 WHERE k = ?1")
                    .bind(key)
                    .bindUtf8(name)
                    .bindUtf8(nameKey)
                    .bind(generation)
                    .bind(now)
                    .run();
            SqliteQuery(connection, "UPDATE collection_item SET name = ?2 WHERE item_k = ?1")
                    .bind(key)
                    .bindUtf8(name)
                    .run();
            revisions.push_back(generation);
        }
        return revisions;
    });
}

qsizetype SqliteStore::setFlags(std::span<const QByteArray> ids, quint32 mask, quint32 flags)
{
    return m_core->change(TESK_PLACE, [this, ids, mask, flags] {
        SqliteConnection &connection = *m_core->connection;
        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            SqliteQuery find(connection, "SELECT k, flags FROM asset WHERE id = ?1");
            if (!find.bindBytes(id).next())
                continue;
            const qint64 key = find.integer(0);
            const auto before = static_cast<quint32>(find.integer(1));
            find.reuse();
            const quint32 after = (before & ~mask) | (flags & mask);
            if (after == before)
                continue;
            SqliteQuery(connection, "UPDATE asset SET flags = ?2, changed = ?3 WHERE k = ?1")
                    .bind(key)
                    .bind(qint64(after))
                    .bind(m_core->writingGeneration())
                    .run();
            SqliteQuery(connection, "UPDATE collection_item SET flags = ?2 WHERE item_k = ?1")
                    .bind(key)
                    .bind(qint64(after))
                    .run();
            ++count;
        }
        return count;
    });
}

/// Returns the statement for the parts of the query; the caller binds them in the same order.
static std::string findStatement(const AssetQuery &query)
{
    std::string sql = "SELECT " ASSET_COLUMNS ", k FROM asset WHERE k > ?";
    // A name is rarer than a class: the plus keeps SQLite from using the index of the class.
    if (query.className)
        sql += query.name ? " AND +class_k = ?" : " AND class_k = ?";
    if (query.category)
        sql += " AND +category_k = ?";
    if (query.name) {
        sql += query.name->isEmpty() ? " AND name_key = ?" : " AND name_key <> '' AND name_key = ?";
        if (query.nameCase == Qt::CaseSensitive)
            sql += " AND name = ?";
    }
    return sql + " ORDER BY k LIMIT ?";
}

AssetPage SqliteStore::find(const AssetQuery &query, ScanPosition position, qsizetype limit) const
{
    const qsizetype count = std::max<qsizetype>(limit, 1);
    return m_core->read(TESK_PLACE, true, [this, &query, position, count] {
        AssetPage page;
        const auto classKey = query.className ? m_core->findTerm(*query.className) : 0;
        const auto categoryKey = query.category ? m_core->findTerm(*query.category) : 0;
        if (!classKey || !categoryKey)
            return page; // a text that no asset has

        const QByteArray nameKey = query.name.value_or(QString()).toLower().toUtf8();
        const QByteArray name = query.name.value_or(QString()).toUtf8();
        SqliteQuery rows(*m_core->connection, findStatement(query));
        rows.bind(position.value());
        if (query.className)
            rows.bind(*classKey);
        if (query.category)
            rows.bind(*categoryKey);
        if (query.name) {
            rows.bindUtf8(nameKey);
            if (query.nameCase == Qt::CaseSensitive)
                rows.bindUtf8(name);
        }
        rows.bind(qint64(count));
        while (rows.next()) {
            page.rows.push_back(readAssetRow(*m_core, rows));
            if (static_cast<qsizetype>(page.rows.size()) == count)
                page.next = ScanPosition(rows.integer(sAssetColumnCount));
        }
        return page;
    });
}

} // namespace Tesk::Assets
