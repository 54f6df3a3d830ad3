#include "SqliteAssetWriter.h"

#include "BodyHash.h"
#include "SqliteMetaData.h"
#include "SqliteQuery.h"
#include "StoreChecks.h"

#include <QDateTime>

#include <sqlite3.h>

namespace Tesk::Assets {

using namespace StoreChecks;

SqliteAssetWriter::SqliteAssetWriter(SqliteCore &core, const Place &place)
    : m_core(core)
    , m_place(place)
    , m_now(QDateTime::currentMSecsSinceEpoch())
    , m_hasDanglingItems(hasRow("SELECT 1 FROM collection_item WHERE item_k IS NULL LIMIT 1"))
    , m_hasRemoved(hasRow("SELECT 1 FROM removed LIMIT 1"))
{}

bool SqliteAssetWriter::hasRow(const char *sql)
{
    return SqliteQuery(*m_core.connection, sql).next();
}

std::optional<SqliteAssetWriter::Existing> SqliteAssetWriter::find(const QByteArray &id)
{
    SqliteQuery query(*m_core.connection,
                      "SELECT k, revision, class_k, name FROM asset WHERE id = ?1");
    if (!query.bindBytes(id).next())
        return std::nullopt;
    return Existing{query.integer(0), query.integer(1), query.integer(2), query.text(3)};
}

qint64 SqliteAssetWriter::write(const AssetWrite &write)
{
    requireWrite(m_place, write);
    const QByteArray &id = write.row.id;
    std::optional<Existing> existing;
    std::optional<qint64> key;
    if (write.expectedRevision == 0)
        key = insert(write.row); // without looking first: the id is hardly ever taken
    if (!key) {
        existing = find(id);
        requireRevision(m_place, id, write.expectedRevision, existing ? existing->revision : 0);
        if (existing)
            update(*existing, write.row);
        key = existing ? existing->key : insert(write.row);
    }
    writeParts(key.value(), !existing, write);
    return m_core.writingGeneration();
}

void SqliteAssetWriter::writeParts(qint64 key, bool isNew, const AssetWrite &write)
{
    if (write.body)
        writeBody(key, *write.body);
    if (write.nextVersion)
        writeNextVersion(key, isNew, write.row.id, *write.nextVersion);
    if (write.dependencies)
        writeDependencies(key, isNew, *write.dependencies);
    if (write.metaData)
        writeMetaData(key, isNew, *write.metaData);
}

std::optional<qint64> SqliteAssetWriter::insert(const AssetRow &row)
{
    SqliteConnection &connection = *m_core.connection;
    const qint64 generation = m_core.writingGeneration();
    const qint64 classKey = m_core.requireTerm(row.className);
    const QByteArray name = row.name.toUtf8();
    const QByteArray nameKey = row.name.toLower().toUtf8();
    SqliteQuery query(connection, "INSERT INTO asset (id, class_k, class_version, name, name_key, "
                                  "category_k, flags, revision, changed, created, modified) "
                                  "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?8, ?9, ?9) "
                                  "ON CONFLICT (id) DO NOTHING");
    query.bindBytes(row.id)
            .bind(classKey)
            .bind(qint64(row.classVersion))
            .bindUtf8(name)
            .bindUtf8(nameKey)
            .bind(m_core.requireTerm(row.category))
            .bind(qint64(row.flags))
            .bind(generation)
            .bind(m_now);
    if (query.run() == 0)
        return std::nullopt;
    const qint64 key = sqlite3_last_insert_rowid(connection.handle());
    if (m_hasDanglingItems)
        SqliteQuery(connection, "UPDATE collection_item SET item_k = ?1, class_k = ?2, name = ?3, "
                                "flags = ?4 WHERE item_id = ?5 AND item_k IS NULL")
                .bind(key)
                .bind(classKey)
                .bindUtf8(name)
                .bind(qint64(row.flags))
                .bindBytes(row.id)
                .run();
    if (m_hasRemoved)
        SqliteQuery(connection, "DELETE FROM removed WHERE id = ?1").bindBytes(row.id).run();
    return key;
}

void SqliteAssetWriter::update(const Existing &existing, const AssetRow &row)
{
    const qint64 generation = m_core.writingGeneration();
    const qint64 classKey = m_core.requireTerm(row.className);
    const QByteArray name = row.name.toUtf8();
    const QByteArray nameKey = row.name.toLower().toUtf8();
    SqliteQuery(*m_core.connection,
                "UPDATE asset SET class_k = ?2, class_version = ?3, name = ?4, name_key = ?5, "
                "category_k = ?6, revision = ?7, changed = ?7, modified = ?8 WHERE k = ?1")
            .bind(existing.key)
            .bind(classKey)
            .bind(qint64(row.classVersion))
            .bindUtf8(name)
            .bindUtf8(nameKey)
            .bind(m_core.requireTerm(row.category))
            .bind(generation)
            .bind(m_now)
            .run();
    if (classKey != existing.classKey || row.name != existing.name)
        SqliteQuery(*m_core.connection,
                    "UPDATE collection_item SET class_k = ?2, name = ?3 WHERE item_k = ?1")
                .bind(existing.key)
                .bind(classKey)
                .bindUtf8(name)
                .run();
}

void SqliteAssetWriter::writeBody(qint64 key, const BodyRow &body)
{
    SqliteQuery(*m_core.connection,
                "INSERT INTO body (asset_k, encoding, hash, data) VALUES (?1, ?2, ?3, ?4) "
                "ON CONFLICT (asset_k) DO UPDATE SET encoding = excluded.encoding, "
                "hash = excluded.hash, data = excluded.data")
            .bind(key)
            .bind(qint64(body.encoding))
            .bind(body.hash ? *body.hash : bodyHash(body.data))
            .bindBytes(body.data)
            .run();
}

void SqliteAssetWriter::writeMetaData(qint64 key, bool isNew, const std::vector<MetaRow> &rows)
{
    if (isNew && rows.empty())
        return;
    m_metaData.clear();
    for (const MetaRow &row : rows)
        m_metaData.append(m_core.requireTerm(row.key), row);
    SqliteMetaData::store(m_core, key, m_metaData);
}

void SqliteAssetWriter::writeNextVersion(qint64 key, bool isNew, const QByteArray &id,
                                         const QByteArray &nextVersion)
{
    if (nextVersion.isEmpty()) {
        if (isNew)
            return;
        SqliteQuery(*m_core.connection, "DELETE FROM version_edge WHERE asset_k = ?1")
                .bind(key)
                .run();
        return;
    }
    // Asked first for the sake of the message; the file's own trigger is the last word.
    SqliteQuery walk(*m_core.connection,
                     "WITH RECURSIVE chain (id) AS (SELECT ?1 UNION SELECT edge.next_id "
                     "FROM chain JOIN asset ON asset.id = chain.id "
                     "JOIN version_edge AS edge ON edge.asset_k = asset.k WHERE asset.k <> ?2) "
                     "SELECT 1 FROM chain WHERE id = ?3");
    if (walk.bindBytes(nextVersion).bind(key).bindBytes(id).next())
        raiseCycle(m_place, id, nextVersion);
    SqliteQuery(*m_core.connection,
                "INSERT INTO version_edge (asset_k, next_id) VALUES (?1, ?2) "
                "ON CONFLICT (asset_k) DO UPDATE SET next_id = excluded.next_id")
            .bind(key)
            .bindBytes(nextVersion)
            .run();
}

void SqliteAssetWriter::writeDependencies(qint64 key, bool isNew,
                                          const std::vector<DependencyRow> &rows)
{
    if (!isNew)
        SqliteQuery(*m_core.connection, "DELETE FROM dependency WHERE asset_k = ?1")
                .bind(key)
                .run();
    qint64 position = 0;
    for (const DependencyRow &row : rows)
        SqliteQuery(*m_core.connection, "INSERT INTO dependency (asset_k, position, id, role_k) "
                                        "VALUES (?1, ?2, ?3, ?4)")
                .bind(key)
                .bind(position++)
                .bindBytes(row.id)
                .bind(m_core.requireTerm(row.role))
                .run();
}

} // namespace Tesk::Assets
