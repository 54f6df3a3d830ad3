#include "StandIns.h"

#include <data/ClassRegistry.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Exception.h>
#include <vantbase/Ownership.h>

#include <QPointer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <thread>

namespace Tesk::Data {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Base = SerializableFieldBase;

/// Decodes a document that holds an Owner, and counts how often.
class DocumentSource : public BodySource
{
public:
    explicit DocumentSource(const Owner &content)
    {
        Serialization::Node root = document.root();
        serializeToNode(root, content);
    }

    void decode(SerializableData &object) override
    {
        ++decodes;
        if (duringDecode)
            duringDecode(object);
        if (fails)
            throw Exception::Data::SerializationException("damaged");
        deserializeFromNode(document.root(), object);
    }

    Serialization::Document document;
    std::atomic<int> decodes = 0;
    bool fails = false;
    std::function<void(SerializableData &)> duringDecode;
};

std::unique_ptr<Owner> makeContent()
{
    registerStandIns();
    auto content = std::make_unique<Owner>();
    content->count.set(7);
    content->types.insert(QStringLiteral("t"), makeRecord("id"));
    content->ioDesc.set(std::make_shared<Description>());
    content->ioDesc.get()->parameters.append(makeParameter(QStringLiteral("radius"), 5));
    return content;
}

class ShellTest : public testing::Test
{
protected:
    ShellTest() { shell.setBodySource(&source); }
    ~ShellTest() override { TestSupport::drainDeferredDeletes(); }

    DocumentSource source{*makeContent()};
    CountingListener listener;
    Owner shell{Base::Options(Base::NotifyChanges)};
};

} // namespace

TEST(SerializableDataTest, listsItsFieldsInTheOrderOfRegistration)
{
    Owner owner;

    EXPECT_EQ(owner.getFieldNames(),
              (QStringList{QStringLiteral("types"), QStringLiteral("numbers"),
                           QStringLiteral("ioDesc"), QStringLiteral("reference"),
                           QStringLiteral("count"), QStringLiteral("implementations")}));
    EXPECT_EQ(owner.fields().size(), 6);
    EXPECT_EQ(*owner.fields().begin(), &owner.types);
}

TEST(SerializableDataTest, findsAFieldByItsName)
{
    Owner owner;

    EXPECT_EQ(owner.getField(QStringLiteral("count")), &owner.count);
    EXPECT_EQ(owner.getField(QStringLiteral("Count")), nullptr);
}

TEST(SerializableDataTest, hasNoFieldsOfItsOwn)
{
    const SerializableData data;

    EXPECT_TRUE(data.fields().empty());
    EXPECT_THAT(data.getFieldNames(), IsEmpty());
    EXPECT_FALSE(data.isShell());
}

TEST(SerializableDataTest, takesAParent)
{
    auto parent = std::make_unique<SerializableData>();
    const QPointer<SerializableData> child = new Record(parent.get());
    EXPECT_EQ(child->parent(), parent.get());

    parent.reset();
    EXPECT_FALSE(child);
}

TEST(SerializableDataTest, passesEventsToModelHasChanged)
{
    Owner owner;
    FieldEvent event;
    event.fieldName = QStringLiteral("any");

    owner.triggerDataChanged(event);

    EXPECT_THAT(owner.heard, ElementsAre("before any"));
}

// --- shells

TEST_F(ShellTest, isDecodedOnTheFirstTouchAndOnlyThen)
{
    EXPECT_TRUE(shell.isShell());
    EXPECT_EQ(shell.getFieldNames().size(), 6);
    EXPECT_EQ(source.decodes, 0);

    EXPECT_EQ(shell.count.get(), 7);
    EXPECT_EQ(shell.types.size(), 1);

    EXPECT_FALSE(shell.isShell());
    EXPECT_EQ(source.decodes, 1);
    EXPECT_EQ(shell.timesLoaded, 1);
}

