#include "SqliteRows.h"

#include "SqliteValue.h"
#include "StoreChecks.h"

#include <vantbase/Exception.h>

namespace Tesk::Assets {

qint64 bodyHash(const QByteArray &data)
{
    quint64 hash = 0xcbf29ce484222325ULL;
    for (const char unit : data) {
        hash ^= static_cast<unsigned char>(unit);
        hash *= 0x100000001b3ULL;
    }
    return static_cast<qint64>(hash);
}

void writeMetaRow(SqliteCore &core, qint64 assetKey, const MetaRow &row)
{
    const SqliteValue value(row.value);
    SqliteQuery query(*core.connection,
                      "INSERT INTO meta (asset_k, key_k, type, accessibility, kind, value) "
                      "VALUES (?1, ?2, ?3, ?4, ?5, ?6) ON CONFLICT (asset_k, key_k) DO UPDATE SET "
                      "type = excluded.type, accessibility = excluded.accessibility, "
                      "kind = excluded.kind, value = excluded.value");
    query.bind(assetKey)
            .bind(core.requireTerm(row.key))
            .bind(qint64(row.type))
            .bind(qint64(row.accessibility));
    value.bindTo(query);
    query.run();
}

MetaRow readMetaRow(SqliteCore &core, const QByteArray &id, const SqliteQuery &query)
{
    MetaRow row;
    row.key = core.termText(query.integer(0));
    row.type = static_cast<int>(query.integer(1));
    row.accessibility = static_cast<int>(query.integer(2));
    try {
        row.value = SqliteValue::read(query, 3);
    } catch (const StoreError &) {
        throw; // not for the sake of this value
    } catch (const Exception::BaseException &error) {
        StoreChecks::raise(
                TESK_PLACE, StoreError::Code::Damaged,
                QStringLiteral("Cannot read the metadata \"%1\" of asset \"%2\": %3; set "
                               "it anew, or restore a backup")
                        .arg(row.key, StoreChecks::readable(id), QString::fromUtf8(error.what())),
                id);
    }
    return row;
}

} // namespace Tesk::Assets
