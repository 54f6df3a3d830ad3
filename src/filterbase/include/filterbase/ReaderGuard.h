#pragma once

#include <filterbase/filterbase_export.h>

#include <array>
#include <atomic>
#include <mutex>

namespace Tesk::FilterBase {

/// Lets any number of threads read tables together and one thread change them alone.
///
/// A reader counts itself in one of 64 cache lines, picked by its thread, so readers share no
/// memory that any of them writes. A writer pays for that: it looks at all 64. Meant for sections
/// of nanoseconds; inside a section nothing may block, and no second section may begin.
///
/// Threads: safe from any thread. Errors: none.
class FILTERBASE_EXPORT ReaderGuard
{
    struct alignas(64) Counter
    {
        std::atomic<unsigned int> readers{0};
    };

public:
    /// A read section: lasts as long as this object.
    class Reading
    {
    public:
        explicit Reading(const ReaderGuard &guard)
            : m_counter(guard.enter())
        {}
        ~Reading() { m_counter.readers.fetch_sub(1, std::memory_order_release); }
        Reading(const Reading &) = delete;
        Reading &operator=(const Reading &) = delete;

    private:
        Counter &m_counter;
    };

    /// A write section: begins when the last reader has left, keeps new ones out until it ends.
    class FILTERBASE_EXPORT Writing
    {
    public:
        explicit Writing(ReaderGuard &guard);
        ~Writing();
        Writing(const Writing &) = delete;
        Writing &operator=(const Writing &) = delete;

    private:
        ReaderGuard &m_guard;
        std::unique_lock<std::mutex> m_turn;
    };

    ReaderGuard() = default;
    ReaderGuard(const ReaderGuard &) = delete;
    ReaderGuard &operator=(const ReaderGuard &) = delete;

private:
    Counter &enter() const;

    mutable std::array<Counter, 64> m_counters;
    std::atomic<bool> m_writing{false};
    std::mutex m_writers;
};

} // namespace Tesk::FilterBase
