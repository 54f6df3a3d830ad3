#include <nodelibrary/HeldCatalogue.h>

#include <nodelibrary/ImplementationId.h>
#include <nodelibrary/NodeDefAsset.h>
#include <nodelibrary/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/FilterManager.h>
#include <vantbase/Exception.h>

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace Tesk::NodeLibrary {

using Assets::Asset;
using Assets::AssetReference;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;

// Fits every version line of a sound catalogue; a damaged one must not make the walk endless.
static constexpr int sLongestVersionLine = 10'000;

std::optional<int> HeldCatalogue::libraryOrder(const QString &library) const
{
    const auto found = m_libraryOrders.constFind(library);
    return found == m_libraryOrders.constEnd() ? std::nullopt : std::optional(*found);
}

class HeldCatalogueReader
{
public:
    HeldCatalogueReader(Assets::AssetDatabaseService &database,
                        const FilterBase::FilterManager &manager)
        : m_database(database)
        , m_manager(manager)
    {}

    HeldCatalogue read()
    {
        readOwnAssets();
        readCollection();
        for (std::size_t i = 0; i < m_own.size(); ++i) {
            if (!m_own[i].isReplaced)
                holdIfReadable(m_own[i]);
            else
                m_held.m_replaced.push_back(m_own[i].reference);
        }
        sort();
        return std::move(m_held);
    }

private:
    struct OwnAsset
    {
        AssetReference reference;
        ImplementationId id;
        QString library;
        int libraryOrder = 0;
        int position = 0;
        bool isReplaced = false;
    };

    struct Home
    {
        QString filterName;
        bool isDynamic = false;
    };

    struct Standing
    {
        HeldImplementation implementation;
        std::shared_ptr<NodeDefAsset> asset;
        int libraryOrder = 0;
    };

    void readOwnAssets()
    {
        std::vector<AssetReference> references = m_database.findByType(NodeDefAsset::sTypeName);
        const auto items = [&references](const QString &key) {
            return Assets::AssetControl::getAssetMetadataItems(references, key);
        };
        const std::vector<QVariant> libraries = items(libraryUserDataKey);
        const std::vector<QVariant> orders = items(libraryOrderUserDataKey);
        const std::vector<QVariant> positions = items(positionUserDataKey);
        const std::vector<QVariant> replaced = items(replacedUserDataKey);
        std::vector<AssetReference> standing;
        for (std::size_t i = 0; i < references.size(); ++i) {
            const auto id = ImplementationId::fromBytes(references[i].id());
            if (!id)
                continue;
            int &generation = m_held.m_generations[id->nodeDef];
            generation = std::max(generation, id->generation);
            m_own.push_back({references[i], *id, libraries[i].toString(), orders[i].toInt(),
                             positions[i].toInt(), replaced[i].toBool()});
            if (!m_own.back().isReplaced)
                standing.push_back(references[i]);
        }
        m_database.prefetch(standing);
    }

    void readCollection()
    {
        const auto collection = std::dynamic_pointer_cast<Assets::CollectionAsset>(
                m_manager.getFilterBaseReference().asset());
        if (!collection)
            return;
        const std::vector<AssetReference> items = collection->items();
        m_database.prefetch(items);
        for (const AssetReference &item : items) {
            const std::shared_ptr<Asset> asset = item.asset();
            try {
                if (const auto filter = std::dynamic_pointer_cast<DynamicFilterAsset>(asset))
                    readDynamicFilter(*filter);
                else if (const auto descriptor = std::dynamic_pointer_cast<FilterDescAsset>(asset))
                    readDescriptor(*descriptor);
            } catch (const Exception::BaseException &) {
                continue; // damaged: it holds nothing that could be known
            }
        }
    }

    void readDynamicFilter(const DynamicFilterAsset &filter)
    {
        const QString name = Assets::AssetControl::getName(filter);
        m_held.m_dynamicKeys.insert(name.toLower());
        for (const auto &[key, record] : filter.types)
            m_homes.try_emplace(record->implementationRef.get(), Home{name, true});
        for (const auto &[key, record] : filter.usages)
            m_homes.try_emplace(record->implementationRef.get(), Home{name, true});
    }

    void readDescriptor(const FilterDescAsset &descriptor)
    {
        const QString name = Assets::AssetControl::getName(descriptor);
        for (const AssetReference &reference : descriptor.implementations)
            m_homes.try_emplace(reference, Home{name, false});
    }

    // The filter that files the asset, or the head at the end of its versions.
    const Home *homeOf(const AssetReference &reference) const
    {
        AssetReference current = reference;
        for (int steps = 0; current.isValid() && steps < sLongestVersionLine; ++steps) {
            const auto home = m_homes.find(current);
            if (home != m_homes.end())
                return &home->second;
            const std::shared_ptr<Asset> asset = current.asset();
            current = asset ? asset->nextVersion.get() : AssetReference();
        }
        return nullptr;
    }

    // What is damaged does not stand, so that its library brings it anew.
    void holdIfReadable(const OwnAsset &own)
    {
        try {
            hold(own);
        } catch (const Exception::BaseException &) {
            return;
        }
    }

    void hold(const OwnAsset &own)
    {
        const Home *home = homeOf(own.reference);
        const auto asset = std::dynamic_pointer_cast<NodeDefAsset>(own.reference.asset());
        if (home == nullptr || !asset)
            return;
        const bool isHead = m_homes.contains(own.reference);
        QString next;
        if (const auto id = ImplementationId::fromBytes(asset->nextVersion.get().id());
            id && !isHead)
            next = id->nodeDef;
        m_standing.push_back({{asset->definition.get(), own.library, home->filterName,
                               own.id.digest, next, own.position, isHead, home->isDynamic},
                              asset,
                              own.libraryOrder});
        m_held.m_libraryOrders.insert(own.library, own.libraryOrder);
        m_held.m_nextLibraryOrder = std::max(m_held.m_nextLibraryOrder, own.libraryOrder + 1);
    }

    void sort()
    {
        std::sort(m_standing.begin(), m_standing.end(), [](const auto &left, const auto &right) {
            return std::tie(left.libraryOrder, left.implementation.library,
                            left.implementation.position)
                   < std::tie(right.libraryOrder, right.implementation.library,
                              right.implementation.position);
        });
        for (Standing &each : m_standing) {
            m_held.m_implementations.push_back(std::move(each.implementation));
            m_held.m_assets.push_back(std::move(each.asset));
        }
    }

    Assets::AssetDatabaseService &m_database;
    const FilterBase::FilterManager &m_manager;
    std::vector<OwnAsset> m_own;
    std::unordered_map<AssetReference, Home> m_homes;
    std::vector<Standing> m_standing;
    HeldCatalogue m_held;
};

HeldCatalogue HeldCatalogue::read(Assets::AssetDatabaseService &database,
                                  const FilterBase::FilterManager &manager)
{
    return HeldCatalogueReader(database, manager).read();
}

} // namespace Tesk::NodeLibrary
