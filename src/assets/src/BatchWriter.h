#pragma once

#include "Batch.h"
#include "EncodedAsset.h"

#include <assets/Store.h>

#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace Tesk::Assets {

/// Brings one batch into a store, in one transaction.
///
/// Threads: under the mutex of the database. Errors: StoreError; nothing is stored then, and no
/// slot has changed.
class BatchWriter
{
public:
    BatchWriter(Store &store, const Batch &batch);

    /// Waits until more than so many of the assets are encoded; returns how many are.
    using EncodedAfter = std::function<std::size_t(std::size_t count)>;

    /// Stores the batch, and notes the new revisions in the slots of its assets.
    void write(std::span<EncodedAsset> assets, const EncodedAfter &encodedAfter, SyncLevel level);

private:
    using Revisions = std::vector<std::pair<AssetSlot *, qint64>>;

    std::vector<AssetRemoval> removals() const;
    std::vector<qint64> writeAssets(std::span<EncodedAsset> assets,
                                    const EncodedAfter &encodedAfter);
    static std::vector<AssetWrite> writes(std::span<EncodedAsset> encoded);
    Revisions writeNames();
    void writeAttributes();
    void writeItems(const PendingChange &change);

    Store &m_store;
    const Batch &m_batch;
};

} // namespace Tesk::Assets
