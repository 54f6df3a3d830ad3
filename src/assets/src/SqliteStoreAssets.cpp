#include <assets/SqliteStore.h>

#include "SqliteCore.h"
#include "SqliteIdStatement.h"
#include "SqliteMetaRows.h"
#include "SqliteRows.h"
#include "SqliteValue.h"
#include "StoreChecks.h"

#include <QDateTime>

#include <sqlite3.h>

#include <algorithm>
#include <string>
#include <utility>

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
        statement.run(*m_core->connection, ids, 0, [&](std::size_t at, const SqliteQuery &row) {
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
        statement.run(*m_core->connection, ids, 0, [&](std::size_t at, const SqliteQuery &row) {
            StoredAsset &asset = assets[at].emplace(StoredAsset{readAssetRow(*m_core, row), {}});
            if (!row.isNull(sAssetColumnCount))
                asset.body = BodyRow{static_cast<int>(row.integer(sAssetColumnCount)),
                                     row.bytes(sAssetColumnCount + 1)};
        });
        return assets;
    });
}

namespace {

/// Writes the assets of one call.
class AssetWriter
{
public:
    AssetWriter(SqliteCore &core, const Place &place);

    qint64 write(const AssetWrite &write);

    /// Writes what was gathered.
    void finish() { m_core.incomingMetaRows->store(); }

private:
    struct Existing
    {
        qint64 key = 0;
        qint64 revision = 0;
        qint64 classKey = 0;
        QString name;
    };

    std::optional<Existing> find(const QByteArray &id);
    std::optional<qint64> insert(const AssetRow &row);
    void update(const Existing &existing, const AssetRow &row);
    void writeParts(qint64 key, bool isNew, const AssetWrite &write);
    void writeBody(qint64 key, const BodyRow &body);
    void writeMetaData(qint64 key, bool isNew, const std::vector<MetaRow> &rows);
    void writeNextVersion(qint64 key, bool isNew, const QByteArray &id,
                          const QByteArray &nextVersion);
    void writeDependencies(qint64 key, bool isNew, const std::vector<DependencyRow> &rows);
    bool hasRow(const char *sql);

    SqliteCore &m_core;
    const Place &m_place;
    const qint64 m_now;
    const bool m_hasDanglingItems; // nearly always false, and then new assets need not look
    const bool m_hasRemoved;
};

AssetWriter::AssetWriter(SqliteCore &core, const Place &place)
    : m_core(core)
    , m_place(place)
    , m_now(QDateTime::currentMSecsSinceEpoch())
    , m_hasDanglingItems(hasRow("SELECT 1 FROM collection_item WHERE item_k IS NULL LIMIT 1"))
    , m_hasRemoved(hasRow("SELECT 1 FROM removed LIMIT 1"))
{
    core.incomingMetaRows->clear(); // of a write that failed
}

bool AssetWriter::hasRow(const char *sql)
{
    return SqliteQuery(*m_core.connection, sql).next();
}

std::optional<AssetWriter::Existing> AssetWriter::find(const QByteArray &id)
{
    SqliteQuery query(*m_core.connection,
                      "SELECT k, revision, class_k, name FROM asset WHERE id = ?1");
    if (!query.bindBytes(id).next())
        return std::nullopt;
    return Existing{query.integer(0), query.integer(1), query.integer(2), query.text(3)};
}

qint64 AssetWriter::write(const AssetWrite &write)
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

void AssetWriter::writeParts(qint64 key, bool isNew, const AssetWrite &write)
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

/// Returns nothing where the id is taken.
std::optional<qint64> AssetWriter::insert(const AssetRow &row)
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

void AssetWriter::update(const Existing &existing, const AssetRow &row)
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

void AssetWriter::writeBody(qint64 key, const BodyRow &body)
{
    SqliteQuery(*m_core.connection,
                "INSERT INTO body (asset_k, encoding, hash, data) VALUES (?1, ?2, ?3, ?4) "
                "ON CONFLICT (asset_k) DO UPDATE SET encoding = excluded.encoding, "
                "hash = excluded.hash, data = excluded.data")
            .bind(key)
            .bind(qint64(body.encoding))
            .bind(bodyHash(body.data))
            .bindBytes(body.data)
            .run();
}

void AssetWriter::writeMetaData(qint64 key, bool isNew, const std::vector<MetaRow> &rows)
{
    SqliteMetaRows &incoming = *m_core.incomingMetaRows;
    if (!isNew) {
        incoming.store(); // among them may be some of this asset, if it is written twice
        SqliteQuery(*m_core.connection, "DELETE FROM meta WHERE asset_k = ?1").bind(key).run();
    }
    for (const MetaRow &row : rows)
        incoming.add({key, m_core.requireTerm(row.key), row.type, row.accessibility,
                      SqliteValue(row.value)});
    if (incoming.isFull())
        incoming.store();
}

void AssetWriter::writeNextVersion(qint64 key, bool isNew, const QByteArray &id,
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

void AssetWriter::writeDependencies(qint64 key, bool isNew, const std::vector<DependencyRow> &rows)
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

} // namespace

std::vector<qint64> SqliteStore::write(std::span<const AssetWrite> assets)
{
    const Place place = TESK_PLACE;
    return m_core->change(place, [this, &place, assets] {
        std::vector<qint64> revisions;
        revisions.reserve(assets.size());
        AssetWriter writer(*m_core, place);
        for (const AssetWrite &asset : assets)
            revisions.push_back(writer.write(asset));
        writer.finish();
        return revisions;
    });
}

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
            SqliteQuery(connection, "DELETE FROM asset WHERE k = ?1").bind(key).run();
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
