#include <assets/SqliteStore.h>

#include "SqliteCore.h"
#include "SqliteMetaData.h"
#include "StoreChecks.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace Tesk::Assets {

using namespace StoreChecks;

/// Runs \a sql, which gives one id a row, for the bound id.
static std::vector<QByteArray> idsFor(SqliteCore &core, const Place &place, const char *sql,
                                      const QByteArray &id)
{
    return core.read(place, false, [&core, sql, &id] {
        std::vector<QByteArray> ids;
        SqliteQuery query(*core.connection, sql);
        query.bindBytes(id);
        while (query.next())
            ids.push_back(query.bytes(0));
        return ids;
    });
}

namespace {

/// A change of the row that holds the metadata of one asset.
class MetaDataChange
{
public:
    MetaDataChange(SqliteCore &core, const QByteArray &id, qint64 assetKey)
        : m_core(core)
        , m_id(id)
        , m_assetKey(assetKey)
        , m_metaData(SqliteMetaData::load(core, id, assetKey))
    {}

    const QByteArray &id() const { return m_id; }

    bool set(const MetaRow &item)
    {
        const bool isChange = m_metaData.set(m_core.requireTerm(item.key), item);
        m_isChanged |= isChange;
        return isChange;
    }

    bool remove(qint64 keyTerm)
    {
        const bool isChange = m_metaData.remove(keyTerm);
        m_isChanged |= isChange;
        return isChange;
    }

    void store()
    {
        if (!m_isChanged)
            return;
        SqliteMetaData::store(m_core, m_assetKey, m_metaData);
        m_core.touch(m_assetKey);
    }

private:
    SqliteCore &m_core;
    const QByteArray &m_id;
    const qint64 m_assetKey;
    StoredMetaData m_metaData;
    bool m_isChanged = false;
};

} // namespace

std::vector<std::vector<MetaRow>> SqliteStore::metaData(std::span<const QByteArray> ids) const
{
    return m_core->read(TESK_PLACE, ids.size() > 1 || m_core->isOlder, [this, ids] {
        std::vector<std::vector<MetaRow>> result(ids.size());
        SqliteMetaData::readingStatement(*m_core).run(
                *m_core->connection, ids, [&](std::size_t at, const SqliteQuery &row) {
                    result[at] = SqliteMetaData::read(*m_core, ids[at], row);
                });
        return result;
    });
}

std::vector<std::optional<MetaRow>> SqliteStore::metaDataItems(std::span<const QByteArray> ids,
                                                               const QString &key) const
{
    return m_core->read(TESK_PLACE, ids.size() > 1 || m_core->isOlder, [this, ids, &key] {
        std::vector<std::optional<MetaRow>> rows(ids.size());
        const std::optional<qint64> keyTerm = m_core->findTerm(key);
        if (!keyTerm)
            return rows;
        SqliteMetaData::readingStatement(*m_core).run(
                *m_core->connection, ids, [&](std::size_t at, const SqliteQuery &row) {
                    rows[at] = SqliteMetaData::readItem(*m_core, ids[at], row, *keyTerm);
                });
        return rows;
    });
}

qsizetype SqliteStore::setMetaData(std::span<const MetaWrite> items)
{
    const Place place = TESK_PLACE;
    return m_core->change(place, [this, &place, items] {
        qsizetype count = 0;
        std::optional<MetaDataChange> change;
        for (const MetaWrite &write : items) {
            requireMetaRow(place, write.item, write.id);
            if (!change || change->id() != write.id) { // neighbours go into one write
                if (change)
                    change->store();
                change.emplace(*m_core, write.id, m_core->requireAsset(place, write.id));
            }
            if (change->set(write.item))
                ++count;
        }
        if (change)
            change->store();
        return count;
    });
}

qsizetype SqliteStore::removeMetaData(std::span<const QByteArray> ids, const QString &key)
{
    return m_core->change(TESK_PLACE, [this, ids, &key] {
        qsizetype count = 0;
        const std::optional<qint64> keyTerm = m_core->findTerm(key);
        if (!keyTerm)
            return count;
        for (const QByteArray &id : ids) {
            const std::optional<qint64> asset = m_core->findAsset(id);
            if (!asset)
                continue;
            MetaDataChange change(*m_core, id, *asset);
            if (!change.remove(*keyTerm))
                continue;
            change.store();
            ++count;
        }
        return count;
    });
}

