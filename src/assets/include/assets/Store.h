#pragma once

#include <assets/assets_export.h>
#include <assets/StoreRows.h>

#include <QByteArray>
#include <QString>

#include <optional>
#include <span>
#include <vector>

namespace Tesk::Assets {

/// What a committed transaction survives.
enum class SyncLevel {
    Process, ///< the death of the process; a power cut may cost the last ones, never consistency
    Disk,    ///< a power cut too
};

/// Keeps the rows of assets: in memory, in a file, or on a server.
///
/// Every operation takes or gives many rows, so that a distant store pays one round trip. An
/// answer has one entry for each id asked, in that order; an id may be asked twice.
///
/// Transactions: a call outside a transaction is one of its own with SyncLevel::Process. begin()
/// opens one for all calls of this store until commit() or rollback(), from whatever thread
/// they come. A call that raises changes nothing, inside a transaction too, which goes on.
///
/// Other users: any number of stores, in any process, may be open on the same content. Each sees
/// what the others committed at its next call, and nothing that is not committed. A transaction
/// that writes excludes other writers from begin() on; they wait, and then raise Busy.
///
/// Threads: any, one call at a time. Errors: StoreError.
class ASSETS_EXPORT Store
{
public:
    class Transaction;
    class ReadBurst;

    Store() = default;
    virtual ~Store();
    Q_DISABLE_COPY_MOVE(Store)

    /// Returns bytes made once with the content, which stay the same wherever it is moved.
    virtual QByteArray databaseId() const = 0;
    virtual bool isReadOnly() const = 0;

    /// Returns where the content is, for messages: a path, or a word such as "memory".
    virtual QString location() const = 0;

    // --- transactions and bursts

    virtual void begin(SyncLevel level) = 0;

    /// Stores the transaction; where it raises, the transaction is rolled back.
    virtual void commit() = 0;
    virtual void rollback() = 0;
    virtual bool inTransaction() const = 0;

    /// Lets the transaction end at the first call that raises: it can only be rolled back then.
    ///
    /// For who would roll back anyway: no call has to be undone by itself, which makes each
    /// cheaper. A store that has nothing to gain lets the transaction go on as ever.
    virtual void endAtFailure();

    /// Makes the reads until endRead() cheaper, and of one state where nobody writes through
    /// this store meanwhile. Bursts may lie inside each other; keep them short.
    virtual void beginRead() const = 0;
    virtual void endRead() const noexcept = 0;

    // --- assets

    virtual std::vector<std::optional<AssetRow>>
    loadRows(std::span<const QByteArray> ids) const = 0;
    virtual std::vector<std::optional<StoredAsset>> load(std::span<const QByteArray> ids) const = 0;

    /// Writes all of them or none; returns the new revisions.
    ///
    /// Raises Changed where the expected revision is not found, VersionCycle where a next version
    /// leads back to its asset. Entries of collections that name a new asset become live.
    virtual std::vector<qint64> write(std::span<const AssetWrite> assets) = 0;

    /// Removes them with all that is theirs, all or none; returns how many were there.
    ///
    /// What names them from outside stays and dangles: items, dependencies, next versions.
    virtual qsizetype remove(std::span<const AssetRemoval> assets) = 0;

    /// Changes the recorded names; returns the new revisions. Raises NoSuchAsset.
    virtual std::vector<qint64> setNames(std::span<const NameWrite> names) = 0;

    /// Sets the bits of \a mask to those of \a flags; returns how many assets that changed.
    ///
    /// Writes nothing for assets whose bits are so already, and leaves out unknown ids.
    virtual qsizetype setFlags(std::span<const QByteArray> ids, quint32 mask, quint32 flags) = 0;

    /// Returns the next \a limit assets that match, in the order in which they were first written.
    virtual AssetPage find(const AssetQuery &query, ScanPosition position,
                           qsizetype limit) const = 0;

    // --- metadata

