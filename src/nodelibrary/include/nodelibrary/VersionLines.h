#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>

#include <vector>

namespace Tesk::NodeLibrary {

/// Where a nodedef stands among the versions of its overload.
struct NODELIBRARY_EXPORT VersionPlace
{
    enum class Kind : int {
        Current = 0,    ///< stands for the filter
        OptIn = 1,      ///< newer than the default, or made for one target: found by its name only
        Superseded = 2, ///< older than the default: a version that documents may still hold
    };

    Kind kind = Kind::Current;
    const NodeDef *next = nullptr; ///< the next version of a superseded one, else null

    bool isHead() const { return kind != Kind::Superseded; }
};

/// Settles which nodedefs of a node are current and which follows which.
struct NODELIBRARY_EXPORT VersionLines
{
    /// Places each of \a nodeDefs, which are completed, in canonical order and all of one node.
    ///
    /// Overloads are told apart by target and output type; the default of each is the highest
    /// version flagged as such, or the highest of all when none is.
    static std::vector<VersionPlace> settle(const std::vector<const NodeDef *> &nodeDefs);
};

} // namespace Tesk::NodeLibrary
