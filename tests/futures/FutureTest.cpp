#include <futures/future.h>
#include <futures/future_cancellation.h>
#include <futures/promise.h>

#include "Failures.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace Tesk {

TEST(FutureTest, namesNoResultWhenDefaultConstructed)
{
    const future<int> invalid;

    EXPECT_FALSE(invalid.is_valid());
    EXPECT_FALSE(invalid.is_ready());
    EXPECT_FALSE(invalid.has_exception());
}

TEST(FutureTest, refusesToWaitForNoResult)
{
    const future<int> invalid;

    EXPECT_THROW(invalid.wait(), std::future_error);
    EXPECT_THROW(invalid.wait_for(std::chrono::seconds(0)), std::future_error);
    EXPECT_THROW(invalid.get(), std::future_error);
    EXPECT_THROW(invalid.then([](int) {}), std::future_error);
}

TEST(FutureTest, holdsTheValueItWasMadeReadyWith)
{
    const future<std::string> ready = make_ready_future(std::string("blur"));

    EXPECT_TRUE(ready.is_valid());
    EXPECT_TRUE(ready.is_ready());
    EXPECT_FALSE(ready.has_exception());
    EXPECT_EQ(ready.get(), "blur");
}

TEST(FutureTest, isReadyWithoutAValue)
{
    const future<void> ready = make_ready_future();

    EXPECT_TRUE(ready.is_ready());
    EXPECT_NO_THROW(ready.get());
}

TEST(FutureTest, decaysTheTypeOfTheValue)
{
    const std::string name = "blur";

    static_assert(std::is_same_v<decltype(make_ready_future(name)), future<std::string>>);
    EXPECT_EQ(make_ready_future(name).get(), name);
}

TEST(FutureTest, throwsItsFailureOnEveryGet)
{
    const future<int> failed = make_failed_future<int>(failureSaying("no surface"));

    EXPECT_TRUE(failed.is_ready());
    EXPECT_TRUE(failed.has_exception());
    EXPECT_EQ(failureOf(failed), "no surface");
    EXPECT_EQ(failureOf(failed), "no surface");
}

TEST(FutureTest, throwsTheFailureOfAVoidFuture)
{
    EXPECT_THROW(make_failed_future<void>(failureSaying("no surface")).get(), std::runtime_error);
}

TEST(FutureTest, givesEveryCopyTheSameObject)
{
    const future<std::string> one = make_ready_future(std::string("blur"));
    future<std::string> other;
    other = one;

    EXPECT_EQ(&one.get(), &other.get());
}

TEST(FutureTest, keepsTheValueAliveForTheLastHandleOnly)
{
    auto value = std::make_shared<int>(7);
    future<std::shared_ptr<int>> one = make_ready_future(value);
    future<std::shared_ptr<int>> other = one;

    one = {};
    EXPECT_EQ(value.use_count(), 2);
    other = {};
    EXPECT_EQ(value.use_count(), 1);
}

TEST(FutureTest, holdsAValueThatCanOnlyBeMoved)
{
    const future<std::unique_ptr<int>> ready = make_ready_future(std::make_unique<int>(7));

    EXPECT_EQ(*ready.get(), 7);
}

TEST(FutureTest, holdsAnExceptionPointerAsAValue)
{
    const future<std::exception_ptr> ready = make_ready_future(failureSaying("kept"));

    EXPECT_FALSE(ready.has_exception());
    EXPECT_THROW(std::rethrow_exception(ready.get()), std::runtime_error);
}

TEST(FutureTest, givesUpWaitingAtTheDeadline)
{
    const promise<int> owed;

    EXPECT_FALSE(owed.get_future().wait_for(std::chrono::milliseconds(0)));
    EXPECT_FALSE(owed.get_future().wait_for(std::chrono::microseconds(1)));
}

TEST(FutureTest, takesTheShortestAndTheLongestDuration)
{
    const promise<int> owed;

    EXPECT_FALSE(owed.get_future().wait_for(std::chrono::hours::min()));
    EXPECT_FALSE(owed.get_future().wait_for(std::chrono::nanoseconds::min()));
    EXPECT_FALSE(owed.get_future().wait_for(std::chrono::duration<double>(std::nan(""))));
    EXPECT_TRUE(make_ready_future(1).wait_for(std::chrono::hours::max()));
    EXPECT_TRUE(make_ready_future(1).wait_for(std::chrono::nanoseconds::max()));
    EXPECT_TRUE(make_ready_future(1).wait_for(std::chrono::duration<double>::max()));
}

TEST(FutureTest, doesNotWaitForWhatIsThere)
{
    EXPECT_TRUE(make_ready_future(1).wait_for(std::chrono::milliseconds(0)));
    EXPECT_TRUE(make_failed_future<int>(failureSaying("x")).wait_for(std::chrono::hours(1)));
}

TEST(FutureCancellationTest, saysThatTheTaskWasCancelled)
{
    EXPECT_STREQ(future_cancellation().what(), "the task was cancelled");
}

} // namespace Tesk
