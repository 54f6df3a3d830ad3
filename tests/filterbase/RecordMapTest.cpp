#include <filterbase/DynamicFilterAsset.h>

#include "support/FilterDatabase.h"

#include <filterbase/UserDataKeys.h>

#include <data/Document.h>
#include <data/Serialization.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>
#include <vantbase/Ownership.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QPointer>
#include <QThread>

#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace Tesk::FilterBase {

using Data::FieldEvent;
using Data::SerializableFieldBase;
using Data::Serialization::ArrayNode;
using Data::Serialization::Document;
using Data::Serialization::Node;
using Exception::Data::SerializationException;
using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::recordOf;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::isLogMessage;
using TestSupport::placeIs;

namespace {

using Event = std::tuple<std::string, int, qsizetype, std::string>;

/// A dynamic filter that writes down what it hears: field, phase, index, key.
class ListeningFilter : public DynamicFilterAsset
{
public:
    using DynamicFilterAsset::DynamicFilterAsset;

    static std::shared_ptr<ListeningFilter> make()
    {
        using Shared = SharedObject<Assets::Asset>;
        return Shared::adopt(new ListeningFilter(Shared::badge(), nullptr));
    }

    void modelHasChanged(const FieldEvent &event) override
    {
        events.emplace_back(event.fieldName.toStdString(), static_cast<int>(event.phase),
                            event.index, event.key.toString().toStdString());
    }

    std::vector<Event> events;
};

/// Fields of the types that filters use, with options that no filter uses.
class OddOwner : public Data::SerializableData
{
public:
    explicit OddOwner(SerializableFieldBase::Options options)
        : reference(*this, QStringLiteral("reference"), options)
        , list(*this, QStringLiteral("list"), options)
        , records(*this, QStringLiteral("records"), options)
        , table(*this, QStringLiteral("table"), options)
        , description(*this, QStringLiteral("description"), options)
    {
        registerField(reference);
        registerField(list);
        registerField(records);
        registerField(table);
        registerField(description);
    }

    void modelHasChanged(const FieldEvent &event) override
    {
        phases.push_back(static_cast<int>(event.phase));
    }

    Data::Field<Assets::AssetReference> reference;
    Data::Vector<Assets::AssetReference> list;
    ImplementationMap records;
    Data::HashMap<unsigned int, unsigned int> table;
    Data::Field<std::shared_ptr<RenderableBase::RenderableIODesc>> description;
    std::vector<int> phases;
};

} // namespace

class RecordMapTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    void insert(const char *key) { insert(key, recordOf(dangling(key))); }
    void insert(const char *key, ImplementationInfoPtr record)
    {
        dynamic->types.insert(QString::fromUtf8(key), std::move(record));
    }

    /// A node with the field "types" of one record, for spoiling.
    Node oneRecord()
    {
        insert("color");
        Node root = document.root();
        dynamic->types.serialize(root);
        return root;
    }

    static Node firstItem(const Node &root)
    {
        return *root.findArray("types", "FieldHashMap").begin();
    }

    /// The trace of the error that reading "types" from \a root raises.
    std::vector<std::string> traceOf(const Node &root)
    {
        const auto other = ListeningFilter::make();
        try {
            other->types.deserialize(root);
        } catch (const SerializationException &error) {
            return error.trace();
        }
        return {"no error"};
    }

    Document document;
    std::shared_ptr<ListeningFilter> dynamic = ListeningFilter::make();
};

TEST_F(RecordMapTest, isWrittenInAscendingOrderOfCodeUnits)
{
    insert("b");
    insert("B");
    insert("a");
    Node root = document.root();

    dynamic->types.serialize(root);

    std::vector<QString> keys;
    for (const Node item : root.findArray("types", "FieldHashMap"))
        keys.push_back(item.findObject("first").toText());
    EXPECT_THAT(keys, ElementsAre(QStringLiteral("B"), QStringLiteral("a"), QStringLiteral("b")));
}

TEST_F(RecordMapTest, writesEachRecordWithClassAndFields)
{
    const Node item = firstItem(oneRecord());

    const Node second = item.findObject("second");
    EXPECT_EQ(second.className(), ImplementationInfo::sTypeName);
    EXPECT_EQ(second.classVersion(), 100);
    EXPECT_EQ(second.findObject("Fields").findObject("implementationRef").toBytes(), "color");
    EXPECT_EQ(
            second.findObject("Fields").findArray("paramUidCorrespondance", "FieldHashMap").size(),
            0);
}

