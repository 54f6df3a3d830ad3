#pragma once

#include <assets/AssetReference.h>

#include <QString>

namespace Tesk::Assets {

/// One thing that is wrong in a database.
struct IntegrityFinding
{
    /// The numbers are fixed: scripts look at them.
    enum class Code : int {
        StoreDamaged = 1,        ///< the store's own check failed
        BodyUndecodable = 2,     ///< a body that cannot be read
        UnknownClass = 3,        ///< an asset of a class that nobody registered
        DanglingDependency = 4,  ///< a dependency that names no asset; no damage
        DanglingNextVersion = 5, ///< a next version that names no asset; no damage
        VersionCycle = 6,        ///< next-version links that lead back
        DanglingItem = 7,        ///< a collection item that names no asset; no damage
        DuplicateItem = 8,       ///< an id twice in one collection
        BodyDamaged = 9,         ///< a body whose bytes changed since they were written
        CatalogueOutOfDate = 10, ///< a collection entry that differs from its asset
        OrphanedRow = 11,        ///< rows of an asset that does not exist
    };

    Code code;
    AssetReference reference; ///< the asset concerned, null when it is the store itself
    QString text;
};

} // namespace Tesk::Assets
