#include <vantbase/FutureStorage.h>

#include <vantbase/DefaultAsyncRecovery.h>
#include <vantbase/ServiceLocator.h>

#include <futures/main_thread_executor.h>
#include <futures/promise.h>
#include <futures/stoppable.h>

#include <support/RecordedLog.h>

#include <gmock/gmock.h>

#include <QCoreApplication>

#include <atomic>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

namespace Tesk::VantBase {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::isLogMessage;

/// A program that waits: started, with the recovery service.
class FutureStorageTest : public testing::Test
{
protected:
    FutureStorageTest()
    {
        locator.registerService(DefaultAsyncRecovery::typeId(),
                                std::make_shared<DefaultAsyncRecovery>());
        locator.setStarted(true);
    }

    ~FutureStorageTest() override
    {
        locator.setStarted(false);
        locator.unregisterService(DefaultAsyncRecovery::typeId());
    }

    static auto runs(const std::string &name)
    {
        return isLogMessage(LogService::Base, LogLevel::Warning,
                            "A future is still running: " + name);
    }

    void addPosted(std::function<void()> task, const std::string &name)
    {
        auto posted = make_stoppable(main_thread_executor::instance(), std::move(task));
        storage.add(posted.result, posted.stop, name);
    }

    ServiceLocator &locator = ServiceLocator::instance();
    TestSupport::RecordedLog log;
    FutureStorage<void> storage;
};

TEST_F(FutureStorageTest, waitsForNothingAndLogsNothingWhileEmpty)
{
    storage.waitAll();

    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FutureStorageTest, logsEachFutureWhenItsTurnComes)
{
    promise<void> first;
    promise<void> second;
    storage.add(first.get_future(), {}, "first");
    storage.add(second.get_future(), {}, "second");
    // Each task finishes when it is reported, so waiting ends only after both reports.
    std::vector<LogMessage> reports;
    const LogSink recording = setLogSink([&](const LogMessage &message) {
        reports.push_back(message);
        (message.text.ends_with("first") ? first : second).set_value();
    });

    storage.waitAll();
    setLogSink(recording);

    EXPECT_THAT(reports, ElementsAre(runs("first"), runs("second")));
    EXPECT_THAT(
            reports.front().place,
            TestSupport::placeIs("FutureStorage.cpp", "Tesk::VantBase::FutureStorage::finish()"));
}

TEST_F(FutureStorageTest, logsInTheOrderOfAddingWhenNothingIsWaitedFor)
{
    locator.setStarted(false);
    promise<void> first;
    promise<void> second;
    storage.add(first.get_future(), {}, "first");
    storage.add(second.get_future(), {}, "second");

    storage.waitAll();

    EXPECT_THAT(log.messages(), ElementsAre(runs("first"), runs("second")));
}

TEST_F(FutureStorageTest, doesNotLogAFutureThatFinishedBeforeItsTurn)
{
    promise<void> first;
    promise<void> second;
    storage.add(first.get_future(), {}, "first");
    storage.add(second.get_future(), {}, "second");
    addPosted(
            [&] {
                second.set_value();
                first.set_value();
            },
            "task");

    storage.waitAll();

    EXPECT_THAT(log.messages(), ElementsAre(runs("first")));
}

TEST_F(FutureStorageTest, keepsOnlyWhatIsUnfinishedWhenSomethingIsAdded)
{
    promise<void> finishing;
    promise<void> pending;
    storage.add(make_ready_future(), {}, "ready when added");
    storage.add({}, {}, "invalid");
    storage.add(finishing.get_future(), {}, "ready when the next one is added");
    finishing.set_value();
    storage.add(pending.get_future(), {}, "pending");
    locator.setStarted(false);

    storage.waitAll();

    EXPECT_THAT(log.messages(), ElementsAre(runs("pending")));
}

TEST_F(FutureStorageTest, letsGoOfAFinishedFutureWhenTheNextOneIsAdded)
{
    promise<void> finishing;
    promise<void> pending;
    std::stop_source stop;
    const std::stop_token token = stop.get_token();
    storage.add(finishing.get_future(), std::move(stop), "finishing");
    finishing.set_value();
    ASSERT_TRUE(token.stop_possible()); // the store holds the last source

    storage.add(pending.get_future(), std::stop_source(std::nostopstate), "pending");

    EXPECT_FALSE(token.stop_possible());
    pending.set_value();
}

TEST_F(FutureStorageTest, acceptsATaskThatAddsToItWhileItWaits)
{
    bool lateTaskRan = false;
    addPosted([&] { addPosted([&] { lateTaskRan = true; }, "late"); }, "early");

    storage.waitAll();

    EXPECT_TRUE(lateTaskRan);
    EXPECT_THAT(log.messages().front(), runs("early"));
    log.clear();
    storage.waitAll();
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FutureStorageTest, returnsAtOnceFromANestedWait)
{
    bool nestedReturned = false;
    addPosted(
            [&] {
                storage.waitAll();
                nestedReturned = true;
            },
            "outer");

    storage.waitAll();

    EXPECT_TRUE(nestedReturned);
    EXPECT_THAT(log.messages(), ElementsAre(runs("outer")));
}

TEST_F(FutureStorageTest, skipsWaitingButLogsAndEmptiesBeforeTheProgramHasStarted)
{
    locator.setStarted(false);
    promise<void> pending;
    storage.add(pending.get_future(), {}, "pending");

    storage.waitAll();
    storage.waitAll();

    EXPECT_FALSE(pending.get_future().is_ready());
    EXPECT_THAT(log.messages(), ElementsAre(runs("pending")));
}

TEST_F(FutureStorageTest, skipsWaitingButLogsAndEmptiesWithoutTheRecoveryService)
{
    locator.unregisterService(DefaultAsyncRecovery::typeId());
    promise<void> pending;
    storage.add(pending.get_future(), {}, "pending");

    storage.waitAll();
    storage.waitAll();

    EXPECT_FALSE(pending.get_future().is_ready());
    EXPECT_THAT(log.messages(), ElementsAre(runs("pending")));
}

TEST_F(FutureStorageTest, doesNotStopATaskItLetsGoOf)
{
    locator.setStarted(false);
    bool ran = false;
    addPosted([&] { ran = true; }, "task");

    storage.waitAll();
    QCoreApplication::processEvents();

    EXPECT_TRUE(ran);
}

TEST_F(FutureStorageTest, dropsWhatTasksThrowAndGoesOnWithTheNext)
{
    bool secondRan = false;
    addPosted([] { throw std::runtime_error("failed"); }, "failing");
    addPosted([&] { secondRan = true; }, "second");
    storage.add(make_failed_future<void>(std::make_exception_ptr(std::runtime_error("early"))), {},
                "failed before");

    EXPECT_NO_THROW(storage.waitAll());

    EXPECT_TRUE(secondRan);
}

TEST_F(FutureStorageTest, waitsForATaskOfAnotherThreadOnTheMainThread)
{
    promise<void> kept;
    storage.add(kept.get_future(), {}, "worker");
    std::atomic<bool> set = false;
    std::latch begin(1);
    std::jthread worker([&] {
        begin.wait();
        set = true;
        kept.set_value();
    });
    addPosted([&] { begin.count_down(); }, "start"); // runs only if events are processed

    storage.waitAll();

    EXPECT_TRUE(set);
}

TEST_F(FutureStorageTest, blocksOnOtherThreads)
{
    promise<void> kept;
    storage.add(kept.get_future(), {}, "pending");
    bool processedOnMainThread = false;
    std::latch waiting(1);
    std::atomic<bool> returned = false;

    std::jthread waiter([&] {
        waiting.count_down();
        storage.waitAll();
        returned = true;
    });
    waiting.wait();
    EXPECT_FALSE(returned);
    main_thread_executor::instance().post(future_task([&] { processedOnMainThread = true; }));
    kept.set_value();
    waiter.join();

    EXPECT_TRUE(returned);
    EXPECT_FALSE(processedOnMainThread); // nobody pumped the main thread's events
    QCoreApplication::processEvents();
    EXPECT_TRUE(processedOnMainThread);
}

TEST_F(FutureStorageTest, waitsWhenItIsDestroyed)
{
    bool ran = false;
    {
        FutureStorage<void> dying;
        auto posted = make_stoppable(main_thread_executor::instance(), [&] { ran = true; });
        dying.add(posted.result, posted.stop, "last");
    }

    EXPECT_TRUE(ran);
    EXPECT_THAT(log.messages(), ElementsAre(runs("last")));
}

TEST_F(FutureStorageTest, takesAdditionsFromSeveralThreads)
{
    static constexpr int sThreads = 4;
    static constexpr int sTasks = 200;
    std::atomic<int> ran = 0;
    {
        std::vector<std::jthread> workers;
        for (int worker = 0; worker < sThreads; ++worker) {
            workers.emplace_back([&] {
                for (int task = 0; task < sTasks; ++task)
                    addPosted([&] { ++ran; }, "task");
            });
        }
        storage.waitAll();
    }
    storage.waitAll();

    EXPECT_EQ(ran, sThreads * sTasks);
}

} // namespace Tesk::VantBase
