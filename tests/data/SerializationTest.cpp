#include "StandIns.h"

#include <data/Cbor.h>
#include <data/ClassRegistry.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tesk::Data {

using Serialization::ArrayNode;
using Serialization::Document;
using Serialization::Node;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Base = SerializableFieldBase;

std::vector<std::string> childNames(const Node &node)
{
    std::vector<std::string> names;
    for (const Serialization::NodeChild child : node.children())
        names.emplace_back(child.name);
    return names;
}

std::vector<std::string> traceOfReading(const Node &node, SerializableData &object)
{
    try {
        deserializeFromNode(node, object);
    } catch (const Exception::Data::SerializationException &error) {
        return error.trace();
    }
    return {"nothing was raised"};
}

std::string errorOfReading(const Node &node, SerializableData &object)
{
    try {
        deserializeFromNode(node, object);
    } catch (const Exception::Data::SerializationException &error) {
        return error.what();
    }
    return "nothing was raised";
}

template<class T>
T roundTrip(const T &value)
{
    const Document document;
    Node node = document.root().addObject("value");
    serializeToNode(node, value);
    T read = T();
    deserializeFromNode(node, read);
    return read;
}

/// A saved Owner with one record, whose nodes can be damaged.
class SerializationTest : public testing::Test
{
protected:
    SerializationTest()
    {
        registerStandIns();
        Owner owner;
        owner.types.insert(QStringLiteral("t"), makeRecord("id"));
        owner.types.insert(QStringLiteral("z"), nullptr);
        owner.count.set(7);
        serializeToNode(root, owner);
    }
    ~SerializationTest() override { TestSupport::drainDeferredDeletes(); }

    Node fields() const { return root.findObject("Fields"); }
    Node second() const
    {
        return (*fields().findArray("types", "FieldHashMap").begin()).findObject("second");
    }

    TestSupport::RecordedLog log;
    Document document;
    Node root = document.root();
    Owner target;
};

} // namespace

TEST_F(SerializationTest, writesClassVersionAndFieldsInTheOrderOfRegistration)
{
    EXPECT_EQ(root.className(), QStringLiteral("Tesk::Data::Owner"));
    EXPECT_EQ(root.classVersion(), 100);
    EXPECT_THAT(childNames(root), ElementsAre("Fields"));
    EXPECT_THAT(childNames(fields()),
                ElementsAre("types", "numbers", "ioDesc", "reference", "count", "implementations"));
}

TEST_F(SerializationTest, writesVersionZeroForAClassWithoutOne)
{
    const Listening object;
    const Document other;
    Node node = other.root();

    serializeToNode(node, object);

    EXPECT_EQ(node.className(), QStringLiteral("Tesk::Data::Listening"));
    EXPECT_EQ(node.classVersion(), 0);
    Listening read;
    EXPECT_NO_THROW(deserializeFromNode(node, read));
}

TEST_F(SerializationTest, objectsOfOneClassKeepTheirClassInformationApart)
{
    const Record record;
    const Document written;
    ArrayNode items = written.root().addArray("items", "item");
    std::vector<Node> nodes;
    for (int count = 0; count < 3; ++count)
        serializeToNode(nodes.emplace_back(items.append()), record);

    nodes[1].setClassInfo(QStringLiteral("Other"), 7);

    for (const Node &node : {nodes[0], nodes[2]}) {
        EXPECT_EQ(node.className(), Record::sTypeName);
        EXPECT_EQ(node.classVersion(), 100);
    }
    const QByteArray bytes = toCbor(written);
    EXPECT_EQ(bytes.count("Record"), 2);
    EXPECT_EQ(bytes.count("Other"), 1);
    EXPECT_EQ(toCbor(Serialization::fromCbor(bytes)), bytes); // where each is a copy of its own
}

