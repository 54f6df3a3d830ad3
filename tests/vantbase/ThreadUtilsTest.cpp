#include <vantbase/ThreadUtils.h>

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <thread>

namespace Tesk::VantBase {

static bool isMainThreadElsewhere()
{
    bool answer = true;
    std::jthread([&] { answer = ThreadUtils::isMainThread(); }).join();
    return answer;
}

TEST(ThreadUtilsTest, takesTheApplicationObjectsThreadAsTheMainThread)
{
    ASSERT_NE(QCoreApplication::instance(), nullptr);
    EXPECT_TRUE(ThreadUtils::isMainThread());
    EXPECT_FALSE(isMainThreadElsewhere());
}

} // namespace Tesk::VantBase
