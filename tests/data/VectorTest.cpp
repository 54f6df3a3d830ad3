#include "StandIns.h"

#include <data/Document.h>

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace Tesk::Data {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Base = SerializableFieldBase;

std::vector<std::string> idsOf(const Vector<Reference> &vector)
{
    std::vector<std::string> ids;
    for (const Reference &reference : vector)
        ids.push_back(reference.id.toStdString());
    return ids;
}

void fill(Vector<Reference> &vector, std::initializer_list<const char *> ids)
{
    for (const char *id : ids)
        vector.append(Reference{id});
}

class VectorTest : public testing::Test
{
protected:
    VectorTest()
    {
        fill(owner.implementations, {"a", "b", "c"});
        owner.takeHeard();
        owner.setChangeListener(&listener);
    }

    CountingListener listener;
    Owner owner{sNotify};
    Vector<Reference> &vector = owner.implementations;
};

class ReadOnlyVectorTest : public testing::Test
{
protected:
    TestSupport::RecordedLog log;
    Owner owner{Base::Options(Base::ReadOnly | Base::NotifyChanges)};
    Vector<Reference> &vector = owner.implementations;
};

} // namespace

TEST_F(VectorTest, appendsWithTheEventsOfTheOldLength)
{
    std::vector<qsizetype> sizes;
    owner.onEvent = [&](const FieldEvent &) {
        sizes.push_back(vector.size());
    };

    vector.append(Reference{"d"});

    EXPECT_THAT(idsOf(vector), ElementsAre("a", "b", "c", "d"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations 3", "after implementations 3"));
    EXPECT_THAT(sizes, ElementsAre(3, 4));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(VectorTest, insertsBeforeTheIndexGiven)
{
    vector.insert(1, Reference{"x"});

    EXPECT_THAT(idsOf(vector), ElementsAre("a", "x", "b", "c"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations 1", "after implementations 1"));
    EXPECT_EQ(owner.events[0].index, 1);
    EXPECT_FALSE(owner.events[0].key.isValid());
}

TEST_F(VectorTest, refusesAnInsertBeyondTheEnd)
{
    const TestSupport::RecordedLog log;

    try {
        vector.insert(4, Reference{"x"});
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::InvalidArgumentException &error) {
        EXPECT_STREQ(error.what(), "The field \"implementations\" has no place 4: expected 0 to 3");
    }
    EXPECT_THROW(vector.insert(-1, Reference{"x"}), Exception::InvalidArgumentException);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST_F(VectorTest, refusesToReadBeyondTheEnd)
{
    const TestSupport::RecordedLog log;

    EXPECT_EQ(vector.at(2).id, QByteArray("c"));
    EXPECT_THROW(vector.at(3), Exception::InvalidArgumentException);
}

TEST_F(VectorTest, removesMatchingElementsFromTheLastToTheFirstEachWithItsEvents)
{
    const qsizetype removed =
            vector.removeIf([](const Reference &reference) { return reference.id != "b"; });

    EXPECT_EQ(removed, 2);
    EXPECT_THAT(idsOf(vector), ElementsAre("b"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations 2", "after implementations 2",
                                         "before implementations 0", "after implementations 0"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(VectorTest, asksFromTheLastToTheFirstWithAndWithoutEvents)
{
    Owner silent{Base::Options()};
    fill(silent.implementations, {"a", "b", "c"});
    std::vector<std::string> asked;
    const auto ask = [&](const Reference &reference) {
        asked.push_back(reference.id.toStdString());
        return false;
    };

    vector.removeIf(ask);
    silent.implementations.removeIf(ask);

    EXPECT_THAT(asked, ElementsAre("c", "b", "a", "c", "b", "a"));
}

TEST_F(VectorTest, reportsNothingWhenNoElementMatches)
{
    EXPECT_EQ(vector.removeIf([](const Reference &) { return false; }), 0);

    EXPECT_THAT(owner.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(VectorTest, letsTheErrorOfAListenerReachWhoRemoved)
{
    class RefusingListener : public ChangeListener
    {
        void objectChanged(SerializableData & /*object*/) override
        {
            throw Exception::RuntimeErrorException("not stored");
        }
    } refusing;
    Owner silent{Base::Options()};
    fill(silent.implementations, {"a", "b"});
    silent.setChangeListener(&refusing);
    owner.setChangeListener(&refusing);
    const auto isB = [](const Reference &reference) {
        return reference.id == "b";
    };

    EXPECT_THROW(silent.implementations.removeIf(isB), Exception::RuntimeErrorException);
    EXPECT_THROW(vector.removeIf(isB), Exception::RuntimeErrorException);
}

TEST_F(VectorTest, keepsWhatAPredicateLeftWhenItThrows)
{
    Owner silent{Base::Options()};
    fill(silent.implementations, {"a", "b", "c", "d"});
    const auto throwAtB = [](const Reference &reference) {
        if (reference.id == "b")
            throw Exception::RuntimeErrorException("b");
        return reference.id == "c";
    };

    EXPECT_THROW(silent.implementations.removeIf(throwAtB), Exception::RuntimeErrorException);
    EXPECT_THROW(vector.removeIf(throwAtB), Exception::RuntimeErrorException);

    EXPECT_THAT(idsOf(silent.implementations), ElementsAre("a", "b", "d"));
    EXPECT_THAT(idsOf(vector), ElementsAre("a", "b"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST(VectorPropertyTest, removesTheSameWithAndWithoutEvents)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        Owner loud(sNotify);
        Owner silent{Base::Options()};
        const auto size = random() % 20;
        for (unsigned int i = 0; i < size; ++i) {
            const Reference reference{QByteArray::number(random() % 4)};
            loud.implementations.append(reference);
            silent.implementations.append(reference);
        }
        const QByteArray unwanted = QByteArray::number(random() % 4);
        const auto matches = [&](const Reference &reference) {
            return reference.id == unwanted;
        };

        const qsizetype removed = loud.implementations.removeIf(matches);

        EXPECT_EQ(silent.implementations.removeIf(matches), removed);
        EXPECT_TRUE(loud.implementations.isEqual(silent.implementations));
        EXPECT_EQ(loud.implementations.size(), qsizetype(size) - removed);
        EXPECT_FALSE(loud.implementations.contains(Reference{unwanted}));
    }
}

TEST_F(VectorTest, removesOneElementWithItsEvents)
{
    vector.removeAt(1);

    EXPECT_THAT(idsOf(vector), ElementsAre("a", "c"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations 1", "after implementations 1"));
}

TEST_F(VectorTest, clearsAsOneChangeOfTheWholeField)
{
    vector.clear();

    EXPECT_TRUE(vector.empty());
    EXPECT_THAT(owner.heard, ElementsAre("before implementations", "after implementations"));
    EXPECT_EQ(owner.events[0].index, -1);
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(VectorTest, clearsSilentlyWhenItIsEmpty)
{
    vector.clear();
    owner.takeHeard();
    listener.changed.clear();

    vector.clear();
    vector.resetToDefault();

    EXPECT_THAT(owner.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(VectorTest, assignsAsOneChangeUnlessTheElementsAreEqual)
{
    vector.assign({Reference{"x"}});
    EXPECT_THAT(owner.takeHeard(), ElementsAre("before implementations", "after implementations"));

    vector.assign({Reference{"x"}});
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST_F(VectorTest, assignsEqualElementsWithBothEventsWhenAskedTo)
{
    Owner always(sNotify | Base::NotifyEqualAssignments);
    fill(always.implementations, {"x"});
    always.takeHeard();
    always.setChangeListener(&listener);

    always.implementations.assign({Reference{"x"}});

    EXPECT_THAT(always.heard, ElementsAre("before implementations", "after implementations"));
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(VectorTest, copiesAsOneChangeUnlessTheElementsAreEqual)
{
    Owner target(sNotify | Base::NotifyEqualAssignments);

    target.implementations.copyFrom(vector);
    EXPECT_THAT(idsOf(target.implementations), ElementsAre("a", "b", "c"));
    EXPECT_THAT(target.takeHeard(), ElementsAre("before implementations", "after implementations"));

    target.implementations.copyFrom(vector);
    EXPECT_THAT(target.heard, IsEmpty());
}

TEST_F(VectorTest, isEqualOnlyWithTheSameElementsInTheSameOrder)
{
    Owner other(sNotify);
    fill(other.implementations, {"a", "b"});
    EXPECT_FALSE(vector.isEqual(other.implementations));

    other.implementations.append(Reference{"c"});
    EXPECT_TRUE(vector.isEqual(other.implementations));

    other.implementations.assign({Reference{"a"}, Reference{"c"}, Reference{"b"}});
    EXPECT_FALSE(vector.isEqual(other.implementations));
    EXPECT_FALSE(vector.isEqual(other.count));
}

TEST_F(VectorTest, writesAnArrayOfItsNameWithOneItemForEachElement)
{
    const Serialization::Document document;
    Serialization::Node root = document.root();

    vector.serialize(root);

    const Serialization::ArrayNode array = root.findArray("implementations", "FieldArray");
    ASSERT_FALSE(array.isNull());
    std::vector<std::string> items;
    for (const Serialization::Node item : array)
        items.push_back(item.toBytes().toStdString());
    EXPECT_THAT(items, ElementsAre("a", "b", "c"));
}

TEST_F(VectorTest, replacesItsContentOnReading)
{
    const Serialization::Document document;
    Serialization::ArrayNode array = document.root().addArray("implementations", "FieldArray");
    array.append().setValue(QByteArray("x"));

    vector.deserialize(document.root());

    EXPECT_THAT(idsOf(vector), ElementsAre("x"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations", "after implementations"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(VectorTest, isEmptiedWithBothEventsWhenItsArrayIsAbsent)
{
    const Serialization::Document document;

    vector.deserialize(document.root());

    EXPECT_TRUE(vector.empty());
    EXPECT_THAT(owner.heard, ElementsAre("before implementations", "after implementations"));
}

TEST_F(VectorTest, doesNotReadAnArrayOfAnotherItemName)
{
    const Serialization::Document document;
    document.root().addArray("implementations", "FieldHashMap").append().setValue(QByteArray("x"));

    vector.deserialize(document.root());

    EXPECT_TRUE(vector.empty());
}

TEST_F(VectorTest, addsItsNameToTheTraceOfAReadThatFailsAndSendsNoSecondEvent)
{
    const TestSupport::RecordedLog log;
    const Serialization::Document document;
    Serialization::ArrayNode array = document.root().addArray("implementations", "FieldArray");
    array.append().setValue(QByteArray("x"));
    array.append().setValue("text, not bytes");

    try {
        vector.deserialize(document.root());
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_THAT(error.trace(), ElementsAre("implementations"));
    }
    EXPECT_THAT(idsOf(vector), ElementsAre("a", "b", "c"));
    EXPECT_THAT(owner.heard, ElementsAre("before implementations"));
    EXPECT_THAT(listener.changed, IsEmpty());
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(VectorTest, givesItsElementsAsVariants)
{
    const QVariantList list = vector.toVariantList();

    ASSERT_EQ(list.size(), 3);
    EXPECT_EQ(list[2].value<Reference>(), Reference{"c"});
}

TEST_F(ReadOnlyVectorTest, refusesEveryMutationEvenOneThatWouldChangeNothing)
{
    const auto never = [](const Reference &) {
        return false;
    };
    Owner empty(sNotify);

    EXPECT_THROW(vector.append(Reference{"x"}), Exception::ReadOnlyException);
    EXPECT_THROW(vector.insert(9, Reference{"x"}), Exception::ReadOnlyException);
    EXPECT_THROW(vector.removeAt(9), Exception::ReadOnlyException);
    EXPECT_THROW(vector.removeIf(never), Exception::ReadOnlyException);
    EXPECT_THROW(vector.assign({}), Exception::ReadOnlyException);
    EXPECT_THROW(vector.clear(), Exception::ReadOnlyException);
    EXPECT_THROW(vector.resetToDefault(), Exception::ReadOnlyException);
    EXPECT_THROW(vector.copyFrom(empty.implementations), Exception::ReadOnlyException);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST_F(ReadOnlyVectorTest, canBeRead)
{
    const Serialization::Document document;
    document.root().addArray("implementations", "FieldArray").append().setValue(QByteArray("x"));

    vector.deserialize(document.root());

    EXPECT_THAT(idsOf(vector), ElementsAre("x"));
}

TEST(VectorSilenceTest, sendsNothingWithoutTheNotifyOption)
{
    Owner owner{Base::Options()};
    const Serialization::Document document;

    fill(owner.implementations, {"a", "b"});
    owner.implementations.removeAt(0);
    owner.implementations.deserialize(document.root());

    EXPECT_THAT(owner.heard, IsEmpty());
}

} // namespace Tesk::Data
