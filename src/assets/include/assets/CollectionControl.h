#pragma once

#include <assets/AssetReference.h>
#include <assets/assets_export.h>

#include <memory>

/// Changes to collections and to what people see of the assets in them.
///
/// Threads: any. Errors: store errors pass; a null collection is left alone. A null reference can be
/// an item like any other; there is nothing of it to hide.
namespace Tesk::Assets {

class CollectionAsset;

namespace CollectionControl {

/// Appends \a reference at the end; nothing happens when its id is in the collection.
///
/// Costs the same in a small and in a large collection.
ASSETS_EXPORT void appendAssetFromRef(const std::shared_ptr<CollectionAsset> &collection,
                                      const AssetReference &reference);

/// Takes \a reference out; nothing happens when it is not in the collection.
ASSETS_EXPORT void removeAsset(const std::shared_ptr<CollectionAsset> &collection,
                               const AssetReference &reference);

/// Hides what \a reference names, in a collection or not; no list changes.
///
/// Persistent. Hiding what is hidden writes nothing.
ASSETS_EXPORT void hideAsset(const AssetReference &reference);
ASSETS_EXPORT void showAsset(const AssetReference &reference); ///< undoes hideAsset()
ASSETS_EXPORT bool isHidden(const AssetReference &reference);

} // namespace CollectionControl

} // namespace Tesk::Assets
