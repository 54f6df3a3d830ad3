#include <filterbase/FilterDescAsset.h>

#include "support/FilterDatabase.h"

#include <futures/future_cancellation.h>
#include <futures/promise.h>
#include <support/DeferredDeletes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::FakeFilter;
using FilterBaseTesting::surfaceOf;
using FilterBaseTesting::Thumbnail;
using testing::ElementsAre;
using testing::IsEmpty;

class FilterDescThumbnailTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    std::shared_ptr<FakeFilter> listed(const char *id)
    {
        auto implementation = filter(id);
        descriptor->implementations.append(implementation->ownReference());
        return implementation;
    }

    std::shared_ptr<FakeFilter> listedWith(const char *id, const Thumbnail &surface)
    {
        auto implementation = listed(id);
        implementation->answers.thumbnail = [surface](const std::stop_token &) {
            return make_ready_future(surface);
        };
        return implementation;
    }

    std::shared_ptr<FakeFilter> listedWith(const char *id, const promise<Thumbnail> &pending)
    {
        auto implementation = listed(id);
        implementation->answers.thumbnail =
                [result = pending.get_future()](const std::stop_token &) {
                    return result;
                };
        return implementation;
    }

    future<Thumbnail> ask() const { return descriptor->getEmbeddedThumbnail({}); }

    std::shared_ptr<FilterDescAsset> descriptor = filterDesc();
};

TEST_F(FilterDescThumbnailTest, isNullWithoutImplementations)
{
    const auto result = ask();

    ASSERT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), nullptr);
}

TEST_F(FilterDescThumbnailTest, isNullWhereNoImplementationHasOne)
{
    listed("a");
    listed("b");

    EXPECT_EQ(ask().get(), nullptr);
}

TEST_F(FilterDescThumbnailTest, isTheFirstOneThereIsAndNobodyElseIsAsked)
{
    const Thumbnail surface = surfaceOf('b');
    listed("a");
    listedWith("b", surface);
    const auto third = listedWith("c", surfaceOf('c'));

    const auto result = ask();

    ASSERT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), surface);
    EXPECT_THAT(third->answers.calls, IsEmpty());
}

TEST_F(FilterDescThumbnailTest, passesOverWhatDoesNotResolveAndAsksAPlainAsset)
{
    const auto plain = plainAsset("plain");
    const Thumbnail surface = surfaceOf('p');
    plain->answers.thumbnail = [surface](const std::stop_token &) {
        return make_ready_future(surface);
    };
    descriptor->implementations.append(dangling());
    descriptor->implementations.append({});
    descriptor->implementations.append(plain->ownReference());

    EXPECT_EQ(ask().get(), surface);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescThumbnailTest, asksTheNextOnlyWhenTheAnswerIsThere)
{
    promise<Thumbnail> first;
    listedWith("a", first);
    const Thumbnail surface = surfaceOf('b');
    const auto second = listedWith("b", surface);

    const auto result = ask();
    EXPECT_FALSE(result.is_ready());
    EXPECT_THAT(second->answers.calls, IsEmpty());
    first.set_value(Thumbnail());

    ASSERT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), surface);
    EXPECT_THAT(second->answers.calls, ElementsAre("getEmbeddedThumbnail"));
}

TEST_F(FilterDescThumbnailTest, keepsAliveTheAssetThatItWaitsForAndNoOther)
{
    promise<Thumbnail> pending;
    std::weak_ptr<FakeFilter> waitedFor;
    std::weak_ptr<FakeFilter> done;
    {
        done = listed("a");
        waitedFor = listedWith("b", pending);
    }
    const auto result = ask();
    const auto references = descriptor->implementations.values();
    for (const auto &reference : references)
        database->removeAsset(reference);
    TestSupport::drainDeferredDeletes();

    EXPECT_TRUE(done.expired());
    EXPECT_FALSE(waitedFor.expired());
    pending.set_value(Thumbnail());
    EXPECT_TRUE(waitedFor.expired());
    EXPECT_EQ(result.get(), nullptr);
}

