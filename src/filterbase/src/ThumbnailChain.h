#pragma once

#include <assets/AssetReference.h>
#include <futures/future.h>

#include <memory>
#include <stop_token>
#include <vector>

namespace Tesk::Surfaces {
class Surface;
}

namespace Tesk::FilterBase {

/// Asks the assets one after the other for a thumbnail, until one has it.
///
/// Returns at once with a future of the first surface that is not null, or of null when all have
/// been asked. Neither the number of assets nor the order in which their answers arrive costs
/// stack. An asset that does not resolve is passed over.
future<std::shared_ptr<Surfaces::Surface>>
firstThumbnail(std::vector<Assets::AssetReference> references, std::stop_token stopToken);

} // namespace Tesk::FilterBase
