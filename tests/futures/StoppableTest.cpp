#include <futures/future_cancellation.h>
#include <futures/promise.h>
#include <futures/stoppable.h>

#include "Failures.h"
#include "QueueExecutor.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <type_traits>

namespace Tesk {

TEST(StoppableTest, runsItsFunctionWhereTheExecutorRunsIt)
{
    QueueExecutor queue;
    const stoppable<int> task = make_stoppable(queue, [] { return 7; });
    EXPECT_EQ(queue.size(), 1U);
    EXPECT_FALSE(task.result.is_ready());

    queue.runAll();

    EXPECT_EQ(task.result.get(), 7);
}

TEST(StoppableTest, hasNoResultWhereItsFunctionReturnsNone)
{
    QueueExecutor queue;
    int calls = 0;
    const stoppable<void> task = make_stoppable(queue, [&calls] { ++calls; });

    queue.runAll();

    EXPECT_NO_THROW(task.result.get());
    EXPECT_EQ(calls, 1);
}

TEST(StoppableTest, isCancelledWithoutACallWhenStoppedBeforeItRuns)
{
    QueueExecutor queue;
    bool called = false;
    stoppable<void> task = make_stoppable(queue, [&called] { called = true; });

    EXPECT_TRUE(task.stop.request_stop());
    EXPECT_FALSE(task.result.is_ready());
    queue.runAll();

    EXPECT_THROW(task.result.get(), future_cancellation);
    EXPECT_FALSE(called);
}

TEST(StoppableTest, givesItsFunctionTheTokenThatItsHandleStops)
{
    QueueExecutor queue;
    std::optional<stoppable<bool>> task;
    task = make_stoppable(queue, [&task](const std::stop_token &token) {
        task->stop.request_stop(); // too late to keep the function from running
        return token.stop_requested();
    });

    queue.runAll();

    EXPECT_TRUE(task->result.get());
}

TEST(StoppableTest, failsWithWhatItsFunctionThrows)
{
    QueueExecutor queue;
    const auto task = make_stoppable(queue, [] { throw std::runtime_error("cannot hide"); });

    queue.runAll();

    EXPECT_EQ(failureOf(task.result), "cannot hide");
}

TEST(StoppableTest, isCancelledWhereItsFunctionThrowsACancellation)
{
    QueueExecutor queue;
    const auto task =
            make_stoppable(queue, [](const std::stop_token &) { throw future_cancellation(); });

    queue.runAll();

    EXPECT_THROW(task.result.get(), future_cancellation);
}

TEST(StoppableTest, isCancelledWhenItsExecutorDropsIt)
{
    QueueExecutor queue;
    bool called = false;
    const auto task = make_stoppable(queue, [&called] { called = true; });

    queue.dropAll();

    EXPECT_THROW(task.result.get(), future_cancellation);
    EXPECT_FALSE(called);
}

TEST(StoppableTest, flattensAReturnedFuture)
{
    QueueExecutor queue;
    promise<int> inner;
    const auto task = make_stoppable(queue, [&inner] { return inner.get_future(); });
    static_assert(std::is_same_v<decltype(task), const stoppable<int>>);

    queue.runAll();
    EXPECT_FALSE(task.result.is_ready());
    inner.set_value(7);

    EXPECT_EQ(task.result.get(), 7);
}

TEST(StoppableTest, takesAFunctionThatCanOnlyBeMovedAndReturnsWhatCanOnlyBeMoved)
{
    QueueExecutor queue;
    const auto task = make_stoppable(
            queue, [value = std::make_unique<int>(7)]() mutable { return std::move(value); });

    queue.runAll();

    EXPECT_EQ(*task.result.get(), 7);
}

TEST(StoppableTest, runsAlthoughItsHandleIsGone)
{
    QueueExecutor queue;
    int calls = 0;
    make_stoppable(queue, [&calls] { ++calls; });

    queue.runAll();

    EXPECT_EQ(calls, 1);
}

TEST(StoppableTest, destroysItsFunctionBeforeTheResultIsReady)
{
    QueueExecutor queue;
    auto captured = std::make_shared<int>(7);
    long usesAfterRun = 0;
    make_stoppable(queue, [captured] {}).result.then([&] { usesAfterRun = captured.use_count(); });
    queue.runAll();
    EXPECT_EQ(usesAfterRun, 1);

    long usesAfterDrop = 0;
    make_stoppable(queue, [captured] {}).result.then([&](const future<void> &) {
        usesAfterDrop = captured.use_count();
    });
    queue.dropAll();
    EXPECT_EQ(usesAfterDrop, 1);
}

TEST(StoppableTest, letsAnExceptionOfPostThrough)
{
    class RefusingExecutor : public future_executor
    {
    public:
        void post(future_task) override { throw std::runtime_error("closed"); }
    } refusing;

    EXPECT_THROW(make_stoppable(refusing, [] {}), std::runtime_error);
}

} // namespace Tesk
