#include <futures/executor.h>
#include <futures/future.h>
#include <futures/future_cancellation.h>
#include <futures/promise.h>
#include <futures/stoppable.h>

#include "Failures.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <future>
#include <latch>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Tesk {

namespace {

constexpr int Rounds = 2000;

/// Runs \a left and \a right on two threads that start each round together.
template<class Prepare, class Left, class Right, class Check>
void race(Prepare prepare, Left left, Right right, Check check)
{
    std::barrier start(3);
    std::barrier end(3);
    const auto loop = [&start, &end](auto &side) {
        for (int round = 0; round < Rounds; ++round) {
            start.arrive_and_wait();
            side();
            end.arrive_and_wait();
        }
    };
    const std::jthread leftThread([&] { loop(left); });
    const std::jthread rightThread([&] { loop(right); });
    for (int round = 0; round < Rounds; ++round) {
        prepare();
        start.arrive_and_wait();
        end.arrive_and_wait();
        check();
    }
}

} // namespace

TEST(FutureThreadsTest, wakesEveryThreadThatWaits)
{
    promise<int> owed;
    std::latch started(3);
    std::atomic<int> sum = 0;
    std::vector<std::jthread> threads;
    threads.reserve(3);
    for (int index = 0; index < 3; ++index) {
        threads.emplace_back([&, result = owed.get_future()] {
            started.count_down();
            sum += result.get();
        });
    }
    started.wait();

    owed.set_value(7);
    threads.clear();

    EXPECT_EQ(sum, 21);
}

TEST(FutureThreadsTest, wakesAThreadThatWaitsForTheLongestTime)
{
    promise<int> owed;
    std::latch started(1);
    bool ready = false;
    std::jthread waiting([&, result = owed.get_future()] {
        started.count_down();
        ready = result.wait_for(std::chrono::hours::max());
    });
    started.wait();

    owed.set_value(7);
    waiting.join();

    EXPECT_TRUE(ready);
}

TEST(FutureThreadsTest, wakesAThreadThatWaitsForADroppedPromise)
{
    auto owed = std::make_unique<promise<int>>();
    std::latch started(1);
    bool cancelled = false;
    std::jthread waiting([&, result = owed->get_future()] {
        started.count_down();
        try {
            result.get();
        } catch (const future_cancellation &) {
            cancelled = true;
        }
    });
    started.wait();

    owed.reset();
    waiting.join();

    EXPECT_TRUE(cancelled);
}

TEST(FutureThreadsTest, runsAContinuationOnTheThreadThatCompletes)
{
    promise<void> owed;
    std::thread::id ranOn;
    owed.get_future().then([&ranOn] { ranOn = std::this_thread::get_id(); });

    std::jthread completing([&owed] { owed.set_value(); });
    const std::thread::id expected = completing.get_id();
    completing.join();

    EXPECT_EQ(ranOn, expected);
}

TEST(FutureThreadsTest, runsAContinuationOnceWhereAttachingRacesWithCompleting)
{
    auto owed = std::make_unique<promise<int>>();
    int runs = 0;
    future<int> source;
    future<int> result;
    race(
            [&] {
                owed = std::make_unique<promise<int>>();
                source = owed->get_future();
            },
            [&] { owed->set_value(6); },
            [&] {
                result = source.then([&runs](int value) {
                    ++runs;
                    return value + 1;
                });
            },
            [&] { EXPECT_EQ(result.get(), 7); });

    EXPECT_EQ(runs, Rounds);
}

TEST(FutureThreadsTest, runsEveryContinuationOnceWhereTwoThreadsAttach)
{
    promise<void> owed;
    std::atomic<int> runs = 0;
    const auto attach = [&] {
        owed.get_future().then([&runs] { ++runs; });
    };
    int round = 0;
    race(
            [&] {
                if (round++ == Rounds / 2)
                    owed.set_value();
            },
            attach, attach, [] {});

    EXPECT_EQ(runs, 2 * Rounds);
}

TEST(FutureThreadsTest, runsWhatAnotherThreadAttachesAfterThoseAttachedEarlier)
{
    promise<void> owed;
    const future<void> ready = owed.get_future();
    std::latch firstRuns(1);
    std::latch thirdAttached(1);
    std::vector<char> order;
    ready.then([&] {
        order.push_back('a');
        firstRuns.count_down();
        thirdAttached.wait();
    });
    ready.then([&order] { order.push_back('b'); });
    std::jthread attaching([&] {
        firstRuns.wait();
        ready.then([&order] { order.push_back('c'); });
        thirdAttached.count_down();
    });

    owed.set_value();
    attaching.join();

    EXPECT_EQ(order, (std::vector<char>{'a', 'b', 'c'}));
}

TEST(FutureThreadsTest, runsContinuationsOfOneFutureOneAtATime)
{
    promise<void> owed;
    const future<void> ready = owed.get_future();
    std::latch firstRuns(1);
    std::latch secondAttached(1);
    std::atomic<int> running = 0;
    std::atomic<int> overlaps = 0;
    const auto enter = [&] {
        if (running++ > 0)
            ++overlaps;
    };
    std::thread::id ranOn;
    ready.then([&] {
        enter();
        firstRuns.count_down();
        secondAttached.wait();
        --running;
    });
    std::jthread attaching([&] {
        firstRuns.wait();
        // The future is ready, yet its first continuation has not returned.
        ready.then([&] {
            enter();
            ranOn = std::this_thread::get_id();
            --running;
        });
        secondAttached.count_down();
    });

    owed.set_value();
    attaching.join();

    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(ranOn, std::this_thread::get_id()); // which was running those of this future
}

