#pragma once

#include <assets/assets_export.h>
#include <assets/Store.h>

#include <memory>

namespace Tesk::Assets {

class MemoryContent;

/// Keeps everything in memory, for catalogues that need not last.
///
/// Several stores can share one content, as processes share a file: openAnother().
///
/// Transactions: cost nothing while the content has one store; with more, begin() copies the table
/// of assets, so that the others go on reading what is committed. A writer that finds another
/// store's transaction open raises Busy at once.
/// Threads: any; one mutex for all stores of a content.
class ASSETS_EXPORT MemoryStore final : public Store
{
public:
    MemoryStore();
    ~MemoryStore() override;

    /// Opens a second store on the same content, as another process would.
    std::unique_ptr<MemoryStore> openAnother() const;

    /// From now on every write of this store raises ReadOnly.
    void setReadOnly(bool readOnly);

    QByteArray databaseId() const override;
    bool isReadOnly() const override;
    QString location() const override;

    void begin(SyncLevel level) override;
    void commit() override;
    void rollback() override;
    bool inTransaction() const override;
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
    explicit MemoryStore(std::shared_ptr<MemoryContent> content);

    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace Tesk::Assets
