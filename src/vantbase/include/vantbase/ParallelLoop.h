#pragma once

#include <algorithm>
#include <cstddef>
#include <future>
#include <thread>
#include <vector>

namespace Tesk::VantBase {

/// Runs \a work for each index below \a count on a few threads; returns when all is done.
///
/// Each thread, the caller's among them, goes through neighbours of its own. Below \a fewest
/// indices for a thread there are fewer threads, down to the caller's alone.
/// Errors: a thread stops where \a work throws; of several exceptions that of the lowest index
/// passes.
template<class Work>
void parallelLoop(std::size_t count, std::size_t fewest, const Work &work)
{
    static constexpr std::size_t sMostThreads = 8;
    const std::size_t cores =
            std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, sMostThreads);
    const std::size_t parts = std::clamp<std::size_t>(count / fewest, 1, cores);
    const auto run = [&](std::size_t part) {
        const std::size_t end = count * (part + 1) / parts;
        for (std::size_t index = count * part / parts; index < end; ++index)
            work(index);
    };
    std::vector<std::future<void>> others; // each waits for its thread before it goes
    for (std::size_t part = 1; part < parts; ++part)
        others.push_back(std::async(std::launch::async, run, part));
    run(0);
    for (std::future<void> &other : others)
        other.get();
}

} // namespace Tesk::VantBase
