#include <futures/main_thread_executor.h>

#include <futures/future_cancellation.h>
#include <futures/promise.h>
#include <futures/stoppable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QThreadPool>

#include <atomic>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace Tesk {

using testing::ElementsAre;

namespace {

main_thread_executor &mainThread()
{
    return main_thread_executor::instance();
}

/// An application object that a test starts and ends where it wants.
class Application
{
public:
    Application()
        : m_application(std::in_place, m_argc, m_argv.data())
    {}

    void end() { m_application.reset(); }

private:
    int m_argc = 1;
    char m_name[6] = "tests";
    std::vector<char *> m_argv{m_name, nullptr};
    std::optional<QCoreApplication> m_application;
};

constexpr auto PatientEvents =
        QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers;

template<class T>
void pumpUntilReady(const future<T> &result)
{
    while (!result.is_ready())
        QCoreApplication::processEvents(PatientEvents);
}

} // namespace

TEST(MainThreadExecutorTest, runsATaskInTheEventLoopOnly)
{
    const Application application;
    const auto task = make_stoppable(mainThread(), [] { return 7; });
    EXPECT_FALSE(task.result.is_ready());

    QCoreApplication::processEvents();

    EXPECT_EQ(task.result.get(), 7);
}

TEST(MainThreadExecutorTest, runsATaskWhereUserInputAndSocketsAreExcluded)
{
    const Application application;
    const auto task = make_stoppable(mainThread(), [] { return 7; });

    QCoreApplication::processEvents(PatientEvents);

    EXPECT_EQ(task.result.get(), 7);
}

TEST(MainThreadExecutorTest, runsTasksOfOtherThreadsOnTheMainThread)
{
    const Application application;
    std::vector<future<std::thread::id>> results(4);
    std::vector<std::jthread> threads;
    std::latch posted(4);
    threads.reserve(results.size());
    for (auto &result : results) {
        threads.emplace_back([&result, &posted] {
            result = make_stoppable(mainThread(), [] { return std::this_thread::get_id(); }).result;
            posted.count_down();
        });
    }
    posted.wait();

    for (const auto &result : results) {
        pumpUntilReady(result);
        EXPECT_EQ(result.get(), std::this_thread::get_id());
    }
}

TEST(MainThreadExecutorTest, letsAWorkerWaitForItsTask)
{
    const Application application;
    int shared = 0;
    promise<int> seen;
    std::jthread worker([&] {
        make_stoppable(mainThread(), [&shared] { shared = 7; }).result.get();
        seen.set_value(shared);
    });

    pumpUntilReady(seen.get_future());

    EXPECT_EQ(seen.get_future().get(), 7);
}

TEST(MainThreadExecutorTest, runsTasksInTheOrderPosted)
{
    const Application application;
    std::vector<int> order;
    for (int index = 0; index < 5; ++index)
        mainThread().post(future_task([&order, index] { order.push_back(index); }));

    QCoreApplication::processEvents();

    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
}

TEST(MainThreadExecutorTest, runsATaskThatATaskPostsAfterItReturned)
{
    const Application application;
    std::vector<char> order;
    const auto task = make_stoppable(mainThread(), [&order] {
        const auto inner = make_stoppable(mainThread(), [&order] { order.push_back('c'); });
        order.push_back('a');
        order.push_back(inner.result.is_ready() ? '!' : 'b');
        return inner.result;
    });

    pumpUntilReady(task.result);

    EXPECT_THAT(order, ElementsAre('a', 'b', 'c'));
}

