#pragma once

#include <assets/Asset.h>
#include <assets/AssetChange.h>
#include <assets/AssetEncoding.h>
#include <assets/AssetReference.h>
#include <assets/assets_export.h>
#include <assets/DatabaseStatistics.h>
#include <assets/IntegrityFinding.h>
#include <assets/MetaData.h>

#include <vantbase/Service.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace Tesk::Assets {

class Batch;
class CollectionAsset;
class DatabaseCore;
class Store;

/// Keeps assets: files them by id, finds them again, and stores what changes.
///
/// A write outside a batch scope is stored when the call returns; inside, with the scope's
/// commit. A field of a stored asset is such a write.
///
/// Ownership: owns every asset filed in it until the asset is removed or the database closes.
/// Threads: any. Assets made by a worker are moved to the main thread.
/// Errors: the StoreError of the store passes; its code is Changed, and it names the asset, where
/// another process changed that meanwhile.
/// Persistence: the store's. Assets made by createInternalAsset() are of this session only.
class ASSETS_EXPORT AssetDatabaseService : public VantBase::Service
{
public:
    /// How getOrCreateReferenceForInternalAsset() came to its result.
    enum class Status : int {
        Existing = 0,
        Created = 1,
        InvalidId = 2,   ///< empty id: the reference is null
        UnknownType = 3, ///< never passed to registerAssetType(): the reference is null
        NotCreatable = 4 ///< no factory for the type: the reference is valid, its asset null
    };

    /// What insertAsset() takes.
    struct NewAsset
    {
        std::shared_ptr<Asset> asset;
        QByteArray id;
        QString name;
        MetaData metaData;
    };

    class BatchScope;
    class MetaDataKeeper;

    static unsigned long long typeId();

    /// Makes a class known as one whose instances are assets; needs no database.
    ///
    /// Large commits are quicker for classes that can be encoded Anywhere.
    static void registerAssetType(const QString &typeName);
    static void registerAssetType(const QString &typeName, AssetEncoding encoding);
    /// The same where it depends on the asset: \a encodingOf is asked for each new one, on the
    /// thread that commits.
    static void registerAssetType(const QString &typeName, AssetEncodingOf encodingOf);
    static bool isAssetType(const QString &typeName);

    /// Opens a database over \a store. Reads no bodies. Register the result in the locator.
    static std::shared_ptr<AssetDatabaseService> open(std::unique_ptr<Store> store);
    ~AssetDatabaseService() override;

    /// Ends the database: every reference resolves to null from here on.
    ///
    /// Assets that somebody still shares live on, out of any database; a shell of them
    /// cannot be touched any more. A batch scope that is still open is rolled back.
    void close();
    bool isOpen() const;

    // --- finding

    /// Returns a reference for \a id whether or not it exists; null for an empty id.
    AssetReference referenceFromId(const QByteArray &id);

    /// Returns the asset of exactly this id; null when unknown or not loadable.
    ///
    /// A live asset costs a hash look-up, any other a read of the database.
    std::shared_ptr<Asset> getAssetFromId(const QByteArray &id);

    /// Returns the asset of each reference, as AssetReference::asset() does one by one.
    ///
    /// Asks the database once about all items of a list that nobody has looked at yet.
    std::vector<std::shared_ptr<Asset>> getAssets(std::span<const AssetReference> references);

    /// Returns all assets of that class, those stored under an old name of it too, in no
    /// special order.
    std::vector<AssetReference> findByType(const QString &typeName);

    /// Returns all assets of that name in any letter case, in no special order.
    std::vector<AssetReference> findByName(const QString &name);

    /// Calls \a visit for every stored asset, oldest first, until it returns false.
    ///
    /// Reads the database in pages; what is stored meanwhile may or may not be seen.
    void
    forEachAsset(const std::function<bool(const AssetReference &reference, const QString &typeName,
                                          const QString &name)> &visit);

    /// Returns the name that the database records, which may differ from the asset's own.
    QString getNameFromRef(const AssetReference &reference);

    /// Changes the name that the database records, and leaves the asset's own alone.
    void setNameOfRef(const AssetReference &reference, const QString &name);

    /// Returns the class the database records; null when unknown.
    QString getTypeNameFromRef(const AssetReference &reference);

    /// Reads the bodies of those that are shells, or not live yet, by one call of the store.
    ///
    /// A body that does not decode raises nothing here, but at each touch.
    void prefetch(std::span<const AssetReference> references);

    // --- making

    /// Returns the reference of \a id, whatever the class of the asset that has it.
    ///
    /// An unknown id becomes a new, empty, stored asset of the type.
    AssetReference getOrCreateReferenceForInternalAsset(const QByteArray &id,
                                                        const QString &typeName,
                                                        Status *status = nullptr);

