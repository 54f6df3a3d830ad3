#pragma once

#include <renderablebase/AssetWithIO.h>
#include <renderablebase/renderablebase_export.h>
#include <renderablebase/ResolutionPolicy.h>

namespace Tesk::RenderableBase {

/// An asset that can be computed into images.
class RENDERABLEBASE_EXPORT RenderableAsset : public AssetWithIO
{
    Q_OBJECT
public:
    RenderableAsset(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~RenderableAsset() override;

    /// Returns the policy by which the asset is computed when \a requested is asked for:
    /// \a requested itself, unless a subclass cannot follow it.
    virtual ResolutionPolicy actualResolutionPolicy(ResolutionPolicy requested) const;
};

} // namespace Tesk::RenderableBase