TEST_F(SerializationTest, restoresAllFieldsAndThenCallsOnLoadedFromDisk)
{
    std::vector<int> countAtLoad;
    target.onLoaded = [&] {
        countAtLoad.push_back(target.count.get());
    };

    deserializeFromNode(root, target);

    EXPECT_EQ(target.types.begin()->second->implementationRef.get().id, QByteArray("id"));
    EXPECT_THAT(countAtLoad, ElementsAre(7));
    EXPECT_EQ(target.timesLoaded, 1);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SerializationTest, leavesOutAndResetsFieldsThatAreNotPersisted)
{
    Owner passing(Base::Options(Base::NotPersisted | Base::ReadOnly));
    Node node = document.root().addObject("passing");
    serializeToNode(node, passing);
    EXPECT_THAT(childNames(node.findObject("Fields")), IsEmpty());

    Owner filled{Base::Options(Base::NotPersisted)};
    filled.count.set(7);
    node.findObject("Fields").addObject("count").setValue(9);
    deserializeFromNode(node, filled);

    EXPECT_EQ(filled.count.get(), 0);
    EXPECT_NO_THROW(deserializeFromNode(node, passing));
}

TEST_F(SerializationTest, fillsReadOnlyFieldsAndLeavesThemReadOnly)
{
    Owner fixed{Base::Options(Base::ReadOnly)};

    deserializeFromNode(root, fixed);

    EXPECT_EQ(fixed.count.get(), 7);
    EXPECT_THROW(fixed.count.set(8), Exception::ReadOnlyException);
}

TEST_F(SerializationTest, raisesWhenTheFieldsAreMissing)
{
    root.removeChild("Fields");

    EXPECT_EQ(errorOfReading(root, target), "Malformed file structure: no Fields attribute");
    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_THAT(log.messages()[0],
                TestSupport::isLogMessage(2, 2, "Malformed file structure: no Fields attribute"));
    EXPECT_THAT(log.messages()[0].place,
                TestSupport::placeIs("Serialization.cpp",
                                     "Tesk::Data::Serialization::deserializeFromNode()"));
    EXPECT_EQ(target.timesLoaded, 0);
}

