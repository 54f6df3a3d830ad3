#pragma once

#include "Batch.h"

#include <assets/Asset.h>
#include <assets/StoreRows.h>

#include <memory>
#include <span>

namespace Tesk::Assets {

/// One asset whose body is to be written.
struct EncodedAsset
{
    /// Asks the assets for all that is written of them; needs no lock, and must not hold one.
    ///
    /// New ones of classes that allow it are asked on several threads.
    static void encode(std::span<EncodedAsset> assets);

    std::shared_ptr<Asset> asset;
    const AssetRecord *record = nullptr; // which the asset may not have yet
    bool isNew = false;
    const PendingChange *change = nullptr; // set before the asset is written
    AssetWrite write;
};

} // namespace Tesk::Assets
