#include "StandIns.h"

#include <data/Document.h>
#include <data/ScopedOptionInhibitor.h>

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tesk::Data {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Base = SerializableFieldBase;

const Base::Options sNone;
const Base::Options sNotifyAlways = Base::NotifyChanges | Base::NotifyEqualAssignments;
const Base::Options sReadOnly = Base::ReadOnly | Base::NotifyChanges;

Serialization::Document emptyDocument()
{
    return {};
}

enum class Color : quint8 { Red, Green };

} // namespace

TEST(FieldTest, sendsOneEventBeforeAndOneAfterASetThatChangesTheValue)
{
    Owner owner(sNotify);
    std::vector<int> seen;
    owner.onEvent = [&](const FieldEvent &) {
        seen.push_back(owner.count.get());
    };

    owner.count.set(7);

    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
    EXPECT_THAT(seen, ElementsAre(0, 7));
}

TEST(FieldTest, fillsTheEventWithKindPhaseIndexAndFlags)
{
    Owner owner(sNotify);

    owner.count.set(7);

    ASSERT_EQ(owner.events.size(), 2U);
    EXPECT_EQ(owner.events[0].fieldName, QStringLiteral("count"));
    EXPECT_EQ(owner.events[0].kind, 1);
    EXPECT_EQ(static_cast<int>(owner.events[0].phase), 0);
    EXPECT_EQ(static_cast<int>(owner.events[1].phase), 1);
    EXPECT_EQ(owner.events[0].index, -1);
    EXPECT_FALSE(owner.events[0].notPersisted);
    EXPECT_FALSE(owner.events[0].key.isValid());
}

TEST(FieldTest, copiesTheNotPersistedOptionIntoTheEvent)
{
    Owner owner(sNotify | Base::NotPersisted);

    owner.count.set(7);

    ASSERT_EQ(owner.events.size(), 2U);
    EXPECT_TRUE(owner.events[0].notPersisted);
    EXPECT_TRUE(owner.events[1].notPersisted);
}

TEST(FieldTest, isSilentWithoutTheNotifyOption)
{
    Owner owner(sNone);

    owner.count.set(7);
    owner.count.resetToDefault();

    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, ignoresASetToTheCurrentValue)
{
    Owner owner(sNotify);
    owner.count.set(7);
    owner.takeHeard();

    owner.count.set(7);

    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, sendsBothEventsForASetToTheCurrentValueWhenAskedTo)
{
    Owner owner(sNotifyAlways);

    owner.count.set(0);

    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
}

TEST(FieldTest, refusesASetWhenReadOnlyBeforeAnyEvent)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);

    EXPECT_THROW(owner.count.set(7), Exception::ReadOnlyException);

    EXPECT_EQ(owner.count.get(), 0);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, refusesASetToTheCurrentValueWhenReadOnly)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);

    EXPECT_THROW(owner.count.set(0), Exception::ReadOnlyException);
}

TEST(FieldTest, namesFieldAndClassInTheReadOnlyErrorAndLogsItOnce)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);
    const char *text = "Cannot change the field \"count\" of Tesk::Data::Owner: it is read-only";

    try {
        owner.count.set(7);
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::ReadOnlyException &error) {
        EXPECT_STREQ(error.what(), text);
    }

    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_THAT(log.messages()[0], TestSupport::isLogMessage(VantBase::LogService::Data,
                                                             VantBase::LogLevel::Error, text));
    EXPECT_THAT(log.messages()[0].place,
                TestSupport::placeIs("SerializableFieldBase.cpp",
                                     "Tesk::Data::SerializableFieldBase::throwReadOnlyError()"));
}

TEST(FieldTest, keepsTheReadOnlyErrorApartFromSerializationErrors)
{
    const bool isSerialization = std::is_base_of_v<Exception::Data::SerializationException,
                                                   Exception::ReadOnlyException>;
    const bool isBase = std::is_base_of_v<Exception::BaseException, Exception::ReadOnlyException>;

    EXPECT_FALSE(isSerialization);
    EXPECT_TRUE(isBase);
}

TEST(FieldTest, resetsToADefaultConstructedValueWithBothEvents)
{
    Owner owner(sNotify);
    owner.count.set(7);
    owner.takeHeard();

    owner.count.resetToDefault();

    EXPECT_EQ(owner.count.get(), 0);
    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
}

