#pragma once

#include <assets/AssetReference.h>

namespace Tesk::Assets {

/// What became of one asset; handed to the observers of a database after the change is stored.
struct AssetChange
{
    enum class Kind : int {
        Created,
        ContentChanged,
        Renamed,
        MetaDataChanged,
        VisibilityChanged,
        ItemsChanged, ///< the list of a collection
        ThumbnailChanged,
        MadePersistent, ///< the reference is the new one
        RolledBack,     ///< a live asset went back to its stored state
        Removed,
    };

    Kind kind;
    AssetReference reference;
    bool fromElsewhere = false; ///< found by refresh(): another process made the change

    friend bool operator==(const AssetChange &, const AssetChange &) = default;
};

} // namespace Tesk::Assets
