#include "SqliteMetaData.h"

#include "SqliteOldMetaData.h"
#include "StoreChecks.h"

#include <vantbase/Exception.h>

#include <algorithm>

namespace Tesk::Assets::SqliteMetaData {

using StoreChecks::readable;

const SqliteIdStatement &readingStatement(SqliteCore &core)
{
    static const auto &current = *new SqliteIdStatement(
            "encoding, items, data", "JOIN metadata ON metadata.asset_k = asset.k");
    static const auto &older = *new SqliteIdStatement(SqliteOldMetaData::sColumnsOfAsset, "");
    return core.hasOldMetaData() ? older : current;
}

const char *scanText(SqliteCore &core)
{
    return core.hasOldMetaData() ? SqliteOldMetaData::sScan
                                 : "SELECT asset.id, encoding, items, data FROM metadata "
                                   "JOIN asset ON asset.k = metadata.asset_k ORDER BY asset.k";
}

static StoredMetaData::Reader readerOf(const SqliteQuery &row, int column)
{
    return {row.integer(column), row.integer(column + 1), row.bytesView(column + 2)};
}

/// Reads the item where \a reader is.
static MetaRow itemOf(SqliteCore &core, const QByteArray &id, const StoredMetaData::Reader &reader)
{
    MetaRow item;
    item.key = core.termText(reader.keyTerm());
    item.type = reader.type();
    item.accessibility = reader.accessibility();
    try {
        item.value = reader.value();
    } catch (const Exception::BaseException &error) {
        StoreChecks::raise(
                TESK_PLACE, StoreError::Code::Damaged,
                QStringLiteral("Cannot read the metadata \"%1\" of asset \"%2\": %3; set "
                               "it anew, or restore a backup")
                        .arg(item.key, readable(id), QString::fromUtf8(error.what())),
                id);
    }
    return item;
}

/// Runs \a work, which goes through the items of a row.
template<class Work>
static auto guarded(const QByteArray &id, Work work)
{
    try {
        return work();
    } catch (const Exception::Data::SerializationException &error) {
        StoreChecks::raise(TESK_PLACE, StoreError::Code::Damaged,
                           QStringLiteral("Cannot read the metadata of asset \"%1\": %2; restore a "
                                          "backup, or remove the asset and store it again")
                                   .arg(readable(id), QString::fromUtf8(error.what())),
                           id);
    }
}

std::vector<MetaRow> read(SqliteCore &core, const QByteArray &id, const SqliteQuery &row)
{
    std::vector<MetaRow> items = guarded(id, [&] {
        std::vector<MetaRow> found;
        StoredMetaData::Reader reader = readerOf(row, 0);
        while (reader.next())
            found.push_back(itemOf(core, id, reader));
        return found;
    });
    const auto isBefore = [](const MetaRow &left, const MetaRow &right) {
        return left.key < right.key;
    };
    if (!std::is_sorted(items.begin(), items.end(), isBefore)) // mostly written in this order
        std::sort(items.begin(), items.end(), isBefore);
    return items;
}

std::optional<MetaRow> readItem(SqliteCore &core, const QByteArray &id, const SqliteQuery &row,
                                qint64 keyTerm)
{
    return guarded(id, [&]() -> std::optional<MetaRow> {
        StoredMetaData::Reader reader = readerOf(row, 0);
        while (reader.next()) {
            if (reader.keyTerm() == keyTerm)
                return itemOf(core, id, reader);
        }
        return std::nullopt;
    });
}

void check(SqliteCore &core, const QByteArray &id, const SqliteQuery &row, int column,
           const std::function<void(const QString &)> &report)
{
    try {
        StoredMetaData::Reader reader = readerOf(row, column);
        while (reader.next()) {
            try {
                reader.value();
            } catch (const Exception::BaseException &error) {
                report(QStringLiteral("The metadata \"%1\" of asset \"%2\" cannot be read: %3")
                               .arg(core.termText(reader.keyTerm()), readable(id),
                                    QString::fromUtf8(error.what())));
            }
        }
    } catch (const Exception::Data::SerializationException &error) {
        report(QStringLiteral("The metadata of asset \"%1\" cannot be read: %2")
                       .arg(readable(id), QString::fromUtf8(error.what())));
    }
}

StoredMetaData load(SqliteCore &core, const QByteArray &id, qint64 assetKey)
{
    SqliteQuery query(*core.connection,
                      "SELECT encoding, items, data FROM metadata WHERE asset_k = ?1");
    if (!query.bind(assetKey).next())
        return {};
    return guarded(id, [&] { // all of it, before anything of it is changed
        StoredMetaData::Reader reader = readerOf(query, 0);
        while (reader.next()) {
        }
        return StoredMetaData(query.integer(1), query.bytes(2));
    });
}

void store(SqliteCore &core, qint64 assetKey, const StoredMetaData &metaData)
{
    if (metaData.count() == 0) {
        SqliteQuery(*core.connection, "DELETE FROM metadata WHERE asset_k = ?1")
                .bind(assetKey)
                .run();
        return;
    }
    SqliteQuery query(*core.connection,
                      "INSERT INTO metadata (asset_k, encoding, items, data) "
                      "VALUES (?1, ?2, ?3, ?4) ON CONFLICT (asset_k) DO UPDATE SET "
                      "encoding = excluded.encoding, items = excluded.items, data = excluded.data");
    bind(query, assetKey, metaData);
    query.run();
}

const SqliteBlockInsert &insertStatement()
{
    static const auto &statement =
            *new SqliteBlockInsert("metadata (asset_k, encoding, items, data)", 4);
    return statement;
}

void bind(SqliteQuery &query, qint64 assetKey, const StoredMetaData &metaData)
{
    query.bind(assetKey)
            .bind(qint64(StoredMetaData::sEncoding))
            .bind(metaData.count())
            .bindBytes(metaData.bytes());
}

} // namespace Tesk::Assets::SqliteMetaData
