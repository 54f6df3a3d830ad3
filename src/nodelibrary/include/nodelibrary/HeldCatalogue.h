#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/LibraryDiff.h>

#include <assets/AssetReference.h>

#include <QHash>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace Tesk::Assets {
class Asset;
class AssetDatabaseService;
} // namespace Tesk::Assets
namespace Tesk::FilterBase {
class FilterManager;
}

namespace Tesk::NodeLibrary {

class NodeDefAsset;

/// The implementations of node libraries that stand in a catalogue.
///
/// An implementation stands while a filter of the collection files it and no later import has
/// replaced it; a superseded version stands with the head that its versions lead to.
///
/// A picture of the moment: it does not follow later changes.
class NODELIBRARY_EXPORT HeldCatalogue
{
public:
    /// Reads the collection and all assets of this module in a few batches.
    static HeldCatalogue read(Assets::AssetDatabaseService &database,
                              const FilterBase::FilterManager &manager);

    /// By library in the order in which they first came, canonical within each.
    const std::vector<HeldImplementation> &implementations() const { return m_implementations; }

    /// The assets of implementations(), one each.
    const std::vector<std::shared_ptr<NodeDefAsset>> &assets() const { return m_assets; }

    /// What later imports replaced, in no special order.
    const std::vector<Assets::AssetReference> &replaced() const { return m_replaced; }

    /// The highest generation of the nodedef's assets, standing or not; 0 when there is none.
    int latestGeneration(const QString &nodeDef) const { return m_generations.value(nodeDef); }

    /// Whether a dynamic filter of that key stands in the collection.
    bool hasDynamicFilter(const QString &key) const { return m_dynamicKeys.contains(key); }

    /// The number by which the library is ordered; nothing for one that holds nothing.
    std::optional<int> libraryOrder(const QString &library) const;
    int nextLibraryOrder() const { return m_nextLibraryOrder; }

private:
    friend class HeldCatalogueReader;

    std::vector<HeldImplementation> m_implementations;
    std::vector<std::shared_ptr<NodeDefAsset>> m_assets;
    std::vector<Assets::AssetReference> m_replaced;
    QHash<QString, int> m_generations;
    QSet<QString> m_dynamicKeys;
    QHash<QString, int> m_libraryOrders;
    int m_nextLibraryOrder = 0;
};

} // namespace Tesk::NodeLibrary
