#pragma once

#include "EncodedAsset.h"

#include <QtGlobal>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace Tesk::Assets {

/// Encodes the assets of a commit, where they are many on a thread of its own, so that the first
/// can be written while the last are still to be encoded.
///
/// Ownership: borrows the assets; the thread ends with the object.
/// Threads: made without a lock, for it asks the assets; waited for by whoever writes.
class EncodingAhead
{
public:
    /// Encodes at once what only the calling thread may, and everything where it is little.
    ///
    /// Errors: what encoding raises, here or in encodedAfter().
    explicit EncodingAhead(std::span<EncodedAsset> assets);
    ~EncodingAhead();
    Q_DISABLE_COPY_MOVE(EncodingAhead)

    /// Returns how many of the assets are encoded, once they are more than \a count.
    std::size_t encodedAfter(std::size_t count);

private:
    void work();
    void tell(std::size_t encoded);

    const std::span<EncodedAsset> m_assets;
    std::vector<bool> m_isFree; // of each asset: left to the thread
    std::atomic<bool> m_isStopped = false;
    std::mutex m_mutex;
    std::condition_variable m_told;
    // guarded by m_mutex
    std::size_t m_encoded = 0;
    std::exception_ptr m_failure;
    std::thread m_thread; // last: it uses the members above
};

} // namespace Tesk::Assets
