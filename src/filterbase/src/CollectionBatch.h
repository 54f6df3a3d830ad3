#pragma once

#include <assets/AssetReference.h>

#include <memory>
#include <span>
#include <unordered_map>

namespace Tesk::Assets {
class Asset;
class AssetDatabaseService;
} // namespace Tesk::Assets

namespace Tesk::FilterBase {

class FilterDescAsset;

/// True when the body of \a descriptor can be used. A damaged one counts as an asset that cannot be
/// loaded; the database has logged it by itself.
bool isReadable(const FilterDescAsset &descriptor);

/// What the registry needs to know of some items of its collection, read in a few queries.
///
/// The descriptors among the items are read, dynamic filters are left alone.
class CollectionBatch
{
public:
    /// \a assets are those of \a items, place by place; null where one does not resolve.
    CollectionBatch(Assets::AssetDatabaseService &database,
                    std::span<const Assets::AssetReference> items,
                    std::span<const std::shared_ptr<Assets::Asset>> assets);

    /// How many implementations listed by \a descriptor are of a tool category.
    int toolImplementations(const FilterDescAsset &descriptor) const;

private:
    std::unordered_map<const FilterDescAsset *, int> m_toolImplementations; // those with any
};

} // namespace Tesk::FilterBase
