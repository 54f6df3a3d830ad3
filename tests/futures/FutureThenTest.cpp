#include <futures/future.h>
#include <futures/future_cancellation.h>
#include <futures/promise.h>

#include "Failures.h"
#include "QueueExecutor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tesk {

using testing::ElementsAre;

namespace {

class RefusingExecutor : public future_executor
{
public:
    void post(future_task) override { throw std::runtime_error("closed"); }
};

class InlineExecutor : public future_executor
{
public:
    void post(future_task task) override { task(); }
};

} // namespace

TEST(FutureThenTest, callsAFunctionWithAValueThatIsThere)
{
    const future<std::string> result =
            make_ready_future(6).then([](int value) { return std::to_string(value + 1); });

    EXPECT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), "7");
}

TEST(FutureThenTest, callsAFunctionOnceTheValueComes)
{
    promise<int> owed;
    int seen = 0;
    const future<void> result = owed.get_future().then([&seen](int value) { seen = value; });
    EXPECT_EQ(seen, 0);

    owed.set_value(7);

    EXPECT_EQ(seen, 7);
    EXPECT_TRUE(result.is_ready());
}

TEST(FutureThenTest, callsAFunctionWithoutArgumentsForVoid)
{
    EXPECT_EQ(make_ready_future().then([] { return 7; }).get(), 7);
}

TEST(FutureThenTest, passesTheValueByReference)
{
    const future<std::string> value = make_ready_future(std::string("blur"));
    const std::string *seen = nullptr;

    value.then([&seen](const std::string &text) { seen = &text; });

    EXPECT_EQ(seen, &value.get());
}

TEST(FutureThenTest, holdsACopyOfAReturnedReference)
{
    std::string name = "blur";
    const auto result = make_ready_future().then([&name]() -> std::string & { return name; });
    name = "noise";

    static_assert(std::is_same_v<decltype(result), const future<std::string>>);
    EXPECT_EQ(result.get(), "blur");
}

TEST(FutureThenTest, runsContinuationsInTheOrderAttached)
{
    promise<void> owed;
    std::vector<int> order;
    for (int index = 0; index < 5; ++index)
        owed.get_future().then([&order, index] { order.push_back(index); });

    owed.set_value();

    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
}

TEST(FutureThenTest, runsWhatAContinuationAttachesAfterThoseAttachedEarlier)
{
    promise<void> owed;
    const future<void> ready = owed.get_future();
    std::vector<char> order;
    ready.then([&] {
        order.push_back('a');
        ready.then([&order] { order.push_back('c'); });
    });
    ready.then([&order] { order.push_back('b'); });

    owed.set_value();

    EXPECT_THAT(order, ElementsAre('a', 'b', 'c'));
}

TEST(FutureThenTest, neverRunsAContinuationInsideAnother)
{
    std::vector<std::string> order;
    make_ready_future().then([&order] {
        order.emplace_back("outer begins");
        make_ready_future().then([&order] { order.emplace_back("inner"); });
        order.emplace_back("outer ends");
    });

    EXPECT_THAT(order, ElementsAre("outer begins", "outer ends", "inner"));
}

TEST(FutureThenTest, letsAContinuationWaitForWhatItAttached)
{
    const future<int> result = make_ready_future(1).then([](int value) {
        return make_ready_future(value + 1).then([](int next) { return next + 1; }).get();
    });

    EXPECT_EQ(result.get(), 3);
}

TEST(FutureThenTest, runsThoseAttachedEarlierForAContinuationThatWaits)
{
    promise<void> owed;
    const future<void> ready = owed.get_future();
    std::vector<char> order;
    ready.then([&] {
        order.push_back('a');
        ready.then([&order] { order.push_back('c'); }).wait();
        order.push_back('d');
    });
    ready.then([&order] { order.push_back('b'); });

    owed.set_value();

    EXPECT_THAT(order, ElementsAre('a', 'b', 'c', 'd'));
}

TEST(FutureThenTest, runsWhatAContinuationCompletesBeforeTheOutermostCallReturns)
{
    promise<int> first;
    promise<int> second;
    int seen = 0;
    second.get_future().then([&seen](int value) { seen = value; });
    first.get_future().then([&second](int value) { second.set_value(value + 1); });

    first.set_value(6);

    EXPECT_EQ(seen, 7);
}

TEST(FutureThenTest, cancelsWhatAContinuationDropsAfterItReturned)
{
    auto dropped = std::make_unique<promise<int>>();
    std::vector<std::string> order;
    const future<int> result = dropped->get_future();
    result.then([&order](const future<int> &done) {
        order.emplace_back(done.has_exception() ? "cancelled" : "kept");
    });
    make_ready_future().then([&] {
        dropped.reset();
        order.emplace_back("dropped");
    });

    EXPECT_THAT(order, ElementsAre("dropped", "cancelled"));
    EXPECT_THROW(result.get(), future_cancellation);
}

