#pragma once

#include "Place.h"

#include <assets/StoreError.h>

#include <QByteArray>
#include <QString>

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace Tesk::Assets {

/// An open SQLite file, its prepared statements, and the way its errors reach people.
///
/// Threads: one at a time; its owner keeps a mutex.
class SqliteConnection
{
public:
    /// Raises CannotOpen. \a vfs names a file layer of SQLite; empty for the usual one.
    SqliteConnection(const QString &path, const QByteArray &vfs, int flags, bool immutable = false);
    ~SqliteConnection();
    Q_DISABLE_COPY_MOVE(SqliteConnection)

    const QString &path() const { return m_path; }
    sqlite3 *handle() const { return m_handle; }

    void setBusyTimeout(std::chrono::milliseconds timeout);

    /// Whether SQLite has no transaction open, be it that it ended one after an error.
    bool isAutocommit() const;

    /// Runs statements that give no rows. Raises.
    void execute(const char *sql);

    /// Runs a statement whose first column of its first row is the answer; null without a row.
    QString executeForText(const char *sql);

    /// Returns the statement, prepared once. \a sql is a literal: its address is the key.
    sqlite3_stmt *prepared(const char *sql);
    sqlite3_stmt *preparedText(const std::string &sql);

    /// What is being done, for messages: "write to the database".
    void setAction(const char *action) { m_action = action; }

    /// Whether an error that says Busy is left out of the log, because the caller tries again.
    void setPatient(bool isPatient) { m_isPatient = isPatient; }
    void setPlace(const Place &place) { m_place = place; }
    const Place &place() const { return m_place; }

    /// Raises what the last call of SQLite reported.
    [[noreturn]] void raise(int code) const;

    /// Raises \a sqliteText as the reason why \a action failed.
    [[noreturn]] static void raise(const Place &place, const QString &path, const QString &action,
                                   int code, const QString &sqliteText);

private:
    struct Finalize
    {
        void operator()(sqlite3_stmt *statement) const;
    };
    using StatementPointer = std::unique_ptr<sqlite3_stmt, Finalize>;

    StatementPointer prepare(const char *sql, qsizetype size);

    QString m_path;
    Place m_place;
    const char *m_action = "open the database";
    bool m_isPatient = false;
    sqlite3 *m_handle = nullptr;
    std::unordered_map<const void *, StatementPointer> m_statements;
    std::unordered_map<std::string, StatementPointer> m_textStatements;
};

} // namespace Tesk::Assets