TEST(MainThreadExecutorTest, runsContinuationsOfAWorkersResultOnTheMainThread)
{
    const Application application;
    promise<int> owed;
    std::thread::id ranOn;
    const future<int> result = owed.get_future().then(mainThread(), [&ranOn](int value) {
        ranOn = std::this_thread::get_id();
        return value + 1;
    });
    const std::jthread worker([&owed] { owed.set_value(6); });

    pumpUntilReady(result);

    EXPECT_EQ(result.get(), 7);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(MainThreadExecutorTest, runsTasksInALoopInsideATask)
{
    const Application application;
    const auto outer = make_stoppable(mainThread(), [] {
        const auto inner = make_stoppable(mainThread(), [] { return 6; });
        const future<int> derived = inner.result.then([](int value) { return value + 1; });
        pumpUntilReady(derived);
        return derived.get();
    });

    QCoreApplication::processEvents();

    EXPECT_EQ(outer.result.get(), 7);
}

TEST(MainThreadExecutorTest, runsContinuationsOfItsTasksInALoopInsideAContinuation)
{
    const Application application;
    const future<int> outer = make_ready_future().then([] {
        const auto inner = make_stoppable(mainThread(), [] { return 6; });
        const future<int> derived = inner.result.then([](int value) { return value + 1; });
        pumpUntilReady(derived);
        return derived.get();
    });

    EXPECT_EQ(outer.get(), 7);
}

TEST(MainThreadExecutorTest, letsATaskInALoopWaitForWhatTheLoopPutOff)
{
    const Application application;
    const future<int> outer = make_ready_future().then([] {
        const future<int> putOff = make_ready_future(6).then([](int value) { return value + 1; });
        const auto task = make_stoppable(mainThread(), [&putOff] { return putOff.get(); });
        pumpUntilReady(task.result);
        return task.result.get();
    });

    EXPECT_EQ(outer.get(), 7);
}

TEST(MainThreadExecutorTest, doesNotRunAStoppedTask)
{
    const Application application;
    bool called = false;
    auto task = make_stoppable(mainThread(), [&called] { called = true; });
    task.stop.request_stop();

    QCoreApplication::processEvents();

    EXPECT_THROW(task.result.get(), future_cancellation);
    EXPECT_FALSE(called);
}

TEST(MainThreadExecutorTest, cancelsWhatIsPostedBeforeAnApplicationStarts)
{
    bool called = false;
    const auto early = make_stoppable(mainThread(), [&called] { called = true; });
    EXPECT_TRUE(early.result.is_ready());

    const Application application;
    QCoreApplication::processEvents();

    EXPECT_THROW(early.result.get(), future_cancellation);
    EXPECT_FALSE(called);
}

TEST(MainThreadExecutorTest, cancelsWhatIsPostedAfterTheApplicationEnded)
{
    Application application;
    application.end();

    const auto late = make_stoppable(mainThread(), [] {});

    ASSERT_TRUE(late.result.is_ready());
    EXPECT_THROW(late.result.get(), future_cancellation);
}

TEST(MainThreadExecutorTest, cancelsWhatIsQueuedWhenTheApplicationEnds)
{
    Application application;
    bool called = false;
    const auto task = make_stoppable(mainThread(), [&called] { called = true; });

    application.end();

    ASSERT_TRUE(task.result.is_ready());
    EXPECT_THROW(task.result.get(), future_cancellation);
    EXPECT_FALSE(called);
}

TEST(MainThreadExecutorTest, keepsTasksQueuedWhereALoopReturned)
{
    const Application application;
    const auto quit = make_stoppable(mainThread(), [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    EXPECT_TRUE(quit.result.is_ready());
    const auto later = make_stoppable(mainThread(), [] { return 7; });
    EXPECT_FALSE(later.result.is_ready());

    QCoreApplication::processEvents();

    EXPECT_EQ(later.result.get(), 7);
}

TEST(MainThreadExecutorTest, wakesAWorkerThatWaitsWhenTheApplicationEnds)
{
    Application application;
    std::latch posted(1);
    bool cancelled = false;
    std::jthread worker([&] {
        const auto task = make_stoppable(mainThread(), [] {});
        posted.count_down();
        try {
            task.result.get();
        } catch (const future_cancellation &) {
            cancelled = true;
        }
    });
    posted.wait();

    application.end();
    worker.join();

    EXPECT_TRUE(cancelled);
}

// The application waits for the jobs of Qt's own pool when it ends.
TEST(MainThreadExecutorTest, wakesAPoolJobThatWaitsWhenTheApplicationEnds)
{
    Application application;
    std::latch posted(1);
    promise<void> done;
    QThreadPool::globalInstance()->start([&] {
        const auto task = make_stoppable(mainThread(), [] {});
        posted.count_down();
        task.result
                .then([&done](const future<void> &result) {
                    EXPECT_TRUE(result.has_exception());
                    done.set_value();
                })
                .wait();
    });
    posted.wait();

    application.end();

    done.get_future().wait();
}

TEST(MainThreadExecutorTest, cancelsWhatACancelledTaskPostsAtTheEnd)
{
    Application application;
    future<void> second;
    make_stoppable(mainThread(), [] {}).result.then([&second](const future<void> &) {
        second = make_stoppable(mainThread(), [] {}).result;
    });

    application.end();

    ASSERT_TRUE(second.is_ready());
    EXPECT_THROW(second.get(), future_cancellation);
}

TEST(MainThreadExecutorTest, servesTheNextApplication)
{
    Application first;
    first.end();
    Application second;
    const auto task = make_stoppable(mainThread(), [] { return 7; });
    QCoreApplication::processEvents();
    EXPECT_EQ(task.result.get(), 7);
    const auto queued = make_stoppable(mainThread(), [] {});

    second.end();

    EXPECT_THROW(queued.result.get(), future_cancellation);
}

TEST(MainThreadExecutorTest, doesNotRunATaskOfOneApplicationInTheNext)
{
    Application first;
    bool called = false;
    mainThread().post(future_task([&called] { called = true; }));
    first.end();

    const Application second;
    QCoreApplication::processEvents();

    EXPECT_FALSE(called);
}

TEST(MainThreadExecutorTest, cancelsATaskWhoseEventIsThrownAway)
{
    const Application application;
    const auto task = make_stoppable(mainThread(), [] {});

    QCoreApplication::removePostedEvents(nullptr);

    ASSERT_TRUE(task.result.is_ready());
    EXPECT_THROW(task.result.get(), future_cancellation);
}

// Every task runs or is cancelled, whatever the moment at which applications come and go.
TEST(MainThreadExecutorTest, losesNoTaskWhileApplicationsComeAndGo)
{
    constexpr int tasksPerThread = 2000;
    std::atomic<int> calls = 0;
    std::atomic<int> results = 0;
    std::atomic<int> cancellations = 0;
    std::atomic<int> running = 2;
    const auto post = [&] {
        for (int index = 0; index < tasksPerThread; ++index) {
            const auto task = make_stoppable(mainThread(), [&calls] { ++calls; });
            task.result.wait();
            task.result.has_exception() ? ++cancellations : ++results;
        }
        --running;
    };
    std::vector<std::jthread> threads;
    threads.emplace_back(post);
    threads.emplace_back(post);

    while (running > 0) {
        const Application application;
        for (int turn = 0; turn < 20; ++turn)
            QCoreApplication::processEvents(PatientEvents);
    }
    threads.clear();

    EXPECT_EQ(calls, results);
    EXPECT_EQ(results + cancellations, 2 * tasksPerThread);
}

} // namespace Tesk
