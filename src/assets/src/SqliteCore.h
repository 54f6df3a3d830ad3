#pragma once

#include "SqliteConnection.h"
#include "SqliteQuery.h"
#include "TermNumbers.h"

#include <assets/SqliteStore.h>

#include <QHash>

#include <mutex>
#include <optional>

namespace Tesk::Assets {

/// The open file behind a SqliteStore: its transactions, and what all operations share.
///
/// Threads: read() and change() take the mutex; what they call expects it.
class SqliteCore
{
public:
    SqliteCore(const QString &path, SqliteStore::Mode mode, SqliteStore::Options options);
    ~SqliteCore();
    Q_DISABLE_COPY_MOVE(SqliteCore)

    /// Runs \a work with the connection; in one read transaction where \a isMany.
    template<class Work>
    auto read(const Place &place, bool isMany, Work work);

    /// Runs \a work so that all or nothing of it is stored: a transaction, or a part of one.
    template<class Work>
    auto change(const Place &place, Work work);

    void begin(const Place &place, SyncLevel level);
    void commit(const Place &place);
    void rollback(const Place &place);
    void endAtFailure(const Place &place);
    void beginBurst(const Place &place);
    void endBurst() noexcept;
    void backUp(const Place &place, const QString &path) const;

    // --- under the mutex

    /// Returns the generation of the transaction under way, which counts as one with a change.
    qint64 writingGeneration();
    qint64 storedGeneration();

    /// Returns the row number of the asset.
    std::optional<qint64> findAsset(const QByteArray &id);
    qint64 requireAsset(const Place &place, const QByteArray &id);

    /// Notes that something of the asset changed.
    void touch(qint64 assetKey);

    /// Returns whether each piece of metadata is still a row of its own; asked in a transaction, as
    /// another process may bring the file up to date at any time.
    bool hasOldMetaData();

    std::optional<qint64> findTerm(const QString &text);
    qint64 requireTerm(const QString &text);
    QString termText(qint64 key);

    std::mutex mutex;
    const QString path;
    QByteArray databaseId;   // fixed after construction
    bool isReadOnly = false; // fixed after construction
    bool isOlder = false;    // fixed after construction: of an older schema, and only read

    // guarded by mutex
    std::unique_ptr<SqliteConnection> connection;
    bool isInTransaction = false;
    qint64 seenGeneration = 0;

private:
    /// A part of a transaction, or one of its own; undone unless committed.
    class Change;
    /// A read transaction around many reads, unless there is a transaction already.
    class Reads;

    void open(SqliteStore::Mode mode);
    void createFile() const;
    void openFile(SqliteStore::Mode mode);
    void openAsItStands(const StoreError &reason);
    void prepareForWriting();
    std::unique_ptr<SqliteConnection> connect(int flags, bool immutable) const;
    void requireUsable(const Place &place, bool isWrite);
    void beginImmediate();
    qint64 storedSchema();
    void requireOwnSchema();
    void endBurstTransaction();
    void noteCommit();
    void forgetChanges();
    void endTransaction();
    void copyTo(const Place &place, const QString &target) const;

    const SqliteStore::Options m_options;
    bool m_isImmutable = false; // fixed after construction

    // guarded by mutex
    SyncLevel m_level = SyncLevel::Process;
    QString m_doom;                 ///< why the transaction was given up; empty when it was not
    bool m_endsAtFailure = false;   ///< whether a call that raises gives the transaction up
    qint64 m_writingGeneration = 0; ///< 0: nothing changed yet
    int m_bursts = 0;
    bool m_isBurstOpen = false;
    TermNumbers m_termNumbers;
    QHash<qint64, QString> m_termTexts;
};

class SqliteCore::Change
{
public:
    explicit Change(SqliteCore &core);
    ~Change();
    Q_DISABLE_COPY_MOVE(Change)

    void commit();

private:
    void undo() noexcept;

    SqliteCore &m_core;
    const bool m_isPart;
    const bool m_hasSavepoint;
    const qint64 m_generationBefore;
    bool m_isOpen = true;
};

class SqliteCore::Reads
{
public:
    Reads(SqliteCore &core, bool isMany);
    ~Reads();
    Q_DISABLE_COPY_MOVE(Reads)

private:
    SqliteCore &m_core;
    bool m_isOpen;
};

template<class Work>
auto SqliteCore::read(const Place &place, bool isMany, Work work)
{
    const std::lock_guard lock(mutex);
    requireUsable(place, false);
    const Reads reads(*this, isMany);
    return work();
}

template<class Work>
auto SqliteCore::change(const Place &place, Work work)
{
    const std::lock_guard lock(mutex);
    requireUsable(place, true);
    Change change(*this);
    auto result = work();
    change.commit();
    return result;
}

} // namespace Tesk::Assets
