#include "SqliteSchema.h"

#include "SqliteQuery.h"
#include "StoreChecks.h"

#include <assets/SqliteStore.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QUuid>

#include <sqlite3.h>

#include <exception>
#include <utility>

// Outside of every namespace, as the macro asks for.
static void initializeScripts()
{
    Q_INIT_RESOURCE(assets_sql);
}

namespace Tesk::Assets::SqliteSchema {

static const QByteArray sProgramVersion = QByteArrayLiteral(TESK_PROGRAM_VERSION);

static State readState(SqliteConnection &connection)
{
    State state;
    const QString tables = connection.executeForText("SELECT COUNT(*) FROM sqlite_schema");
    state.isEmpty = tables == QLatin1StringView("0");
    state.applicationId =
            static_cast<quint32>(connection.executeForText("PRAGMA application_id").toLongLong());
    state.version = connection.executeForText("PRAGMA user_version").toInt();
    return state;
}

State inspect(SqliteConnection &connection)
{
    // Another process may be creating the database between two of the reads; what is read twice
    // alike is the state of one moment.
    State before = readState(connection);
    while (true) {
        const State state = readState(connection);
        if (state.isEmpty == before.isEmpty && state.applicationId == before.applicationId
            && state.version == before.version)
            return state;
        before = state;
    }
}

static QString programOf(SqliteConnection &connection)
{
    try {
        return connection.executeForText(
                "SELECT program FROM migration ORDER BY version DESC LIMIT 1");
    } catch (const StoreError &) {
        return {}; // a newer version may keep its history elsewhere
    }
}

void requireKnown(const Place &place, SqliteConnection &connection, const State &state)
{
    const QString &path = connection.path();
    if (state.isEmpty && state.applicationId == 0 && state.version == 0)
        return;
    if (state.applicationId != sApplicationId)
        StoreChecks::raise(place, StoreError::Code::NotADatabase,
                           QStringLiteral("Cannot open \"%1\": it is an SQLite file of another "
                                          "program, application id %2 instead of %3; choose "
                                          "another file")
                                   .arg(path, QString::number(state.applicationId, 16),
                                        QString::number(sApplicationId, 16)));
    if (state.version <= SqliteStore::sSchemaVersion)
        return;
    const QString program = programOf(connection);
    StoreChecks::raise(
            place, StoreError::Code::NewerSchema,
            QStringLiteral("Cannot open \"%1\": schema %2 is newer than %3, the newest known; open "
                           "it with version %4 of the program or a newer one")
                    .arg(path, QString::number(state.version),
                         QString::number(SqliteStore::sSchemaVersion),
                         program.isEmpty() ? QStringLiteral("(not recorded)") : program));
}

void setPragma(SqliteConnection &connection, const char *name, const char *value,
               const QString &expected)
{
    const QByteArray pragma = QByteArrayLiteral("PRAGMA ") + name;
    connection.executeForText((pragma + '=' + value).constData());
    const QString found = connection.executeForText(pragma.constData());
    if (found != expected)
        StoreChecks::raise(
                TESK_PLACE, StoreError::Code::CannotOpen,
                QStringLiteral("Cannot open \"%1\": SQLite keeps %2 at \"%3\" where "
                               "\"%4\" is needed; use a local disk")
                        .arg(connection.path(), QString::fromLatin1(name), found, expected));
}

void configureReading(SqliteConnection &connection)
{
    setPragma(connection, "trusted_schema", "OFF", QStringLiteral("0"));
    setPragma(connection, "cache_size", "-8192", QStringLiteral("-8192"));
}

void configure(SqliteConnection &connection)
{
    configureReading(connection);
    setPragma(connection, "journal_mode", "WAL", QStringLiteral("wal"));
    setPragma(connection, "synchronous", "NORMAL", QStringLiteral("1"));
    // The store writes rows of assets that it has just found or made, and removes them with the
    // asset: to look the asset up again for each of them would be nearly a tenth of an insert.
    setPragma(connection, "foreign_keys", "OFF", QStringLiteral("0"));
    setPragma(connection, "secure_delete", "OFF", QStringLiteral("0"));
    // A large import leaves a large log; without a limit it would stay that large.
    setPragma(connection, "journal_size_limit", "67108864", QStringLiteral("67108864"));
}

static QByteArray scriptOf(int version)
{
    initializeScripts();
    QFile script(QStringLiteral(":/tesk/assets/sql/schema-%1.sql").arg(version));
    if (!script.open(QIODevice::ReadOnly))
        StoreChecks::raise(TESK_PLACE, StoreError::Code::Damaged,
                           QStringLiteral("Cannot make schema %1: the program lacks its script; "
                                          "install it again")
                                   .arg(version));
    return script.readAll();
}

void requireOwnCode(const Place &place, SqliteConnection &connection)
{
    SqliteQuery query(connection,
                      "SELECT name, sql FROM sqlite_schema "
                      "WHERE type IN ('trigger', 'view') OR sql LIKE 'CREATE VIRTUAL%'");
    QByteArray scripts;
    while (query.next()) {
        if (scripts.isEmpty()) {
            for (int version = 1; version <= SqliteStore::sSchemaVersion; ++version)
                scripts += scriptOf(version);
        }
        if (!scripts.contains(query.bytes(1)))
            StoreChecks::raise(
                    place, StoreError::Code::Damaged,
                    QStringLiteral("Cannot open \"%1\": it holds \"%2\", which no version "
                                   "of the program made and which would run by itself; "
                                   "restore a backup")
                            .arg(connection.path(), query.text(0)));
    }
}

static void apply(SqliteConnection &connection, int version)
{
    const QByteArray sql = scriptOf(version);
    connection.execute(sql.constData());

    const QByteArray hash = QCryptographicHash::hash(sql, QCryptographicHash::Sha256).toHex();
    SqliteQuery record(connection, "INSERT INTO migration (version, hash, applied, program) "
                                   "VALUES (?1, ?2, ?3, ?4)");
    record.bind(qint64(version)).bindUtf8(hash).bind(QDateTime::currentMSecsSinceEpoch());
    record.bindUtf8(sProgramVersion).run();
    connection.execute(("PRAGMA user_version=" + QByteArray::number(version)).constData());
}

/// Runs \a work between BEGIN IMMEDIATE and COMMIT.
template<class Work>
static void inTransaction(SqliteConnection &connection, Work work)
{
    connection.execute("BEGIN IMMEDIATE");
    try {
        work();
        connection.execute("COMMIT");
    } catch (...) {
        sqlite3_exec(connection.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

void create(SqliteConnection &connection)
{
    inTransaction(connection, [&connection] {
        if (!inspect(connection).isEmpty)
            return;
        connection.execute(
                ("PRAGMA application_id=" + QByteArray::number(sApplicationId)).constData());
        for (int version = 1; version <= SqliteStore::sSchemaVersion; ++version)
            apply(connection, version);
        const QByteArray id = QUuid::createUuid().toRfc4122();
        SqliteQuery(connection, "INSERT INTO database (one, id, generation) VALUES (1, ?1, 0)")
                .bindBytes(id)
                .run();
    });
}

void migrate(SqliteConnection &connection, const std::function<void(int)> &keep)
{
    bool isKept = false;
    int version = 0;
    while (version < SqliteStore::sSchemaVersion) {
        inTransaction(connection, [&] {
            version = inspect(connection).version; // another process may have been faster
            if (version >= SqliteStore::sSchemaVersion)
                return;
            if (!std::exchange(isKept, true))
                keep(version); // nobody else writes meanwhile
            apply(connection, ++version);
        });
    }
}

} // namespace Tesk::Assets::SqliteSchema
