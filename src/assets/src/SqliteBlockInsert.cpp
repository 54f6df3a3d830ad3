#include "SqliteBlockInsert.h"

namespace Tesk::Assets {

static std::string statement(const std::string &table, int columnCount,
                             const std::string &onConflict, std::size_t rowCount)
{
    std::string row = "(?";
    for (int column = 1; column < columnCount; ++column)
        row += ", ?";
    row += ')';
    // For an INSERT that might have to undo rows of its own SQLite first copies every page it
    // touches; FAIL leaves that to the transaction.
    std::string sql = "INSERT OR FAIL INTO " + table + " VALUES " + row;
    for (std::size_t count = 1; count < rowCount; ++count)
        sql += ", " + row;
    return sql + ' ' + onConflict;
}

SqliteBlockInsert::SqliteBlockInsert(const std::string &table, int columnCount,
                                     const std::string &onConflict)
    : m_forOne(statement(table, columnCount, onConflict, 1))
    , m_forBlock(statement(table, columnCount, onConflict, sBlockSize))
{}

} // namespace Tesk::Assets
