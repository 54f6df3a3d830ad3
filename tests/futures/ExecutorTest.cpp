#include <futures/executor.h>

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace Tesk {

TEST(FutureTaskTest, runsItsFunctionOnce)
{
    int runs = 0;
    future_task task([&runs] { ++runs; });
    EXPECT_TRUE(task);

    task();
    task();

    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(task);
}

TEST(FutureTaskTest, doesNothingWhenMadeOfNothing)
{
    future_task task;

    EXPECT_FALSE(task);
    EXPECT_NO_THROW(task());
}

TEST(FutureTaskTest, takesAFunctionThatCanOnlyBeMoved)
{
    struct MoveOnly
    {
        explicit MoveOnly(int number)
            : value(number)
        {}
        MoveOnly(MoveOnly &&) = default;

        int value;
    };
    int seen = 0;
    future_task first([&seen, captured = MoveOnly(7)] { seen = captured.value; });
    future_task second = std::move(first);

    second();

    EXPECT_EQ(seen, 7);
}

TEST(FutureTaskTest, destroysItsFunctionRightAfterItRan)
{
    auto captured = std::make_shared<int>(7);
    future_task task([captured] {});
    EXPECT_EQ(captured.use_count(), 2);

    task();

    EXPECT_EQ(captured.use_count(), 1);
}

} // namespace Tesk