TEST_F(RecordMapTest, keepsNullRecords)
{
    insert("null", nullptr);
    insert("set");
    Node root = document.root();

    dynamic->types.serialize(root);
    const auto read = ListeningFilter::make();
    read->types.deserialize(root);

    const Node second = firstItem(root).findObject("second");
    EXPECT_TRUE(second.attribute("nullptr", false));
    EXPECT_FALSE(second.hasClassInfo());
    EXPECT_EQ(second.children().size(), 1);
    ASSERT_EQ(read->types.size(), 2);
    EXPECT_EQ(read->types.begin()->second, nullptr);
    EXPECT_EQ(std::next(read->types.begin())->second->implementationRef.get(), dangling("set"));
}

TEST_F(RecordMapTest, isEmptiedWithBothEventsWhereTheArrayIsMissing)
{
    insert("a");
    dynamic->events.clear();

    dynamic->types.deserialize(document.root());

    EXPECT_TRUE(dynamic->types.empty());
    EXPECT_THAT(dynamic->events, ElementsAre(Event("types", 0, -1, ""), Event("types", 1, -1, "")));
}

TEST_F(RecordMapTest, theDependencyListIsEmptiedWithBothEventsToo)
{
    dynamic->dependencies.append(dangling());
    dynamic->events.clear();

    dynamic->dependencies.deserialize(document.root());

    EXPECT_TRUE(dynamic->dependencies.empty());
    EXPECT_THAT(dynamic->events,
                ElementsAre(Event("dependencies", 0, -1, ""), Event("dependencies", 1, -1, "")));
}

TEST_F(RecordMapTest, theDescriptionStaysAndIsAnnouncedOnlyWhereItsNodeIsMissing)
{
    const auto description = descriptionOf({"a"});
    dynamic->ioDesc.set(description);
    dynamic->events.clear();

    dynamic->ioDesc.deserialize(document.root());

    EXPECT_EQ(dynamic->ioDesc.get(), description);
    EXPECT_THAT(dynamic->events, ElementsAre(Event("ioDesc", 0, -1, "")));
}

TEST_F(RecordMapTest, settingTheSameDescriptionAgainIsNoChange)
{
    const auto description = descriptionOf({"a"});
    dynamic->ioDesc.set(description);
    dynamic->events.clear();

    dynamic->ioDesc.set(description);
    EXPECT_THAT(dynamic->events, IsEmpty());
    dynamic->ioDesc.set(descriptionOf({"a"}));
    EXPECT_THAT(dynamic->events,
                ElementsAre(Event("ioDesc", 0, -1, ""), Event("ioDesc", 1, -1, "")));
}

TEST_F(RecordMapTest, anEqualValueIsAnnouncedOnlyOnRequest)
{
    OddOwner quiet(SerializableFieldBase::NotifyChanges);
    OddOwner eager(
            {SerializableFieldBase::NotifyChanges | SerializableFieldBase::NotifyEqualAssignments});

    quiet.reference.set({});
    eager.reference.set({});

    EXPECT_THAT(quiet.phases, IsEmpty());
    EXPECT_THAT(eager.phases, ElementsAre(0, 1));
}

TEST_F(RecordMapTest, fieldsWithoutOptionsAreSilent)
{
    OddOwner owner({});

    owner.reference.set(dangling());
    owner.table.insert(1, 2);
    owner.records.insert(QStringLiteral("a"), nullptr);
    owner.list.append(dangling());

    EXPECT_THAT(owner.phases, IsEmpty());
}

TEST_F(RecordMapTest, readOnlyFieldsRaiseEvenWhereNothingWouldChange)
{
    OddOwner owner({SerializableFieldBase::ReadOnly | SerializableFieldBase::NotifyChanges});

    EXPECT_THROW(owner.reference.resetToDefault(), Exception::ReadOnlyException);
    EXPECT_THROW(owner.reference.set({}), Exception::ReadOnlyException);
    EXPECT_THROW(owner.list.clear(), Exception::ReadOnlyException);
    EXPECT_THROW(owner.records.resetToDefault(), Exception::ReadOnlyException);
    EXPECT_THROW(owner.records.insert(QStringLiteral("a"), nullptr), Exception::ReadOnlyException);
    EXPECT_THROW(owner.table.overwrite(1, 1), Exception::ReadOnlyException);
    EXPECT_THROW(owner.description.set(nullptr), Exception::ReadOnlyException);
    EXPECT_THAT(owner.phases, IsEmpty());
}

