#pragma once

#include "Batch.h"

#include <assets/Asset.h>
#include <assets/StoreRows.h>

#include <memory>

namespace Tesk::Assets {

/// One asset whose body is to be written.
struct EncodedAsset
{
    /// Asks the asset for all that is written of it, under the id of the record, which it may
    /// not have yet; needs no lock, and must not hold one.
    void encode(const AssetRecord &record);

    std::shared_ptr<Asset> asset;
    const PendingChange *change = nullptr; // set before the asset is written
    AssetWrite write;
};

} // namespace Tesk::Assets
