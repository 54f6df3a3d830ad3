#pragma once

namespace Tesk::Assets {

/// Which thread asks an asset for what is stored of it.
enum class AssetEncoding {
    ByCommitter, ///< the one that commits, one asset after the other
    /// Any, several at once, while they are new: for classes whose type name, category and
    /// serialization read the object and what nobody changes. They may neither take a lock nor
    /// ask the database, which is locked meanwhile.
    Anywhere
};

class Asset;

/// Tells which thread may ask \a asset.
using AssetEncodingOf = AssetEncoding (*)(const Asset &asset);

} // namespace Tesk::Assets
