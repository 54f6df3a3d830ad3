#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace Tesk::Benchmarks {

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Returns how many seconds \a work takes.
template<class Work>
double secondsOf(Work &&work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Runs both in turns, so that they meet the same machine, and reports the medians for one item
/// and, as "ratio", the median of ours over that of the floor.
template<class Ours, class Floor>
void alternate(benchmark::State &state, double items, int rounds, Ours &&ours, Floor &&floor)
{
    std::vector<double> ourTimes;
    std::vector<double> floorTimes;
    for ([[maybe_unused]] auto iteration : state) {
        for (int round = 0; round < rounds; ++round) {
            ourTimes.push_back(secondsOf(ours));
            floorTimes.push_back(secondsOf(floor));
        }
    }
    constexpr double nanoseconds = 1e9;
    state.counters["ours_ns"] = median(ourTimes) / items * nanoseconds;
    state.counters["floor_ns"] = median(floorTimes) / items * nanoseconds;
    state.counters["ratio"] = median(ourTimes) / median(floorTimes);
}

} // namespace Tesk::Benchmarks