TEST_F(RecordMapTest, readOnlyFieldsAreReadAllTheSame)
{
    OddOwner source({});
    source.table.insert(1, 2);
    Node root = document.root();
    source.table.serialize(root);
    OddOwner owner(SerializableFieldBase::ReadOnly);

    owner.table.deserialize(root);

    EXPECT_TRUE(owner.table.isEqual(source.table));
}

TEST_F(RecordMapTest, anInsertionIsAnnouncedWithItsKey)
{
    insert("color");

    EXPECT_THAT(dynamic->events,
                ElementsAre(Event("types", 0, -1, "color"), Event("types", 1, -1, "color")));
}

TEST_F(RecordMapTest, aRegistrationIsAnnouncedPartByPart)
{
    const auto implementation =
            filter("a", {{variationTypeUserDataKey, QStringLiteral("default_x,u")}});
    dynamic->dependencies.append(dangling("other"));
    dynamic->events.clear();

    dynamic->registerImplementation(implementation->ownReference());

    EXPECT_THAT(dynamic->events,
                ElementsAre(Event("types", 0, -1, "x"), Event("types", 1, -1, "x"),
                            Event("dependencies", 0, 1, ""), Event("dependencies", 1, 1, ""),
                            Event("usages", 0, -1, "u"), Event("usages", 1, -1, "u")));
}

TEST_F(RecordMapTest, aMergeIsAnnouncedAsANewDescriptionAlone)
{
    const auto implementation = filter("a");
    implementation->description = descriptionOf({"x"});
    insert("x", recordOf(implementation->ownReference()));
    dynamic->events.clear();

    dynamic->generateIODesc();

    EXPECT_THAT(dynamic->events,
                ElementsAre(Event("ioDesc", 0, -1, ""), Event("ioDesc", 1, -1, "")));
}

TEST_F(RecordMapTest, equalContentInOtherRecordsIsNotEqual)
{
    const auto other = ListeningFilter::make();
    EXPECT_TRUE(dynamic->types.isEqual(other->types));
    insert("a");
    other->types.insert(QStringLiteral("a"), recordOf(dangling("a")));

    EXPECT_FALSE(dynamic->types.isEqual(other->types));
    EXPECT_TRUE(dynamic->types.isEqual(dynamic->types));
}

TEST_F(RecordMapTest, aCopyHasRecordsOfItsOwn)
{
    insert("a");
    insert("null", nullptr);
    dynamic->types.begin()->second->paramUidCorrespondance.insert(1, 2);
    const auto other = ListeningFilter::make();

    other->types.copyFrom(dynamic->types);

    ASSERT_EQ(other->types.size(), 2);
    const ImplementationInfo &copy = *other->types.begin()->second;
    EXPECT_NE(&copy, dynamic->types.begin()->second.get());
    EXPECT_EQ(copy.implementationRef.get(), dangling("a"));
    EXPECT_EQ(copy.paramUidCorrespondance.begin()->second, 2U);
    EXPECT_EQ(copy.parent(), nullptr);
    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(&copy));
    EXPECT_EQ(std::next(other->types.begin())->second, nullptr);
}

TEST_F(RecordMapTest, theLastOfTwoItemsWithOneKeyWins)
{
    insert("a");
    Node root = document.root();
    dynamic->types.serialize(root);
    Node item = root.findArray("types", "FieldHashMap").append();
    item.copyFrom(firstItem(root));
    Node reference = item.findObject("second").findObject("Fields").findObject("implementationRef");
    reference.setValue(QByteArray("later"));
    const auto read = ListeningFilter::make();

    read->types.deserialize(root);

    ASSERT_EQ(read->types.size(), 1);
    EXPECT_EQ(read->types.begin()->second->implementationRef.get(), dangling("later"));
}

TEST_F(RecordMapTest, readingReleasesTheOldRecordsThroughTheEventLoop)
{
    const Node root = oneRecord();
    const QPointer<ImplementationInfo> old = dynamic->types.begin()->second.get();

    dynamic->types.deserialize(root);

    EXPECT_NE(dynamic->types.begin()->second.get(), old.data());
    EXPECT_FALSE(old.isNull());
    TestSupport::drainDeferredDeletes();
    EXPECT_TRUE(old.isNull());
}