TEST_F(ShellTest, isDecodedByEveryKindOfAccess)
{
    const auto expectDecoded = [&](const char *what, const std::function<void(Owner &)> &access) {
        SCOPED_TRACE(what);
        Owner other{Base::Options(Base::NotifyChanges)};
        other.setBodySource(&source);
        access(other);
        EXPECT_FALSE(other.isShell());
    };
    const Serialization::Document document;
    Serialization::Node node = document.root();
    const Owner plain;

    expectDecoded("write", [](Owner &o) { o.count.set(1); });
    expectDecoded("reset", [](Owner &o) { o.count.resetToDefault(); });
    expectDecoded("copy to", [&](Owner &o) { o.count.copyFrom(plain.count); });
    expectDecoded("copy from", [](Owner &o) { Owner().count.copyFrom(o.count); });
    expectDecoded("compare", [&](Owner &o) { std::ignore = o.count.isEqual(plain.count); });
    expectDecoded("compared", [&](Owner &o) { std::ignore = plain.count.isEqual(o.count); });
    expectDecoded("write node", [&](Owner &o) { o.count.serialize(node); });
    expectDecoded("variant", [](Owner &o) { std::ignore = o.count.toVariant(); });
    expectDecoded("vector read", [](Owner &o) { std::ignore = o.implementations.size(); });
    expectDecoded("vector visit", [](Owner &o) { std::ignore = o.implementations.begin(); });
    expectDecoded("vector write", [](Owner &o) { o.implementations.append({}); });
    expectDecoded("vector compare", [&](Owner &o) {
        std::ignore = plain.implementations.isEqual(o.implementations);
    });
    expectDecoded("vector variants",
                  [](Owner &o) { std::ignore = o.implementations.toVariantList(); });
    expectDecoded("map read", [](Owner &o) { std::ignore = o.numbers.contains({}); });
    expectDecoded("map visit", [](Owner &o) { std::ignore = o.numbers.begin(); });
    expectDecoded("map write", [](Owner &o) { o.numbers.insert({}, 1); });
    expectDecoded("map remove", [](Owner &o) { o.numbers.remove({}); });
    expectDecoded("map clear", [](Owner &o) { o.numbers.clear(); });
    expectDecoded("map variants", [](Owner &o) { std::ignore = o.numbers.toVariantLists(); });
    expectDecoded("serialize", [](Owner &o) { std::ignore = o.hash(); });
    expectDecoded("clone", [](Owner &o) { std::ignore = o.clone(); });
}

