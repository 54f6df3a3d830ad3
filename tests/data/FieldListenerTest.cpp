#include "StandIns.h"

#include <data/Document.h>

#include <support/DeferredDeletes.h>
#include <support/Printers.h>

#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

// What those who hear of a change do to the very field, or throw.

namespace Tesk::Data {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Base = SerializableFieldBase;
using Phase = FieldEvent::Phase;

class FieldListenerTest : public testing::Test
{
protected:
    FieldListenerTest()
    {
        for (const char *id : {"a", "b", "c"})
            vector.append(Reference{id});
        numbers.insert(QStringLiteral("a"), 1);
        numbers.insert(QStringLiteral("b"), 2);
        owner.takeHeard();
        owner.setChangeListener(&listener);
    }
    ~FieldListenerTest() override { TestSupport::drainDeferredDeletes(); }

    /// Has \a action run once, when the next event of \a phase is heard.
    void onNext(Phase phase, std::function<void()> action)
    {
        owner.onEvent = [this, phase, action = std::move(action)](const FieldEvent &event) {
            if (event.phase != phase)
                return;
            const auto run = action;
            owner.onEvent = nullptr;
            run();
        };
    }

    void throwOnNext(Phase phase)
    {
        onNext(phase, [] { throw std::runtime_error("not now"); });
    }

    std::vector<std::string> ids() const
    {
        std::vector<std::string> found;
        for (const Reference &reference : vector)
            found.push_back(reference.id.toStdString());
        return found;
    }

    CountingListener listener;
    Owner owner{Base::NotifyChanges | Base::NotifyEqualAssignments};
    Vector<Reference> &vector = owner.implementations;
    HashMap<QString, unsigned int> &numbers = owner.numbers;
};

} // namespace

// A listener that changes the field it is told about

TEST_F(FieldListenerTest, aSetWinsOverWhatAListenerSetBefore)
{
    onNext(Phase::AboutToChange, [this] { owner.count.set(8); });

    owner.count.set(7);

    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard,
                ElementsAre("before count", "before count", "after count", "after count"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner, &owner));
}

TEST_F(FieldListenerTest, anEqualAssignmentThatUndoesWhatAListenerSetIsReported)
{
    onNext(Phase::AboutToChange, [this] { owner.count.set(8); });

    owner.count.set(0); // the value that is there

    EXPECT_EQ(owner.count.get(), 0);
    EXPECT_THAT(listener.changed, ElementsAre(&owner, &owner)); // to 8 and back
}

TEST_F(FieldListenerTest, anInsertionGoesToTheEndOfAListThatWasShortened)
{
    onNext(Phase::AboutToChange, [this] { vector.clear(); });

    vector.insert(2, Reference{"x"});

    EXPECT_THAT(ids(), ElementsAre("x"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations 2", "before implementations",
                                         "after implementations", "after implementations 0"));
}

