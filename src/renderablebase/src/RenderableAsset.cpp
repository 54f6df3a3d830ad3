#include <renderablebase/RenderableAsset.h>

namespace Tesk::RenderableBase {

RenderableAsset::RenderableAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : AssetWithIO(badge, parent)
{}

RenderableAsset::~RenderableAsset() = default;

ResolutionPolicy RenderableAsset::actualResolutionPolicy(ResolutionPolicy requested) const
{
    return requested;
}

} // namespace Tesk::RenderableBase
