#include "SqliteConnection.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <sqlite3.h>

#include <cstring>
#include <utility>

namespace Tesk::Assets {

using Code = StoreError::Code;

static Code storeCode(int code)
{
    switch (code & 0xff) {
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return Code::CannotOpen;
    case SQLITE_NOTADB:
        return Code::NotADatabase;
    case SQLITE_READONLY:
        return Code::ReadOnly;
    case SQLITE_FULL:
        return Code::Full;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return Code::Busy;
    case SQLITE_CORRUPT:
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
        return Code::Damaged;
    case SQLITE_NOMEM:
        return Code::OutOfMemory;
    default:
        return code == SQLITE_IOERR_NOMEM ? Code::OutOfMemory : Code::Io;
    }
}

static QString remedy(Code code, const QString &path)
{
    switch (code) {
    case Code::CannotOpen: {
        const QFileInfo file(path);
        if (file.isDir())
            return QStringLiteral("it is a directory; give the path of a file");
        if (!file.dir().exists())
            return QStringLiteral("there is no such folder; create it first, or correct the path");
        if (!file.exists())
            return QStringLiteral("there is no such file; correct the path, or create a database");
        return QStringLiteral("make the file and its folder accessible to this user");
    }
    case Code::NotADatabase:
        return QStringLiteral("choose another file, or restore a backup if it was one");
    case Code::ReadOnly:
        return QStringLiteral("make the file and its folder writable, or work on a copy");
    case Code::Full:
        return QStringLiteral("nothing of it was stored; free some space on the disk, then try "
                              "again");
    case Code::Busy:
        return QStringLiteral("another program is writing to it; try again when it has ended");
    case Code::Damaged:
        return QStringLiteral("keep a copy of the file, then restore a backup");
    case Code::OutOfMemory:
        return QStringLiteral("nothing of it was stored; close other programs, then try again");
    default:
        return QStringLiteral("nothing of it was stored; check the disk, then try again");
    }
}

static StoreError errorOf(const QString &path, const QString &action, int code,
                          const QString &sqliteText)
{
    return {storeCode(code), QStringLiteral("Cannot %1 \"%2\": %3 (SQLite error %4); %5")
                                     .arg(action, path, sqliteText, QString::number(code),
                                          remedy(storeCode(code), path))};
}

void SqliteConnection::raise(const Place &place, const QString &path, const QString &action,
                             int code, const QString &sqliteText)
{
    const StoreError error = errorOf(path, action, code, sqliteText);
    raiseStoreError(place.text(), error.code(), QString::fromUtf8(error.what()));
}

void SqliteConnection::raise(int code) const
{
    // The extended code of the last call says more, as long as it is of the same kind.
    const int extended = sqlite3_extended_errcode(m_handle);
    const bool fits = (extended & 0xff) == (code & 0xff);
    const QString text = QString::fromUtf8(fits ? sqlite3_errmsg(m_handle) : sqlite3_errstr(code));
    const int shown = fits ? extended : code;
    if (m_isPatient && storeCode(shown) == Code::Busy)
        throw errorOf(m_path, QString::fromLatin1(m_action), shown, text);
    raise(m_place, m_path, QString::fromLatin1(m_action), shown, text);
}

void SqliteConnection::Finalize::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

SqliteConnection::SqliteConnection(const QString &path, const QByteArray &vfs, int flags,
                                   bool immutable)
    : m_path(path)
    , m_place(TESK_PLACE)
{
    QByteArray name = path.toUtf8();
    if (immutable) {
        name = "file:" + QUrl::toPercentEncoding(path, "/") + "?immutable=1";
        flags |= SQLITE_OPEN_URI;
    } else if (name.startsWith(':') || name.startsWith("file:")) {
        name.prepend("./"); // a file of that name, not one of SQLite's special names
    }
    const int code = sqlite3_open_v2(name.constData(), &m_handle, flags | SQLITE_OPEN_EXRESCODE,
                                     vfs.isEmpty() ? nullptr : vfs.constData());
    if (code == SQLITE_OK)
        return;
    const QString text =
            QString::fromUtf8(m_handle ? sqlite3_errmsg(m_handle) : sqlite3_errstr(code));
    sqlite3_close_v2(std::exchange(m_handle, nullptr));
    raise(TESK_PLACE, path, QStringLiteral("open the database"), code, text);
}

SqliteConnection::~SqliteConnection()
{
    m_statements.clear();
    m_textStatements.clear();
    sqlite3_close_v2(m_handle);
}

void SqliteConnection::setBusyTimeout(std::chrono::milliseconds timeout)
{
    sqlite3_busy_timeout(m_handle, static_cast<int>(timeout.count()));
}

bool SqliteConnection::isAutocommit() const
{
    return sqlite3_get_autocommit(m_handle) != 0;
}

void SqliteConnection::execute(const char *sql)
{
    const int code = sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        raise(code);
}

QString SqliteConnection::executeForText(const char *sql)
{
    const StatementPointer statement = prepare(sql, -1);
    const int code = sqlite3_step(statement.get());
    if (code == SQLITE_DONE)
        return {};
    if (code != SQLITE_ROW)
        raise(code);
    const auto *const text =
            reinterpret_cast<const char *>(sqlite3_column_text(statement.get(), 0));
    return QString::fromUtf8(text, sqlite3_column_bytes(statement.get(), 0));
}

SqliteConnection::StatementPointer SqliteConnection::prepare(const char *sql, qsizetype size)
{
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v3(m_handle, sql, static_cast<int>(size),
                                        SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK)
        raise(code);
    return StatementPointer(statement);
}

sqlite3_stmt *SqliteConnection::prepared(const char *sql)
{
    const auto found = m_statements.find(sql);
    if (found != m_statements.end())
        return found->second.get();
    return m_statements.emplace(sql, prepare(sql, -1)).first->second.get();
}

sqlite3_stmt *SqliteConnection::preparedText(const std::string &sql)
{
    const auto found = m_textStatements.find(sql);
    if (found != m_textStatements.end())
        return found->second.get();
    return m_textStatements.emplace(sql, prepare(sql.data(), -1)).first->second.get();
}

} // namespace Tesk::Assets
