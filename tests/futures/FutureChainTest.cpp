#include <futures/future.h>
#include <futures/future_cancellation.h>
#include <futures/promise.h>

#include "QueueExecutor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace Tesk {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int ChainLength = 100'000; // for time; a frame kept by each link shows all the same
#else
constexpr int ChainLength = 1'000'000;
#endif

/// Notes how deep the stack was where it was told to look.
class StackDepth
{
public:
    void look()
    {
        const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
        m_lowest = std::min(m_lowest, here);
        m_highest = std::max(m_highest, here);
        ++m_looks;
    }

    int looks() const { return m_looks; }
    /// Bytes between the highest and the lowest frame seen.
    std::uintptr_t spread() const { return m_highest - m_lowest; }

private:
    std::uintptr_t m_lowest = UINTPTR_MAX;
    std::uintptr_t m_highest = 0;
    int m_looks = 0;
};

/// Looks at the depth when it is destroyed.
class LooksWhenDestroyed
{
public:
    explicit LooksWhenDestroyed(StackDepth &depth)
        : m_depth(&depth)
    {}
    LooksWhenDestroyed(LooksWhenDestroyed &&other) noexcept
        : m_depth(std::exchange(other.m_depth, nullptr))
    {}
    LooksWhenDestroyed &operator=(LooksWhenDestroyed &&) = delete;
    ~LooksWhenDestroyed()
    {
        if (m_depth)
            m_depth->look();
    }

private:
    StackDepth *m_depth;
};

// Less than a byte for each link: none may keep a frame.
constexpr std::uintptr_t AllowedSpread = 16'384; // bytes

/// Asks one implementation after another, as the thumbnail of a descriptor does: the last has one.
struct Thumbnails
{
    using Surface = std::shared_ptr<int>;

    future<Surface> ask(int index) const
    {
        return make_ready_future(index + 1 == count ? std::make_shared<int>(index) : Surface());
    }

    future<Surface> step(int index, Surface found)
    {
        if (found || index == count)
            return make_ready_future(std::move(found));
        return ask(index).then([this, index](const Surface &surface) {
            depth.look();
            return step(index + 1, surface);
        });
    }

    int count = ChainLength;
    StackDepth depth;
};

/// Attaches ChainLength continuations, each to the result of the one before.
future<int> attachChain(future<int> start, StackDepth &depth)
{
    future<int> last = std::move(start);
    for (int index = 0; index < ChainLength; ++index) {
        last = last.then([&depth, guard = LooksWhenDestroyed(depth)](int value) {
            depth.look();
            return value + 1;
        });
    }
    return last;
}

} // namespace

TEST(FutureChainTest, runsAMillionContinuationsOfReadyFutures)
{
    StackDepth depth;

    const future<int> last = attachChain(make_ready_future(0), depth);

    EXPECT_EQ(last.get(), ChainLength);
    EXPECT_EQ(depth.looks(), 2 * ChainLength);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, runsAMillionContinuationsThatWaitForOnePromise)
{
    StackDepth depth;
    promise<int> owed;
    const future<int> last = attachChain(owed.get_future(), depth);
    EXPECT_FALSE(last.is_ready());
    EXPECT_EQ(depth.looks(), 0);

    owed.set_value(0);

    EXPECT_EQ(last.get(), ChainLength);
    EXPECT_EQ(depth.looks(), 2 * ChainLength);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, flattensAMillionReadyFuturesNestedInEachOther)
{
    Thumbnails thumbnails;

    const auto surface = thumbnails.step(0, nullptr);

    ASSERT_TRUE(surface.is_ready());
    EXPECT_EQ(*surface.get(), ChainLength - 1);
    EXPECT_EQ(thumbnails.depth.looks(), ChainLength);
    EXPECT_LT(thumbnails.depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, flattensAMillionReadyFuturesThatStartInAContinuation)
{
    Thumbnails thumbnails;

    const auto surface = make_ready_future().then([&] { return thumbnails.step(0, nullptr); });

    ASSERT_TRUE(surface.is_ready());
    EXPECT_EQ(*surface.get(), ChainLength - 1);
    EXPECT_LT(thumbnails.depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, flattensAMillionReadyFuturesForAContinuationThatWaits)
{
    Thumbnails thumbnails;

    const future<int> index =
            make_ready_future().then([&] { return *thumbnails.step(0, nullptr).get(); });

    EXPECT_EQ(index.get(), ChainLength - 1);
    EXPECT_LT(thumbnails.depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, flattensAMillionFuturesThatWaitForOnePromise)
{
    StackDepth depth;
    promise<int> owed;
    future<int> outermost = owed.get_future();
    for (int index = 0; index < ChainLength; ++index)
        outermost = make_ready_future().then([outermost] { return outermost; });
    outermost.then([&depth](int) { depth.look(); });
    EXPECT_FALSE(outermost.is_ready());

    owed.set_value(7);
    depth.look();

    EXPECT_EQ(&outermost.get(), &owed.get_future().get());
    EXPECT_EQ(depth.looks(), 2);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, cancelsAMillionContinuationsOfADroppedPromise)
{
    StackDepth depth;
    auto owed = std::make_unique<promise<int>>();
    const future<int> last = attachChain(owed->get_future(), depth);

    owed.reset();

    EXPECT_THROW(last.get(), future_cancellation);
    EXPECT_EQ(depth.looks(), ChainLength); // each destroyed, none called
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, destroysAChainThatNobodyHoldsAnyMore)
{
    StackDepth depth;
    auto owed = std::make_unique<promise<int>>();
    attachChain(owed->get_future(), depth);
    EXPECT_EQ(depth.looks(), 0);

    owed.reset();

    EXPECT_EQ(depth.looks(), ChainLength);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, cancelsAChainThatStandsOnATaskDroppedByItsExecutor)
{
    QueueExecutor queue;
    StackDepth depth;
    const future<int> last = attachChain(make_ready_future().then(queue, [] { return 0; }), depth);

    queue.dropAll();

    EXPECT_THROW(last.get(), future_cancellation);
    EXPECT_EQ(depth.looks(), ChainLength);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, runsAMillionContinuationsOfOneFuture)
{
    StackDepth depth;
    promise<void> owed;
    int next = 0;
    bool inOrder = true;
    for (int index = 0; index < ChainLength; ++index) {
        owed.get_future().then([&, index] {
            depth.look();
            inOrder = inOrder && index == next++;
        });
    }

    owed.set_value();

    EXPECT_TRUE(inOrder);
    EXPECT_EQ(next, ChainLength);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

TEST(FutureChainTest, runsAChainOnAnExecutorThatRunsTasksAtOnce)
{
    class InlineExecutor : public future_executor
    {
    public:
        void post(future_task task) override { task(); }
    } immediate;
    StackDepth depth;
    promise<int> owed;
    future<int> last = owed.get_future();
    for (int index = 0; index < ChainLength; ++index) {
        last = last.then(immediate, [&depth](int value) {
            depth.look();
            return value + 1;
        });
    }

    owed.set_value(0);

    EXPECT_EQ(last.get(), ChainLength);
    EXPECT_LT(depth.spread(), AllowedSpread);
}

} // namespace Tesk