// However the threads meet: a plain counter, and the thread sanitizer where it is built in.
TEST(FutureThreadsTest, neverOverlapsContinuationsOfOneFutureThatThreadsAttachAsTheyLike)
{
    auto owed = std::make_unique<promise<void>>();
    future<void> source;
    int runs = 0; // not atomic: continuations of one future run one after the other
    const auto attach = [&] {
        for (int index = 0; index < 4; ++index)
            source.then([&runs] { ++runs; });
    };
    race(
            [&] {
                owed = std::make_unique<promise<void>>();
                source = owed->get_future();
                source.then([&runs] { ++runs; });
            },
            [&] {
                owed->set_value();
                attach();
            },
            attach, [] {});

    EXPECT_EQ(runs, 9 * Rounds);
}

TEST(FutureThreadsTest, cancelsOnceWhereDroppingAPromiseRacesWithAttaching)
{
    auto owed = std::make_unique<promise<int>>();
    int values = 0;
    int cancellations = 0;
    future<int> source;
    future<void> result;
    race(
            [&] {
                owed = std::make_unique<promise<int>>();
                source = owed->get_future();
            },
            [&] { owed.reset(); },
            [&] {
                result = source.then([&](const future<int> &done) {
                    done.has_exception() ? ++cancellations : ++values;
                });
            },
            [&] { result.get(); });

    EXPECT_EQ(cancellations, Rounds);
    EXPECT_EQ(values, 0);
}

TEST(FutureThreadsTest, keepsOnePromiseForOneOfTwoThreads)
{
    auto owed = std::make_unique<promise<int>>();
    std::atomic<int> refused = 0;
    const auto set = [&](int value) {
        try {
            owed->set_value(value);
        } catch (const std::future_error &) {
            ++refused;
        }
    };
    int odd = 0;
    race([&] { owed = std::make_unique<promise<int>>(); }, [&] { set(1); }, [&] { set(2); },
         [&] {
             const int value = owed->get_future().get();
             if (value != 1 && value != 2)
                 ++odd;
         });

    EXPECT_EQ(refused, Rounds);
    EXPECT_EQ(odd, 0);
}

TEST(FutureThreadsTest, runsContinuationsOutsideTheLockOfTheFuture)
{
    promise<void> owed;
    const future<void> ready = owed.get_future();
    bool attached = false;
    ready.then([&] {
        // Another thread uses the same future while this continuation runs.
        std::jthread other([&] {
            EXPECT_TRUE(ready.is_ready());
            ready.wait();
            ready.then([&attached] { attached = true; });
        });
    });

    owed.set_value();

    EXPECT_TRUE(attached);
}

TEST(FutureThreadsTest, handsAValueFromThreadToThreadAlongAChain)
{
    class ThreadExecutor : public future_executor
    {
    public:
        ~ThreadExecutor() override
        {
            std::vector<std::jthread> threads; // joined outside the lock
            // The last result may be there before the `post` that led to it returned.
            const std::lock_guard lock(m_mutex);
            threads.swap(m_threads);
        }

        void post(future_task task) override
        {
            const std::lock_guard lock(m_mutex);
            m_threads.emplace_back([task = std::move(task)]() mutable { task(); });
        }

    private:
        std::mutex m_mutex;
        std::vector<std::jthread> m_threads;
    };
    future<std::unique_ptr<int>> last;
    ThreadExecutor threads;

    last = make_stoppable(threads, [] { return std::make_unique<int>(0); }).result;
    for (int index = 0; index < 50; ++index) {
        last = last.then(threads, [](const std::unique_ptr<int> &value) {
            return std::make_unique<int>(*value + 1);
        });
    }

    EXPECT_EQ(*last.get(), 50);
}

TEST(FutureThreadsTest, passesAFailureFromThreadToThread)
{
    promise<int> owed;
    const future<int> result = owed.get_future().then([](int value) { return value; });
    std::jthread failing([&owed] { owed.set_exception(failureSaying("no surface")); });

    EXPECT_EQ(failureOf(result), "no surface");
}

TEST(FutureThreadsTest, stopsATaskOrRunsItWholly)
{
    class OneTask : public future_executor
    {
    public:
        void post(future_task posted) override { task = std::move(posted); }

        future_task task;
    } single;
    stoppable<int> handle;
    int calls = 0;
    int results = 0;
    int cancellations = 0;
    race([&] { handle = make_stoppable(single, [&calls] { return ++calls; }); },
         [&] { handle.stop.request_stop(); },
         [&] {
             single.task();
             single.task = {};
         },
         [&] { handle.result.has_exception() ? ++cancellations : ++results; });

    EXPECT_EQ(calls, results);
    EXPECT_EQ(results + cancellations, Rounds);
}

} // namespace Tesk
