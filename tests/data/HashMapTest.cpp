#include "StandIns.h"

#include <data/Document.h>
#include <data/ScopedOptionInhibitor.h>

#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Exception.h>
#include <vantbase/Ownership.h>

#include <QPointer>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace Tesk::Data {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

using Base = SerializableFieldBase;
using Serialization::ArrayNode;
using Serialization::Document;
using Serialization::Node;

std::vector<std::pair<std::string, unsigned int>>
entriesOf(const HashMap<QString, unsigned int> &map)
{
    std::vector<std::pair<std::string, unsigned int>> entries;
    for (const auto &[key, value] : map)
        entries.emplace_back(key.toStdString(), value);
    return entries;
}

std::vector<std::string> storedKeys(const Node &parent, const char *name)
{
    std::vector<std::string> keys;
    for (const Node item : parent.findArray(name, "FieldHashMap"))
        keys.push_back(item.findObject("first").toText().toStdString());
    return keys;
}

Node addEntry(ArrayNode &array, const char *key)
{
    const Node item = array.append();
    Node(item).addObject("first").setValue(key);
    return Node(item).addObject("second");
}

class HashMapTest : public testing::Test
{
protected:
    HashMapTest()
    {
        registerStandIns();
        numbers.insert(QStringLiteral("a"), 1);
        numbers.insert(QStringLiteral("b"), 2);
        owner.takeHeard();
        owner.setChangeListener(&listener);
    }
    ~HashMapTest() override { TestSupport::drainDeferredDeletes(); }

    CountingListener listener;
    Owner owner{sNotify};
    HashMap<QString, unsigned int> &numbers = owner.numbers;
    HashMap<QString, RecordPointer> &types = owner.types;
};

} // namespace