std::vector<QByteArray> SqliteStore::nextVersions(std::span<const QByteArray> ids) const
{
    return m_core->read(TESK_PLACE, ids.size() > 1, [this, ids] {
        std::vector<QByteArray> result;
        result.reserve(ids.size());
        SqliteQuery query(*m_core->connection,
                          "SELECT next_id FROM asset JOIN version_edge AS edge "
                          "ON edge.asset_k = asset.k WHERE asset.id = ?1");
        for (const QByteArray &id : ids) {
            query.reuse().bindBytes(id);
            result.push_back(query.next() ? query.bytes(0) : QByteArray());
        }
        return result;
    });
}

std::vector<QByteArray> SqliteStore::previousVersions(const QByteArray &id) const
{
    return idsFor(*m_core, TESK_PLACE,
                  "SELECT asset.id FROM version_edge AS edge JOIN asset ON asset.k = edge.asset_k "
                  "WHERE edge.next_id = ?1 ORDER BY asset.k",
                  id);
}

std::vector<std::vector<DependencyRow>>
SqliteStore::dependencies(std::span<const QByteArray> ids) const
{
    return m_core->read(TESK_PLACE, ids.size() > 1, [this, ids] {
        std::vector<std::vector<DependencyRow>> result;
        result.reserve(ids.size());
        SqliteQuery query(*m_core->connection,
                          "SELECT dependency.id, role_k FROM asset JOIN dependency "
                          "ON dependency.asset_k = asset.k WHERE asset.id = ?1 ORDER BY position");
        for (const QByteArray &id : ids) {
            std::vector<DependencyRow> &rows = result.emplace_back();
            query.reuse().bindBytes(id);
            while (query.next())
                rows.push_back({query.bytes(0), m_core->termText(query.integer(1))});
        }
        return result;
    });
}

std::vector<QByteArray> SqliteStore::dependents(const QByteArray &id) const
{
    return idsFor(*m_core, TESK_PLACE,
                  "SELECT asset.id FROM asset WHERE k IN (SELECT asset_k FROM dependency "
                  "WHERE id = ?1) ORDER BY k",
                  id);
}

std::vector<CatalogueRow> SqliteStore::scanCollection(const QByteArray &collection) const
{
    return m_core->read(TESK_PLACE, true, [this, &collection] {
        std::vector<CatalogueRow> rows;
        const std::optional<qint64> key = m_core->findAsset(collection);
        if (!key)
            return rows;
        SqliteQuery query(*m_core->connection,
                          "SELECT item_id, item_k, class_k, name, flags FROM collection_item "
                          "WHERE collection_k = ?1 ORDER BY position");
        query.bind(*key);
        qint64 classKey = 0;
        QString className; // lists are mostly of one class
        while (query.next()) {
            CatalogueRow &row = rows.emplace_back();
            row.id = query.bytes(0);
            row.exists = !query.isNull(1);
            if (!row.exists)
                continue;
            if (query.integer(2) != classKey) {
                classKey = query.integer(2);
                className = m_core->termText(classKey);
            }
            row.className = className;
            row.name = query.text(3);
            row.flags = static_cast<quint32>(query.integer(4));
        }
        return rows;
    });
}

