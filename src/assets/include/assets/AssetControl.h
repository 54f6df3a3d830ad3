#pragma once

#include <assets/AssetReference.h>
#include <assets/assets_export.h>

#include <QString>
#include <QVariant>

#include <memory>
#include <vector>

/// Questions and changes that concern one asset but are not part of its content.
///
/// Threads: any. Errors: store errors pass.
namespace Tesk::Assets::AssetControl {

/// Returns the name the asset itself bears; null for a null pointer or an unnamed asset.
///
/// Reads neither the body nor the database.
ASSETS_EXPORT QString getName(const std::shared_ptr<Asset> &asset);
ASSETS_EXPORT QString getName(const Asset &asset);

/// Names the asset, and has the database record the name. A null pointer is left alone.
ASSETS_EXPORT void setName(const std::shared_ptr<Asset> &asset, const QString &name);

/// Returns whether \a reference is reached from \a asset by one or more next-version links.
///
/// False for the asset itself. The walk stops at an asset met twice and at a link that
/// does not resolve (whose own reference still counts). Touches the assets on the way.
ASSETS_EXPORT bool isNewVersion(const std::shared_ptr<Asset> &asset,
                                const AssetReference &reference);

/// Returns the value of one metadata item, invalid when it is absent. Reads the database.
ASSETS_EXPORT QVariant getAssetMetadataItem(const AssetReference &reference, const QString &key);

/// The same of many assets by one read; one value for each reference, in order.
ASSETS_EXPORT std::vector<QVariant>
getAssetMetadataItems(const std::vector<AssetReference> &references, const QString &key);

} // namespace Tesk::Assets::AssetControl
