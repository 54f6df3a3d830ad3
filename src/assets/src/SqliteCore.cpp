#include "SqliteCore.h"

#include "SqliteOldMetaData.h"
#include "SqliteSchema.h"
#include "StoreChecks.h"

#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <QFile>
#include <QFileInfo>

#include <chrono>
#include <sqlite3.h>

#include <utility>

namespace Tesk::Assets {

using Code = StoreError::Code;

// For the length of a batch, which may touch much of the file; and for everything else.
static constexpr const char *sBatchCache = "PRAGMA cache_size=-65536";
static constexpr const char *sUsualCache = "PRAGMA cache_size=-8192";

SqliteCore::SqliteCore(const QString &filePath, SqliteStore::Mode mode,
                       SqliteStore::Options options)
    : path(filePath)
    , m_options(std::move(options))
{
    open(mode);
    connection->setAction("read the database");
    SqliteQuery query(*connection, "SELECT id, generation FROM database");
    if (!query.next())
        StoreChecks::raise(TESK_PLACE, Code::Damaged,
                           QStringLiteral("Cannot open \"%1\": it has no identity; keep a copy of "
                                          "the file, then restore a backup")
                                   .arg(path));
    databaseId = query.bytes(0);
    seenGeneration = query.integer(1);
}

SqliteCore::~SqliteCore() = default; // closing rolls back what is open

std::unique_ptr<SqliteConnection> SqliteCore::connect(int flags, bool immutable) const
{
    auto result = std::make_unique<SqliteConnection>(path, m_options.fileLayer,
                                                     flags | SQLITE_OPEN_NOMUTEX, immutable);
    result->setPlace(TESK_PLACE);
    result->setBusyTimeout(m_options.busyTimeout);
    sqlite3_db_config(result->handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    // Until the file is known to be ours not a byte of it may change, at closing neither.
    sqlite3_db_config(result->handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    SqliteOldMetaData::registerFunction(*result);
    return result;
}

void SqliteCore::open(SqliteStore::Mode mode)
{
    using Mode = SqliteStore::Mode;
    if (path.isEmpty()) // which SQLite would take for a file of its own that is soon gone
        StoreChecks::raise(TESK_PLACE, Code::CannotOpen,
                           QStringLiteral("Cannot open a database: the path is empty; give the "
                                          "path of a file"));
    if (mode == Mode::Create)
        createFile();
    // While another process turns a new file into a database, SQLite answers "locked" without
    // waiting as it does otherwise.
    const auto deadline = std::chrono::steady_clock::now() + m_options.busyTimeout;
    while (true) {
        try {
            openFile(mode);
            return;
        } catch (const StoreError &error) {
            if (error.code() != Code::Busy)
                throw;
            if (std::chrono::steady_clock::now() >= deadline)
                StoreChecks::raise(TESK_PLACE, Code::Busy, QString::fromUtf8(error.what()));
        }
        connection.reset();
        sqlite3_sleep(1);
    }
}

/// Makes the file, so that of two processes that create it one is told.
void SqliteCore::createFile() const
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly) || !QFileInfo::exists(path))
        return; // where it cannot be made SQLite says why
    StoreChecks::raise(TESK_PLACE, Code::CannotOpen,
                       QStringLiteral("Cannot create \"%1\": there is such a file; choose "
                                      "another name, or open it")
                               .arg(path));
}

