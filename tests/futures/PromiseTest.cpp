#include <futures/future_cancellation.h>
#include <futures/promise.h>

#include "Failures.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tesk {

namespace {

/// Throws the first time it is copied.
struct FailsToCopyOnce
{
    FailsToCopyOnce() = default;
    FailsToCopyOnce(const FailsToCopyOnce &)
    {
        if (std::exchange(sFails, false))
            throw std::runtime_error("cannot copy");
    }
    FailsToCopyOnce(FailsToCopyOnce &&) = default;
    FailsToCopyOnce &operator=(const FailsToCopyOnce &) = default;
    ~FailsToCopyOnce() = default;

    inline static bool sFails = true;
};

} // namespace

TEST(PromiseTest, makesItsFutureReadyWithAValue)
{
    promise<std::string> owed;
    const future<std::string> result = owed.get_future();
    EXPECT_TRUE(result.is_valid());
    EXPECT_FALSE(result.is_ready());

    owed.set_value("blur");

    EXPECT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), "blur");
}

TEST(PromiseTest, makesItsFutureReadyWithoutAValue)
{
    promise<void> owed;
    const future<void> result = owed.get_future();

    owed.set_value();

    EXPECT_TRUE(result.is_ready());
    EXPECT_NO_THROW(result.get());
}

TEST(PromiseTest, makesItsFutureFail)
{
    promise<int> owed;
    const future<int> result = owed.get_future();

    owed.set_exception(failureSaying("no surface"));

    EXPECT_TRUE(result.has_exception());
    EXPECT_EQ(failureOf(result), "no surface");
}

TEST(PromiseTest, takesAValueThatCanOnlyBeMoved)
{
    promise<std::unique_ptr<int>> owed;
    owed.set_value(std::make_unique<int>(7));

    EXPECT_EQ(*owed.get_future().get(), 7);
}

TEST(PromiseTest, givesTheFutureAlsoAfterItWasKept)
{
    promise<int> owed;
    owed.set_value(7);

    EXPECT_EQ(owed.get_future().get(), 7);
    EXPECT_EQ(owed.get_future().get(), 7);
}

TEST(PromiseTest, cancelsItsFutureWhenDropped)
{
    future<int> result;
    {
        const promise<int> owed;
        result = owed.get_future();
    }

    EXPECT_TRUE(result.is_ready());
    EXPECT_TRUE(result.has_exception());
    EXPECT_THROW(result.get(), future_cancellation);
}

TEST(PromiseTest, cancelsItsFutureWhenAssignedTo)
{
    promise<int> owed;
    const future<int> dropped = owed.get_future();

    owed = promise<int>();

    EXPECT_THROW(dropped.get(), future_cancellation);
    EXPECT_FALSE(owed.get_future().is_ready());
}

TEST(PromiseTest, owesTheSameResultAfterAMove)
{
    promise<int> first;
    const future<int> result = first.get_future();
    promise<int> second = std::move(first);
    EXPECT_FALSE(result.is_ready());

    second.set_value(7);

    EXPECT_EQ(result.get(), 7);
}

TEST(PromiseTest, cannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<promise<int>>);
    static_assert(!std::is_copy_assignable_v<promise<int>>);
    static_assert(std::is_nothrow_move_constructible_v<promise<int>>);
}

TEST(PromiseTest, refusesASecondOutcomeAndKeepsTheFirst)
{
    promise<int> owed;
    owed.set_value(1);

    EXPECT_THROW(owed.set_value(2), std::future_error);
    EXPECT_THROW(owed.set_exception(failureSaying("late")), std::future_error);
    EXPECT_EQ(owed.get_future().get(), 1);
}

TEST(PromiseTest, refusesToBeUsedAfterItWasMovedFrom)
{
    std::vector<promise<int>> promises(1);
    const promise<int> taken = std::move(promises.front());

    EXPECT_THROW(promises.front().get_future(), std::future_error);
    EXPECT_THROW(promises.front().set_value(1), std::future_error);
}

TEST(PromiseTest, isStillOpenAfterItsValueCouldNotBeMade)
{
    FailsToCopyOnce::sFails = true;
    promise<FailsToCopyOnce> owed;
    const FailsToCopyOnce value;

    EXPECT_THROW(owed.set_value(value), std::runtime_error);
    EXPECT_FALSE(owed.get_future().is_ready());
    owed.set_value(value);
    EXPECT_FALSE(owed.get_future().has_exception());
}

} // namespace Tesk
