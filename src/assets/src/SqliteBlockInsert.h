#pragma once

#include "SqliteQuery.h"

#include <cstddef>
#include <string>

namespace Tesk::Assets {

/// An INSERT of any number of rows, many of them in one run: to start a statement costs about as
/// much as to insert a small row.
///
/// Where a row fails, those before it are left behind: for work that is undone as a whole.
///
/// Ownership: made once and never destroyed; connections know it by the address of its text, and
/// may be used while the process ends.
/// Threads: those of the connection.
class SqliteBlockInsert
{
public:
    /// Inserts into \a table, a name with its columns in brackets, \a columnCount of them; what
    /// \a onConflict says happens to a row that is there already.
    SqliteBlockInsert(const std::string &table, int columnCount,
                      const std::string &onConflict = {});

    /// Inserts \a count rows, the values of each bound by \a bindRow(query, index); what it binds
    /// must live until the end. Returns how many rows were inserted.
    template<class BindRow>
    qint64 run(SqliteConnection &connection, std::size_t count, BindRow bindRow) const;

    // Twice as many win little more, and the statement takes twice as long to prepare.
    static constexpr std::size_t sBlockSize = 16;

private:
    const std::string m_forOne;
    const std::string m_forBlock;
};

template<class BindRow>
qint64 SqliteBlockInsert::run(SqliteConnection &connection, std::size_t count,
                              BindRow bindRow) const
{
    qint64 inserted = 0;
    for (std::size_t at = 0; at < count;) {
        const bool isBlock = count - at >= sBlockSize;
        SqliteQuery query(connection, (isBlock ? m_forBlock : m_forOne).c_str());
        const std::size_t end = at + (isBlock ? sBlockSize : 1);
        for (; at < end; ++at)
            bindRow(query, at);
        inserted += query.run();
    }
    return inserted;
}

} // namespace Tesk::Assets
