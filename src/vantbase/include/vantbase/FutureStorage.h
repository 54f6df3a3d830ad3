#pragma once

#include <vantbase/vantbase_export.h>

#include <futures/future.h>

#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

namespace Tesk::VantBase {

template<class T>
class FutureStorage;

/// The pending tasks of one owner, waited for when the owner goes.
///
/// Ownership: keeps a future and the stop handle of its task; letting go of them neither
/// stops the task nor waits for it.
/// Threads: any. The store is not locked while it waits: a task may add to it meanwhile.
template<>
class VANTBASE_EXPORT FutureStorage<void>
{
public:
    FutureStorage() = default;
    FutureStorage(const FutureStorage &) = delete;
    FutureStorage &operator=(const FutureStorage &) = delete;

    /// Runs waitAll().
    ~FutureStorage();

    /// Drops what has finished, then keeps \a pending unless it has finished too.
    ///
    /// \a name says in the log what is still running.
    void add(future<void> pending, std::stop_source stop, std::string name);

    /// Waits for each future in order until the store is empty; each that is unfinished when
    /// its turn comes is logged. What the tasks threw is dropped.
    ///
    /// On the main thread events are processed meanwhile, all but user input and sockets.
    /// Nothing is waited for, though logged and let go of, unless the service locator has
    /// started and holds a DefaultAsyncRecovery.
    void waitAll();

private:
    struct Entry
    {
        future<void> pending;
        std::stop_source stop;
        std::string name;
    };

    static void finish(const Entry &entry, bool waits);

    std::vector<Entry> takeEntries();

    std::mutex m_mutex;
    std::vector<Entry> m_entries; // guarded by m_mutex
};

} // namespace Tesk::VantBase