TEST_F(ShellTest, decodesSilently)
{
    shell.setChangeListener(&listener);
    shell.onLoaded = [&] {
        shell.count.set(8);
        shell.types.begin()->second->paramUidCorrespondance.insert(5, 12);
    };

    EXPECT_EQ(shell.count.get(), 8);

    EXPECT_THAT(shell.heard, IsEmpty());
    EXPECT_THAT(shell.types.begin()->second->heard, IsEmpty());
    EXPECT_THAT(shell.ioDesc.get()->parameters.at(0)->heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(ShellTest, sendsEventsAndNoticesAgainOnceDecoded)
{
    shell.setChangeListener(&listener);

    shell.count.set(8);

    EXPECT_THAT(shell.heard, ElementsAre("before count", "after count"));
    EXPECT_THAT(listener.changed, ElementsAre(&shell));
}

TEST_F(ShellTest, suspendsTheReadOnlyOptionWhileItDecodes)
{
    const TestSupport::RecordedLog log;
    Owner fixed{Base::Options(Base::ReadOnly)};
    fixed.onLoaded = [&] {
        fixed.count.set(8);
    };
    fixed.setBodySource(&source);

    EXPECT_EQ(fixed.count.get(), 8);
    EXPECT_THROW(fixed.count.set(9), Exception::ReadOnlyException);
}

TEST_F(ShellTest, showsTheDecodingThreadTheObjectAsFilledSoFar)
{
    std::vector<int> seen;
    source.duringDecode = [&](SerializableData &object) {
        seen.push_back(static_cast<Owner &>(object).count.get());
        EXPECT_TRUE(object.isShell());
    };
    shell.onLoaded = [&] {
        seen.push_back(shell.count.get());
    };

    shell.touch();

    EXPECT_THAT(seen, ElementsAre(0, 7));
    EXPECT_EQ(source.decodes, 1);
}

TEST_F(ShellTest, staysAShellWithDefaultContentWhenItsBodyCannotBeDecoded)
{
    shell.onLoaded = [&] {
        throw Exception::Data::SerializationException("damaged");
    };
    shell.setChangeListener(&listener);

    EXPECT_THROW(shell.count.get(), Exception::Data::SerializationException);
    EXPECT_THROW(shell.count.set(1), Exception::Data::SerializationException);
    EXPECT_TRUE(shell.isShell());
    EXPECT_EQ(source.decodes, 2);
    EXPECT_THAT(shell.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());

    shell.setBodySource(nullptr);
    EXPECT_EQ(shell.count.get(), 0);
    EXPECT_TRUE(shell.types.empty());
}

TEST_F(ShellTest, isDecodedByALaterTouchWhenTheSourceHasRecovered)
{
    source.fails = true;
    EXPECT_THROW(shell.touch(), Exception::Data::SerializationException);

    source.fails = false;
    EXPECT_EQ(shell.count.get(), 7);
    EXPECT_EQ(shell.timesLoaded, 1);
}

TEST_F(ShellTest, becomesAShellAgainSilentlyAndReadsAnew)
{
    shell.count.set(9);
    shell.implementations.append(Reference{"unsaved"});
    shell.takeHeard();
    shell.setChangeListener(&listener);

    shell.becomeShell(&source);

    EXPECT_TRUE(shell.isShell());
    EXPECT_EQ(shell.count.get(), 7);
    EXPECT_TRUE(shell.implementations.empty());
    EXPECT_THAT(shell.heard, IsEmpty());
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST_F(ShellTest, isDecodedOnceWhenManyThreadsTouchItAtOnce)
{
    constexpr int sThreads = 4;
    for (int round = 0; round < 50; ++round) {
        Owner other;
        DocumentSource ownSource(*makeContent());
        other.setBodySource(&ownSource);
        std::latch start(sThreads);
        std::atomic<int> sum = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < sThreads; ++i) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                sum += other.count.get();
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(sum, 7 * sThreads);
        EXPECT_EQ(ownSource.decodes, 1);
    }
}

TEST_F(ShellTest, doesNotDeadlockWhenTwoShellsTouchEachOtherFromTwoThreads)
{
    for (int round = 0; round < 50; ++round) {
        Owner a;
        Owner b;
        a.setBodySource(&source);
        b.setBodySource(&source);
        a.onLoaded = [&] {
            b.touch();
        };
        b.onLoaded = [&] {
            a.touch();
        };
        std::latch start(2);
        std::thread other([&] {
            start.arrive_and_wait();
            EXPECT_EQ(b.count.get(), 7);
        });
        start.arrive_and_wait();
        EXPECT_EQ(a.count.get(), 7);
        other.join();
        EXPECT_EQ(a.timesLoaded, 1);
        EXPECT_EQ(b.timesLoaded, 1);
    }
}

TEST_F(ShellTest, movesWhatADecodeOnAnotherThreadMakesToItsOwnThread)
{
    shell.onLoaded = [&] {
        shell.types.insert(QStringLiteral("made"), makeRecord("made"));
        shell.ioDesc.set(std::dynamic_pointer_cast<Description>(shell.ioDesc.get()->clone()));
    };

    std::thread([&] { shell.touch(); }).join();

    for (const auto &entry : shell.types)
        EXPECT_EQ(entry.second->thread(), shell.thread());
    EXPECT_EQ(shell.types.size(), 2);
    EXPECT_EQ(shell.ioDesc.get()->thread(), shell.thread());
    EXPECT_EQ(shell.ioDesc.get()->parameters.at(0)->thread(), shell.thread());
}

TEST_F(ShellTest, letsAnotherThreadWaitForTheWholeContent)
{
    std::latch decoding(1);
    std::latch mayGoOn(1);
    shell.onLoaded = [&] {
        decoding.count_down();
        mayGoOn.wait();
        shell.count.set(8);
    };
    std::thread decoder([&] { shell.touch(); });
    decoding.wait();
    std::future<int> other = std::async(std::launch::async, [&] { return shell.count.get(); });
    EXPECT_TRUE(shell.isShell());

    mayGoOn.count_down();

    EXPECT_EQ(other.get(), 8);
    decoder.join();
}

// --- clones

namespace {

class NoObject : public SharedObjectBase
{
};

/// Owns a record that cannot be created by name.
class OwnsOne : public Listening
{
public:
    OwnsOne()
        : owned(*this, QStringLiteral("owned"), {})
    {
        registerField(owned);
    }

    HashMap<int, std::unique_ptr<NeedsArgument, QObjectDeleteLater>> owned;
};

} // namespace

class CloneTest : public testing::Test
{
protected:
    ~CloneTest() override { TestSupport::drainDeferredDeletes(); }
};

TEST_F(CloneTest, isADeepCopyOfTheSameClassWithoutParent)
{
    const std::unique_ptr<Owner> original = makeContent();
    Owner parent;
    original->setParent(&parent);
    const Owner &constant = *original;

    const auto copy = std::dynamic_pointer_cast<Owner>(constant.clone());

    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->parent(), nullptr);
    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(copy.get()));
    EXPECT_EQ(copy->count.get(), 7);
    EXPECT_NE(copy->types.begin()->second, original->types.begin()->second);
    EXPECT_NE(copy->ioDesc.get(), original->ioDesc.get());
    const auto parameter = copy->ioDesc.get()->parameters.at(0);
    EXPECT_NE(parameter, original->ioDesc.get()->parameters.at(0));
    EXPECT_EQ(parameter->identifier.get(), QStringLiteral("radius"));
    EXPECT_EQ(parameter->uid.get(), 5U);
    original->setParent(nullptr);
}

