#include <vantbase/ServiceLocator.h>

#include <vantbase/Exception.h>
#include <vantbase/TypeId.h>

#include <support/RecordedLog.h>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

namespace Tesk::VantBase {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::isLogMessage;
using TestSupport::RecordedLog;

class Counter : public Service
{
public:
    static unsigned long long typeId() { return typeIdOf("Tesk::VantBase::Counter"); }

    int count = 0;
};

/// Uses the locator while it goes down, as a service that logs or looks others up does.
class Farewell : public Service
{
public:
    static unsigned long long typeId() { return typeIdOf("Tesk::VantBase::Farewell"); }

    explicit Farewell(bool *foundCounter)
        : m_foundCounter(foundCounter)
    {}

    ~Farewell() override
    {
        auto &locator = ServiceLocator::instance();
        *m_foundCounter = locator.findService<Counter>() != nullptr;
        locator.unregisterService(Counter::typeId());
    }

private:
    bool *m_foundCounter;
};

class ServiceLocatorTest : public testing::Test
{
protected:
    ~ServiceLocatorTest() override
    {
        locator.unregisterService(Counter::typeId());
        locator.unregisterService(Farewell::typeId());
    }

    ServiceLocator &locator = ServiceLocator::instance();
};

TEST_F(ServiceLocatorTest, findsTheServiceRegisteredUnderTheTypeIdOfItsClass)
{
    const auto counter = std::make_shared<Counter>();

    locator.registerService(Counter::typeId(), counter);

    EXPECT_EQ(locator.service<Counter>(), counter);
    EXPECT_EQ(locator.findService<Counter>(), counter);
}

TEST_F(ServiceLocatorTest, raisesServiceNotFoundAfterLoggingItOnce)
{
    const RecordedLog log;
    try {
        locator.service<Counter>();
        FAIL() << "did not throw";
    } catch (const Exception::LogicErrorException &caught) {
        EXPECT_STREQ(caught.what(), "Service not found");
    }

    EXPECT_THAT(log.messages(),
                ElementsAre(isLogMessage(LogService::Base, LogLevel::Error, "Service not found")));
    EXPECT_THAT(log.messages().front().place,
                TestSupport::placeIs("ServiceLocator.cpp",
                                     "Tesk::VantBase::ServiceLocator::getService()"));
}

TEST_F(ServiceLocatorTest, answersTheSilentQueryWithNullWhenThereIsNone)
{
    const RecordedLog log;

    EXPECT_EQ(locator.findService<Counter>(), nullptr);

    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ServiceLocatorTest, replacesAServiceAndReleasesTheOldOne)
{
    auto first = std::make_shared<Counter>();
    const std::weak_ptr<Counter> watched = first;
    const auto second = std::make_shared<Counter>();
    locator.registerService(Counter::typeId(), std::move(first));

    locator.registerService(Counter::typeId(), second);

    EXPECT_EQ(locator.service<Counter>(), second);
    EXPECT_TRUE(watched.expired());
}

TEST_F(ServiceLocatorTest, forgetsAnUnregisteredService)
{
    locator.registerService(Counter::typeId(), std::make_shared<Counter>());
    const auto kept = locator.service<Counter>();

    locator.unregisterService(Counter::typeId());
    locator.unregisterService(Counter::typeId());

    EXPECT_EQ(locator.findService<Counter>(), nullptr);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(ServiceLocatorTest, letsAServiceUseItWhileThatIsReplacedOrTakenOut)
{
    bool foundOnReplace = false;
    bool foundOnRemove = true;
    locator.registerService(Counter::typeId(), std::make_shared<Counter>());
    locator.registerService(Farewell::typeId(), std::make_shared<Farewell>(&foundOnReplace));

    locator.registerService(Farewell::typeId(), std::make_shared<Farewell>(&foundOnRemove));
    locator.unregisterService(Farewell::typeId());

    EXPECT_TRUE(foundOnReplace);
    EXPECT_FALSE(foundOnRemove); // the first one had taken the counter out
}

TEST_F(ServiceLocatorTest, hasNotStartedUntilTheHostSaysSo)
{
    EXPECT_FALSE(locator.started());

    locator.setStarted(true);
    EXPECT_TRUE(locator.started());
    locator.setStarted(false);
    EXPECT_FALSE(locator.started());
}

TEST_F(ServiceLocatorTest, answersSeveralThreadsWhileServicesComeAndGo)
{
    locator.registerService(Counter::typeId(), std::make_shared<Counter>());
    std::atomic<bool> stop = false;
    std::atomic<int> missing = 0;
    {
        std::vector<std::jthread> readers;
        for (int reader = 0; reader < 3; ++reader) {
            readers.emplace_back([&] {
                while (!stop)
                    missing += locator.findService<Counter>() ? 0 : 1;
            });
        }
        for (int round = 0; round < 1000; ++round)
            locator.registerService(Counter::typeId(), std::make_shared<Counter>());
        stop = true;
    }

    EXPECT_EQ(missing, 0);
}

} // namespace Tesk::VantBase
