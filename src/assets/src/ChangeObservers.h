#pragma once

#include <assets/AssetChange.h>
#include <assets/AssetDatabaseService.h>

#include <cstddef>
#include <map>
#include <mutex>
#include <vector>

namespace Tesk::Assets {

/// Who is told of changes.
///
/// Threads: any; observers are called on the thread that tells them, without any lock.
class ChangeObservers
{
public:
    std::size_t add(AssetDatabaseService::ChangeObserver observer);

    /// A notification that is under way may still reach it.
    void remove(std::size_t observer);

    /// Calls each observer in the order in which they were added; nothing for no change.
    void notify(const std::vector<AssetChange> &changes) const;

private:
    mutable std::mutex m_mutex;
    // guarded by m_mutex
    std::map<std::size_t, AssetDatabaseService::ChangeObserver> m_observers;
    std::size_t m_next = 1;
};

} // namespace Tesk::Assets
