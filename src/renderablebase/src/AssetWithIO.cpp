#include <renderablebase/AssetWithIO.h>

namespace Tesk::RenderableBase {

AssetWithIO::AssetWithIO(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : Assets::Asset(badge, parent)
{}

AssetWithIO::~AssetWithIO() = default;

} // namespace Tesk::RenderableBase
