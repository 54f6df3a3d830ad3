#include <vantbase/SharedObject.h>

#include <support/DeferredDeletes.h>

#include <gtest/gtest.h>

#include <QObject>

#include <memory>
#include <thread>
#include <type_traits>

namespace Tesk {

using TestSupport::drainDeferredDeletes;

static int sAlive = 0;

class Thing : public QObject, public SharedObject<Thing>
{
public:
    explicit Thing(const SharedObjectBadge &) { ++sAlive; }
    ~Thing() override { --sAlive; }
};

class SpecialThing : public Thing
{
public:
    using Thing::Thing;

    std::unique_ptr<QObject, QObjectDeleteLater> part{new QObject};
};

/// Begins with nothing left to delete from the tests before.
class SharedObjectTest : public testing::Test
{
protected:
    SharedObjectTest() { drainDeferredDeletes(); }
};

class QObjectDeleteLaterTest : public SharedObjectTest
{
};

static std::shared_ptr<SpecialThing> makeThing()
{
    return SharedObject<Thing>::adopt(new SpecialThing(SharedObject<Thing>::badge()));
}

TEST_F(SharedObjectTest, sharesItselfWithItsOwners)
{
    const std::shared_ptr<SpecialThing> owner = makeThing();

    const std::shared_ptr<Thing> again = owner->sharedFromThis();

    EXPECT_EQ(again, owner);
    EXPECT_EQ(owner.use_count(), 2);
}

TEST_F(SharedObjectTest, sharesNothingBeforeItIsAdopted)
{
    const SpecialThing thing{SharedObject<Thing>::badge()};

    EXPECT_EQ(thing.sharedFromThis(), nullptr);
}

TEST_F(SharedObjectTest, outlivesItsLastOwnerUntilTheEventLoopDeletesItButSharesItselfNoMore)
{
    std::shared_ptr<SpecialThing> owner = makeThing();
    Thing *thing = owner.get();
    const int alive = sAlive;

    owner.reset();

    EXPECT_EQ(sAlive, alive);
    EXPECT_EQ(thing->sharedFromThis(), nullptr);
    drainDeferredDeletes();
    EXPECT_EQ(sAlive, alive - 1);
}

TEST_F(SharedObjectTest, isForbiddenToBeTakenOver)
{
    const auto owner = makeThing();

    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(owner.get()));
    EXPECT_EQ(owner->parent(), nullptr);
}

TEST_F(SharedObjectTest, comesBackFromTheBaseAFactoryHandsOut)
{
    const std::shared_ptr<SharedObjectBase> made = makeThing();

    EXPECT_NE(std::dynamic_pointer_cast<SpecialThing>(made), nullptr);
    EXPECT_EQ(std::dynamic_pointer_cast<Thing>(made)->sharedFromThis(), made);
}

TEST_F(SharedObjectTest, mayBeReleasedOnAnyThread)
{
    auto owner = makeThing();
    const int alive = sAlive;

    std::jthread([released = std::move(owner)]() mutable { released.reset(); }).join();

    EXPECT_EQ(sAlive, alive);
    drainDeferredDeletes();
    EXPECT_EQ(sAlive, alive - 1);
}

TEST_F(SharedObjectTest, givesBadgesOnlyToFactories)
{
    EXPECT_FALSE(std::is_default_constructible_v<SharedObjectBadge>);
    EXPECT_FALSE(std::is_copy_constructible_v<SharedObjectBadge>);
    EXPECT_FALSE(std::is_aggregate_v<SharedObjectBadge>);
}

TEST_F(QObjectDeleteLaterTest, leavesTheDeletionToTheEventLoop)
{
    bool destroyed = false;
    std::unique_ptr<QObject, QObjectDeleteLater> owner(new QObject);
    QObject::connect(owner.get(), &QObject::destroyed, [&] { destroyed = true; });

    owner.reset();

    EXPECT_FALSE(destroyed);
    EXPECT_EQ(drainDeferredDeletes(), 1);
    EXPECT_TRUE(destroyed);
}

TEST_F(QObjectDeleteLaterTest, takesNull)
{
    EXPECT_NO_THROW(QObjectDeleteLater()(nullptr));
    EXPECT_EQ(drainDeferredDeletes(), 0);
}

TEST_F(QObjectDeleteLaterTest, addsNothingToTheSizeOfAPointer)
{
    EXPECT_EQ(sizeof(std::unique_ptr<QObject, QObjectDeleteLater>), sizeof(QObject *));
}

} // namespace Tesk