TEST_F(SerializationTest, tracesAValueErrorInsideARecordFromTheInnermostNodeOutward)
{
    Node recordFields = second().findObject("Fields");
    recordFields.removeChild("implementationRef");
    recordFields.addObject("implementationRef").setValue("text, not bytes");

    Owner &owner = target;
    EXPECT_THAT(traceOfReading(root, owner),
                ElementsAre("implementationRef", "Fields", "second", "types", "Fields"));
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(SerializationTest, tracesTheReadOfOneMapField)
{
    Node recordFields = second().findObject("Fields");
    recordFields.removeChild("implementationRef");
    recordFields.addObject("implementationRef").setValue("text, not bytes");

    try {
        target.types.deserialize(fields());
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_THAT(error.trace(), ElementsAre("implementationRef", "Fields", "second", "types"));
    }
}

TEST_F(SerializationTest, tracesMissingFieldsOfARecord)
{
    second().removeChild("Fields");

    try {
        target.types.deserialize(fields());
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::NotFoundException &error) {
        EXPECT_STREQ(error.what(), "Malformed file structure: no Fields attribute");
        EXPECT_THAT(error.trace(), ElementsAre("second", "types"));
    }
}

TEST_F(SerializationTest, rethrowsTheExceptionWithItsOwnType)
{
    second().removeChild("Fields");

    EXPECT_THROW(deserializeFromNode(root, target), Exception::Data::NotFoundException);
}

TEST_F(SerializationTest, raisesForARecordOfAnUnknownClass)
{
    second().setClassInfo(QStringLiteral("Nowhere::Class"), 1);

    EXPECT_EQ(errorOfReading(root, target),
              "Cannot create an object of class \"Nowhere::Class\": it has no current version");
    EXPECT_THAT(traceOfReading(root, target), ElementsAre("second", "types", "Fields"));
}

TEST_F(SerializationTest, releasesAnOwnedObjectByDeferredDeletionWhereNullIsStored)
{
    TestSupport::drainDeferredDeletes();
    RecordPointer record = makeRecord("old");
    Node node = document.root().addObject("null");
    serializeToNode(node, static_cast<const SerializableData *>(nullptr));

    deserializeFromNode(node, record);

    EXPECT_FALSE(record);
    EXPECT_EQ(TestSupport::drainDeferredDeletes(), 1);
}

TEST_F(SerializationTest, releasesAnOwnedObjectByDeferredDeletionWhereAnotherIsStored)
{
    TestSupport::drainDeferredDeletes();
    RecordPointer record = makeRecord("old");

    deserializeFromNode(second(), record);

    EXPECT_EQ(record->implementationRef.get().id, QByteArray("id"));
    EXPECT_EQ(TestSupport::drainDeferredDeletes(), 1);
}

TEST_F(SerializationTest, readsAnObjectWhoseNullAttributeIsFalse)
{
    second().setAttribute("nullptr", false);

    deserializeFromNode(root, target);

    EXPECT_EQ(target.types.begin()->second->implementationRef.get().id, QByteArray("id"));
}

TEST_F(SerializationTest, raisesForANullAttributeThatIsNoTruthValue)
{
    second().setAttribute("nullptr", 1);

    EXPECT_EQ(errorOfReading(root, target), "Cannot read attribute \"nullptr\": it holds an "
                                            "unsigned integer, expected a truth value");
}

TEST_F(SerializationTest, raisesForARecordOfAnotherClassThanTheMapHolds)
{
    second().setClassInfo(QStringLiteral("Tesk::Data::Parameter"), 100);

    EXPECT_EQ(errorOfReading(root, target), "Found an object of class \"Tesk::Data::Parameter\": "
                                            "expected Tesk::Data::Record");
}

TEST_F(SerializationTest, raisesForAnObjectOfAnotherClass)
{
    Parameter parameter;

    EXPECT_THROW(deserializeFromNode(root, parameter), Exception::Data::SerializationException);
    EXPECT_EQ(parameter.timesLoaded, 0);
}

TEST_F(SerializationTest, raisesForANodeWithoutClassInformation)
{
    const Document other;
    Node node = other.root();
    node.addObject("Fields");

    EXPECT_THROW(deserializeFromNode(node, target), Exception::Data::SerializationException);
}

TEST_F(SerializationTest, keepsANullSharedObjectNull)
{
    target.ioDesc.set(std::make_shared<Description>());

    deserializeFromNode(root, target);

    EXPECT_TRUE(fields().findObject("ioDesc").attribute("nullptr", false));
    EXPECT_EQ(target.ioDesc.get(), nullptr);
}

TEST_F(SerializationTest, restoresSharedObjectsAndListsOfThem)
{
    Owner owner;
    const auto description = std::make_shared<Description>();
    description->parameters.append(makeParameter(QStringLiteral("radius"), 5));
    description->parameters.append(nullptr);
    owner.ioDesc.set(description);
    const Document other;
    Node node = other.root();
    serializeToNode(node, owner);

    deserializeFromNode(node, target);

    const std::shared_ptr<Description> read = target.ioDesc.get();
    ASSERT_TRUE(read);
    EXPECT_NE(read, description);
    ASSERT_EQ(read->parameters.size(), 2);
    EXPECT_EQ(read->parameters.at(0)->identifier.get(), QStringLiteral("radius"));
    EXPECT_EQ(read->parameters.at(0)->uid.get(), 5U);
    EXPECT_EQ(read->parameters.at(1), nullptr);
}

TEST_F(SerializationTest, givesFalseAndChangesNothingForAnAbsentOptionalSubNode)
{
    int value = 7;

    EXPECT_FALSE(Serialization::deserializeObjectFromSubnode(root, "absent", value, false));
    EXPECT_EQ(value, 7);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SerializationTest, readsAPresentSubNode)
{
    int value = 0;

    EXPECT_TRUE(Serialization::deserializeObjectFromSubnode(fields(), "count", value, true));
    EXPECT_EQ(value, 7);
}

TEST_F(SerializationTest, restoresPlainValues)
{
    EXPECT_EQ(roundTrip(4000000000U), 4000000000U);
    EXPECT_EQ(roundTrip(-7), -7);
    EXPECT_EQ(roundTrip(std::numeric_limits<qint64>::min()), std::numeric_limits<qint64>::min());
    EXPECT_EQ(roundTrip(std::numeric_limits<quint64>::max()), std::numeric_limits<quint64>::max());
    EXPECT_EQ(roundTrip(qint8(-128)), qint8(-128));
    EXPECT_EQ(roundTrip(true), true);
    EXPECT_EQ(roundTrip(0.1), 0.1);
    EXPECT_EQ(roundTrip(QStringLiteral("h\u00e9")), QStringLiteral("h\u00e9"));
    EXPECT_EQ(roundTrip(QByteArray("\0\xff", 2)), QByteArray("\0\xff", 2));
    EXPECT_EQ(roundTrip(QUrl(QStringLiteral("file:///a b/\u00e9.mtlx"))),
              QUrl(QStringLiteral("file:///a b/\u00e9.mtlx")));
    EXPECT_EQ(roundTrip(FieldEvent::Phase::Changed), FieldEvent::Phase::Changed);
}

TEST_F(SerializationTest, raisesForANumberThatDoesNotFit)
{
    Node node = document.root().addObject("value");
    node.setValue(quint64(1) << 32);
    unsigned int value = 7;

    try {
        deserializeFromNode(node, value);
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(),
                     "The number 4294967296 is out of range: expected 0 to 4294967295");
    }
    EXPECT_EQ(value, 7U);
    node.setValue(-129);
    qint8 small = 7;
    try {
        deserializeFromNode(node, small);
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(), "The number -129 is out of range: expected -128 to 127");
    }
    EXPECT_EQ(small, 7);
}

