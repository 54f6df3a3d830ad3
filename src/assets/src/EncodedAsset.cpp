#include "EncodedAsset.h"

#include "AssetFactory.h"
#include "AssetRecord.h"
#include "BodyCodec.h"

#include <data/ClassRegistry.h>
#include <vantbase/ParallelLoop.h>

namespace Tesk::Assets {

static void encodeOne(EncodedAsset &entry)
{
    const Asset &asset = *entry.asset;
    AssetWrite &write = entry.write;
    write.row.id = idOf(*entry.record);
    write.row.className = asset.typeName();
    write.row.classVersion = Data::ClassRegistry::currentVersion(asset.typeName()).value_or(0);
    write.row.category = asset.category();
    write.body = BodyCodec::encode(asset);
    write.nextVersion = asset.nextVersion.get().id();
    std::vector<DependencyRow> &dependencies = write.dependencies.emplace();
    for (const AssetReference &dependency : asset.dependencies.values()) {
        if (dependency.isValid())
            dependencies.push_back({dependency.id(), QString()});
    }
}

// Old assets stay with the caller: one may become a shell, and reading that would wait for the
// decode lock, which the caller may hold.
static bool isFree(const EncodedAsset &entry)
{
    return entry.isNew && AssetFactory::isEncodedAnywhere(entry.asset->typeName());
}

void EncodedAsset::encode(std::span<EncodedAsset> assets)
{
    static constexpr std::size_t sFewestForAThread = 100;
    std::vector<EncodedAsset *> free;
    for (EncodedAsset &entry : assets) {
        if (isFree(entry))
            free.push_back(&entry);
        else
            encodeOne(entry);
    }
    VantBase::parallelLoop(free.size(), sFewestForAThread,
                           [&free](std::size_t at) { encodeOne(*free[at]); });
}

} // namespace Tesk::Assets
