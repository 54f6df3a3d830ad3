#include "EncodedAsset.h"

#include "AssetFactory.h"
#include "AssetRecord.h"
#include "BodyCodec.h"

#include <data/ClassRegistry.h>
#include <vantbase/ParallelLoop.h>

namespace Tesk::Assets {

void EncodedAsset::encode()
{
    write.row.id = idOf(*record);
    write.row.className = asset->typeName();
    write.row.classVersion = Data::ClassRegistry::currentVersion(asset->typeName()).value_or(0);
    write.row.category = asset->category();
    write.body = BodyCodec::encode(*asset);
    write.nextVersion = asset->nextVersion.get().id();
    std::vector<DependencyRow> &dependencies = write.dependencies.emplace();
    for (const AssetReference &dependency : asset->dependencies.values()) {
        if (dependency.isValid())
            dependencies.push_back({dependency.id(), QString()});
    }
}

bool EncodedAsset::isFree() const
{
    return isNew && AssetFactory::isEncodedAnywhere(*asset);
}

void EncodedAsset::encodeAll(std::span<EncodedAsset> assets)
{
    static constexpr std::size_t sFewestForAThread = 100;
    std::vector<EncodedAsset *> free;
    for (EncodedAsset &entry : assets) {
        if (entry.isFree())
            free.push_back(&entry);
        else
            entry.encode();
    }
    VantBase::parallelLoop(free.size(), sFewestForAThread,
                           [&free](std::size_t at) { free[at]->encode(); });
}

} // namespace Tesk::Assets
