#pragma once

#include "Batch.h"

#include <assets/Asset.h>
#include <assets/StoreRows.h>

#include <memory>

namespace Tesk::Assets {

/// One asset whose body is to be written.
struct EncodedAsset
{
    /// Asks the asset for all that is written of it; needs no lock, and must not hold one.
    void encode();

    const PendingChange *change = nullptr;
    std::shared_ptr<Asset> asset;
    AssetWrite write;
};

} // namespace Tesk::Assets
