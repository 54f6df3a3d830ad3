#pragma once

#include <assets/Asset.h>

#include <mutex>
#include <optional>
#include <unordered_set>

namespace Tesk::Assets {

/// An ordered list of references, without repetitions; an asset itself.
///
/// The list is not a field: the database keeps each item on its own, so that one more
/// item costs the same in a small and in a large collection. It is changed through
/// CollectionControl.
///
/// Ownership: as every asset; it owns none of its items. Threads: the list is safe anywhere.
class ASSETS_EXPORT CollectionAsset : public Asset
{
    Q_OBJECT
public:
    /// The class name, and the type name for the database.
    static const QString sTypeName;

    CollectionAsset(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~CollectionAsset() override;

    const QString &typeName() const override;
    const QString &category() const override;
    QUrl getSourceFileUrl() const override;
    bool initMetaData(Tesk::Assets::MetaData &metaData) const override;
    future<std::shared_ptr<Surfaces::Surface>>
    getEmbeddedThumbnail(std::stop_token stopToken) const override;

    /// Returns the items in order.
    ///
    /// The first call reads the database once, and makes every item known as a shell.
    std::vector<AssetReference> items() const;

    qsizetype itemCount() const;
    bool contains(const AssetReference &reference) const;

private:
    friend class BatchWriter;
    friend class DatabaseCore;

    std::unique_lock<std::mutex> lockLoaded() const;
    void setItems(std::vector<AssetReference> items) const;
    std::unordered_set<AssetReference> &itemSetLocked() const;
    bool isLoaded() const;
    std::vector<AssetReference> loadedItems() const;
    quint64 itemsVersion() const;
    bool appendItem(const AssetReference &reference);
    qsizetype removeItem(const AssetReference &reference);
    void insertItem(qsizetype index, const AssetReference &reference);
    void forgetItems();

    mutable std::mutex m_itemsMutex; // nothing else is locked under it
    // guarded by m_itemsMutex
    mutable bool m_itemsLoaded = false;
    quint64 m_itemsVersion = 0; // counts the changes
    mutable std::vector<AssetReference> m_items;
    mutable std::optional<std::unordered_set<AssetReference>> m_itemSet; // made when needed
};

} // namespace Tesk::Assets