TEST_F(RecordMapTest, givesItsContentAsVariants)
{
    insert("a");

    const auto lists = dynamic->types.toVariantLists();

    EXPECT_EQ(lists.keys, QVariantList{QStringLiteral("a")});
    ASSERT_EQ(lists.values.size(), 1);
    EXPECT_EQ(lists.values[0].metaType(), QMetaType::fromType<ImplementationInfo *>());
    EXPECT_EQ(lists.values[0].value<ImplementationInfo *>(), dynamic->types.begin()->second.get());
    EXPECT_EQ(dynamic->ioDesc.toVariant(), QVariant(QStringLiteral("Unregistered Qt type")));
    EXPECT_FALSE(dynamic->ioDesc.isEnumeration());
    EXPECT_EQ(dynamic->types.begin()->second->implementationRef.toVariant(),
              QVariant::fromValue(dangling("a")));
}

TEST_F(RecordMapTest, recordsOfAWorkerAreMovedToTheThreadOfTheFilter)
{
    std::thread([this] {
        insert("a");
        insert("null", nullptr);
        dynamic->types.adoptOwnerThread();
    }).join();

    EXPECT_EQ(dynamic->types.begin()->second->thread(), QThread::currentThread());
}

TEST_F(RecordMapTest, anErrorInsideARecordIsTracedFromTheInside)
{
    const Node root = oneRecord();
    firstItem(root)
            .findObject("second")
            .findObject("Fields")
            .findObject("implementationRef")
            .setValue(12);

    EXPECT_THAT(traceOf(root), ElementsAre("implementationRef", "Fields", "second", "types"));
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(RecordMapTest, aMissingKeyIsTracedToTheField)
{
    const Node root = oneRecord();
    firstItem(root).removeChild("first");

    EXPECT_THAT(traceOf(root), ElementsAre("types"));
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, "Node not found: first")));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("Serialization.cpp",
                        "Tesk::Data::Serialization::deserializeObjectFromSubnode()"));
}

TEST_F(RecordMapTest, aMissingRecordIsTracedToTheField)
{
    const Node root = oneRecord();
    firstItem(root).removeChild("second");

    EXPECT_THAT(traceOf(root), ElementsAre("types"));
    EXPECT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, "Node not found: second")));
}

TEST_F(RecordMapTest, aRecordWithoutFieldsIsTracedToTheRecord)
{
    const Node root = oneRecord();
    firstItem(root).findObject("second").removeChild("Fields");

    EXPECT_THAT(traceOf(root), ElementsAre("second", "types"));
    ASSERT_THAT(log.messages(),
                ElementsAre(isLogMessage(2, 2, "Malformed file structure: no Fields attribute")));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("Serialization.cpp", "Tesk::Data::Serialization::deserializeFromNode()"));
}

TEST_F(RecordMapTest, aRecordOfAnUnknownClassIsTracedToTheRecord)
{
    for (const char *className :
         {"QString", "Tesk::FilterBase::Nothing", "Tesk::FilterBase::DynamicFilterAsset"}) {
        document.clear();
        dynamic->types.clear();
        const Node root = oneRecord();
        firstItem(root).findObject("second").setClassInfo(QString::fromLatin1(className), 100);

        EXPECT_THAT(traceOf(root), ElementsAre("second", "types")) << className;
    }
}

TEST_F(RecordMapTest, anErrorIsTracedThroughTheWholeAsset)
{
    insert("color");
    Node root = document.root();
    serializeToNode(root, static_cast<const Data::SerializableData &>(*dynamicFilter("stored")));
    root.findObject("Fields").removeChild("types");
    Node fields = root.findObject("Fields");
    dynamic->types.serialize(fields);
    firstItem(fields)
            .findObject("second")
            .findObject("Fields")
            .findObject("implementationRef")
            .setValue(12);

    const auto read = dynamicFilter("read");
    try {
        deserializeFromNode(root, static_cast<Data::SerializableData &>(*read));
        FAIL() << "nothing was thrown";
    } catch (const SerializationException &error) {
        EXPECT_THAT(error.trace(),
                    ElementsAre("implementationRef", "Fields", "second", "types", "Fields"));
    }
}

} // namespace Tesk::FilterBase
