#pragma once

#include "SqliteConnection.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>
#include <string>

namespace Tesk::Assets {

/// One use of a prepared statement: parameters in their order, then rows. Resets it at the end.
///
/// Bytes are bound without a copy: they must live until the next reuse() or the end.
/// Errors: what SQLite reports, as StoreError.
class SqliteQuery
{
public:
    SqliteQuery(SqliteConnection &connection, const char *sql);
    SqliteQuery(SqliteConnection &connection, const std::string &sql);
    ~SqliteQuery();
    Q_DISABLE_COPY_MOVE(SqliteQuery)

    /// Makes it ready for other parameters.
    SqliteQuery &reuse();
    SqliteQuery &bind(qint64 value);
    SqliteQuery &bind(double value);
    SqliteQuery &bind(std::optional<qint64> value);
    SqliteQuery &bindNull();
    SqliteQuery &bindBytes(const QByteArray &bytes);
    SqliteQuery &bindBytes(QByteArray &&) = delete;
    SqliteQuery &bindUtf8(const QByteArray &utf8);
    SqliteQuery &bindUtf8(QByteArray &&) = delete;

    /// Goes to the next row; false when there is none.
    bool next();

    /// Runs a statement that gives no rows; returns how many it changed.
    qint64 run();

    int columnCount() const;
    bool isNull(int column) const;
    qint64 integer(int column) const;
    double real(int column) const;
    QByteArray bytes(int column) const;
    QByteArrayView bytesView(int column) const; ///< valid until the next row
    QString text(int column) const;

private:
    SqliteConnection &m_connection;
    sqlite3_stmt *m_statement;
    int m_parameter = 0;
};

} // namespace Tesk::Assets
