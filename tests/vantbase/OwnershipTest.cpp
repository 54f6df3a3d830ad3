#include <vantbase/Ownership.h>

#include <gtest/gtest.h>

#include <QObject>
#include <QThread>

namespace Tesk::VantBase {

class Marked : public QObject, public OwnershipMark
{
};

TEST(OwnershipTest, marksAnyObject)
{
    QObject object;
    QObject other;
    ASSERT_FALSE(isStealingOwnershipForbidden(&object));

    forbidStealingOwnership(&object);

    EXPECT_TRUE(isStealingOwnershipForbidden(&object));
    EXPECT_FALSE(isStealingOwnershipForbidden(&other));
}

TEST(OwnershipTest, keepsTheMarkInObjectsMadeForItWithoutADynamicProperty)
{
    Marked knownByClass;
    Marked knownAsObject;

    forbidStealingOwnership(&knownByClass);
    forbidStealingOwnership(static_cast<QObject *>(&knownAsObject));

    for (const Marked *object : {&knownByClass, &knownAsObject}) {
        EXPECT_TRUE(isStealingOwnershipForbidden(object));
        EXPECT_TRUE(object->dynamicPropertyNames().isEmpty());
    }
    const Marked unmarked;
    EXPECT_FALSE(isStealingOwnershipForbidden(&unmarked));
}

TEST(OwnershipTest, takesNull)
{
    EXPECT_NO_THROW(forbidStealingOwnership(static_cast<QObject *>(nullptr)));
    EXPECT_FALSE(isStealingOwnershipForbidden(nullptr));
}

TEST(OwnershipTest, leavesParentAndThreadAsTheyAre)
{
    QObject parent;
    QObject *child = new QObject(&parent);

    forbidStealingOwnership(child);

    EXPECT_EQ(child->parent(), &parent);
    EXPECT_EQ(child->thread(), QThread::currentThread());
}

} // namespace Tesk::VantBase
