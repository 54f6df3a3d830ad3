#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/Problem.h>

#include <vector>

namespace Tesk::NodeLibrary {

/// Completes nodedefs with what their bases contribute.
struct NODELIBRARY_EXPORT Inheritance
{
    /// Completes every nodedef of \a nodeDefs from the others; names must be unique.
    ///
    /// Behind its own parameters and outputs a nodedef gets those of its base that it lacks,
    /// then those of the base's base. One that has no output then gets a single output "out" of
    /// the first usable type on the line. What an earlier call added is dropped first, so the
    /// call may be repeated when nodedefs have come or gone.
    ///
    /// A base that is missing and a circle of bases end the line and are returned as remarks.
    static Problems complete(const std::vector<NodeDef *> &nodeDefs);
};

} // namespace Tesk::NodeLibrary
