#include "EncodedAsset.h"

#include "AssetRecord.h"
#include "BodyCodec.h"

#include <data/ClassRegistry.h>

namespace Tesk::Assets {

void EncodedAsset::encode(const AssetRecord &record)
{
    write.row.id = idOf(record);
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

} // namespace Tesk::Assets
