#include <vantbase/ParallelLoop.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Tesk::VantBase {

TEST(ParallelLoopTest, runsTheWorkOnceForEachIndex)
{
    std::vector<int> counts(1001, 0);

    parallelLoop(counts.size(), 1, [&](std::size_t index) { ++counts[index]; });

    EXPECT_EQ(std::count(counts.begin(), counts.end(), 1), 1001);
}

TEST(ParallelLoopTest, runsNothingForNoIndex)
{
    parallelLoop(0, 1, [](std::size_t) { FAIL(); });
}

TEST(ParallelLoopTest, staysOnTheCallersThreadWhereThereIsLittleToDo)
{
    std::vector<std::thread::id> threads(15);

    parallelLoop(threads.size(), 8,
                 [&](std::size_t index) { threads[index] = std::this_thread::get_id(); });

    EXPECT_EQ(std::count(threads.begin(), threads.end(), std::this_thread::get_id()), 15);
}

TEST(ParallelLoopTest, leavesAllOtherIndicesToTheThreadsThatAreFree)
{
    if (std::thread::hardware_concurrency() < 2)
        GTEST_SKIP() << "one thread alone has to go through them one by one";
    constexpr std::size_t count = 100;
    std::atomic<std::size_t> done = 0;
    std::promise<void> othersDone;
    auto waiting = std::future_status::timeout;

    parallelLoop(count, 1, [&](std::size_t index) {
        if (index == 0)
            waiting = othersDone.get_future().wait_for(std::chrono::seconds(30));
        else if (++done == count - 1)
            othersDone.set_value();
    });

    EXPECT_EQ(waiting, std::future_status::ready);
}

TEST(ParallelLoopTest, passesTheExceptionOfTheLowestIndexAfterTheOtherThreadsAreDone)
{
    std::atomic<int> running = 0;
    std::string message;

    try {
        parallelLoop(100, 1, [&](std::size_t index) {
            ++running;
            if (index >= 7)
                throw std::runtime_error((--running, std::to_string(index)));
            --running;
        });
    } catch (const std::runtime_error &error) {
        message = error.what();
    }

    EXPECT_EQ(message, "7");
    EXPECT_EQ(running, 0);
}

} // namespace Tesk::VantBase