void SqliteCore::openFile(SqliteStore::Mode mode)
{
    using Mode = SqliteStore::Mode;
    const bool mayCreate = mode == Mode::Create || mode == Mode::OpenOrCreate;
    const int flags = mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY
                      : mayCreate            ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE
                                             : SQLITE_OPEN_READWRITE;
    connection = connect(flags, false);
    connection->setPatient(true);
    SqliteSchema::State state;
    try {
        state = SqliteSchema::inspect(*connection);
    } catch (const StoreError &error) {
        openAsItStands(error);
        state = SqliteSchema::inspect(*connection);
    }
    SqliteSchema::requireKnown(TESK_PLACE, *connection, state);
    SqliteSchema::requireOwnCode(TESK_PLACE, *connection);
    isReadOnly = m_isImmutable || sqlite3_db_readonly(connection->handle(), "main") == 1;
    if (state.version == 0 && (isReadOnly || !mayCreate))
        StoreChecks::raise(TESK_PLACE, Code::NotADatabase,
                           QStringLiteral("Cannot open \"%1\": it is empty; choose another file, "
                                          "or create a database in its place")
                                   .arg(path));
    isOlder = isReadOnly && state.version < SqliteStore::sSchemaVersion;
    if (isReadOnly)
        SqliteSchema::configureReading(*connection);
    else
        prepareForWriting();
    connection->setPatient(false);
}

/// Opens a file whose folder takes no side files, provided that it is complete without them.
void SqliteCore::openAsItStands(const StoreError &reason)
{
    const bool isDenied = reason.code() == Code::CannotOpen || reason.code() == Code::ReadOnly;
    if (!isDenied || !QFileInfo(path).isFile() || !QFileInfo(path).isReadable())
        throw reason;
    if (QFileInfo(path + QStringLiteral("-wal")).size() > 0)
        StoreChecks::raise(TESK_PLACE, Code::CannotOpen,
                           QStringLiteral("Cannot open \"%1\": its last changes are in \"%1-wal\", "
                                          "and its folder may not be written to (%2); copy both "
                                          "files to a folder of your own and open them there")
                                   .arg(path, QString::fromUtf8(reason.what())));
    connection = connect(SQLITE_OPEN_READONLY, true);
    m_isImmutable = true;
    VantBase::logger(VantBase::LogService::Assets).record(VantBase::LogLevel::Warning, TESK_HERE)
            << "opened \"" << path
            << "\" as it stands: its folder may not be written to, so what others write is not "
               "seen";
}

