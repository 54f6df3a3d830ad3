#pragma once

#include "SqliteQuery.h"

#include <QByteArray>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

namespace Tesk::Assets {

/// A SELECT that looks assets up by their ids, many of them in one run: to start a statement costs
/// more than to find an asset.
///
/// Ownership: made once and never destroyed; connections know it by the address of its text, and
/// may be used while the process ends.
/// Threads: those of the connection.
class SqliteIdStatement
{
public:
    /// Selects \a columns of the table asset and of \a joins.
    SqliteIdStatement(const std::string &columns, const std::string &joins);

    /// Calls \a visit(place, row) for each row found; \a place is that of the row's id in \a ids.
    template<class Visit>
    void run(SqliteConnection &connection, std::span<const QByteArray> ids, Visit visit) const;

private:
    static constexpr std::size_t sBlockSize = 32;

    const std::string m_forOne;
    const std::string m_forBlock;
};

template<class Visit>
void SqliteIdStatement::run(SqliteConnection &connection, std::span<const QByteArray> ids,
                            Visit visit) const
{
    const std::size_t blockSize = ids.size() == 1 ? 1 : sBlockSize;
    SqliteQuery query(connection, (blockSize == 1 ? m_forOne : m_forBlock).c_str());
    for (std::size_t first = 0; first < ids.size(); first += blockSize) {
        const auto block = ids.subspan(first, std::min(blockSize, ids.size() - first));
        query.reuse();
        for (const QByteArray &id : block)
            query.bindBytes(id);
        for (std::size_t unused = block.size(); unused < blockSize; ++unused)
            query.bindNull(); // finds nothing
        const int placeColumn = query.columnCount() - 1;
        while (query.next())
            visit(first + static_cast<std::size_t>(query.integer(placeColumn)), query);
    }
}

} // namespace Tesk::Assets