TEST_F(CloneTest, hearsOfNothingButTheEndOfCloning)
{
    const std::unique_ptr<Owner> original = makeContent();

    const auto copy = std::dynamic_pointer_cast<Owner>(original->clone());

    ASSERT_TRUE(copy);
    EXPECT_THAT(copy->heard, IsEmpty());
    EXPECT_EQ(copy->timesCloned, 1);
    EXPECT_EQ(copy->timesLoaded, 0);
    EXPECT_EQ(copy->types.begin()->second->timesCloned, 1);
    EXPECT_EQ(original->timesCloned, 0);
}

TEST_F(CloneTest, keepsSharedWhatIsSharedInside)
{
    Description description;
    const auto parameter = makeParameter(QStringLiteral("radius"), 5);
    description.parameters.append(parameter);
    description.parameters.append(parameter);
    description.first.set(parameter);

    const auto copy = std::dynamic_pointer_cast<Description>(description.clone());

    ASSERT_TRUE(copy);
    EXPECT_NE(copy->first.get(), parameter);
    EXPECT_EQ(copy->parameters.at(0), copy->first.get());
    EXPECT_EQ(copy->parameters.at(1), copy->first.get());
}

TEST_F(CloneTest, copiesWhatIsNeverWritten)
{
    Record record;
    record.implementationRef.set(Reference{"id"});

    const auto copy = std::dynamic_pointer_cast<Record>(record.clone());

    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->implementationRef.get().id, QByteArray("id"));
}

TEST_F(CloneTest, diesByDeferredDeletion)
{
    Record record;
    const QPointer<SerializableData> copy = record.clone().get();

    EXPECT_TRUE(copy);
    TestSupport::drainDeferredDeletes();
    EXPECT_FALSE(copy);
}

TEST_F(CloneTest, isMadeByTheFactoryWhereOnlyThatCan)
{
    const int id = qRegisterMetaType<FactoryMade>("Tesk::Data::FactoryMade");
    ClassRegistry::registerFactory(id, &FactoryMade::make);
    const std::shared_ptr<FactoryMade> original = FactoryMade::make();
    original->number.set(7);

    const auto copy = std::dynamic_pointer_cast<FactoryMade>(original->clone());

    ASSERT_TRUE(copy);
    EXPECT_NE(copy, original);
    EXPECT_EQ(copy->number.get(), 7);
    EXPECT_EQ(copy->sharedFromThis(), copy);
    ClassRegistry::registerFactory(id, {});
}

TEST_F(CloneTest, raisesWhereTheFactoryMakesNoSerializableObject)
{
    const TestSupport::RecordedLog log;
    const int id = qRegisterMetaType<FactoryMade>("Tesk::Data::FactoryMade");
    ClassRegistry::registerFactory(id, [] { return std::make_shared<NoObject>(); });

    try {
        FactoryMade::make()->clone();
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(), "Cannot clone an object of class \"Tesk::Data::FactoryMade\": "
                                   "its factory makes no serializable objects");
    }
    ClassRegistry::registerFactory(id, {});
}

TEST_F(CloneTest, raisesForAnOwnedRecordThatCannotBeCreated)
{
    const TestSupport::RecordedLog log;
    OwnsOne original;
    original.owned.insert(1,
                          std::unique_ptr<NeedsArgument, QObjectDeleteLater>(new NeedsArgument(1)));
    OwnsOne copy;

    try {
        copy.owned.copyFrom(original.owned);
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(), "Cannot clone a record of class \"Tesk::Data::NeedsArgument\": "
                                   "it has no default constructor");
    }
    EXPECT_TRUE(copy.owned.empty());
}

TEST_F(CloneTest, raisesForAClassThatCannotBeCreated)
{
    const TestSupport::RecordedLog log;
    const NeedsArgument original(1);

    try {
        original.clone();
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(), "Cannot create an object of class "
                                   "\"Tesk::Data::NeedsArgument\": it has no factory");
    }
}

} // namespace Tesk::Data