TEST_F(FieldListenerTest, aRemovalOfWhatIsGoneRemovesNothingMore)
{
    onNext(Phase::AboutToChange, [this] { vector.removeAt(0); });

    vector.removeAt(2);

    EXPECT_THAT(ids(), ElementsAre("b", "c"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(FieldListenerTest, aConditionalRemovalEndsWithTheListThatIsLeft)
{
    onNext(Phase::AboutToChange, [this] { vector.clear(); });
    EXPECT_EQ(vector.removeIf([](const Reference &) { return true; }), 0);
    EXPECT_TRUE(vector.empty());

    for (const char *id : {"a", "b", "c"})
        vector.append(Reference{id});
    onNext(Phase::Changed, [this] { vector.removeAt(1); });
    EXPECT_EQ(vector.removeIf([](const Reference &) { return true; }), 2);
    EXPECT_TRUE(vector.empty());
}

TEST_F(FieldListenerTest, anEntryThatAListenerInsertedFirstIsKept)
{
    onNext(Phase::AboutToChange, [this] { numbers.insert(QStringLiteral("c"), 8); });

    EXPECT_FALSE(numbers.insert(QStringLiteral("c"), 7));

    EXPECT_EQ(numbers.find(QStringLiteral("c"))->second, 8U);
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(FieldListenerTest, anOverwriteAddsAnEntryThatAListenerRemoved)
{
    onNext(Phase::AboutToChange, [this] { numbers.clear(); });

    numbers.overwrite(QStringLiteral("a"), 7);

    EXPECT_EQ(numbers.size(), 1);
    EXPECT_EQ(numbers.find(QStringLiteral("a"))->second, 7U);
    EXPECT_THAT(listener.changed, ElementsAre(&owner, &owner));
}

TEST_F(FieldListenerTest, anEqualOverwriteThatUndoesWhatAListenerDidIsReported)
{
    onNext(Phase::AboutToChange, [this] { numbers.overwrite(QStringLiteral("a"), 8); });

    numbers.overwrite(QStringLiteral("a"), 1); // the value that is there

    EXPECT_EQ(numbers.find(QStringLiteral("a"))->second, 1U);
    EXPECT_THAT(listener.changed, ElementsAre(&owner, &owner));
}

TEST_F(FieldListenerTest, aRemovalOfAnEntryThatAListenerRemovedGivesFalse)
{
    onNext(Phase::AboutToChange, [this] { numbers.remove(QStringLiteral("a")); });

    EXPECT_FALSE(numbers.remove(QStringLiteral("a")));

    EXPECT_EQ(numbers.size(), 1);
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(FieldListenerTest, aListenerMayRemoveWhatWasJustAdded)
{
    onNext(Phase::Changed, [this] { numbers.remove(QStringLiteral("c")); });
    EXPECT_TRUE(numbers.insert(QStringLiteral("c"), 3));
    EXPECT_EQ(numbers.size(), 2);

    onNext(Phase::Changed, [this] { owner.types.clear(); });
    EXPECT_TRUE(owner.types.insert(QStringLiteral("t"), makeRecord("id")));
    EXPECT_TRUE(owner.types.empty());

    onNext(Phase::Changed, [this] { vector.clear(); });
    vector.append(Reference{"d"});
    EXPECT_TRUE(vector.empty());
}

TEST_F(FieldListenerTest, aReadReplacesWhatAListenerAddedBefore)
{
    const Serialization::Document document;
    document.root().addArray("implementations", "FieldArray").append().setValue(QByteArray("x"));
    onNext(Phase::AboutToChange, [this] { vector.append(Reference{"d"}); });

    vector.deserialize(document.root());

    EXPECT_THAT(ids(), ElementsAre("x"));
}

// An exception out of a listener

TEST_F(FieldListenerTest, anExceptionBeforeTheChangeKeepsEveryContainerAsItWas)
{
    const auto refused = [this](const std::function<void()> &mutation) {
        throwOnNext(Phase::AboutToChange);
        EXPECT_THROW(mutation(), std::runtime_error);
    };

    refused([this] { owner.count.set(7); });
    refused([this] { vector.append(Reference{"d"}); });
    refused([this] { vector.removeAt(0); });
    refused([this] { vector.removeIf([](const Reference &) { return true; }); });
    refused([this] { vector.assign({}); });
    refused([this] { vector.clear(); });
    refused([this] { numbers.insert(QStringLiteral("c"), 3); });
    refused([this] { numbers.overwrite(QStringLiteral("a"), 9); });
    refused([this] { numbers.remove(QStringLiteral("a")); });
    refused([this] { numbers.clear(); });

    EXPECT_EQ(owner.count.get(), 0);
    EXPECT_THAT(ids(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(numbers.size(), 2);
    EXPECT_EQ(numbers.find(QStringLiteral("a"))->second, 1U);
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(FieldListenerTest, anExceptionAfterAChangeLeavesTheChangeReported)
{
    const Serialization::Document document;
    document.root().addObject("count").setValue(9);
    const auto expectReported = [this](const char *what, const std::function<void()> &mutation) {
        SCOPED_TRACE(what);
        listener.changed.clear();
        throwOnNext(Phase::Changed);
        EXPECT_THROW(mutation(), std::runtime_error);
        EXPECT_THAT(listener.changed, ElementsAre(&owner));
    };

    expectReported("set", [this] { owner.count.set(7); });
    EXPECT_EQ(owner.count.get(), 7);
    expectReported("read", [&] { owner.count.deserialize(document.root()); });
    expectReported("reset", [this] { owner.count.resetToDefault(); });
    expectReported("append", [this] { vector.append(Reference{"d"}); });
    EXPECT_THAT(ids(), ElementsAre("a", "b", "c", "d"));
    expectReported("remove at", [this] { vector.removeAt(0); });
    expectReported("remove if",
                   [this] { vector.removeIf([](const Reference &) { return true; }); });
    EXPECT_THAT(ids(), ElementsAre("b", "c"));
    expectReported("assign", [this] { vector.assign({Reference{"x"}}); });
    expectReported("read list", [&] { vector.deserialize(document.root()); });
    expectReported("insert", [this] { numbers.insert(QStringLiteral("c"), 3); });
    expectReported("overwrite", [this] { numbers.overwrite(QStringLiteral("a"), 9); });
    expectReported("remove", [this] { numbers.remove(QStringLiteral("a")); });
    expectReported("read map", [&] { numbers.deserialize(document.root()); });
}

TEST_F(FieldListenerTest, anExceptionAfterAnEqualAssignmentReportsNothing)
{
    throwOnNext(Phase::Changed);

    EXPECT_THROW(owner.count.set(0), std::runtime_error);

    EXPECT_THAT(listener.changed, IsEmpty());
}

} // namespace Tesk::Data
