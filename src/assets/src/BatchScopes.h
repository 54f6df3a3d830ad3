#pragma once

#include "Batch.h"

#include <memory>
#include <vector>

namespace Tesk::Assets {

/// The batches whose scopes are open, one for each thread that has a scope.
///
/// Threads: guarded by the mutex of the database.
class BatchScopes
{
public:
    /// Returns the batch of this thread, null outside a scope.
    Batch *current() const;
    const std::vector<std::unique_ptr<Batch>> &all() const { return m_batches; }

    /// Opens a batch for this thread; a scope inside a scope joins it.
    void enter();

    /// Returns the batch when its outermost scope is left, null otherwise.
    std::unique_ptr<Batch> leave(bool doomed);

private:
    std::vector<std::unique_ptr<Batch>> m_batches;
};

} // namespace Tesk::Assets
