#pragma once

#include <assets/assets_export.h>

#include <data/Node.h>

/// Format steps that all asset classes share; docs/format/asset-versions.md has the layouts.
///
/// Each rewrites a node in place; content it does not know stays as it is.
/// Errors: a SerializationException where the node is not of the layout it should have.
namespace Tesk::Assets::Serialization {

/// Version 100 to 200: the asset's own data and its fields become one "Fields" node.
ASSETS_EXPORT void upgrade2_3AssetDataTo3_0(Tesk::Data::Serialization::Node &node);

/// Version 200 to 300: source files become URLs instead of native paths.
ASSETS_EXPORT void updateAsset_ExternalFileUrls(Tesk::Data::Serialization::Node &node);

} // namespace Tesk::Assets::Serialization