TEST_F(FilterDescThumbnailTest, outlivesItsDescriptor)
{
    promise<Thumbnail> pending;
    listedWith("a", pending);
    const Thumbnail surface = surfaceOf('b');
    listedWith("b", surface);
    const auto result = ask();

    database->removeAsset(descriptor->ownReference());
    descriptor.reset();
    TestSupport::drainDeferredDeletes();
    pending.set_value(Thumbnail());

    EXPECT_EQ(result.get(), surface);
}

TEST_F(FilterDescThumbnailTest, passesTheStopTokenToEveryImplementation)
{
    const std::stop_source source;
    std::vector<std::stop_token> tokens;
    for (const char *id : {"a", "b"}) {
        listed(id)->answers.thumbnail = [&](const std::stop_token &token) {
            tokens.push_back(token);
            return make_ready_future(Thumbnail());
        };
    }

    descriptor->getEmbeddedThumbnail(source.get_token()).get();

    EXPECT_EQ(tokens, (std::vector{source.get_token(), source.get_token()}));
}

TEST_F(FilterDescThumbnailTest, isCancelledWithTheImplementationThatIsAsked)
{
    std::optional<promise<Thumbnail>> pending(std::in_place);
    listedWith("a", *pending);
    const auto second = listed("b");
    const auto result = ask();

    pending.reset();

    ASSERT_TRUE(result.is_ready());
    EXPECT_THROW(result.get(), future_cancellation);
    EXPECT_THAT(second->answers.calls, IsEmpty());
}

TEST_F(FilterDescThumbnailTest, failsWithTheImplementationThatIsAsked)
{
    const auto first = listed("a");
    first->answers.thumbnail = [](const std::stop_token &) {
        return make_failed_future<Thumbnail>(
                std::make_exception_ptr(std::domain_error("no picture")));
    };

    EXPECT_THROW(ask().get(), std::domain_error);

    first->answers.thumbnail = [](const std::stop_token &) -> future<Thumbnail> {
        throw std::length_error("broken");
    };
    EXPECT_THROW(ask().get(), std::length_error);
}

TEST_F(FilterDescThumbnailTest, asksAMillionImplementationsThatAreReady)
{
    constexpr int count = 1'000'000;
    int asked = 0;
    const auto implementation = filter("a");
    const Thumbnail surface = surfaceOf('a');
    implementation->answers.thumbnail = [&](const std::stop_token &) {
        implementation->answers.calls.clear();
        return make_ready_future(++asked == count ? surface : Thumbnail());
    };
    descriptor->implementations.assign(
            std::vector(static_cast<std::size_t>(count), implementation->ownReference()));

    EXPECT_EQ(ask().get(), surface);
    EXPECT_EQ(asked, count);
}

TEST_F(FilterDescThumbnailTest, asksManyImplementationsThatAnswerLater)
{
    constexpr int count = 100'000;
    promise<Thumbnail> current;
    int asked = 0;
    const auto implementation = filter("a");
    implementation->answers.thumbnail = [&](const std::stop_token &) {
        implementation->answers.calls.clear();
        current = promise<Thumbnail>();
        ++asked;
        return current.get_future();
    };
    descriptor->implementations.assign(
            std::vector(static_cast<std::size_t>(count), implementation->ownReference()));
    const auto result = ask();

    while (!result.is_ready()) {
        promise<Thumbnail> answered = std::move(current);
        answered.set_value(Thumbnail());
    }

    EXPECT_EQ(asked, count);
    EXPECT_EQ(result.get(), nullptr);
}

// The answer comes while, before or after the chain begins to wait for it.
TEST_F(FilterDescThumbnailTest, losesNoAnswerThatAnotherThreadGives)
{
    constexpr int rounds = 2000;
    const auto implementation = filter("a");
    std::vector<std::jthread> workers;
    implementation->answers.thumbnail = [&workers](const std::stop_token &) {
        auto answer = std::make_shared<promise<Thumbnail>>();
        workers.emplace_back([answer] { answer->set_value(Thumbnail()); });
        return answer->get_future();
    };
    descriptor->implementations.assign({implementation->ownReference()});

    for (int round = 0; round < rounds; ++round) {
        EXPECT_EQ(ask().get(), nullptr);
        workers.clear();
    }
}

} // namespace Tesk::FilterBase