    /// Returns all metadata of each asset, ordered by key; nothing for unknown ids.
    virtual std::vector<std::vector<MetaRow>> metaData(std::span<const QByteArray> ids) const = 0;
    virtual std::vector<std::optional<MetaRow>> metaDataItems(std::span<const QByteArray> ids,
                                                              const QString &key) const = 0;

    /// Sets single items; equal ones are left alone. Returns how many changed. Raises NoSuchAsset.
    virtual qsizetype setMetaData(std::span<const MetaWrite> items) = 0;

    /// Removes the item \a key of each asset; returns how many were there.
    virtual qsizetype removeMetaData(std::span<const QByteArray> ids, const QString &key) = 0;

    // --- links; write() is what changes them

    virtual std::vector<QByteArray> nextVersions(std::span<const QByteArray> ids) const = 0;

    /// Returns the assets whose next version is \a id, oldest written first.
    virtual std::vector<QByteArray> previousVersions(const QByteArray &id) const = 0;
    virtual std::vector<std::vector<DependencyRow>>
    dependencies(std::span<const QByteArray> ids) const = 0;

    /// Returns the assets that depend on \a id, oldest written first, none twice.
    virtual std::vector<QByteArray> dependents(const QByteArray &id) const = 0;

    // --- collections: lists of ids that belong to an asset

    /// Returns the items in order; none for an unknown collection.
    virtual std::vector<CatalogueRow> scanCollection(const QByteArray &collection) const = 0;

    /// Appends what is not in the list yet; returns how many were. Raises NoSuchAsset.
    ///
    /// Ids that name no asset are fine. Costs what the new items cost, however long the list is.
    virtual qsizetype appendToCollection(const QByteArray &collection,
                                         std::span<const QByteArray> ids) = 0;

    /// Removes what is in the list, keeps the order of the rest; returns how many were.
    virtual qsizetype removeFromCollection(const QByteArray &collection,
                                           std::span<const QByteArray> ids) = 0;

    /// Returns the collections that hold \a id, oldest written first.
    virtual std::vector<QByteArray> collectionsOf(const QByteArray &id) const = 0;

    // --- thumbnails

    virtual std::vector<std::optional<QByteArray>>
    thumbnails(std::span<const QByteArray> ids) const = 0;

    /// Raises NoSuchAsset.
    virtual void setThumbnails(std::span<const ThumbnailWrite> thumbnails) = 0;

    // --- what others do

    /// Counts the committed transactions that changed something, whoever made them.
    virtual qint64 generation() const = 0;

    /// Returns the assets that changed after \a generation, each once, oldest change first.
    ///
    /// Any change counts: body, name, flags, metadata, items, thumbnail, removal.
    virtual ChangeList changesSince(qint64 generation) const = 0;

    /// Returns the newest generation up to which nobody else changed anything unseen.
    ///
    /// It starts as the generation at opening, and follows this store's own commits as long as
    /// no other one comes between. When it differs from generation(), ask changesSince() of it.
    virtual qint64 seenGeneration() const = 0;
    virtual void setSeenGeneration(qint64 generation) = 0;

    // --- care

    /// Writes all that is committed to a new file, which must not exist, while the store is in use.
    ///
    /// Raises Misuse where the store has no file form, as one in memory.
    virtual void backupTo(const QString &path) const = 0;
    virtual std::vector<StoreFinding> checkIntegrity() const = 0;
    virtual StoreStatistics statistics() const = 0;
};

/// A transaction that is rolled back unless it was committed.
class ASSETS_EXPORT Store::Transaction
{
public:
    Transaction(Store &store, SyncLevel level);
    ~Transaction();
    Q_DISABLE_COPY_MOVE(Transaction)

    void commit();

private:
    Store &m_store;
    bool m_open = true;
};

/// A burst of reads.
class ASSETS_EXPORT Store::ReadBurst
{
public:
    explicit ReadBurst(const Store &store)
        : m_store(store)
    {
        m_store.beginRead();
    }
    ~ReadBurst() { m_store.endRead(); }
    Q_DISABLE_COPY_MOVE(ReadBurst)

private:
    const Store &m_store;
};

} // namespace Tesk::Assets
