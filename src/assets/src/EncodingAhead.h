#pragma once

#include "EncodedAsset.h"

#include <QtGlobal>

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace Tesk::Assets {

/// Encodes the assets of a commit, where they are many on a second thread too, so that the first
/// can be written while the last are still to be encoded.
///
/// Ownership: borrows the assets; the thread ends with the object.
/// Threads: made without a lock, for it asks the assets; waited for by whoever writes, who encodes
/// some of what is free meanwhile.
class EncodingAhead
{
public:
    /// Encodes at once what only the calling thread may, and everything where it is little.
    ///
    /// Errors: what encoding raises; in encodedAfter() that of the first asset that fails.
    explicit EncodingAhead(std::span<EncodedAsset> assets);
    ~EncodingAhead();
    Q_DISABLE_COPY_MOVE(EncodingAhead)

    /// Returns how many of the assets are encoded, once they are more than \a count, which is
    /// nothing or what it returned before.
    std::size_t encodedAfter(std::size_t count);

private:
    /// Assets that one thread takes at a time.
    struct Portion
    {
        bool isDone = false;
        std::exception_ptr failure;
    };

    std::optional<std::size_t> takePortion();
    void encode(std::size_t portion);
    void work();
    bool isDone(std::size_t portion);

    const std::span<EncodedAsset> m_assets;
    std::vector<bool> m_isFree; // of each asset: for any thread
    std::mutex m_mutex;
    std::condition_variable m_told;
    // guarded by m_mutex
    std::vector<Portion> m_portions;
    std::size_t m_taken = 0;
    std::thread m_thread; // last: it uses the members above
};

} // namespace Tesk::Assets
