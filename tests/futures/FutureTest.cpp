#include <futures/future.h>
#include <futures/future_cancellation.h>
#include <futures/main_thread_executor.h>
#include <futures/promise.h>
#include <futures/stoppable.h>

#include <gtest/gtest.h>

namespace Tesk {

TEST(FutureTest, flattens)
{
    promise<int> p;
    auto f = p.get_future()
                     .then([](int i) { return make_ready_future(std::make_unique<int>(i + 1)); })
                     .then([](const std::unique_ptr<int> &i) { return *i + 1; });
    static_assert(std::is_same_v<decltype(f), future<int>>);
    EXPECT_FALSE(f.is_ready());
    p.set_value(1);
    EXPECT_EQ(f.get(), 3);
    auto s = make_stoppable(main_thread_executor::instance(), [] {});
    EXPECT_THROW(s.result.get(), future_cancellation);
}

} // namespace Tesk
