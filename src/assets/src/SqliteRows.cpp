#include "SqliteRows.h"

#include "SqliteValue.h"

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

MetaRow readMetaRow(SqliteCore &core, const SqliteQuery &query, int column)
{
    MetaRow row;
    row.key = core.termText(query.integer(column));
    row.type = static_cast<int>(query.integer(column + 1));
    row.accessibility = static_cast<int>(query.integer(column + 2));
    row.value = SqliteValue::read(query, column + 3);
    return row;
}

} // namespace Tesk::Assets
