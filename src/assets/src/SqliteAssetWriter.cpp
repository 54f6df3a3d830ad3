#include "SqliteAssetWriter.h"

#include "BodyHash.h"
#include "SqliteBlockInsert.h"
#include "SqliteMetaData.h"
#include "SqliteQuery.h"
#include "StoreChecks.h"

#include <QDateTime>

#include <sqlite3.h>

#include <algorithm>
#include <limits>

namespace Tesk::Assets {

using namespace StoreChecks;

// As many new assets are taken together, for the sake of the memory that their rows need.
static constexpr std::ptrdiff_t sMostTogether = 4 * SqliteBlockInsert::sBlockSize;

static const SqliteBlockInsert &assetInsert()
{
    static const auto &statement = *new SqliteBlockInsert(
            "asset (id, class_k, class_version, name, name_key, category_k, flags, revision, "
            "changed, created, modified)",
            11, "ON CONFLICT (id) DO NOTHING");
    return statement;
}

static const SqliteBlockInsert &bodyInsert()
{
    static const auto &statement =
            *new SqliteBlockInsert("body (asset_k, encoding, hash, data)", 4);
    return statement;
}

static const SqliteBlockInsert &dependencyInsert()
{
    static const auto &statement =
            *new SqliteBlockInsert("dependency (asset_k, position, id, role_k)", 4);
    return statement;
}

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

std::vector<qint64> SqliteAssetWriter::write(std::span<const AssetWrite> assets)
{
    for (std::span<const AssetWrite> left = assets; !left.empty();) {
        std::size_t count = writeNewOnes(left);
        if (count == 0) {
            writeOne(left.front());
            count = 1;
        }
        left = left.subspan(count);
    }
    return std::vector<qint64>(assets.size(), assets.empty() ? 0 : m_core.writingGeneration());
}

SqliteAssetWriter::Values SqliteAssetWriter::valuesOf(const AssetRow &row)
{
    Values values;
    values.classKey = m_core.requireTerm(row.className);
    values.categoryKey = m_core.requireTerm(row.category);
    values.name = row.name.toUtf8();
    const QString lower = row.name.toLower();
    values.nameKey = lower == row.name ? values.name : lower.toUtf8();
    return values;
}

void SqliteAssetWriter::bindRow(SqliteQuery &query, const AssetRow &row, const Values &values)
{
    const qint64 generation = m_core.writingGeneration();
    query.bindBytes(row.id)
            .bind(values.classKey)
            .bind(qint64(row.classVersion))
            .bindUtf8(values.name)
            .bindUtf8(values.nameKey)
            .bind(values.categoryKey)
            .bind(qint64(row.flags))
            .bind(generation)
            .bind(generation)
            .bind(m_now)
            .bind(m_now);
}

// --- one asset

void SqliteAssetWriter::writeOne(const AssetWrite &write)
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
    const Values values = valuesOf(row);
    const qint64 inserted = assetInsert().run(
            connection, 1, [&](SqliteQuery &query, std::size_t) { bindRow(query, row, values); });
    if (inserted == 0)
        return std::nullopt;
    const qint64 key = sqlite3_last_insert_rowid(connection.handle());
    announce(key, row, values);
    return key;
}

void SqliteAssetWriter::announce(qint64 key, const AssetRow &row, const Values &values)
{
    SqliteConnection &connection = *m_core.connection;
    if (m_hasDanglingItems)
        SqliteQuery(connection, "UPDATE collection_item SET item_k = ?1, class_k = ?2, name = ?3, "
                                "flags = ?4 WHERE item_id = ?5 AND item_k IS NULL")
                .bind(key)
                .bind(values.classKey)
                .bindUtf8(values.name)
                .bind(qint64(row.flags))
                .bindBytes(row.id)
                .run();
    if (m_hasRemoved)
        SqliteQuery(connection, "DELETE FROM removed WHERE id = ?1").bindBytes(row.id).run();
}

void SqliteAssetWriter::update(const Existing &existing, const AssetRow &row)
{
    const qint64 generation = m_core.writingGeneration();
    const Values values = valuesOf(row);
    SqliteQuery(*m_core.connection,
                "UPDATE asset SET class_k = ?2, class_version = ?3, name = ?4, name_key = ?5, "
                "category_k = ?6, revision = ?7, changed = ?7, modified = ?8 WHERE k = ?1")
            .bind(existing.key)
            .bind(values.classKey)
            .bind(qint64(row.classVersion))
            .bindUtf8(values.name)
            .bindUtf8(values.nameKey)
            .bind(values.categoryKey)
            .bind(generation)
            .bind(m_now)
            .run();
    if (values.classKey != existing.classKey || row.name != existing.name)
        SqliteQuery(*m_core.connection,
                    "UPDATE collection_item SET class_k = ?2, name = ?3 WHERE item_k = ?1")
                .bind(existing.key)
                .bind(values.classKey)
                .bindUtf8(values.name)
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
    for (const DependencyRow &row : rows) {
        const qint64 roleKey = m_core.requireTerm(row.role);
        dependencyInsert().run(*m_core.connection, 1, [&](SqliteQuery &query, std::size_t) {
            query.bind(key).bind(position++).bindBytes(row.id).bind(roleKey);
        });
    }
}

