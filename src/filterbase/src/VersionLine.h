#pragma once

#include <assets/Asset.h>
#include <assets/AssetReference.h>

#include <memory>

namespace Tesk::FilterBase {

/// Where following an asset's next versions ended.
struct VersionLine
{
    std::shared_ptr<Assets::Asset> newest;   ///< never null
    Assets::AssetReference missing;          ///< the link that resolves to nothing, else null
    std::shared_ptr<Assets::Asset> repeated; ///< the asset to which the line came back, else null

    bool isDamaged() const { return missing.isValid() || repeated; }
};

/// Follows the next versions of \a asset, which must not be null, to the newest that resolves.
///
/// Reads the bodies of all assets on the way. Stops at an asset that was met before: a damaged
/// catalogue costs a message, not a hang.
VersionLine followVersions(std::shared_ptr<Assets::Asset> asset);

} // namespace Tesk::FilterBase
