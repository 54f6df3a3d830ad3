#pragma once

#include <assets/Asset.h>

namespace Tesk::Assets {

/// The names that assets bear, readable while another thread renames.
struct AssetNames
{
    static QString get(const Asset &asset);
    static void set(Asset &asset, const QString &name);
};

} // namespace Tesk::Assets