TEST(FieldTest, doesNothingOnAResetAtTheDefaultEvenWhenEqualAssignmentsCount)
{
    Owner owner(sNotifyAlways);

    owner.count.resetToDefault();

    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, refusesAResetWhenReadOnlyEvenAtTheDefault)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);

    EXPECT_THROW(owner.count.resetToDefault(), Exception::ReadOnlyException);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, copiesADifferentValueWithBothEvents)
{
    Owner source(sNone);
    source.count.set(7);
    Owner owner(sNotify);

    owner.count.copyFrom(source.count);

    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
}

TEST(FieldTest, doesNothingOnACopyOfAnEqualValueEvenWhenEqualAssignmentsCount)
{
    Owner source(sNone);
    Owner owner(sNotifyAlways);

    owner.count.copyFrom(source.count);

    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, refusesACopyWhenReadOnlyEvenOfAnEqualValue)
{
    const TestSupport::RecordedLog log;
    Owner source(sNone);
    Owner owner(sReadOnly);

    EXPECT_THROW(owner.count.copyFrom(source.count), Exception::ReadOnlyException);
}

TEST(FieldTest, raisesALogicErrorForACopyOfAnotherTypeOfField)
{
    const TestSupport::RecordedLog log;
    Owner owner(sNotify);
    owner.count.set(7);
    owner.takeHeard();

    try {
        owner.count.copyFrom(owner.reference);
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::LogicErrorException &error) {
        EXPECT_STREQ(error.what(), "Cannot copy the field \"reference\" of Tesk::Data::Owner to "
                                   "the field \"count\" of Tesk::Data::Owner: they differ in type");
    }
    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, comparesValuesWithTheirOwnEquality)
{
    Owner a(sNone);
    Owner b(sNone);
    a.reference.set(Reference{"id"});

    EXPECT_FALSE(a.reference.isEqual(b.reference));
    b.reference.set(Reference{"id"});
    EXPECT_TRUE(a.reference.isEqual(b.reference));
    EXPECT_FALSE(a.reference.isEqual(b.count));
}

TEST(FieldTest, sharesAnObjectOnACopy)
{
    Owner source(sNone);
    source.ioDesc.set(std::make_shared<Description>());
    Owner owner(sNone);

    owner.ioDesc.copyFrom(source.ioDesc);

    EXPECT_EQ(owner.ioDesc.get(), source.ioDesc.get());
}

TEST(FieldTest, writesAnObjectSubNodeOfItsNameWithTheValue)
{
    Owner owner(sNone);
    owner.count.set(-7);
    const Serialization::Document document;
    Serialization::Node root = document.root();

    owner.count.serialize(root);

    EXPECT_EQ(root.findObject("count").toInt(), -7);
    EXPECT_EQ(root.children().size(), 1);
}

TEST(FieldTest, readsAPresentSubNodeWithBothEvents)
{
    const Serialization::Document document;
    document.root().addObject("count").setValue(7);
    Owner owner(sNotify);

    owner.count.deserialize(document.root());

    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
}

TEST(FieldTest, readsAnEqualValueWithBothEvents)
{
    const Serialization::Document document;
    document.root().addObject("count").setValue(0);
    Owner owner(sNotify);

    owner.count.deserialize(document.root());

    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
}

TEST(FieldTest, keepsTheValueAndSendsOnlyTheFirstEventWhenTheSubNodeIsAbsent)
{
    const Serialization::Document document = emptyDocument();
    Owner owner(sNotify);
    owner.count.set(7);
    owner.takeHeard();

    owner.count.deserialize(document.root());

    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard, ElementsAre("before count"));
}

TEST(FieldTest, readsSilentlyWithoutTheNotifyOption)
{
    const Serialization::Document document;
    document.root().addObject("count").setValue(7);
    Owner owner(sNone);

    owner.count.deserialize(document.root());

    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard, IsEmpty());
}

TEST(FieldTest, readsAReadOnlyField)
{
    const Serialization::Document document;
    document.root().addObject("count").setValue(7);
    Owner owner(sReadOnly);

    owner.count.deserialize(document.root());

    EXPECT_EQ(owner.count.get(), 7);
}

