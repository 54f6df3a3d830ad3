#include <filterbase/ReaderGuard.h>

#include <thread>

namespace Tesk::FilterBase {

static std::size_t counterOfThisThread()
{
    static std::atomic<std::size_t> threads{0};
    static thread_local const std::size_t number = threads.fetch_add(1, std::memory_order_relaxed);
    return number;
}

ReaderGuard::Counter &ReaderGuard::enter() const
{
    Counter &counter = m_counters[counterOfThisThread() % m_counters.size()];
    while (true) {
        // Sequentially consistent on both sides: either this thread sees the writer, or the
        // writer sees this reader.
        counter.readers.fetch_add(1);
        if (!m_writing.load()) [[likely]]
            return counter;
        counter.readers.fetch_sub(1);
        m_writing.wait(true);
    }
}

ReaderGuard::Writing::Writing(ReaderGuard &guard)
    : m_guard(guard)
    , m_turn(guard.m_writers)
{
    m_guard.m_writing.store(true);
    for (Counter &counter : m_guard.m_counters) {
        while (counter.readers.load() != 0)
            std::this_thread::yield();
    }
}

ReaderGuard::Writing::~Writing()
{
    m_guard.m_writing.store(false);
    m_guard.m_writing.notify_all();
}

} // namespace Tesk::FilterBase
