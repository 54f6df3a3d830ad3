#pragma once

#include <assets/Asset.h>

#include <functional>

namespace Tesk::Assets {

/// Calls \a visit for the next version of \a asset, for the next of that, and so on.
///
/// Ends where a link is null or does not resolve, at an asset met before (with one log line),
/// and when \a visit returns false. Touches the assets on the way.
void walkNextVersions(const Asset &asset, const std::function<bool(const AssetReference &)> &visit);

} // namespace Tesk::Assets
