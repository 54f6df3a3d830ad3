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
    /// Asks the asset for all that is written of it; needs no lock, and must not hold one, unless
    /// the asset isFree().
    void encode();

    /// Whether any thread may encode it, and may do so while the database is locked.
    ///
    /// Old assets never are: one may become a shell, and reading that waits for the decode lock.
    bool isFree() const;

    /// Encodes all of them, those that are free on several threads.
    static void encodeAll(std::span<EncodedAsset> assets);

    std::shared_ptr<Asset> asset;
    const AssetRecord *record = nullptr; // which the asset may not have yet
    bool isNew = false;
    const PendingChange *change = nullptr; // set before the asset is written
    AssetWrite write;
};

} // namespace Tesk::Assets
