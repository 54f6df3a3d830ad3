#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/VersionLines.h>

#include <QString>

#include <cstddef>
#include <functional>
#include <vector>

namespace Tesk::NodeLibrary {

/// A nodedef as its filter files it.
struct NODELIBRARY_EXPORT PlannedImplementation
{
    std::size_t index = 0; ///< among the nodedefs that were planned
    const NodeDef *nodeDef = nullptr;
    VersionPlace place;
    QString text; ///< the variation type text; empty for a superseded version
};

/// One filter: the nodedefs of a name and how they share it.
struct NODELIBRARY_EXPORT PlannedFilter
{
    QString name; ///< as the first head spells it
    QString key;  ///< the name in lower case: what tells filters apart
    bool isDynamic = false;
    std::vector<PlannedImplementation> implementations; ///< in canonical order

    std::size_t headCount() const;
};

/// Sorts nodedefs into filters.
struct NODELIBRARY_EXPORT FilterPlan
{
    struct Item
    {
        const NodeDef *nodeDef = nullptr;
        QString filterName; ///< usually the node
    };

    /// Plans \a items, which are completed and in canonical order; the filters by ascending key.
    ///
    /// Versions are settled per node, texts per filter. A filter is dynamic when it has several
    /// heads or when \a isDynamic says so of its key: a dynamic filter never turns back.
    static std::vector<PlannedFilter> plan(const std::vector<Item> &items,
                                           const std::function<bool(const QString &)> &isDynamic);
};

} // namespace Tesk::NodeLibrary
