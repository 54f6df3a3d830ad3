#pragma once

#include "Step.h"

#include <assets/Store.h>

#include <memory>
#include <optional>

namespace FilterBaseTesting {

/// A store that refuses a write when it is told to, and else does what another one does.
class RefusingStore : public Tesk::Assets::Store
{
public:
    /// What \a refusal holds is refused once, and taken out of it then.
    RefusingStore(std::unique_ptr<Tesk::Assets::Store> store,
                  std::shared_ptr<std::optional<Refusal>> refusal);

    QByteArray databaseId() const override;
    bool isReadOnly() const override;
    QString location() const override;

    void begin(Tesk::Assets::SyncLevel level) override;
    void commit() override;
    void rollback() override;
    bool inTransaction() const override;
    void beginRead() const override;
    void endRead() const noexcept override;

    std::vector<std::optional<Tesk::Assets::AssetRow>>
    loadRows(std::span<const QByteArray> ids) const override;
    std::vector<std::optional<Tesk::Assets::StoredAsset>>
    load(std::span<const QByteArray> ids) const override;
    std::vector<qint64> write(std::span<const Tesk::Assets::AssetWrite> assets) override;
    qsizetype remove(std::span<const Tesk::Assets::AssetRemoval> assets) override;
    std::vector<qint64> setNames(std::span<const Tesk::Assets::NameWrite> names) override;
    qsizetype setFlags(std::span<const QByteArray> ids, quint32 mask, quint32 flags) override;
    Tesk::Assets::AssetPage find(const Tesk::Assets::AssetQuery &query,
                                 Tesk::Assets::ScanPosition position,
                                 qsizetype limit) const override;

    std::vector<std::vector<Tesk::Assets::MetaRow>>
    metaData(std::span<const QByteArray> ids) const override;
    std::vector<std::optional<Tesk::Assets::MetaRow>>
    metaDataItems(std::span<const QByteArray> ids, const QString &key) const override;
    qsizetype setMetaData(std::span<const Tesk::Assets::MetaWrite> items) override;
    qsizetype removeMetaData(std::span<const QByteArray> ids, const QString &key) override;

    std::vector<QByteArray> nextVersions(std::span<const QByteArray> ids) const override;
    std::vector<QByteArray> previousVersions(const QByteArray &id) const override;
    std::vector<std::vector<Tesk::Assets::DependencyRow>>
    dependencies(std::span<const QByteArray> ids) const override;
    std::vector<QByteArray> dependents(const QByteArray &id) const override;

    std::vector<Tesk::Assets::CatalogueRow>
    scanCollection(const QByteArray &collection) const override;
    qsizetype appendToCollection(const QByteArray &collection,
                                 std::span<const QByteArray> ids) override;
    qsizetype removeFromCollection(const QByteArray &collection,
                                   std::span<const QByteArray> ids) override;
    std::vector<QByteArray> collectionsOf(const QByteArray &id) const override;

    std::vector<std::optional<QByteArray>>
    thumbnails(std::span<const QByteArray> ids) const override;
    void setThumbnails(std::span<const Tesk::Assets::ThumbnailWrite> thumbnails) override;

    qint64 generation() const override;
    Tesk::Assets::ChangeList changesSince(qint64 generation) const override;
    qint64 seenGeneration() const override;
    void setSeenGeneration(qint64 generation) override;

    void backupTo(const QString &path) const override;
    std::vector<Tesk::Assets::StoreFinding> checkIntegrity() const override;
    Tesk::Assets::StoreStatistics statistics() const override;

private:
    void askFor(const QByteArray &id);
    [[noreturn]] void refuse();

    const std::unique_ptr<Tesk::Assets::Store> m_store;
    const std::shared_ptr<std::optional<Refusal>> m_refusal;
    bool m_refusesCommit = false;
};

} // namespace FilterBaseTesting
