#pragma once

#include "DatabaseCore.h"
#include "EncodedAsset.h"

namespace Tesk::Assets {

/// One write of one thread: joins the thread's scope, or is stored by finish().
///
/// Where there is no scope and finish() was not reached, or failed, everything is put back.
class DatabaseCore::Write
{
public:
    explicit Write(DatabaseCore &core);
    ~Write();
    Q_DISABLE_COPY_MOVE(Write)

    /// To be used under the mutex of the database only.
    Batch &batch() { return *m_batch; }
    /// Encodes new assets, unless a scope will; without a lock, and before they are filed:
    /// afterwards any thread may find them, and change them.
    void encode(std::vector<EncodedAsset> assets);
    /// Stores the write now, unless a scope will or a body has to be encoded first.
    ///
    /// Whoever changed live objects under the mutex does this before giving it up: what is
    /// live and what is stored then change in the same order, whichever threads write.
    void storeLocked();
    void finish();

private:
    DatabaseCore &m_core;
    std::unique_ptr<Batch> m_own; // null inside a scope
    Batch *m_batch;
    std::vector<EncodedAsset> m_encoded; // new assets of the own batch
    bool m_isStored = false;
    std::vector<AssetChange> m_changes; // of what is stored
};

} // namespace Tesk::Assets
