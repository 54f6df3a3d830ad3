#pragma once

namespace Tesk::RenderableBase {

/// Where the size of a renderable's output comes from.
enum class ResolutionPolicy : int {
    Inherited = 0, ///< the size that the document asks for
    FromInput = 1, ///< the size of the first input
    Fixed = 2,     ///< a size of the renderable's own
};

} // namespace Tesk::RenderableBase
