#pragma once

#include <filterbase/filterbase_export.h>
#include <filterbase/ReaderGuard.h>

#include <assets/AssetReference.h>
#include <vantbase/FutureStorage.h>
#include <vantbase/Service.h>

#include <QHashFunctions> // std::hash of QString
#include <QString>

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace Tesk::Assets {
class Asset;
class CollectionAsset;
} // namespace Tesk::Assets

namespace Tesk::FilterBase {

class DynamicFilterAsset;
class FilterDescAsset;
class FoldedName;

/// The registry of filters: which filter carries a name, and which implementations it has.
///
/// A name may stand for a descriptor (a list of concrete implementations) and for a dynamic
/// filter (one asset for all variations). Names are compared without regard to letter case and
/// otherwise exactly. The manager reads one collection, "collection://lorimetFilters", when it is
/// made; afterwards it follows what is declared and registered here.
///
/// The host makes one and registers it in the service locator under typeId(). An
/// AssetDatabaseService must be registered there before.
///
/// Ownership: the asset database owns all assets; the tables share them. Nothing here deletes one.
/// Threads: look-ups by name may run on any thread, also while another registers, and do not wait
/// for each other. Registration locks for itself; createOrUpdateFilters and declareFilterDesc are
/// to be called by one thread at a time. A filter is hidden on the main thread only where a worker
/// registers a dynamic filter; the destructor waits for such pending work.
/// Errors: "not found" is a null reference or an empty vector. What can be passed over is logged
/// as a warning and passed over; what the database throws goes through.
/// Persistence: only registerFilter and unregisterFilter change the stored collection. When a batch
/// scope of the database in which a manager took part is rolled back, the manager's tables still
/// name what was undone: throw it away and make a new one.
class FILTERBASE_EXPORT FilterManager : public VantBase::Service
{
public:
    /// Reads the filter collection, and creates it in a new catalogue.
    ///
    /// Descriptors and the "Category" of their implementations are read in a few batches, dynamic
    /// filters stay unread until someone looks into them. Where names differ only in letter case
    /// the first one in the collection wins; what cannot be loaded is passed over. A descriptor
    /// with an implementation of a tool category is hidden.
    /// Throws RuntimeErrorException when there is no usable collection, LogicErrorException when
    /// there is no asset database service.
    FilterManager();

    /// Waits for what is still to be done on the main thread, if the host has started.
    ~FilterManager() override;

    FilterManager(const FilterManager &) = delete;
    FilterManager &operator=(const FilterManager &) = delete;

    /// The key of this service in the service locator.
    static unsigned long long typeId();

    /// The filter collection's reference; never null.
    Assets::AssetReference getFilterBaseReference() const;

    /// The dynamic filter of \a name, or a null reference. Allocates nothing for a short name.
    Assets::AssetReference getDynamicFilter(const QString &name) const;

    /// The descriptor of \a name, or a null reference. Asks the database, not the table: a
    /// descriptor that was never declared is found as well.
    Assets::AssetReference getFilterDesc(const QString &name) const;

    /// As getFilterDesc, but creates a missing descriptor and names it \a name. Does not enter it
    /// into the table. Null when the database cannot produce it.
    Assets::AssetReference getOrCreateFilterDesc(const QString &name) const;

    /// The implementations listed by the declared descriptor of \a name, in order and as stored,
    /// invalid entries included. Empty for an unknown name.
    std::vector<Assets::AssetReference> getFilterDescVariations(const QString &name) const;

    /// The implementations of the descriptor of \a name; without one, the dynamic filter of that
    /// name alone; else nothing.
    std::vector<Assets::AssetReference> getFilterVariations(const QString &name) const;

    /// The dynamic filter that now stands for the concrete filter \a staticFilter, by its name.
    ///
    /// Null without a message for an implementation of a dynamic filter, for the name "Fill" and
    /// when no dynamic filter has the name; null with a message for what is no filter at all.
    Assets::AssetReference
    getDynamicFilterFromStaticFilter(const Assets::AssetReference &staticFilter) const;

    /// Appends \a filter to the stored collection. The tables do not change.
    void registerFilter(const Assets::AssetReference &filter) const;

    /// Takes \a filter out of the stored collection. The tables do not change.
    void unregisterFilter(const Assets::AssetReference &filter) const;

    /// Enters a descriptor that exists already, under its own name. The first one of a name stays.
    void declareFilterDesc(std::shared_ptr<FilterDescAsset> asset);

    /// Attaches the newest version of \a implementation to the descriptor of \a name.
    ///
    /// Creates the descriptor when there is none. Versions that \a implementation supersedes and
    /// entries that no longer resolve leave the list. A second implementation of one variation
    /// type is refused; one of type "dynamic" takes the place of all others.
    /// Returns the descriptor, or null when the implementation or the descriptor is unusable.
    Assets::AssetReference registerFilterDescImpl(const QString &name,
                                                  const Assets::AssetReference &implementation);

    /// Files a batch of new or updated assets and returns the filters that came of it.
    ///
    /// Assets of another category than "filter" come back unchanged, what does not resolve is left
    /// out, and no two references of the result are equal. An implementation that supersedes one
    /// of a persistent dynamic filter makes a new version of that filter, which starts empty; any
    /// other implementation leaves a persistent dynamic filter as it is. \a nameOverride, when not
    /// empty, names the filter of every asset of the batch. Does not change the collection.
    /// An exception leaves done what was done until then.
    std::vector<Assets::AssetReference>
    createOrUpdateFilters(const std::vector<Assets::AssetReference> &assets,
                          const QString &nameOverride);

private:
    struct FilterBatch;

    std::shared_ptr<Assets::Asset> getOrCreateFilterDescImpl(const QString &name) const;
    std::shared_ptr<Assets::Asset> getOrCreateDynamicFilterImpl(const QString &name) const;
    Assets::AssetReference registerDynamicFilterImpl(const QString &name,
                                                     const Assets::AssetReference &implementation);
    void hideOnMainThread(const Assets::AssetReference &reference);

    Assets::AssetReference createOrUpdateFilter(const Assets::AssetReference &reference,
                                                const QString &nameOverride);
    bool classify(FilterBatch &batch, const Assets::AssetReference &reference,
                  const std::shared_ptr<Assets::Asset> &asset);
    Assets::AssetReference settle(const std::shared_ptr<DynamicFilterAsset> &filter,
                                  const QString &nameOverride);

    std::shared_ptr<FilterDescAsset> filterDescOf(const QString &key) const;
    std::shared_ptr<DynamicFilterAsset> dynamicFilterOf(const QString &key) const;
    void insertFilterDesc(const FoldedName &name, const std::shared_ptr<FilterDescAsset> &asset);
    void insertDynamicFilter(const FoldedName &name,
                             const std::shared_ptr<DynamicFilterAsset> &asset);
    void replaceDynamicFilter(const FoldedName &name, std::shared_ptr<DynamicFilterAsset> asset);

    std::unordered_map<QString, std::shared_ptr<FilterDescAsset>> m_filterDescs;
    std::unordered_map<QString, std::shared_ptr<DynamicFilterAsset>> m_dynamicFilters;
    std::shared_ptr<Assets::CollectionAsset> m_filterCollection;
    VantBase::FutureStorage<void> m_pendingFutures;
    mutable std::mutex m_mutex;
    ReaderGuard m_tableGuard; // every physical access to the two tables passes it
};

} // namespace Tesk::FilterBase
