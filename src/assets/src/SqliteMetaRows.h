#pragma once

#include "SqliteConnection.h"
#include "SqliteValue.h"

#include <QtGlobal>

#include <cstddef>
#include <utility>
#include <vector>

namespace Tesk::Assets {

/// Metadata of new assets on its way into the file, many rows by one statement.
///
/// A statement for each row costs nearly twice as much, most of it for its beginning and end. The
/// one statement takes the rows from a table that only the connection knows.
///
/// Threads: one at a time, as the connection.
class SqliteMetaRows
{
public:
    /// Makes the table known; the connection must end before this object.
    explicit SqliteMetaRows(SqliteConnection &connection);
    Q_DISABLE_COPY_MOVE(SqliteMetaRows)

    struct Row
    {
        qint64 assetKey;
        qint64 keyTerm;
        int type;
        int accessibility;
        SqliteValue value;
    };

    /// Keeps the row until store(); cheapest in the order of assets and keys.
    void add(Row row) { m_rows.push_back(std::move(row)); }
    bool isFull() const { return m_rows.size() >= sMost; }

    /// Writes the rows, over those of the same asset and key, and forgets them. Raises.
    void store();
    void clear() { m_rows.clear(); }

private:
    static constexpr std::size_t sMost = 1000; // with their values some 200 kilobytes

    SqliteConnection &m_connection;
    std::vector<Row> m_rows;
};

} // namespace Tesk::Assets
