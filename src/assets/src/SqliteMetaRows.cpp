#include "SqliteMetaRows.h"

#include "SqliteQuery.h"

#include <sqlite3.h>

#include <new>
#include <utility>

namespace Tesk::Assets {

namespace {

using Rows = std::vector<SqliteMetaRows::Row>;

/// The rows as SQLite's table.
struct Table : sqlite3_vtab
{
    const Rows *rows = nullptr;
};

/// Goes through the rows once.
struct Cursor : sqlite3_vtab_cursor
{
    std::size_t at = 0;
};

enum Column { AssetKey, KeyTerm, Type, Accessibility, Kind, Value };

constexpr const char *sDeclaration =
        "CREATE TABLE incoming (asset_k, key_k, type, accessibility, kind, value)";

const Rows &rowsOf(const sqlite3_vtab_cursor *cursor)
{
    return *static_cast<const Table *>(cursor->pVtab)->rows;
}

int connectTable(sqlite3 *handle, void *rows, int /*count*/, const char *const * /*words*/,
                 sqlite3_vtab **table, char ** /*message*/)
{
    const int code = sqlite3_declare_vtab(handle, sDeclaration);
    if (code != SQLITE_OK)
        return code;
    sqlite3_vtab_config(handle, SQLITE_VTAB_DIRECTONLY); // nothing in a file may read it
    auto *const made = new (std::nothrow) Table();
    if (made == nullptr)
        return SQLITE_NOMEM;
    made->rows = static_cast<const Rows *>(rows);
    *table = made;
    return SQLITE_OK;
}

int disconnectTable(sqlite3_vtab *table)
{
    delete static_cast<Table *>(table);
    return SQLITE_OK;
}

int planScan(sqlite3_vtab * /*table*/, sqlite3_index_info * /*plan*/)
{
    return SQLITE_OK; // there is one way only: from the first row to the last
}

int openCursor(sqlite3_vtab * /*table*/, sqlite3_vtab_cursor **cursor)
{
    *cursor = new (std::nothrow) Cursor();
    return *cursor == nullptr ? SQLITE_NOMEM : SQLITE_OK;
}

int closeCursor(sqlite3_vtab_cursor *cursor)
{
    delete static_cast<Cursor *>(cursor);
    return SQLITE_OK;
}

int rewindCursor(sqlite3_vtab_cursor *cursor, int /*plan*/, const char * /*text*/, int /*count*/,
                 sqlite3_value ** /*values*/)
{
    static_cast<Cursor *>(cursor)->at = 0;
    return SQLITE_OK;
}

int advanceCursor(sqlite3_vtab_cursor *cursor)
{
    ++static_cast<Cursor *>(cursor)->at;
    return SQLITE_OK;
}

int isAtEnd(sqlite3_vtab_cursor *cursor)
{
    return static_cast<Cursor *>(cursor)->at >= rowsOf(cursor).size() ? 1 : 0;
}

int giveColumn(sqlite3_vtab_cursor *cursor, sqlite3_context *result, int column)
{
    const SqliteMetaRows::Row &row = rowsOf(cursor)[static_cast<Cursor *>(cursor)->at];
    switch (column) {
    case AssetKey:
        sqlite3_result_int64(result, row.assetKey);
        break;
    case KeyTerm:
        sqlite3_result_int64(result, row.keyTerm);
        break;
    case Type:
        sqlite3_result_int(result, row.type);
        break;
    case Accessibility:
        sqlite3_result_int(result, row.accessibility);
        break;
    case Kind:
        sqlite3_result_int(result, row.value.kind());
        break;
    case Value:
        row.value.giveTo(result);
        break;
    default:
        break;
    }
    return SQLITE_OK;
}

int giveRowNumber(sqlite3_vtab_cursor *cursor, sqlite3_int64 *number)
{
    *number = static_cast<sqlite3_int64>(static_cast<Cursor *>(cursor)->at);
    return SQLITE_OK;
}

// Without xCreate: it is there without having been created, and in no file.
const sqlite3_module sModule = [] {
    sqlite3_module module{};
    module.xConnect = connectTable;
    module.xDisconnect = disconnectTable;
    module.xBestIndex = planScan;
    module.xOpen = openCursor;
    module.xClose = closeCursor;
    module.xFilter = rewindCursor;
    module.xNext = advanceCursor;
    module.xEof = isAtEnd;
    module.xColumn = giveColumn;
    module.xRowid = giveRowNumber;
    return module;
}();

} // namespace

SqliteMetaRows::SqliteMetaRows(SqliteConnection &connection)
    : m_connection(connection)
{
    const int code = sqlite3_create_module(connection.handle(), "incoming_meta", &sModule, &m_rows);
    if (code != SQLITE_OK)
        connection.raise(code);
}

void SqliteMetaRows::store()
{
    if (m_rows.empty())
        return;
    SqliteQuery(m_connection,
                "INSERT INTO meta (asset_k, key_k, type, accessibility, kind, value) "
                "SELECT asset_k, key_k, type, accessibility, kind, value FROM incoming_meta "
                "WHERE true ON CONFLICT (asset_k, key_k) DO UPDATE SET "
                "type = excluded.type, accessibility = excluded.accessibility, "
                "kind = excluded.kind, value = excluded.value")
            .run();
    m_rows.clear();
}

} // namespace Tesk::Assets
