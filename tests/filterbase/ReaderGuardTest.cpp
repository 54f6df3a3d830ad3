#include <filterbase/ReaderGuard.h>

#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

namespace Tesk::FilterBase {

TEST(ReaderGuardTest, letsTwoReadersInTogether)
{
    ReaderGuard guard;
    std::latch bothInside(2);
    const auto read = [&] {
        const ReaderGuard::Reading reading(guard);
        bothInside.arrive_and_wait(); // returns only when the other one is inside too
    };
    std::thread other(read);
    read();
    other.join();
    EXPECT_TRUE(bothInside.try_wait());
}

TEST(ReaderGuardTest, showsReadersNoHalfDoneChange)
{
    constexpr int rounds = 20000;
    ReaderGuard guard;
    long first = 0; // not atomic: the guard alone orders them
    long second = 0;
    std::atomic<long> torn{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!done.load()) {
                const ReaderGuard::Reading reading(guard);
                torn += first == second ? 0 : 1;
            }
        });
    }
    for (int round = 0; round < rounds; ++round) {
        const ReaderGuard::Writing writing(guard);
        ++first;
        ++second;
    }
    done = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(torn.load(), 0);
    EXPECT_EQ(first, rounds);
}

TEST(ReaderGuardTest, letsOneWriterInAtATime)
{
    constexpr int rounds = 5000;
    ReaderGuard guard;
    long value = 0;
    const auto write = [&] {
        for (int round = 0; round < rounds; ++round) {
            const ReaderGuard::Writing writing(guard);
            ++value;
        }
    };
    std::thread first(write);
    std::thread second(write);
    write();
    first.join();
    second.join();
    EXPECT_EQ(value, 3L * rounds);
}

TEST(ReaderGuardTest, worksForMoreThreadsThanItHasCounters)
{
    constexpr int threads = 150;
    ReaderGuard guard;
    long value = 0;
    std::vector<std::thread> all;
    for (int i = 0; i < threads; ++i) {
        all.emplace_back([&] {
            {
                const ReaderGuard::Reading reading(guard);
            }
            const ReaderGuard::Writing writing(guard);
            ++value;
        });
    }
    for (std::thread &thread : all)
        thread.join();
    EXPECT_EQ(value, threads);
}

} // namespace Tesk::FilterBase