qsizetype SqliteStore::appendToCollection(const QByteArray &collection,
                                          std::span<const QByteArray> ids)
{
    const Place place = TESK_PLACE;
    return m_core->change(place, [this, &place, &collection, ids] {
        SqliteConnection &connection = *m_core->connection;
        const qint64 key = m_core->requireAsset(place, collection);
        SqliteQuery last(connection, "SELECT position FROM collection_item WHERE collection_k = ?1 "
                                     "ORDER BY position DESC LIMIT 1");
        qint64 position = last.bind(key).next() ? last.integer(0) : -1;
        last.reuse();
        if (position > std::numeric_limits<qint64>::max() - std::ssize(ids) - 1)
            raise(place, StoreError::Code::Damaged,
                  QStringLiteral("Cannot append to collection \"%1\": there is no position after "
                                 "that of its last item; restore a backup")
                          .arg(readable(collection)),
                  collection);

        qsizetype count = 0;
        for (const QByteArray &id : ids) {
            requireId(place, id);
            SqliteQuery item(connection, "SELECT k, class_k, name, flags FROM asset WHERE id = ?1");
            const bool exists = item.bindBytes(id).next();
            const QByteArray name = exists ? item.bytes(2) : QByteArray("");
            // The unique indexes refuse a second entry of an id. Of values, not of a SELECT, before
            // which SQLite would put aside a copy of every page that it writes to.
            SqliteQuery insert(connection,
                               "INSERT INTO collection_item (collection_k, position, item_k, "
                               "item_id, class_k, name, flags) "
                               "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) ON CONFLICT DO NOTHING");
            insert.bind(key)
                    .bind(position + 1)
                    .bind(exists ? std::optional(item.integer(0)) : std::nullopt)
                    .bindBytes(id)
                    .bind(exists ? item.integer(1) : 0)
                    .bindUtf8(name)
                    .bind(exists ? item.integer(3) : 0);
            if (insert.run() == 0)
                continue;
            ++position;
            ++count;
        }
        if (count > 0)
            m_core->touch(key);
        return count;
    });
}

qsizetype SqliteStore::removeFromCollection(const QByteArray &collection,
                                            std::span<const QByteArray> ids)
{
    return m_core->change(TESK_PLACE, [this, &collection, ids] {
        qsizetype count = 0;
        const std::optional<qint64> key = m_core->findAsset(collection);
        if (!key)
            return count;
        for (const QByteArray &id : ids) {
            const std::optional<qint64> item = m_core->findAsset(id);
            if (item)
                count += SqliteQuery(*m_core->connection,
                                     "DELETE FROM collection_item WHERE item_k = ?1 "
                                     "AND collection_k = ?2")
                                 .bind(*item)
                                 .bind(*key)
                                 .run();
            else
                count += SqliteQuery(*m_core->connection,
                                     "DELETE FROM collection_item WHERE item_id = ?1 "
                                     "AND collection_k = ?2 AND item_k IS NULL")
                                 .bindBytes(id)
                                 .bind(*key)
                                 .run();
        }
        if (count > 0)
            m_core->touch(*key);
        return count;
    });
}

std::vector<QByteArray> SqliteStore::collectionsOf(const QByteArray &id) const
{
    return idsFor(*m_core, TESK_PLACE,
                  "SELECT id FROM asset WHERE k IN (SELECT collection_k FROM collection_item "
                  "WHERE item_k = (SELECT k FROM asset WHERE id = ?1) "
                  "UNION ALL SELECT collection_k FROM collection_item "
                  "WHERE item_id = ?1 AND item_k IS NULL) ORDER BY k",
                  id);
}

std::vector<std::optional<QByteArray>>
SqliteStore::thumbnails(std::span<const QByteArray> ids) const
{
    return m_core->read(TESK_PLACE, ids.size() > 1, [this, ids] {
        std::vector<std::optional<QByteArray>> result;
        result.reserve(ids.size());
        SqliteQuery query(*m_core->connection,
                          "SELECT data FROM asset JOIN thumbnail ON thumbnail.asset_k = asset.k "
                          "WHERE asset.id = ?1");
        for (const QByteArray &id : ids) {
            query.reuse().bindBytes(id);
            result.push_back(query.next() ? std::optional(query.bytes(0)) : std::nullopt);
        }
        return result;
    });
}

void SqliteStore::setThumbnails(std::span<const ThumbnailWrite> thumbnails)
{
    const Place place = TESK_PLACE;
    m_core->change(place, [this, &place, thumbnails] {
        for (const ThumbnailWrite &write : thumbnails) {
            const qint64 key = m_core->requireAsset(place, write.id);
            const char *const sql =
                    write.data.isEmpty()
                            ? "DELETE FROM thumbnail WHERE asset_k = ?1"
                            : "INSERT INTO thumbnail (asset_k, data) VALUES (?1, ?2) "
                              "ON CONFLICT (asset_k) DO UPDATE SET data = excluded.data "
                              "WHERE data <> excluded.data";
            SqliteQuery query(*m_core->connection, sql);
            query.bind(key);
            if (!write.data.isEmpty())
                query.bindBytes(write.data);
            if (query.run() > 0)
                m_core->touch(key);
        }
        return true;
    });
}

} // namespace Tesk::Assets