TEST_F(SerializationTest, restoresVariantsWithTheirTypes)
{
    const QVariantList values = {
            QVariant(),
            true,
            -7,
            7U,
            qlonglong(-1) << 40,
            ~qulonglong(0),
            1.5F,
            0.1,
            QStringLiteral("text"),
            QByteArray("bytes"),
            QUrl(QStringLiteral("https://example.org/a?b#c")),
            QStringList{QStringLiteral("a"), QString()},
            QVariantList{1, QVariantList{QStringLiteral("nested")}},
    };

    for (const QVariant &value : values) {
        const QVariant read = roundTrip(value);
        EXPECT_EQ(read.typeId(), value.typeId());
        EXPECT_EQ(read, value) << value.typeName();
    }
}

TEST_F(SerializationTest, namesWhatAListOrAVariantLacks)
{
    const auto errorOf = [](const Node &node, auto value) -> std::string {
        const auto before = value;
        try {
            deserializeFromNode(node, value);
        } catch (const Exception::Data::NotFoundException &error) {
            EXPECT_EQ(value, before);
            return error.what();
        }
        return "nothing was raised";
    };
    Node texts = document.root().addObject("texts");
    Node variants = document.root().addObject("variants");
    variants.setAttribute("type", "QVariantList");
    Node variant = document.root().addObject("variant");
    variant.setAttribute("type", "int");

    EXPECT_EQ(errorOf(texts, QStringList{QStringLiteral("a")}), "Node not found: items");
    EXPECT_EQ(errorOf(variants, QVariant(7)), "Node not found: items");
    EXPECT_EQ(errorOf(variant, QVariant(7)), "Node not found: value");
}

TEST_F(SerializationTest, refusesToWriteAVariantWithoutAStoredForm)
{
    Node node = document.root().addObject("value");

    try {
        serializeToNode(node, QVariant(QChar(u'x')));
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(), "Cannot store a value of type \"QChar\"");
    }
}

TEST_F(SerializationTest, refusesToReadAVariantOfAnUnknownType)
{
    Node node = document.root().addObject("value");
    node.setAttribute("type", "QPixmap");
    QVariant value = 7;

    try {
        deserializeFromNode(node, value);
        ADD_FAILURE() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_STREQ(error.what(), "Cannot read a value of type \"QPixmap\": the type is unknown");
    }
    EXPECT_EQ(value, QVariant(7));
}

TEST_F(SerializationTest, hashesEqualContentEquallyAndOtherContentDifferently)
{
    Owner a;
    Owner b;
    a.count.set(7);
    EXPECT_NE(a.hash(), b.hash());

    b.count.set(7);
    EXPECT_EQ(a.hash(), b.hash());
    EXPECT_EQ(a.hash().size(), 64);
}

} // namespace Tesk::Data
