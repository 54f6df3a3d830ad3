#pragma once

#include <assets/assets_export.h>
#include <assets/Store.h>

#include <chrono>
#include <memory>

namespace Tesk::Assets {

class SqliteCore;

/// Keeps the rows of assets in one SQLite file, which any number of processes may have open.
///
/// A file, or its folder, that may only be read is opened read-only. Where SQLite cannot keep its
/// side files in the folder, the file is read as it stands, and what others write is not seen.
///
/// Errors: StoreError; messages give the path, SQLite's text and the remedy. When the storage gives
/// up a transaction, because the disk is full for example, every call raises until rollback().
/// Threads: any; one connection behind one mutex.
/// Persistence: docs/format/database.md.
class ASSETS_EXPORT SqliteStore final : public Store
{
public:
    enum class Mode {
        Open,         ///< an existing database
        Create,       ///< a new file; there must be none
        OpenOrCreate, ///< either
        ReadOnly,     ///< an existing database, of which nothing is changed
    };

    struct Options
    {
        /// How long to wait for another writer before raising Busy.
        std::chrono::milliseconds busyTimeout{5000};

        /// The name of a file layer registered with SQLite; empty for the usual one.
        QByteArray fileLayer;
    };

    /// The newest schema that this version knows, and the one it writes.
    static constexpr int sSchemaVersion = 3;

    /// Reads no asset. An older schema is brought up to date, with a copy of the file beside it.
    explicit SqliteStore(const QString &path, Mode mode = Mode::OpenOrCreate);
    SqliteStore(const QString &path, Mode mode, const Options &options);
    ~SqliteStore() override;

    QByteArray databaseId() const override;
    bool isReadOnly() const override;
    QString location() const override;

    void begin(SyncLevel level) override;
    void commit() override;
    void rollback() override;
    bool inTransaction() const override;
    void endAtFailure() override;
    void beginRead() const override;
    void endRead() const noexcept override;

    std::vector<std::optional<AssetRow>> loadRows(std::span<const QByteArray> ids) const override;
    std::vector<std::optional<StoredAsset>> load(std::span<const QByteArray> ids) const override;
    std::vector<qint64> write(std::span<const AssetWrite> assets) override;
    qsizetype remove(std::span<const AssetRemoval> assets) override;
    std::vector<qint64> setNames(std::span<const NameWrite> names) override;
    qsizetype setFlags(std::span<const QByteArray> ids, quint32 mask, quint32 flags) override;
    AssetPage find(const AssetQuery &query, ScanPosition position, qsizetype limit) const override;

    std::vector<std::vector<MetaRow>> metaData(std::span<const QByteArray> ids) const override;
    std::vector<std::optional<MetaRow>> metaDataItems(std::span<const QByteArray> ids,
                                                      const QString &key) const override;
    qsizetype setMetaData(std::span<const MetaWrite> items) override;
    qsizetype removeMetaData(std::span<const QByteArray> ids, const QString &key) override;

    std::vector<QByteArray> nextVersions(std::span<const QByteArray> ids) const override;
    std::vector<QByteArray> previousVersions(const QByteArray &id) const override;
    std::vector<std::vector<DependencyRow>>
    dependencies(std::span<const QByteArray> ids) const override;
    std::vector<QByteArray> dependents(const QByteArray &id) const override;

    std::vector<CatalogueRow> scanCollection(const QByteArray &collection) const override;
    qsizetype appendToCollection(const QByteArray &collection,
                                 std::span<const QByteArray> ids) override;
    qsizetype removeFromCollection(const QByteArray &collection,
                                   std::span<const QByteArray> ids) override;
    std::vector<QByteArray> collectionsOf(const QByteArray &id) const override;

    std::vector<std::optional<QByteArray>>
    thumbnails(std::span<const QByteArray> ids) const override;
    void setThumbnails(std::span<const ThumbnailWrite> thumbnails) override;

    qint64 generation() const override;
    ChangeList changesSince(qint64 generation) const override;
    qint64 seenGeneration() const override;
    void setSeenGeneration(qint64 generation) override;

    void backupTo(const QString &path) const override;
    std::vector<StoreFinding> checkIntegrity() const override;
    StoreStatistics statistics() const override;

private:
    std::unique_ptr<SqliteCore> m_core;
};

} // namespace Tesk::Assets
