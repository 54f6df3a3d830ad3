#include "SqliteIdStatement.h"

namespace Tesk::Assets {

SqliteIdStatement::SqliteIdStatement(const std::string &columns, const std::string &joins)
    : m_forOne("SELECT " + columns + ", 0 FROM asset " + joins + " WHERE asset.id = ?1")
    , m_forBlock([&] {
        std::string sql = "WITH wanted (place, id) AS (VALUES ";
        for (std::size_t place = 0; place < sBlockSize; ++place) {
            sql += (place == 0 ? "(" : ", (") + std::to_string(place) + ", ?"
                   + std::to_string(place + 1) + ')';
        }
        // CROSS keeps the ids the outer loop, whatever SQLite thinks of the tables' sizes.
        return sql + ") SELECT " + columns
               + ", wanted.place FROM wanted CROSS JOIN asset ON asset.id = wanted.id " + joins;
    }())
{}

} // namespace Tesk::Assets