    /// Makes an asset of this session, of lifespan Internal.
    ///
    /// Null when the type is unknown or has no factory; an id that is taken raises an
    /// InvalidArgumentException. A null name leaves it unnamed.
    std::shared_ptr<Asset> createInternalAsset(const QByteArray &id, const QString &typeName,
                                               const QString &name);

    /// Files \a asset, which some factory made, and stores it with its metadata.
    ///
    /// What initMetaData() of the asset gives is stored too; \a metaData wins. An id that is
    /// taken, or an asset that is filed already, raises an InvalidArgumentException.
    AssetReference insertAsset(const std::shared_ptr<Asset> &asset, const QByteArray &id,
                               const QString &name, const MetaData &metaData = {});

    /// Does the same for many assets, whose ids it looks up by one call of the store.
    ///
    /// Where one is refused those before it are not filed either, except inside a batch scope.
    void insertAssets(std::span<const NewAsset> assets);

    /// Stores an internal asset under its generateId(), with a new own reference.
    ///
    /// References taken before go on resolving in this session, but do not compare equal to
    /// the new one. \a metaData may be empty; what was written on the asset is kept, and
    /// \a metaData wins. A persistent asset only takes the metadata.
    void makeAssetPersistent(const std::shared_ptr<Asset> &asset,
                             const std::shared_ptr<MetaData> &metaData);

    /// Removes the asset and all that is kept with it; false when there is none.
    ///
    /// References to it stay valid and resolve to null.
    bool removeAsset(const AssetReference &reference);

    // --- thumbnails

    std::optional<Surfaces::Surface> getThumbnail(const AssetReference &reference);
    void setThumbnail(const AssetReference &reference, const Surfaces::Surface &surface);
    bool removeThumbnail(const AssetReference &reference);

    // --- the database as a whole

    using ChangeObserver = std::function<void(const std::vector<AssetChange> &)>;

    /// Has \a observer called after every stored change, on the thread that made it.
    ///
    /// No lock of the database is held meanwhile. Returns what removeChangeObserver() takes.
    std::size_t addChangeObserver(ChangeObserver observer);
    void removeChangeObserver(std::size_t observer);

    struct RefreshResult
    {
        std::vector<AssetReference> refreshed; ///< brought up to date
        std::vector<AssetReference> removed;   ///< gone from the store
        std::vector<AssetReference> conflicts; ///< changed both there and here; left alone
    };

    /// Brings live assets and collections up to date with what other processes stored.
    RefreshResult refresh();

    std::vector<IntegrityFinding> checkIntegrity();
    DatabaseStatistics statistics();

    /// Returns the worker that references and controls speak to; not for clients.
    const std::shared_ptr<DatabaseCore> &core() const { return m_core; }

private:
    explicit AssetDatabaseService(std::shared_ptr<DatabaseCore> core);

    std::shared_ptr<DatabaseCore> m_core;
};

/// Makes everything that this thread writes until commit() stored together, or not at all.
///
/// Look-ups inside the scope see the changed objects. A scope inside a scope of the same
/// thread joins it: its commit stores nothing yet, and leaving it without commit dooms the
/// outer one. Left without commit, the outermost puts everything back: assets made in it no
/// longer resolve, live assets changed in it return to their stored state. Objects that
/// built tables from the assets in the meantime have to be made anew.
///
/// Threads: lives on one thread. Errors: commit() raises what the store raises, and then
/// nothing is stored and the scope is rolled back.
class ASSETS_EXPORT AssetDatabaseService::BatchScope
{
public:
    explicit BatchScope(AssetDatabaseService &service);
    ~BatchScope();
    Q_DISABLE_COPY_MOVE(BatchScope)

    /// Stores what was written, synced to the disk, when it is the outermost scope.
    void commit();

private:
    std::shared_ptr<DatabaseCore> m_core;
    bool m_open = true;
};

/// Keeps the metadata of some assets at hand as long as it lives, read by one call of the store.
///
/// Reads of single items then cost no look into the store. They see what this process writes
/// meanwhile, but perhaps not what others store: let it live for one job.
///
/// Threads: any; the metadata are at hand for all of them.
class ASSETS_EXPORT AssetDatabaseService::MetaDataKeeper
{
public:
    MetaDataKeeper(AssetDatabaseService &service, std::span<const AssetReference> references);
    ~MetaDataKeeper();
    Q_DISABLE_COPY_MOVE(MetaDataKeeper)

private:
    std::shared_ptr<DatabaseCore> m_core;
    std::vector<const AssetRecord *> m_records;
};

} // namespace Tesk::Assets