TEST(FutureThenTest, cancelsThePromiseThatAFunctionOwnsWhenItIsPassedBy)
{
    auto owed = std::make_unique<promise<int>>();
    const future<int> result = owed->get_future();

    make_failed_future<void>(failureSaying("no surface")).then([kept = std::move(owed)] {
        kept->set_value(7);
    });

    EXPECT_THROW(result.get(), future_cancellation);
}

TEST(FutureThenTest, passesAFailureByAFunctionThatTakesAValue)
{
    bool called = false;
    const future<void> result = make_failed_future<int>(failureSaying("no surface"))
                                        .then([&called](int) { called = true; })
                                        .then([&called] { called = true; });

    EXPECT_EQ(failureOf(result), "no surface");
    EXPECT_FALSE(called);
}

TEST(FutureThenTest, showsAFailureToAFunctionThatTakesAFuture)
{
    const future<std::string> result =
            make_failed_future<int>(failureSaying("no surface")).then([](const future<int> &done) {
                return "saw " + failureOf(done);
            });

    EXPECT_EQ(result.get(), "saw no surface");
}

TEST(FutureThenTest, showsAValueToAFunctionThatTakesAFuture)
{
    EXPECT_EQ(make_ready_future(7).then([](const future<int> &done) { return done.get(); }).get(),
              7);
    EXPECT_TRUE(make_ready_future()
                        .then([](const future<void> &done) { return done.is_ready(); })
                        .get());
}

TEST(FutureThenTest, failsWithWhatTheFunctionThrows)
{
    const future<int> result =
            make_ready_future().then([]() -> int { throw std::runtime_error("cannot draw"); });

    EXPECT_EQ(failureOf(result), "cannot draw");
}

TEST(FutureThenTest, runsTheOtherContinuationsWhereOneThrows)
{
    promise<void> owed;
    bool called = false;
    owed.get_future().then([] { throw std::runtime_error("cannot draw"); });
    owed.get_future().then([&called] { called = true; });

    owed.set_value();

    EXPECT_TRUE(called);
}

TEST(FutureThenTest, passesACancellationOn)
{
    future<int> result;
    {
        const promise<int> dropped;
        result = dropped.get_future().then([](int value) { return value; });
    }

    EXPECT_THROW(result.get(), future_cancellation);
}

TEST(FutureThenTest, takesAFunctionThatCanOnlyBeMovedAndReturnsWhatCanOnlyBeMoved)
{
    const future<std::unique_ptr<int>> result =
            make_ready_future(1).then([added = std::make_unique<int>(6)](int value) {
                return std::make_unique<int>(value + *added);
            });

    EXPECT_EQ(*result.get(), 7);
}

TEST(FutureThenTest, destroysTheFunctionBeforeTheResultIsReady)
{
    promise<void> owed;
    auto captured = std::make_shared<int>(7);
    long usesWhenReady = 0;
    owed.get_future().then([captured] { return *captured; }).then([&](int) {
        usesWhenReady = captured.use_count();
    });
    EXPECT_EQ(captured.use_count(), 2);

    owed.set_value();

    EXPECT_EQ(usesWhenReady, 1);
}

TEST(FutureThenTest, destroysAFunctionThatIsPassedByBeforeTheResultIsReady)
{
    promise<void> owed;
    auto captured = std::make_shared<int>(7);
    long usesWhenReady = 0;
    owed.get_future().then([captured] { return *captured; }).then([&](const future<int> &) {
        usesWhenReady = captured.use_count();
    });

    owed.set_exception(failureSaying("no surface"));

    EXPECT_EQ(usesWhenReady, 1);
}

// Flattening

TEST(FutureThenTest, flattensAFutureThatIsReady)
{
    const auto result = make_ready_future(6).then([](int v) { return make_ready_future(v + 1); });

    static_assert(std::is_same_v<decltype(result), const future<int>>);
    EXPECT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), 7);
}

TEST(FutureThenTest, flattensAFutureThatComesLater)
{
    promise<int> inner;
    const future<int> result = make_ready_future().then([&inner] { return inner.get_future(); });
    EXPECT_FALSE(result.is_ready());

    inner.set_value(7);

    EXPECT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), 7);
}

TEST(FutureThenTest, flattensAFutureWithoutAValue)
{
    promise<void> inner;
    const future<void> result = make_ready_future().then([&inner] { return inner.get_future(); });
    EXPECT_FALSE(result.is_ready());

    inner.set_value();

    EXPECT_TRUE(result.is_ready());
    EXPECT_FALSE(result.has_exception());
}

TEST(FutureThenTest, sharesAFlattenedValueThatCanOnlyBeMoved)
{
    promise<std::unique_ptr<int>> inner;
    auto middle = make_ready_future().then([&inner] { return inner.get_future(); });
    auto outer = make_ready_future().then([&middle] { return middle; });
    const auto late = make_ready_future().then([&outer] { return outer; });

    inner.set_value(std::make_unique<int>(7));

    static_assert(std::is_same_v<decltype(outer), future<std::unique_ptr<int>>>);
    EXPECT_EQ(*outer.get(), 7);
    EXPECT_EQ(&outer.get(), &inner.get_future().get());
    EXPECT_EQ(&late.get(), &inner.get_future().get());
}

