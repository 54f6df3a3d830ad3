#include "SqliteQuery.h"

#include <sqlite3.h>

namespace Tesk::Assets {

SqliteQuery::SqliteQuery(SqliteConnection &connection, const char *sql)
    : m_connection(connection)
    , m_statement(connection.prepared(sql))
{}

SqliteQuery::SqliteQuery(SqliteConnection &connection, const std::string &sql)
    : m_connection(connection)
    , m_statement(connection.preparedText(sql))
{}

SqliteQuery::~SqliteQuery()
{
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement); // bound bytes may be gone from here on
}

SqliteQuery &SqliteQuery::reuse()
{
    sqlite3_reset(m_statement);
    m_parameter = 0;
    return *this;
}

SqliteQuery &SqliteQuery::bind(qint64 value)
{
    const int code = sqlite3_bind_int64(m_statement, ++m_parameter, value);
    if (code != SQLITE_OK)
        m_connection.raise(code);
    return *this;
}

SqliteQuery &SqliteQuery::bind(double value)
{
    const int code = sqlite3_bind_double(m_statement, ++m_parameter, value);
    if (code != SQLITE_OK)
        m_connection.raise(code);
    return *this;
}

SqliteQuery &SqliteQuery::bind(std::optional<qint64> value)
{
    return value ? bind(*value) : bindNull();
}

SqliteQuery &SqliteQuery::bindNull()
{
    const int code = sqlite3_bind_null(m_statement, ++m_parameter);
    if (code != SQLITE_OK)
        m_connection.raise(code);
    return *this;
}

SqliteQuery &SqliteQuery::bindBytes(const QByteArray &bytes)
{
    const int code = sqlite3_bind_blob64(m_statement, ++m_parameter, bytes.constData(),
                                         static_cast<sqlite3_uint64>(bytes.size()), SQLITE_STATIC);
    if (code != SQLITE_OK)
        m_connection.raise(code);
    return *this;
}

SqliteQuery &SqliteQuery::bindUtf8(const QByteArray &utf8)
{
    const int code = sqlite3_bind_text64(m_statement, ++m_parameter, utf8.constData(),
                                         static_cast<sqlite3_uint64>(utf8.size()), SQLITE_STATIC,
                                         SQLITE_UTF8);
    if (code != SQLITE_OK)
        m_connection.raise(code);
    return *this;
}

bool SqliteQuery::next()
{
    const int code = sqlite3_step(m_statement);
    if (code == SQLITE_ROW)
        return true;
    if (code != SQLITE_DONE)
        m_connection.raise(code);
    return false;
}

qint64 SqliteQuery::run()
{
    next();
    return sqlite3_changes64(m_connection.handle());
}

int SqliteQuery::columnCount() const
{
    return sqlite3_column_count(m_statement);
}

bool SqliteQuery::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

qint64 SqliteQuery::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

double SqliteQuery::real(int column) const
{
    return sqlite3_column_double(m_statement, column);
}

QByteArray SqliteQuery::bytes(int column) const
{
    return bytesView(column).toByteArray();
}

QByteArrayView SqliteQuery::bytesView(int column) const
{
    const void *const data = sqlite3_column_blob(m_statement, column);
    const int size = sqlite3_column_bytes(m_statement, column);
    if (!data && size == 0 && sqlite3_errcode(m_connection.handle()) == SQLITE_NOMEM)
        m_connection.raise(SQLITE_NOMEM);
    return {static_cast<const char *>(data), size};
}

QString SqliteQuery::text(int column) const
{
    const auto *const data =
            reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    const int size = sqlite3_column_bytes(m_statement, column);
    if (!data && sqlite3_errcode(m_connection.handle()) == SQLITE_NOMEM)
        m_connection.raise(SQLITE_NOMEM);
    return QString::fromUtf8(data, size);
}

} // namespace Tesk::Assets