void SqliteCore::prepareForWriting()
{
    SqliteSchema::State state = SqliteSchema::inspect(*connection);
    if (state.isEmpty)
        SqliteSchema::setPragma(*connection, "page_size", "8192",
                                QString::number(SqliteSchema::sPageSize));
    SqliteSchema::configure(*connection);
    if (state.isEmpty) {
        SqliteSchema::create(*connection);
        state = SqliteSchema::inspect(*connection);
    }
    sqlite3_db_config(connection->handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    if (state.version == SqliteStore::sSchemaVersion)
        return;

    SqliteSchema::migrate(*connection, [this](int version) {
        const QString kept = QStringLiteral("%1.schema-%2").arg(path, QString::number(version));
        QFile::remove(kept); // of an attempt that did not end
        QFile::remove(kept + QStringLiteral("-journal"));
        copyTo(TESK_PLACE, kept);
        VantBase::logger(VantBase::LogService::Assets).record(VantBase::LogLevel::Info, TESK_HERE)
                << "bringing \"" << path << "\" from schema " << version << " to "
                << SqliteStore::sSchemaVersion << ", kept the file before it as \"" << kept << '"';
    });
    SqliteSchema::requireKnown(TESK_PLACE, *connection, SqliteSchema::inspect(*connection));
}

void SqliteCore::requireUsable(const Place &place, bool isWrite)
{
    connection->setPlace(place);
    connection->setAction(isWrite ? "write to the database" : "read the database");
    if (isInTransaction && m_doom.isEmpty() && connection->isAutocommit()) {
        m_doom = QStringLiteral("reading failed"); // SQLite may end a transaction for that too
        forgetChanges();
    }
    // Where a failure was to end it, others may still read: what was before is there again.
    if (!m_doom.isEmpty() && (isWrite || !m_endsAtFailure))
        StoreChecks::raise(place, Code::Io,
                           QStringLiteral("Cannot use \"%1\": the transaction was given up before "
                                          "(%2); roll it back, then try again")
                                   .arg(path, m_doom));
    if (isWrite && isReadOnly)
        StoreChecks::raiseReadOnly(place, path);
}

void SqliteCore::beginImmediate()
{
    endBurstTransaction(); // it could not become a writing one
    SqliteQuery(*connection, "BEGIN IMMEDIATE").run();
    m_writingGeneration = 0;
    try {
        requireOwnSchema();
    } catch (...) {
        sqlite3_exec(connection->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

/// Raises NewerSchema where a newer program migrated the file since it was opened.
void SqliteCore::requireOwnSchema()
{
    const qint64 version = storedSchema();
    if (version != SqliteStore::sSchemaVersion)
        StoreChecks::raise(connection->place(), Code::NewerSchema,
                           QStringLiteral("Cannot write to \"%1\": another program has brought it "
                                          "to schema %2, %3 is the newest known; close it, and "
                                          "open it with a newer version of the program")
                                   .arg(path, QString::number(version),
                                        QString::number(SqliteStore::sSchemaVersion)));
}

qint64 SqliteCore::storedSchema()
{
    SqliteQuery query(*connection, "PRAGMA user_version");
    query.next();
    return query.integer(0);
}

bool SqliteCore::hasOldMetaData()
{
    constexpr qint64 sFirstWithOneRow = 3;
    return isOlder && storedSchema() < sFirstWithOneRow;
}

void SqliteCore::endBurstTransaction()
{
    if (std::exchange(m_isBurstOpen, false) && !connection->isAutocommit())
        SqliteQuery(*connection, "COMMIT").run();
}

void SqliteCore::noteCommit()
{
    if (m_writingGeneration != 0 && seenGeneration == m_writingGeneration - 1)
        seenGeneration = m_writingGeneration;
    m_writingGeneration = 0;
}

void SqliteCore::forgetChanges()
{
    m_termNumbers.clear(); // some may be of what was undone
    m_termTexts.clear();
    m_writingGeneration = 0;
}

SqliteCore::Change::Change(SqliteCore &core)
    : m_core(core)
    , m_isPart(core.isInTransaction)
    , m_hasSavepoint(m_isPart && !core.m_endsAtFailure)
    , m_generationBefore(core.m_writingGeneration)
{
    if (m_hasSavepoint)
        SqliteQuery(*core.connection, "SAVEPOINT part").run();
    else if (!m_isPart)
        core.beginImmediate();
}

SqliteCore::Change::~Change()
{
    if (m_isOpen)
        undo();
}

void SqliteCore::Change::commit()
{
    if (m_isPart) {
        if (m_hasSavepoint)
            SqliteQuery(*m_core.connection, "RELEASE part").run();
        m_isOpen = false;
        return;
    }
    SqliteQuery(*m_core.connection, "COMMIT").run();
    m_isOpen = false;
    m_core.noteCommit();
}

void SqliteCore::Change::undo() noexcept
{
    const auto execute = [this](const char *sql) {
        return sqlite3_exec(m_core.connection->handle(), sql, nullptr, nullptr, nullptr)
               == SQLITE_OK;
    };
    const QString reason = m_core.m_endsAtFailure
                                   ? QStringLiteral("a call in it failed")
                                   : QString::fromUtf8(sqlite3_errmsg(m_core.connection->handle()));
    m_core.forgetChanges();
    if (!m_isPart) {
        if (!m_core.connection->isAutocommit())
            execute("ROLLBACK");
        return;
    }
    m_core.m_writingGeneration = m_generationBefore;
    if (m_hasSavepoint && !m_core.connection->isAutocommit() && execute("ROLLBACK TO part")
        && execute("RELEASE part"))
        return;
    // The whole transaction ends: nothing more may be written as if it were still there.
    m_core.m_doom = reason;
    if (!m_core.connection->isAutocommit())
        execute("ROLLBACK");
}

SqliteCore::Reads::Reads(SqliteCore &core, bool isMany)
    : m_core(core)
    , m_isOpen(isMany && core.connection->isAutocommit())
{
    if (m_isOpen)
        SqliteQuery(*core.connection, "BEGIN").run();
}

SqliteCore::Reads::~Reads()
{
    if (m_isOpen && !m_core.connection->isAutocommit())
        sqlite3_exec(m_core.connection->handle(), "COMMIT", nullptr, nullptr, nullptr);
}

void SqliteCore::begin(const Place &place, SyncLevel level)
{
    const std::lock_guard lock(mutex);
    if (isInTransaction)
        StoreChecks::raise(place, Code::Misuse,
                           QStringLiteral("Cannot begin a transaction: one is open already"));
    requireUsable(place, true);
    endBurstTransaction();
    m_level = level;
    try {
        if (level == SyncLevel::Disk)
            SqliteSchema::setPragma(*connection, "synchronous", "FULL", QStringLiteral("2"));
        connection->execute(sBatchCache);
        beginImmediate();
    } catch (...) {
        endTransaction();
        throw;
    }
    isInTransaction = true;
}

void SqliteCore::endTransaction()
{
    isInTransaction = false;
    m_endsAtFailure = false;
    m_doom.clear();
    const char *const usual = std::exchange(m_level, SyncLevel::Process) == SyncLevel::Disk
                                      ? "PRAGMA synchronous=NORMAL"
                                      : nullptr;
    // Neither can fail for a reason that matters: a stricter sync or a larger cache does no harm.
    if (usual)
        sqlite3_exec(connection->handle(), usual, nullptr, nullptr, nullptr);
    sqlite3_exec(connection->handle(), sUsualCache, nullptr, nullptr, nullptr);
}

void SqliteCore::commit(const Place &place)
{
    const std::lock_guard lock(mutex);
    if (!isInTransaction)
        StoreChecks::raise(place, Code::Misuse,
                           QStringLiteral("Cannot commit: no transaction is open"));
    try {
        requireUsable(place, true);
        SqliteQuery(*connection, "COMMIT").run();
    } catch (...) {
        if (!connection->isAutocommit())
            sqlite3_exec(connection->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
        forgetChanges();
        endTransaction();
        throw;
    }
    noteCommit();
    endTransaction();
}

void SqliteCore::rollback(const Place &place)
{
    const std::lock_guard lock(mutex);
    if (!isInTransaction)
        StoreChecks::raise(place, Code::Misuse,
                           QStringLiteral("Cannot roll back: no transaction is open"));
    connection->setPlace(place);
    if (!connection->isAutocommit())
        sqlite3_exec(connection->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    forgetChanges();
    endTransaction();
}

void SqliteCore::endAtFailure(const Place &place)
{
    const std::lock_guard lock(mutex);
    if (!isInTransaction)
        StoreChecks::raise(place, Code::Misuse,
                           QStringLiteral("Cannot let a transaction end at a failure: none is "
                                          "open"));
    m_endsAtFailure = true;
}

void SqliteCore::beginBurst(const Place &place)
{
    const std::lock_guard lock(mutex);
    connection->setPlace(place);
    ++m_bursts;
    if (isInTransaction)
        return;
    // A new state for each burst, also for one inside another: overlapping bursts of many threads
    // would otherwise read the same old state for ever.
    endBurstTransaction();
    SqliteQuery(*connection, "BEGIN").run();
    m_isBurstOpen = true;
}

void SqliteCore::endBurst() noexcept
{
    const std::lock_guard lock(mutex);
    if (--m_bursts > 0 || !std::exchange(m_isBurstOpen, false) || isInTransaction)
        return;
    if (!connection->isAutocommit())
        sqlite3_exec(connection->handle(), "COMMIT", nullptr, nullptr, nullptr);
}

qint64 SqliteCore::writingGeneration()
{
    if (m_writingGeneration == 0) {
        SqliteQuery query(*connection, "UPDATE database SET generation = generation + 1 "
                                       "RETURNING generation");
        query.next();
        const qint64 generation = query.integer(0);
        query.next(); // to its end: only then is it done
        m_writingGeneration = generation;
    }
    return m_writingGeneration;
}

qint64 SqliteCore::storedGeneration()
{
    SqliteQuery query(*connection, "SELECT generation FROM database");
    query.next();
    return query.integer(0);
}

std::optional<qint64> SqliteCore::findAsset(const QByteArray &id)
{
    SqliteQuery query(*connection, "SELECT k FROM asset WHERE id = ?1");
    query.bindBytes(id);
    return query.next() ? std::optional(query.integer(0)) : std::nullopt;
}

qint64 SqliteCore::requireAsset(const Place &place, const QByteArray &id)
{
    const std::optional<qint64> key = findAsset(id);
    if (!key)
        StoreChecks::raiseNoSuchAsset(place, id);
    return *key;
}

void SqliteCore::touch(qint64 assetKey)
{
    const qint64 generation = writingGeneration();
    SqliteQuery(*connection, "UPDATE asset SET changed = ?1 WHERE k = ?2")
            .bind(generation)
            .bind(assetKey)
            .run();
}

std::optional<qint64> SqliteCore::findTerm(const QString &text)
{
    if (const std::optional<qint64> known = m_termNumbers.find(text))
        return known;
    const QByteArray utf8 = text.toUtf8();
    SqliteQuery query(*connection, "SELECT k FROM term WHERE text = ?1");
    if (!query.bindUtf8(utf8).next())
        return std::nullopt;
    m_termNumbers.insert(text, query.integer(0));
    return query.integer(0);
}

qint64 SqliteCore::requireTerm(const QString &text)
{
    if (const std::optional<qint64> key = findTerm(text))
        return *key;
    const QByteArray utf8 = text.toUtf8();
    SqliteQuery(*connection, "INSERT INTO term (text) VALUES (?1)").bindUtf8(utf8).run();
    const qint64 key = sqlite3_last_insert_rowid(connection->handle());
    m_termNumbers.insert(text, key);
    return key;
}

QString SqliteCore::termText(qint64 key)
{
    const auto known = m_termTexts.constFind(key);
    if (known != m_termTexts.constEnd())
        return *known;
    SqliteQuery query(*connection, "SELECT text FROM term WHERE k = ?1");
    if (!query.bind(key).next())
        return {};
    return *m_termTexts.insert(key, query.text(0));
}

void SqliteCore::backUp(const Place &place, const QString &target) const
{
    if (QFileInfo::exists(target))
        StoreChecks::raise(place, Code::CannotOpen,
                           QStringLiteral("Cannot back up to \"%1\": there is such a file; choose "
                                          "another name")
                                   .arg(target));
    copyTo(place, target);
}

/// Copies what is committed, through a connection of its own, and checks the copy.
void SqliteCore::copyTo(const Place &place, const QString &target) const
{
    const auto source = connect(SQLITE_OPEN_READONLY, m_isImmutable);
    try {
        SqliteConnection copy(target, {}, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        sqlite3_backup *const backup =
                sqlite3_backup_init(copy.handle(), "main", source->handle(), "main");
        int code =
                backup ? sqlite3_backup_step(backup, -1) : sqlite3_extended_errcode(copy.handle());
        // Finishing says nothing of a step that could not have a lock.
        const int finished = sqlite3_backup_finish(backup);
        code = finished == SQLITE_OK ? code : finished;
        if (code != SQLITE_DONE)
            SqliteConnection::raise(place, target, QStringLiteral("back up to"), code,
                                    finished == SQLITE_OK
                                            ? QString::fromUtf8(sqlite3_errstr(code))
                                            : QString::fromUtf8(sqlite3_errmsg(copy.handle())));
        const QString check = copy.executeForText("PRAGMA quick_check(1)");
        if (check != QLatin1StringView("ok"))
            StoreChecks::raise(place, Code::Damaged,
                               QStringLiteral("Cannot back up to \"%1\": the copy is damaged (%2); "
                                              "check the disk, then try again")
                                       .arg(target, check));
    } catch (...) {
        QFile::remove(target);
        throw;
    }
}

} // namespace Tesk::Assets
