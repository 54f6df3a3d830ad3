#include <filterbase/FilterManager.h>

#include "AssetCast.h"
#include "CollectionBatch.h"
#include "FoldedName.h"
#include "UniqueReferences.h"
#include "VersionLine.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/StaticFilter.h>
#include <filterbase/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <futures/main_thread_executor.h>
#include <futures/stoppable.h>
#include <vantbase/Exception.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>
#include <vantbase/Raise.h>
#include <vantbase/ServiceLocator.h>
#include <vantbase/ThreadUtils.h>
#include <vantbase/TypeId.h>

#include <QUuid>
#include <QVariant>

#include <algorithm>
#include <utility>

namespace Tesk::FilterBase {

using Assets::Asset;
using Assets::AssetDatabaseService;
using Assets::AssetReference;
using Assets::CollectionAsset;

namespace AssetControl = Assets::AssetControl;
namespace CollectionControl = Assets::CollectionControl;
namespace MetaDataControl = Assets::MetaDataControl;

// Stored in user files: never change them.
static const QByteArray sCollectionId = QByteArrayLiteral("collection://lorimetFilters");
static const QString sDescriptorScheme = QStringLiteral("filterDesc://");

static const QString sFilterCategory = QStringLiteral("filter");
static const QString sDynamicVariation = QStringLiteral("dynamic");

// Large enough to make the queries of a batch cheap, small enough to hold a batch in the caches.
static constexpr std::size_t sItemsPerBatch = 4096;

static std::shared_ptr<AssetDatabaseService> assetDatabase()
{
    return VantBase::ServiceLocator::instance().service<AssetDatabaseService>();
}

static VantBase::LogRecord warning(const std::string &place)
{
    return VantBase::logger(VantBase::LogService::Filter)
            .record(VantBase::LogLevel::Warning, place);
}

static QByteArray descriptorId(const QString &name)
{
    return (sDescriptorScheme + name.toLower()).toUtf8();
}

static bool isFilter(const Asset &asset)
{
    return asset.category() == sFilterCategory;
}

static bool isDynamicFilterImplementation(const AssetReference &reference)
{
    const auto type = MetaDataControl::getItem(reference, filterTypeUserDataKey);
    return type && type->toString() == dynamicFilterTypeUserData;
}

static QString filterName(const Asset &asset, const QString &nameOverride)
{
    return nameOverride.isEmpty() ? AssetControl::getName(asset) : nameOverride;
}

static QString keyOf(const Asset &asset)
{
    return FoldedName(AssetControl::getName(asset)).ownedKey();
}

static std::shared_ptr<DynamicFilterAsset> createDynamicFilter()
{
    const QByteArray id = QUuid::createUuid().toByteArray(QUuid::WithBraces);
    return assetCast<DynamicFilterAsset>(
            assetDatabase()->createInternalAsset(id, DynamicFilterAsset::sTypeName, QString()));
}

static AssetReference withoutDynamicFilter(const std::string &place, const QString &name)
{
    warning(place) << "The asset database gave no DynamicFilterAsset for the filter "
                   << VantBase::logStr(name);
    return {};
}

static void reportDamage(const VersionLine &line, const std::string &place)
{
    if (line.missing.isValid()) {
        warning(place) << "cannot find asset from ref " << line.missing.debugInfo()
                       << ", which is the next version for " << line.newest->debugInfo();
    } else if (line.repeated) {
        warning(place) << "version chain comes back to " << line.repeated->debugInfo();
    }
}

// What one call of createOrUpdateFilters works with.
struct FilterManager::FilterBatch
{
    const QString &nameOverride;
    UniqueReferences result;
    std::vector<AssetReference> pending;
    std::vector<std::pair<std::shared_ptr<DynamicFilterAsset>, std::shared_ptr<DynamicFilterAsset>>>
            versionPairs; // the replaced filter, its successor
};

FilterManager::FilterManager()
{
    const AssetReference reference = assetDatabase()->getOrCreateReferenceForInternalAsset(
            sCollectionId, CollectionAsset::sTypeName);
    if (!reference.isValid()) {
        VantBase::raiseRuntimeError(TESK_HERE,
                                    QStringLiteral("Failed to create the filter collection."));
    }
    m_filterCollection = assetCast<CollectionAsset>(reference.asset());
    if (!m_filterCollection) {
        VantBase::raiseRuntimeError(
                TESK_HERE, QStringLiteral("Cannot fetch filter base collection from reference ")
                                   + reference.debugInfo());
    }

    // Nobody else can see the manager yet: the tables are filled aside and put in place at once.
    decltype(m_filterDescs) filterDescs;
    decltype(m_dynamicFilters) dynamicFilters;
    const std::vector<AssetReference> items = m_filterCollection->items();
    // Room for all in both costs less than to fill them again and again while they grow.
    filterDescs.reserve(items.size());
    dynamicFilters.reserve(items.size());
    for (std::size_t at = 0; at < items.size(); at += sItemsPerBatch) {
        const auto batch =
                std::span(items).subspan(at, std::min(sItemsPerBatch, items.size() - at));
        const std::vector<std::shared_ptr<Asset>> assets = assetDatabase()->getAssets(batch);
        const CollectionBatch read(*assetDatabase(), batch, assets);
        for (std::size_t index = 0; index < batch.size(); ++index) {
            const AssetReference &item = batch[index];
            if (item.isInvalid()) {
                warning(TESK_HERE) << "invalid asset reference found in the filter collection";
                continue;
            }
            const std::shared_ptr<Asset> &asset = assets[index];
            if (auto descriptor = assetCast<FilterDescAsset>(asset);
                descriptor && isReadable(*descriptor)) {
                for (int hits = read.toolImplementations(*descriptor); hits > 0; --hits)
                    CollectionControl::hideAsset(item);
                filterDescs.try_emplace(keyOf(*descriptor), std::move(descriptor));
            }
            if (auto filter = assetCast<DynamicFilterAsset>(asset)) {
                dynamicFilters.try_emplace(keyOf(*filter), std::move(filter));
            }
        }
    }
    const ReaderGuard::Writing writing(m_tableGuard);
    m_filterDescs.swap(filterDescs);
    m_dynamicFilters.swap(dynamicFilters);
}

FilterManager::~FilterManager() = default;

unsigned long long FilterManager::typeId()
{
    static const unsigned long long id = VantBase::typeIdOf("Tesk::FilterBase::FilterManager");
    return id;
}

AssetReference FilterManager::getFilterBaseReference() const
{
    return m_filterCollection->ownReference();
}

AssetReference FilterManager::getDynamicFilter(const QString &name) const
{
    const FoldedName folded(name);
    // The reference is taken inside the section: copying the pointer out would make all readers
    // of one name count in the same place.
    const ReaderGuard::Reading reading(m_tableGuard);
    const auto entry = m_dynamicFilters.find(folded.key());
    return entry == m_dynamicFilters.end() ? AssetReference() : entry->second->ownReference();
}

AssetReference FilterManager::getFilterDesc(const QString &name) const
{
    const auto asset = assetDatabase()->getAssetFromId(descriptorId(name));
    return asset ? asset->ownReference() : AssetReference();
}

AssetReference FilterManager::getOrCreateFilterDesc(const QString &name) const
{
    const auto asset = getOrCreateFilterDescImpl(name);
    return asset ? asset->ownReference() : AssetReference();
}

std::vector<AssetReference> FilterManager::getFilterDescVariations(const QString &name) const
{
    const std::lock_guard lock(m_mutex);
    const auto descriptor = filterDescOf(FoldedName(name).key());
    return descriptor ? descriptor->implementations.values() : std::vector<AssetReference>();
}

std::vector<AssetReference> FilterManager::getFilterVariations(const QString &name) const
{
    const std::lock_guard lock(m_mutex);
    const FoldedName folded(name);
    if (const auto descriptor = filterDescOf(folded.key()))
        return descriptor->implementations.values();
    if (const auto filter = dynamicFilterOf(folded.key()))
        return {filter->ownReference()};
    return {};
}

AssetReference
FilterManager::getDynamicFilterFromStaticFilter(const AssetReference &staticFilter) const
{
    const auto asset = staticFilter.asset();
    if (!asset || !isFilter(*asset)) {
        warning(TESK_HERE) << "The provided reference " << staticFilter.debugInfo()
                           << " is not a valid filter reference.";
        return {};
    }
    if (isDynamicFilterImplementation(staticFilter))
        return {};
    const QString name = assetDatabase()->getNameFromRef(staticFilter);
    // "Fill" alone keeps its concrete filter, whatever else carries the name.
    if (name == QLatin1StringView("Fill"))
        return {};
    return getDynamicFilter(name);
}

void FilterManager::registerFilter(const AssetReference &filter) const
{
    if (m_filterCollection)
        CollectionControl::appendAssetFromRef(m_filterCollection, filter);
}

void FilterManager::unregisterFilter(const AssetReference &filter) const
{
    if (m_filterCollection)
        CollectionControl::removeAsset(m_filterCollection, filter);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): clients were promised this signature
void FilterManager::declareFilterDesc(std::shared_ptr<FilterDescAsset> asset)
{
    if (!asset) {
        VantBase::logger(VantBase::LogService::Declaration)
                        .record(VantBase::LogLevel::Warning, TESK_HERE)
                << "Declaring a null asset to the FilterManager.";
        return;
    }
    const FoldedName folded(AssetControl::getName(*asset));
    const auto declared = filterDescOf(folded.key());
    if (!declared) {
        if (asset->implementations.empty()) {
            warning(TESK_HERE) << "Declaring pre-existing FilterDescAsset "
                               << asset->ownReference().debugInfo()
                               << ", but it has no implementations.";
        }
        insertFilterDesc(folded, asset);
    } else if (declared->ownReference() != asset->ownReference()) {
        warning(TESK_HERE) << "Declaring pre-existing FilterDescAsset "
                           << asset->ownReference().debugInfo() << " with name \"" << folded.key()
                           << "\" but asset " << declared->ownReference().debugInfo()
                           << " with the same name is already declared to the FilterManager.";
    }
}

std::shared_ptr<Asset> FilterManager::getOrCreateFilterDescImpl(const QString &name) const
{
    const auto database = assetDatabase();
    const QByteArray id = descriptorId(name);
    if (auto existing = database->getAssetFromId(id))
        return existing;
    const AssetReference reference =
            database->getOrCreateReferenceForInternalAsset(id, FilterDescAsset::sTypeName);
    auto created = reference.asset();
    if (created)
        AssetControl::setName(created, name);
    else
        warning(TESK_HERE) << "Cannot fetch asset " << reference.debugInfo();
    return created;
}

AssetReference FilterManager::registerFilterDescImpl(const QString &name,
                                                     const AssetReference &implementation)
{
    const auto fetched = getOrCreateFilterDescImpl(name);
    const std::lock_guard lock(m_mutex);
    const FoldedName folded(name);
    auto descriptor = filterDescOf(folded.key());
    if (!descriptor) {
        descriptor = assetCast<FilterDescAsset>(fetched);
        if (!descriptor) {
            if (fetched) {
                warning(TESK_HERE) << "The asset " << fetched->debugInfo()
                                   << " that has the identifier of the filter desc "
                                   << VantBase::logStr(name) << " is not a FilterDescAsset.";
            }
            return {};
        }
        insertFilterDesc(folded, descriptor);
        if (dynamicFilterOf(folded.key()))
            CollectionControl::hideAsset(descriptor->ownReference());
    }

    const auto asset = implementation.asset();
    if (!asset) {
        warning(TESK_HERE) << "cannot find asset from ref " << implementation.debugInfo();
        return {};
    }
    const VersionLine line = followVersions(asset);
    if (line.isDamaged())
        reportDamage(line, TESK_HERE);
    const AssetReference newest = line.newest->ownReference();

    auto &list = descriptor->implementations;
    const auto isObsolete = [&](const AssetReference &entry) {
        if (entry.isInvalid()) {
            warning(TESK_HERE) << "an invalid asset reference was found in the filter desc "
                               << VantBase::logStr(name);
            return true;
        }
        const auto listed = entry.asset();
        if (!listed) {
            warning(TESK_HERE) << "cannot get asset " << entry.debugInfo() << " in filter desc "
                               << VantBase::logStr(name);
            return true;
        }
        return AssetControl::isNewVersion(listed, newest);
    };
    list.removeIf(isObsolete);
    if (list.contains(newest))
        return descriptor->ownReference();

    const auto *const filter = dynamic_cast<const StaticFilter *>(line.newest.get());
    if (!filter) {
        warning(TESK_HERE) << "The asset " << line.newest->debugInfo()
                           << " cannot be registered in the filter desc " << VantBase::logStr(name)
                           << ": it is not a StaticFilter and has no variation type.";
        return {};
    }
    const QString variation = filter->variationType();
    const bool isTaken = std::any_of(list.begin(), list.end(), [&](const AssetReference &entry) {
        const auto listed = entry.asset();
        const auto *const other = dynamic_cast<const StaticFilter *>(listed.get());
        return other && other->variationType() == variation;
    });
    if (isTaken) {
        warning(TESK_HERE) << "The filter " << name << ", with variation " << variation
                           << " cannot be registered. A similar filter already exists.";
        return descriptor->ownReference();
    }
    if (variation == sDynamicVariation) {
        for (const AssetReference &entry : list) {
            if (const auto listed = entry.asset())
                listed->nextVersion.set(newest);
        }
        list.clear();
    }
    list.append(newest);
    return descriptor->ownReference();
}

std::shared_ptr<Asset> FilterManager::getOrCreateDynamicFilterImpl(const QString &name) const
{
    const AssetReference existing = getDynamicFilter(name);
    return existing.isValid() ? existing.asset() : createDynamicFilter();
}

AssetReference FilterManager::registerDynamicFilterImpl(const QString &name,
                                                        const AssetReference &implementation)
{
    const auto filter = assetCast<DynamicFilterAsset>(getOrCreateDynamicFilterImpl(name));
    const std::lock_guard lock(m_mutex);
    const FoldedName folded(name);
    const bool isListed = dynamicFilterOf(folded.key()) != nullptr;
    if (!isListed) {
        if (!filter)
            return withoutDynamicFilter(TESK_HERE, name);
        insertDynamicFilter(folded, filter);
    }
    if (const auto descriptor = filterDescOf(folded.key()))
        hideOnMainThread(descriptor->ownReference());

    auto asset = implementation.asset();
    if (!asset) {
        warning(TESK_HERE) << "cannot find asset from ref " << implementation.debugInfo();
        return {};
    }
    const VersionLine line = followVersions(std::move(asset));
    if (line.isDamaged())
        reportDamage(line, TESK_HERE);
    if (!filter)
        return withoutDynamicFilter(TESK_HERE, name);
    AssetControl::setName(filter, name);
    filter->registerImplementation(line.newest->ownReference());
    return filter->ownReference();
}

void FilterManager::hideOnMainThread(const AssetReference &reference)
{
    if (VantBase::ThreadUtils::isMainThread()) {
        CollectionControl::hideAsset(reference);
        return;
    }
    // The task may outlive this manager: it holds the reference alone.
    auto task = make_stoppable(main_thread_executor::instance(),
                               [reference] { CollectionControl::hideAsset(reference); });
    m_pendingFutures.add(std::move(task.result), std::move(task.stop),
                         "Tesk::FilterBase::FilterManager::registerDynamicFilterImpl");
}

AssetReference FilterManager::createOrUpdateFilter(const AssetReference &reference,
                                                   const QString &nameOverride)
{
    const auto asset = reference.asset();
    if (!asset) {
        warning(TESK_HERE) << "Failed to get asset with reference: " << reference.debugInfo();
        return reference;
    }
    if (!isFilter(*asset))
        return reference;
    const QString name = filterName(*asset, nameOverride);
    return isDynamicFilterImplementation(reference) ? registerDynamicFilterImpl(name, reference)
                                                    : registerFilterDescImpl(name, reference);
}

std::vector<AssetReference>
FilterManager::createOrUpdateFilters(const std::vector<AssetReference> &assets,
                                     const QString &nameOverride)
{
    if (assets.empty())
        return {};
    // Each asset is asked for several items, step by step.
    const AssetDatabaseService::MetaDataKeeper keeper(*assetDatabase(), assets);
    FilterBatch batch{nameOverride, {}, {}, {}};
    for (const AssetReference &reference : assets) {
        const auto asset = reference.asset();
        if (!asset) {
            warning(TESK_HERE) << "Failed to get asset with reference: " << reference.debugInfo();
        } else if (!classify(batch, reference, asset)) {
            withoutDynamicFilter(TESK_HERE, filterName(*asset, nameOverride));
        }
    }

    for (const AssetReference &reference : batch.pending)
        batch.result.append(createOrUpdateFilter(reference, nameOverride));

    for (std::size_t index = 0; index < batch.result.size(); ++index) {
        const auto filter = assetCast<DynamicFilterAsset>(batch.result.at(index).asset());
        if (filter && filter->ownReference().lifespan() == AssetReference::Lifespan::Internal)
            batch.result.replace(index, settle(filter, nameOverride));
    }

    for (const auto &[replaced, successor] : batch.versionPairs) {
        const AssetReference next = successor->ownReference();
        if (replaced->ownReference().lifespan() == AssetReference::Lifespan::Persistent
            && next.lifespan() == AssetReference::Lifespan::Persistent) {
            replaced->nextVersion.set(next);
        }
    }
    return batch.result.toVector();
}

// Decides whether the asset is to be registered, and makes the new version of a dynamic filter
// that its registration needs. False when that filter could not be made: the asset is left out.
bool FilterManager::classify(FilterBatch &batch, const AssetReference &reference,
                             const std::shared_ptr<Asset> &asset)
{
    if (isFilter(*asset)) {
        const FoldedName folded(filterName(*asset, batch.nameOverride));
        const auto existing =
                isDynamicFilterImplementation(reference) ? dynamicFilterOf(folded.key()) : nullptr;
        if (existing && existing->containsPreviousVersion(asset->ownReference())) {
            auto successor = createDynamicFilter();
            if (!successor)
                return false;
            replaceDynamicFilter(folded, successor);
            batch.versionPairs.emplace_back(existing, std::move(successor));
        } else if (existing
                   && existing->ownReference().lifespan() == AssetReference::Lifespan::Persistent) {
            // A persistent dynamic filter changes only by being replaced.
            batch.result.append(existing->ownReference());
            return true;
        }
    }
    batch.pending.push_back(reference);
    return true;
}

// Gives a new dynamic filter its content: the persistent one of the same content when there is
// one, else its own, made persistent. Returns the reference to use from now on.
AssetReference FilterManager::settle(const std::shared_ptr<DynamicFilterAsset> &filter,
                                     const QString &nameOverride)
{
    const auto database = assetDatabase();
    const QString name = filterName(*filter, nameOverride);
    if (const auto existing = database->getAssetFromId(filter->generateId())) {
        if (auto twin = assetCast<DynamicFilterAsset>(existing))
            replaceDynamicFilter(FoldedName(name), std::move(twin));
        return existing->ownReference();
    }
    filter->generateIODesc();
    database->makeAssetPersistent(filter, nullptr);
    AssetControl::setName(filter, name);
    return filter->ownReference();
}

std::shared_ptr<FilterDescAsset> FilterManager::filterDescOf(const QString &key) const
{
    const ReaderGuard::Reading reading(m_tableGuard);
    const auto entry = m_filterDescs.find(key);
    return entry == m_filterDescs.end() ? nullptr : entry->second;
}

std::shared_ptr<DynamicFilterAsset> FilterManager::dynamicFilterOf(const QString &key) const
{
    const ReaderGuard::Reading reading(m_tableGuard);
    const auto entry = m_dynamicFilters.find(key);
    return entry == m_dynamicFilters.end() ? nullptr : entry->second;
}

void FilterManager::insertFilterDesc(const FoldedName &name,
                                     const std::shared_ptr<FilterDescAsset> &asset)
{
    const QString key = name.ownedKey();
    const ReaderGuard::Writing writing(m_tableGuard);
    m_filterDescs.try_emplace(key, asset);
}

void FilterManager::insertDynamicFilter(const FoldedName &name,
                                        const std::shared_ptr<DynamicFilterAsset> &asset)
{
    const QString key = name.ownedKey();
    const ReaderGuard::Writing writing(m_tableGuard);
    m_dynamicFilters.try_emplace(key, asset);
}

void FilterManager::replaceDynamicFilter(const FoldedName &name,
                                         std::shared_ptr<DynamicFilterAsset> asset)
{
    const QString key = name.ownedKey();
    const ReaderGuard::Writing writing(m_tableGuard);
    // The replaced filter leaves in the argument and is released after the section.
    m_dynamicFilters[key].swap(asset);
}

} // namespace Tesk::FilterBase
