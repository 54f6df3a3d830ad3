#include <vantbase/FutureStorage.h>
#include <vantbase/ThreadUtils.h>

#include <vantbase/DefaultAsyncRecovery.h>
#include <vantbase/ServiceLocator.h>

#include <futures/promise.h>

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <latch>
#include <memory>
#include <thread>

// A program of its own, whose main() makes no application object.
namespace Tesk::VantBase {

static bool isMainThreadElsewhere()
{
    bool answer = true;
    std::jthread([&] { answer = ThreadUtils::isMainThread(); }).join();
    return answer;
}

TEST(WithoutApplicationTest, takesTheLoadingThreadAsTheMainThread)
{
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    EXPECT_TRUE(ThreadUtils::isMainThread());
    EXPECT_FALSE(isMainThreadElsewhere());
}

TEST(WithoutApplicationTest, takesTheThreadOfAnApplicationObjectThatComesLater)
{
    bool mainThereWithApplication = false;
    bool mainHereWithApplication = true;
    std::latch made(1);
    std::latch asked(1);
    std::jthread applicationThread([&] {
        int argumentCount = 1;
        char name[] = "test";
        char *arguments[] = {name, nullptr};
        const QCoreApplication application(argumentCount, arguments);
        mainThereWithApplication = ThreadUtils::isMainThread();
        made.count_down();
        asked.wait();
    });
    made.wait();
    mainHereWithApplication = ThreadUtils::isMainThread();
    asked.count_down();
    applicationThread.join();

    EXPECT_TRUE(mainThereWithApplication);
    EXPECT_FALSE(mainHereWithApplication);
    EXPECT_TRUE(ThreadUtils::isMainThread());
}

TEST(WithoutApplicationTest, waitsForFuturesByBlocking)
{
    auto &locator = ServiceLocator::instance();
    locator.registerService(DefaultAsyncRecovery::typeId(),
                            std::make_shared<DefaultAsyncRecovery>());
    locator.setStarted(true);
    FutureStorage<void> storage;
    promise<void> kept;
    const future<void> pending = kept.get_future();
    storage.add(pending, {}, "worker");
    std::jthread worker([&] { kept.set_value(); });

    storage.waitAll();

    EXPECT_TRUE(pending.is_ready());
    locator.setStarted(false);
    locator.unregisterService(DefaultAsyncRecovery::typeId());
}

} // namespace Tesk::VantBase