TEST_F(HashMapTest, insertsWithEventsThatCarryTheKey)
{
    EXPECT_TRUE(numbers.insert(QStringLiteral("c"), 3));

    EXPECT_THAT(entriesOf(numbers), ElementsAre(Pair("a", 1), Pair("b", 2), Pair("c", 3)));
    EXPECT_THAT(owner.heard, ElementsAre("before numbers [c]", "after numbers [c]"));
    EXPECT_EQ(owner.events[0].index, -1);
    EXPECT_EQ(owner.events[0].key, QVariant(QStringLiteral("c")));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(HashMapTest, refusesToInsertAKeyThatIsThereAndKeepsItsValue)
{
    EXPECT_FALSE(numbers.insert(QStringLiteral("a"), 9));

    EXPECT_EQ(numbers.find(QStringLiteral("a"))->second, 1U);
    EXPECT_THAT(owner.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(HashMapTest, overwritesInPlaceWithEventsThatCarryTheKey)
{
    numbers.overwrite(QStringLiteral("a"), 9);

    EXPECT_THAT(entriesOf(numbers), ElementsAre(Pair("a", 9), Pair("b", 2)));
    EXPECT_THAT(owner.heard, ElementsAre("before numbers [a]", "after numbers [a]"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(HashMapTest, leavesAnEqualValueAlone)
{
    numbers.overwrite(QStringLiteral("a"), 1);

    EXPECT_THAT(owner.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(HashMapTest, sendsBothEventsForAnEqualOverwriteWhenAskedTo)
{
    Owner always(sNotify | Base::NotifyEqualAssignments);
    always.numbers.insert(QStringLiteral("a"), 1);
    always.takeHeard();
    always.setChangeListener(&listener);

    always.numbers.overwrite(QStringLiteral("a"), 1);

    EXPECT_THAT(always.heard, ElementsAre("before numbers [a]", "after numbers [a]"));
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(HashMapTest, copiesEqualEntriesSilentlyEvenWhenEqualAssignmentsCount)
{
    Owner target(sNotify | Base::NotifyEqualAssignments);
    target.numbers.copyFrom(numbers);
    EXPECT_THAT(target.takeHeard(), ElementsAre("before numbers", "after numbers"));
    EXPECT_TRUE(target.numbers.isEqual(numbers));

    target.numbers.copyFrom(numbers);

    EXPECT_THAT(target.heard, IsEmpty());
}

TEST_F(HashMapTest, isSilentWithoutTheNotifyOption)
{
    Owner silent{Base::Options()};
    const Document document;

    silent.numbers.insert(QStringLiteral("a"), 1);
    silent.numbers.overwrite(QStringLiteral("a"), 2);
    silent.numbers.remove(QStringLiteral("a"));
    silent.numbers.copyFrom(numbers);
    silent.numbers.clear();
    silent.numbers.deserialize(document.root());

    EXPECT_THAT(silent.heard, IsEmpty());
}

TEST_F(HashMapTest, canBeReadWhenReadOnly)
{
    Owner fixed(Base::ReadOnly | Base::NotifyChanges);
    const Document document;
    Node root = document.root();
    numbers.serialize(root);

    fixed.numbers.deserialize(root);

    EXPECT_TRUE(fixed.numbers.isEqual(numbers));
    EXPECT_THAT(fixed.heard, ElementsAre("before numbers", "after numbers"));
}

TEST_F(HashMapTest, addsAnEntryWhenOverwritingAnAbsentKey)
{
    numbers.overwrite(QStringLiteral("c"), 0);

    EXPECT_TRUE(numbers.contains(QStringLiteral("c")));
    EXPECT_THAT(owner.heard, ElementsAre("before numbers [c]", "after numbers [c]"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(HashMapTest, removesOneEntryWithEventsThatCarryTheKey)
{
    EXPECT_TRUE(numbers.remove(QStringLiteral("a")));

    EXPECT_THAT(entriesOf(numbers), ElementsAre(Pair("b", 2)));
    EXPECT_THAT(owner.heard, ElementsAre("before numbers [a]", "after numbers [a]"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(HashMapTest, doesNothingWhenRemovingAnAbsentKey)
{
    EXPECT_FALSE(numbers.remove(QStringLiteral("x")));

    EXPECT_THAT(owner.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(HashMapTest, removesAnEntryByTheKeyInTheMapItself)
{
    EXPECT_TRUE(numbers.remove(numbers.begin()->first));

    EXPECT_THAT(entriesOf(numbers), ElementsAre(Pair("b", 2)));
    EXPECT_THAT(owner.heard, ElementsAre("before numbers [a]", "after numbers [a]"));
}

TEST_F(HashMapTest, clearsAsOneChangeOfTheWholeField)
{
    numbers.clear();

    EXPECT_TRUE(numbers.empty());
    EXPECT_THAT(owner.heard, ElementsAre("before numbers", "after numbers"));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST_F(HashMapTest, clearsSilentlyWhenItIsEmpty)
{
    types.clear();
    types.resetToDefault();

    EXPECT_THAT(owner.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(HashMapTest, doesNotInsertOnALookUpOrAVisit)
{
    EXPECT_EQ(types.find(QStringLiteral("x")), types.end());
    EXPECT_FALSE(types.contains(QStringLiteral("x")));

    EXPECT_EQ(types.size(), 0);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST_F(HashMapTest, refusesEveryMutationWhenReadOnlyEvenOneThatWouldChangeNothing)
{
    const TestSupport::RecordedLog log;
    Owner fixed(Base::ReadOnly | Base::NotifyChanges);

    EXPECT_THROW(fixed.numbers.insert(QStringLiteral("a"), 1), Exception::ReadOnlyException);
    EXPECT_THROW(fixed.numbers.overwrite(QStringLiteral("a"), 1), Exception::ReadOnlyException);
    EXPECT_THROW(fixed.numbers.remove(QStringLiteral("a")), Exception::ReadOnlyException);
    EXPECT_THROW(fixed.numbers.clear(), Exception::ReadOnlyException);
    EXPECT_THROW(fixed.numbers.resetToDefault(), Exception::ReadOnlyException);
    EXPECT_THROW(fixed.numbers.copyFrom(Owner(sNotify).numbers), Exception::ReadOnlyException);
    EXPECT_TRUE(fixed.numbers.empty());
    EXPECT_THAT(fixed.heard, IsEmpty());
    EXPECT_EQ(log.messages().size(), 6U);
}

TEST_F(HashMapTest, visitsNumbersInNumericalOrder)
{
    Record record;
    for (const unsigned int uid : {100U, 20U, 3U})
        record.paramUidCorrespondance.insert(uid, uid);

    std::vector<unsigned int> uids;
    for (const auto &entry : record.paramUidCorrespondance)
        uids.push_back(entry.first);

    EXPECT_THAT(uids, ElementsAre(3U, 20U, 100U));
}

TEST_F(HashMapTest, writesTextsInTheOrderOfTheirCodeUnits)
{
    Owner other(sNotify);
    for (const char *key : {"b", "B", "a"})
        other.numbers.insert(QString::fromLatin1(key), 0);
    const Document document;
    Node root = document.root();

    other.numbers.serialize(root);

    EXPECT_THAT(storedKeys(root, "numbers"), ElementsAre("B", "a", "b"));
}

TEST_F(HashMapTest, ordersByCodeUnitsWhereCodePointsWouldDiffer)
{
    const QString high = QStringLiteral("\uFF21");           // one unit, FF21
    const QString beyond = QString::fromUcs4(U"\U00010400"); // two units, D801 first
    Owner other(sNotify);
    other.numbers.insert(high, 1);
    other.numbers.insert(beyond, 2);

    EXPECT_EQ(other.numbers.begin()->first, beyond);
}

TEST_F(HashMapTest, writesFirstAndSecondOfEachEntry)
{
    const Document document;
    Node root = document.root();

    numbers.serialize(root);

    const ArrayNode array = root.findArray("numbers", "FieldHashMap");
    ASSERT_EQ(array.size(), 2);
    const Node item = *array.begin();
    EXPECT_EQ(item.children().size(), 2);
    EXPECT_EQ(item.findObject("first").toText(), QStringLiteral("a"));
    EXPECT_EQ(item.findObject("second").toUInt(), 1U);
}

TEST_F(HashMapTest, isEmptiedWithBothEventsWhenItsArrayIsAbsent)
{
    const Document document;

    numbers.deserialize(document.root());

    EXPECT_TRUE(numbers.empty());
    EXPECT_THAT(owner.heard, ElementsAre("before numbers", "after numbers"));
}

TEST_F(HashMapTest, keepsTheLastOfTwoStoredEntriesWithOneKey)
{
    const Document document;
    ArrayNode array = document.root().addArray("numbers", "FieldHashMap");
    addEntry(array, "x").setValue(1);
    addEntry(array, "x").setValue(2);

    numbers.deserialize(document.root());

    EXPECT_THAT(entriesOf(numbers), ElementsAre(Pair("x", 2)));
}

TEST_F(HashMapTest, raisesForAMissingFirstAndNamesTheFieldAlone)
{
    const TestSupport::RecordedLog log;
    const Document document;
    document.root().addArray("numbers", "FieldHashMap").append().addObject("second").setValue(1);

    try {
        numbers.deserialize(document.root());
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::NotFoundException &error) {
        EXPECT_STREQ(error.what(), "Node not found: first");
        EXPECT_THAT(error.trace(), ElementsAre("numbers"));
    }
    EXPECT_THAT(owner.heard, ElementsAre("before numbers"));
    EXPECT_THAT(entriesOf(numbers), ElementsAre(Pair("a", 1), Pair("b", 2)));
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_THAT(log.messages()[0], TestSupport::isLogMessage(2, 2, "Node not found: first"));
    EXPECT_THAT(log.messages()[0].place,
                TestSupport::placeIs("Serialization.cpp",
                                     "Tesk::Data::Serialization::deserializeObjectFromSubnode()"));
}

TEST_F(HashMapTest, raisesForAMissingSecond)
{
    const TestSupport::RecordedLog log;
    const Document document;
    document.root().addArray("numbers", "FieldHashMap").append().addObject("first").setValue("x");

    try {
        numbers.deserialize(document.root());
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::NotFoundException &error) {
        EXPECT_STREQ(error.what(), "Node not found: second");
        EXPECT_THAT(error.trace(), ElementsAre("numbers"));
    }
}

TEST_F(HashMapTest, isEqualWithTheSameEntries)
{
    Owner other(sNotify);
    other.numbers.insert(QStringLiteral("b"), 2);
    EXPECT_FALSE(numbers.isEqual(other.numbers));

    other.numbers.insert(QStringLiteral("a"), 1);
    EXPECT_TRUE(numbers.isEqual(other.numbers));

    other.numbers.overwrite(QStringLiteral("a"), 3);
    EXPECT_FALSE(numbers.isEqual(other.numbers));
}

TEST_F(HashMapTest, givesKeysAndValuesAsVariants)
{
    types.insert(QStringLiteral("t"), makeRecord("id"));

    const HashMapBase::VariantLists plain = numbers.toVariantLists();
    const HashMapBase::VariantLists records = types.toVariantLists();

    EXPECT_EQ(plain.keys, (QVariantList{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_EQ(plain.values, (QVariantList{1U, 2U}));
    ASSERT_EQ(records.values.size(), 1);
    EXPECT_EQ(records.values[0].typeId(), qMetaTypeId<Record *>());
    EXPECT_EQ(records.values[0].value<Record *>(), types.begin()->second.get());
}

// --- owned records

TEST_F(HashMapTest, releasesARemovedReplacedOrClearedRecordByDeferredDeletion)
{
    for (const char *key : {"a", "b", "c"})
        types.insert(QString::fromLatin1(key), makeRecord(key));
    const QPointer<Record> removed = types.find(QStringLiteral("a"))->second.get();
    const QPointer<Record> replaced = types.find(QStringLiteral("b"))->second.get();
    const QPointer<Record> cleared = types.find(QStringLiteral("c"))->second.get();

    types.remove(QStringLiteral("a"));
    types.overwrite(QStringLiteral("b"), makeRecord("b2"));
    types.clear();

    EXPECT_TRUE(removed && replaced && cleared);
    TestSupport::drainDeferredDeletes();
    EXPECT_FALSE(removed || replaced || cleared);
}

TEST_F(HashMapTest, releasesItsRecordsByDeferredDeletionWhenItDies)
{
    QPointer<Record> record;
    {
        Owner shortLived(sNotify);
        shortLived.types.insert(QStringLiteral("a"), makeRecord("a"));
        record = shortLived.types.begin()->second.get();
    }

    EXPECT_TRUE(record);
    TestSupport::drainDeferredDeletes();
    EXPECT_FALSE(record);
}

TEST_F(HashMapTest, releasesTheEarlierRecordOfAStoredDuplicateByDeferredDeletion)
{
    const Document document;
    ArrayNode array = document.root().addArray("types", "FieldHashMap");
    for (const char *id : {"one", "two"}) {
        Node second = addEntry(array, "x");
        serializeToNode(second, makeRecord(id));
    }
    TestSupport::drainDeferredDeletes();

    types.deserialize(document.root());

    ASSERT_EQ(types.size(), 1);
    EXPECT_EQ(types.begin()->second->implementationRef.get().id, QByteArray("two"));
    EXPECT_EQ(TestSupport::drainDeferredDeletes(), 1);
}

TEST_F(HashMapTest, comparesRecordsAsPointers)
{
    types.insert(QStringLiteral("a"), makeRecord("same"));
    Owner other(sNotify);
    other.types.insert(QStringLiteral("a"), makeRecord("same"));

    EXPECT_FALSE(types.isEqual(other.types));
    EXPECT_TRUE(types.isEqual(types));
}

TEST_F(HashMapTest, clonesEachRecordOnACopyAndKeepsNull)
{
    types.insert(QStringLiteral("a"), makeRecord("id"));
    types.insert(QStringLiteral("null"), nullptr);
    Record &original = *types.begin()->second;
    original.paramUidCorrespondance.insert(5, 12);
    Owner other(sNotify);

    other.types.copyFrom(types);

    ASSERT_EQ(other.types.size(), 2);
    const Record &copy = *other.types.begin()->second;
    EXPECT_NE(&copy, &original);
    EXPECT_TRUE(copy.implementationRef.isEqual(original.implementationRef));
    EXPECT_TRUE(copy.paramUidCorrespondance.isEqual(original.paramUidCorrespondance));
    EXPECT_EQ(copy.parent(), nullptr);
    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(&copy));
    EXPECT_EQ(copy.timesCloned, 1);
    EXPECT_FALSE(other.types.find(QStringLiteral("null"))->second);
    EXPECT_THAT(other.heard, ElementsAre("before types", "after types"));
}

TEST_F(HashMapTest, reproducesRecordsAndNullsThroughItsNode)
{
    types.insert(QStringLiteral("a"), makeRecord("id"));
    types.begin()->second->paramUidCorrespondance.insert(5, 12);
    types.insert(QStringLiteral("null"), nullptr);
    const Document document;
    Node root = document.root();
    types.serialize(root);
    Owner other(sNotify);

    other.types.deserialize(root);

    ASSERT_EQ(other.types.size(), 2);
    const Record &read = *other.types.begin()->second;
    EXPECT_EQ(read.implementationRef.get().id, QByteArray("id"));
    EXPECT_EQ(read.paramUidCorrespondance.find(5)->second, 12U);
    EXPECT_EQ(read.parent(), nullptr);
    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(&read));
    EXPECT_EQ(read.timesLoaded, 1);
    EXPECT_TRUE(other.types.contains(QStringLiteral("null")));
    EXPECT_FALSE(other.types.find(QStringLiteral("null"))->second);
    EXPECT_THAT(other.heard, ElementsAre("before types", "after types"));
}

TEST_F(HashMapTest, storesANullRecordAsAnAttributeAndNothingElse)
{
    types.insert(QStringLiteral("null"), nullptr);
    const Document document;
    Node root = document.root();

    types.serialize(root);

    const Node second = (*root.findArray("types", "FieldHashMap").begin()).findObject("second");
    EXPECT_TRUE(second.attribute("nullptr", false));
    EXPECT_EQ(second.children().size(), 1);
    EXPECT_FALSE(second.hasClassInfo());
}

TEST_F(HashMapTest, passesTheChangesOfARecordToTheListenerOfItsOwner)
{
    types.insert(QStringLiteral("a"), makeRecord("a"));
    listener.changed.clear();

    types.begin()->second->implementationRef.set(Reference{"b"});
    types.begin()->second->paramUidCorrespondance.insert(1, 2);

    EXPECT_THAT(listener.changed, ElementsAre(&owner, &owner));
    EXPECT_THAT(owner.takeHeard(), ElementsAre("before types [a]", "after types [a]"));
}

TEST_F(HashMapTest, passesTheChangesOfReadAndCopiedRecordsToTheListener)
{
    types.insert(QStringLiteral("a"), makeRecord("a"));
    const Document document;
    Node root = document.root();
    types.serialize(root);
    Owner read(sNotify);
    Owner copied(sNotify);
    read.types.deserialize(root);
    copied.types.copyFrom(types);
    read.setChangeListener(&listener);
    copied.setChangeListener(&listener);
    listener.changed.clear();

    read.types.begin()->second->implementationRef.set(Reference{"b"});
    copied.types.begin()->second->implementationRef.set(Reference{"b"});

    EXPECT_THAT(listener.changed, ElementsAre(&read, &copied));
}

TEST_F(HashMapTest, forgetsARecordThatItHasReleased)
{
    types.insert(QStringLiteral("a"), makeRecord("a"));
    Record &record = *types.begin()->second;
    types.remove(QStringLiteral("a"));
    listener.changed.clear();

    record.implementationRef.set(Reference{"b"});

    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(HashMapTest, movesRecordsWithoutParentToTheThreadOfTheOwner)
{
    std::thread([&] {
        types.insert(QStringLiteral("a"), makeRecord("a"));
        types.insert(QStringLiteral("null"), nullptr);
        ASSERT_NE(types.begin()->second->thread(), owner.thread());

        types.adoptOwnerThread();
    }).join();

    EXPECT_EQ(types.begin()->second->thread(), owner.thread());
}

TEST_F(HashMapTest, leavesARecordWithAParentWhereItIs)
{
    std::thread([&] {
        auto parent = std::make_unique<SerializableData>();
        RecordPointer record = makeRecord("a");
        record->setParent(parent.get());
        types.insert(QStringLiteral("a"), std::move(record));

        // Qt would refuse to move it too, but not in silence.
        static int warnings = 0;
        const QtMessageHandler before = qInstallMessageHandler(
                [](QtMsgType, const QMessageLogContext &, const QString &) { ++warnings; });
        types.adoptOwnerThread();
        qInstallMessageHandler(before);

        EXPECT_EQ(warnings, 0);
        EXPECT_EQ(types.begin()->second->thread(), QThread::currentThread());
        types.begin()->second->setParent(nullptr);
        types.adoptOwnerThread();
    }).join();
    EXPECT_EQ(types.begin()->second->thread(), owner.thread());
}

} // namespace Tesk::Data