// --- many new assets

std::size_t SqliteAssetWriter::writeNewOnes(std::span<const AssetWrite> assets)
{
    const auto isNew = [](const AssetWrite &write) {
        return write.expectedRevision == 0;
    };
    const auto isAcceptable = [](const AssetWrite &write) {
        return refusalOf(write).isEmpty();
    };
    constexpr auto sFewest = static_cast<std::ptrdiff_t>(SqliteBlockInsert::sBlockSize);
    const auto begin = assets.begin();
    auto end = std::find_if_not(begin, begin + std::min(std::ssize(assets), sMostTogether), isNew);
    if (end - begin >= sFewest) // the first refused one has its turn when those before it are fine
        end = std::find_if_not(begin, end, isAcceptable);
    const auto news = assets.first(static_cast<std::size_t>(end - begin));
    const std::optional<qint64> key =
            end - begin >= sFewest ? keyOfNext(news.size()) : std::nullopt;
    if (!key)
        return 0;

    m_newAssets.clear();
    m_newDependencies.clear();
    for (const AssetWrite &write : news)
        prepareNew(write, *key + std::ssize(m_newAssets));
    if (insertNew()) {
        insertParts();
    } else {
        for (const AssetWrite &write : news) // up to the one whose id is taken, which raises
            writeOne(write);
    }
    return news.size();
}

std::optional<qint64> SqliteAssetWriter::keyOfNext(std::size_t count)
{
    // Only behind every row there is; then those of the parts need not look for older ones either.
    SqliteQuery query(*m_core.connection,
                      "SELECT coalesce(max(k), 0), coalesce((SELECT max(asset_k) FROM body), 0), "
                      "coalesce((SELECT max(asset_k) FROM metadata), 0) FROM asset");
    query.next();
    const qint64 last = query.integer(0);
    const bool isFree = query.integer(1) <= last && query.integer(2) <= last
                        && last < std::numeric_limits<qint64>::max() - static_cast<qint64>(count);
    return isFree ? std::optional(last + 1) : std::nullopt;
}

void SqliteAssetWriter::prepareNew(const AssetWrite &write, qint64 key)
{
    // New terms are numbered as if the assets were written one by one.
    NewAsset &asset = m_newAssets.emplace_back(NewAsset{&write, key, valuesOf(write.row), {}});
    if (write.dependencies) {
        qint64 position = 0;
        for (const DependencyRow &row : *write.dependencies)
            m_newDependencies.push_back({key, position++, &row.id, m_core.requireTerm(row.role)});
    }
    if (write.metaData) {
        for (const MetaRow &row : *write.metaData)
            asset.metaData.append(m_core.requireTerm(row.key), row);
    }
}

bool SqliteAssetWriter::insertNew()
{
    const auto bindAsset = [this](SqliteQuery &query, std::size_t at) {
        bindRow(query, m_newAssets[at].write->row, m_newAssets[at].values);
    };
    if (assetInsert().run(*m_core.connection, m_newAssets.size(), bindAsset)
        == std::ssize(m_newAssets))
        return true;
    SqliteQuery(*m_core.connection, "DELETE FROM asset WHERE k >= ?1")
            .bind(m_newAssets.front().key)
            .run();
    return false;
}

void SqliteAssetWriter::insertParts()
{
    SqliteConnection &connection = *m_core.connection;
    std::vector<const NewAsset *> withBody;
    std::vector<const NewAsset *> withMetaData;
    for (const NewAsset &asset : m_newAssets) {
        const AssetWrite &write = *asset.write;
        announce(asset.key, write.row, asset.values);
        if (write.nextVersion)
            writeNextVersion(asset.key, true, write.row.id, *write.nextVersion);
        if (write.body)
            withBody.push_back(&asset);
        if (asset.metaData.count() > 0)
            withMetaData.push_back(&asset);
    }
    bodyInsert().run(connection, withBody.size(), [&](SqliteQuery &query, std::size_t at) {
        const BodyRow &body = *withBody[at]->write->body;
        query.bind(withBody[at]->key)
                .bind(qint64(body.encoding))
                .bind(body.hash ? *body.hash : bodyHash(body.data))
                .bindBytes(body.data);
    });
    dependencyInsert().run(
            connection, m_newDependencies.size(), [&](SqliteQuery &query, std::size_t at) {
                const NewDependency &row = m_newDependencies[at];
                query.bind(row.key).bind(row.position).bindBytes(*row.id).bind(row.roleKey);
            });
    SqliteMetaData::insertStatement().run(
            connection, withMetaData.size(), [&](SqliteQuery &query, std::size_t at) {
                SqliteMetaData::bind(query, withMetaData[at]->key, withMetaData[at]->metaData);
            });
}

} // namespace Tesk::Assets