TEST(FutureThenTest, failsLikeTheFutureItFlattens)
{
    const future<int> result = make_ready_future().then(
            [] { return make_failed_future<int>(failureSaying("no surface")); });

    EXPECT_EQ(failureOf(result), "no surface");
}

TEST(FutureThenTest, isCancelledWithTheFutureItFlattens)
{
    auto inner = std::make_unique<promise<int>>();
    const future<int> result = make_ready_future().then([&inner] { return inner->get_future(); });
    EXPECT_FALSE(result.is_ready());

    inner.reset();

    EXPECT_THROW(result.get(), future_cancellation);
}

TEST(FutureThenTest, isCancelledWhereTheFunctionReturnsAnInvalidFuture)
{
    const future<int> result = make_ready_future().then([] { return future<int>(); });

    EXPECT_THROW(result.get(), future_cancellation);
}

// Executors

TEST(FutureThenTest, runsTheFunctionWhereTheExecutorRunsIt)
{
    QueueExecutor queue;
    promise<int> owed;
    const future<int> result = owed.get_future().then(queue, [](int value) { return value + 1; });
    EXPECT_EQ(queue.size(), 0U);

    owed.set_value(6);
    EXPECT_EQ(queue.size(), 1U);
    EXPECT_FALSE(result.is_ready());

    queue.runAll();
    EXPECT_EQ(result.get(), 7);
}

TEST(FutureThenTest, postsContinuationsInTheOrderAttached)
{
    QueueExecutor queue;
    promise<void> owed;
    std::vector<int> order;
    for (int index = 0; index < 5; ++index)
        owed.get_future().then(queue, [&order, index] { order.push_back(index); });

    owed.set_value();
    queue.runAll();

    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
}

TEST(FutureThenTest, flattensWhatAnExecutorRan)
{
    QueueExecutor queue;
    promise<int> inner;
    const auto result = make_ready_future().then(queue, [&inner] { return inner.get_future(); });
    static_assert(std::is_same_v<decltype(result), const future<int>>);

    queue.runAll();
    EXPECT_FALSE(result.is_ready());
    inner.set_value(7);

    EXPECT_EQ(result.get(), 7);
}

TEST(FutureThenTest, failsWithWhatTheFunctionThrowsOnTheExecutor)
{
    QueueExecutor queue;
    const future<void> result =
            make_ready_future().then(queue, [] { throw std::runtime_error("cannot draw"); });

    queue.runAll();

    EXPECT_EQ(failureOf(result), "cannot draw");
}

TEST(FutureThenTest, passesAFailureOnWithoutTheExecutor)
{
    QueueExecutor queue;
    const future<void> result =
            make_failed_future<int>(failureSaying("no surface")).then(queue, [](int) {});

    EXPECT_EQ(queue.size(), 0U);
    EXPECT_EQ(failureOf(result), "no surface");
}

TEST(FutureThenTest, postsAFailureForAFunctionThatSeesFailures)
{
    QueueExecutor queue;
    const future<std::string> result =
            make_failed_future<int>(failureSaying("no surface"))
                    .then(queue, [](const future<int> &done) { return failureOf(done); });
    EXPECT_EQ(queue.size(), 1U);

    queue.runAll();

    EXPECT_EQ(result.get(), "no surface");
}

TEST(FutureThenTest, isCancelledWhenTheExecutorDropsTheTask)
{
    QueueExecutor queue;
    bool called = false;
    const future<void> result = make_ready_future().then(queue, [&called] { called = true; });

    queue.dropAll();

    EXPECT_THROW(result.get(), future_cancellation);
    EXPECT_FALSE(called);
}

TEST(FutureThenTest, isCancelledWhenTheExecutorRefusesTheTask)
{
    RefusingExecutor refusing;
    const future<void> result = make_ready_future().then(refusing, [] {});

    EXPECT_THROW(result.get(), future_cancellation);
}

TEST(FutureThenTest, destroysTheFunctionOfADroppedTaskBeforeTheResultIsReady)
{
    QueueExecutor queue;
    auto captured = std::make_shared<int>(7);
    long usesWhenReady = 0;
    make_ready_future().then(queue, [captured] {}).then([&](const future<void> &) {
        usesWhenReady = captured.use_count();
    });

    queue.dropAll();

    EXPECT_EQ(usesWhenReady, 1);
}

TEST(FutureThenTest, runsInlineWhereTheExecutorDoes)
{
    InlineExecutor immediate;

    EXPECT_EQ(make_ready_future(6).then(immediate, [](int value) { return value + 1; }).get(), 7);
}

} // namespace Tesk