TEST(FieldTest, namesTheSubNodeOnceInTheTraceOfAValueError)
{
    const TestSupport::RecordedLog log;
    const Serialization::Document document;
    document.root().addObject("count").setValue("seven");
    Owner owner(sNotify);
    owner.count.set(7);
    owner.takeHeard();

    try {
        owner.count.deserialize(document.root());
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_THAT(error.trace(), ElementsAre("count"));
    }
    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THAT(owner.heard, ElementsAre("before count"));
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST(FieldTest, givesTheVariantOfADeclaredType)
{
    Owner owner(sNone);
    owner.reference.set(Reference{"id"});

    const QVariant variant = owner.reference.toVariant();

    EXPECT_EQ(variant.typeId(), qMetaTypeId<Reference>());
    EXPECT_EQ(variant.value<Reference>(), Reference{"id"});
}

TEST(FieldTest, givesATextForATypeThatIsNotDeclaredEvenAfterQtHasSeenIt)
{
    static_assert(!QMetaTypeId2<std::shared_ptr<Description>>::Defined);
    ASSERT_TRUE(QMetaType::fromType<std::shared_ptr<Description>>().id() != 0);
    Owner owner(sNone);

    const QVariant variant = owner.ioDesc.toVariant();

    EXPECT_EQ(variant.typeId(), QMetaType::QString);
    EXPECT_EQ(variant.toString(), QStringLiteral("Unregistered Qt type"));
}

TEST(FieldTest, tellsEnumerationsFromOtherValues)
{
    Owner owner(sNone);
    const Field<Color> color(owner, QStringLiteral("color"), {});

    EXPECT_TRUE(color.isEnumeration());
    EXPECT_FALSE(owner.reference.isEnumeration());
    EXPECT_FALSE(owner.ioDesc.isEnumeration());
}

TEST(FieldTest, reportsOneChangeWhateverTheOptions)
{
    CountingListener listener;
    Owner owner(sNone);
    owner.setChangeListener(&listener);

    owner.count.set(7);
    owner.count.set(7);
    owner.count.resetToDefault();
    owner.count.resetToDefault();

    EXPECT_THAT(listener.changed, ElementsAre(&owner, &owner));
}

TEST(FieldTest, reportsNoChangeForAnEqualAssignmentThatSendsEvents)
{
    CountingListener listener;
    Owner owner(sNotifyAlways);
    owner.setChangeListener(&listener);

    owner.count.set(0);

    EXPECT_EQ(owner.heard.size(), 2U);
    EXPECT_THAT(listener.changed, IsEmpty());
}

TEST(FieldTest, reportsAChangeAfterTheEvents)
{
    CountingListener listener;
    Owner owner(sNotify);
    owner.setChangeListener(&listener);
    std::vector<std::size_t> reports;
    owner.onEvent = [&](const FieldEvent &) {
        reports.push_back(listener.changed.size());
    };

    owner.count.set(7);

    EXPECT_THAT(reports, ElementsAre(0U, 0U));
    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST(FieldTest, reportsAChangeOfReadingOnlyWhereTheValueDiffers)
{
    CountingListener listener;
    const Serialization::Document document;
    document.root().addObject("count").setValue(7);
    Owner owner(sNone);
    owner.setChangeListener(&listener);

    owner.count.deserialize(document.root());
    owner.count.deserialize(document.root());

    EXPECT_THAT(listener.changed, ElementsAre(&owner));
}

TEST(ScopedOptionInhibitorTest, suspendsTheReadOnlyOptionAndRestoresIt)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);
    {
        const ScopedOptionInhibitor writable(owner, Base::ReadOnly);
        owner.count.set(7);
    }

    EXPECT_EQ(owner.count.get(), 7);
    EXPECT_THROW(owner.count.set(8), Exception::ReadOnlyException);
}

TEST(ScopedOptionInhibitorTest, nests)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);
    const ScopedOptionInhibitor outer(owner, Base::ReadOnly);
    {
        const ScopedOptionInhibitor inner(owner, Base::ReadOnly);
    }

    EXPECT_NO_THROW(owner.count.set(7));
}

TEST(ScopedOptionInhibitorTest, restoresTheOptionWhenAnExceptionPasses)
{
    const TestSupport::RecordedLog log;
    Owner owner(sReadOnly);

    EXPECT_THROW(
            {
                const ScopedOptionInhibitor writable(owner, Base::ReadOnly);
                throw Exception::RuntimeErrorException("passing");
            },
            Exception::RuntimeErrorException);

    EXPECT_THROW(owner.count.set(8), Exception::ReadOnlyException);
}

TEST(ScopedOptionInhibitorTest, suspendsTheOptionGivenAndNoOther)
{
    Owner owner(sNotifyAlways);
    const ScopedOptionInhibitor silent(owner, Base::NotifyEqualAssignments);

    owner.count.set(0);
    EXPECT_THAT(owner.heard, IsEmpty());
    owner.count.set(7);
    EXPECT_THAT(owner.heard, ElementsAre("before count", "after count"));
}

} // namespace Tesk::Data
