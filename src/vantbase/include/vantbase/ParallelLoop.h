#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <future>
#include <thread>
#include <utility>
#include <vector>

namespace Tesk::VantBase {

/// Runs \a work for each index below \a count on a few threads; returns when all is done.
///
/// Each thread, the caller's among them, takes a few neighbours at a time until none are left.
/// Below \a fewest indices for a thread there are fewer threads, down to the caller's alone.
/// Errors: a thread stops where \a work throws; of several exceptions that of the lowest index
/// passes.
template<class Work>
void parallelLoop(std::size_t count, std::size_t fewest, const Work &work)
{
    static constexpr std::size_t sMostThreads = 8;
    static constexpr std::size_t sTurns = 8; // of a thread that has the fewest indices
    const std::size_t cores =
            std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, sMostThreads);
    const std::size_t threads = std::clamp<std::size_t>(count / fewest, 1, cores);
    const std::size_t step = std::max<std::size_t>(fewest / sTurns, 1);
    struct Failure
    {
        std::size_t index = 0;
        std::exception_ptr exception;
    };
    std::atomic<std::size_t> next = 0;
    const auto run = [&]() -> Failure {
        std::size_t index = 0;
        try {
            for (std::size_t begin = next.fetch_add(step); begin < count;
                 begin = next.fetch_add(step)) {
                const std::size_t end = std::min(begin + step, count);
                for (index = begin; index < end; ++index)
                    work(index);
            }
            return {};
        } catch (...) {
            return {index, std::current_exception()};
        }
    };
    std::vector<std::future<Failure>> others; // each waits for its thread before it goes
    for (std::size_t thread = 1; thread < threads; ++thread)
        others.push_back(std::async(std::launch::async, run));
    Failure lowest = run();
    for (std::future<Failure> &other : others) {
        Failure failure = other.get();
        if (failure.exception && (!lowest.exception || failure.index < lowest.index))
            lowest = std::move(failure);
    }
    if (lowest.exception)
        std::rethrow_exception(lowest.exception);
}

} // namespace Tesk::VantBase
