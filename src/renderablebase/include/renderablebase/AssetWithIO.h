#pragma once

#include <renderablebase/renderablebase_export.h>
#include <renderablebase/RenderableIODesc.h>

#include <assets/Asset.h>

#include <QVariant>

#include <memory>
#include <unordered_map>

namespace Tesk::RenderableBase {

/// An asset that takes parameters and gives outputs.
class RENDERABLEBASE_EXPORT AssetWithIO : public Assets::Asset
{
    Q_OBJECT
public:
    AssetWithIO(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~AssetWithIO() override;

    /// Returns the description that holds while the parameters have the values of \a tweaks,
    /// keyed by parameter uid. Never null.
    virtual std::shared_ptr<const RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &tweaks) const = 0;
};

} // namespace Tesk::RenderableBase
