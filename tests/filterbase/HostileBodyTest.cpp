#include "support/FilterDatabase.h"
#include "support/Golden.h"
#include "support/Random.h"
#include "support/Stored.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/ImplementationInfo.h>

#include <data/Document.h>
#include <data/Node.h>
#include <data/Serialization.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QUrl>

#include <memory>
#include <string>
#include <vector>

namespace Tesk::FilterBase {

using Data::SerializableData;
using Data::Serialization::Document;
using Data::Serialization::Node;
using Exception::Data::SerializationException;
using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::golden;
using FilterBaseTesting::readStored;
using FilterBaseTesting::recordOf;
using FilterBaseTesting::stored;
using testing::ElementsAre;

/// Stored forms that nobody here has written.
class HostileBodyTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    static void askEverything(DynamicFilterAsset &filter)
    {
        filter.getSourceFileUrl();
        filter.getEmbeddedThumbnail({}).get();
        filter.generateId();
        filter.getIODesc({});
        filter.getImplementationForUsageAndType(QStringLiteral("output_size"), QString());
        filter.actualResolutionPolicy({});
        filter.containsPreviousVersion(filter.ownReference());
        filter.generateIODesc();
        filter.clone();
        stored(filter);
    }

    static void askEverything(FilterDescAsset &filter)
    {
        filter.getSourceFileUrl();
        filter.getSourceFileUrls();
        filter.defaultThumbnailPath();
        filter.getEmbeddedThumbnail({}).get();
        filter.requiresVyrSignature();
        filter.removeExternalSourceUrlIfNotLastOne({});
        stored(filter);
    }

    /// Changes some bytes of a stored form at a time; what can still be read must work.
    template<class Asset>
    void spoil(const char *name, const std::shared_ptr<Asset> &asset, unsigned int seed)
    {
        SCOPED_TRACE(testing::Message() << name << ", seed " << seed);
        FilterBaseTesting::Random random(seed);
        const QByteArray whole = golden(name);
        int loaded = 0;
        int refused = 0;
        for (int round = 0; round < 5000; ++round) {
            QByteArray bytes = whole;
            for (unsigned int i = 1 + random() % 3; i > 0; --i) {
                const auto place = static_cast<qsizetype>(random() % whole.size());
                const int value = random() % 4 == 0 ? int(random() % 256) : bytes[place] + 1;
                bytes[place] = static_cast<char>(value);
            }
            try {
                readStored(bytes, *asset);
                askEverything(*asset);
                ++loaded;
            } catch (const SerializationException &) {
                ++refused;
            }
            if (round % 500 == 0) {
                log.clear();
                TestSupport::drainDeferredDeletes();
            }
        }
        EXPECT_GT(loaded, 100);
        EXPECT_GT(refused, 100);
    }

    /// A stored filter with one type, "float", whose table has one entry.
    Node storedFilter()
    {
        const auto filter = dynamicFilter("stored");
        filter->types.insert(QStringLiteral("float"), recordOf(dangling("impl")));
        filter->types.begin()->second->paramUidCorrespondance.insert(1, 2);
        filter->ioDesc.set(descriptionOf({"a", "b"}));
        Node root = document.root();
        serializeToNode(root, static_cast<const SerializableData &>(*filter));
        return root;
    }

    static Node recordIn(const Node &root)
    {
        const Node fields = root.findObject("Fields");
        return (*fields.findArray("types", "FieldHashMap").begin()).findObject("second");
    }

    static Node tableEntryIn(const Node &root)
    {
        return *recordIn(root)
                        .findObject("Fields")
                        .findArray("paramUidCorrespondance", "FieldHashMap")
                        .begin();
    }

    static Node parameterIn(const Node &root)
    {
        return *root.findObject("Fields")
                        .findObject("ioDesc")
                        .findObject("Fields")
                        .findArray("parameters", "FieldArray")
                        .begin();
    }

    /// The trace of the error that reading \a root raises.
    static std::vector<std::string> traceOf(const Node &root, DynamicFilterAsset &into)
    {
        try {
            deserializeFromNode(root, static_cast<SerializableData &>(into));
        } catch (const SerializationException &error) {
            return error.trace();
        }
        return {"no error"};
    }

    Document document;
    std::shared_ptr<DynamicFilterAsset> dynamic = dynamicFilter();
};

TEST_F(HostileBodyTest, ofADynamicFilterIsRefusedOrReadWhateverBytesChange)
{
    spoil("DynamicFilterAsset-100.cbor", dynamic, 1);
}

TEST_F(HostileBodyTest, ofADescriptorIsRefusedOrReadWhateverBytesChange)
{
    const auto descriptor = filterDesc();
    spoil("FilterDescAsset-100.cbor", descriptor, 2);
    spoil("FilterDescAsset-200.cbor", descriptor, 3);
    spoil("FilterDescAsset-300.cbor", descriptor, 4);
}

TEST_F(HostileBodyTest, isRefusedWhereAUidIsNoUnsignedNumberOf32Bits)
{
    const Node root = storedFilter();
    for (const qint64 uid : {qint64(-1), qint64(1) << 32}) {
        tableEntryIn(root).findObject("second").setValue(uid);
        EXPECT_THAT(traceOf(root, *dynamic), ElementsAre("second", "paramUidCorrespondance",
                                                         "Fields", "second", "types", "Fields"));
    }
}

TEST_F(HostileBodyTest, keepsUidsAboveTheSignedRange)
{
    const Node root = storedFilter();
    tableEntryIn(root).findObject("first").setValue(qint64(0xffffffff));
    tableEntryIn(root).findObject("second").setValue(qint64(0x80000000));
    parameterIn(root).findObject("Fields").findObject("uid").setValue(qint64(0x80000001));

    deserializeFromNode(root, static_cast<SerializableData &>(*dynamic));

    const ImplementationInfo &info =
            dynamic->getImplementationForUsageAndType({}, QStringLiteral("float"));
    EXPECT_EQ(info.getImplementationTweaks({{0xffffffffU, 1}}), (TweakMap{{0x80000000U, 1}}));
    EXPECT_NE(dynamic->getIODesc({})->parameterByUid(0x80000001U), nullptr);
}

TEST_F(HostileBodyTest, isRefusedWhereARecordIsOfAnotherVersion)
{
    const Node root = storedFilter();
    for (const int version : {0, 99, 101}) {
        recordIn(root).setClassInfo(ImplementationInfo::sTypeName, version);
        EXPECT_THAT(traceOf(root, *dynamic), ElementsAre("second", "types", "Fields")) << version;
    }
}

TEST_F(HostileBodyTest, isReadWithAnIdentifierThatOccursTwiceAndOneThatIsEmpty)
{
    const Node root = storedFilter();
    parameterIn(root).findObject("Fields").findObject("identifier").setValue("b");
    deserializeFromNode(root, static_cast<SerializableData &>(*dynamic));
    EXPECT_EQ(dynamic->getIODesc({})->parameterByIdentifier(QStringLiteral("b"))->uid.get(), 1U);

    parameterIn(root).findObject("Fields").findObject("identifier").setValue("");
    deserializeFromNode(root, static_cast<SerializableData &>(*dynamic));
    EXPECT_EQ(dynamic->getIODesc({})->parameterByIdentifier(QString())->uid.get(), 1U);
}

TEST_F(HostileBodyTest, isRefusedWhereTheDescriptionIsOfAnotherClass)
{
    const Node root = storedFilter();
    root.findObject("Fields").findObject("ioDesc").setClassInfo(ImplementationInfo::sTypeName, 100);

    EXPECT_THAT(traceOf(root, *dynamic), ElementsAre("ioDesc", "Fields"));
}

TEST_F(HostileBodyTest, isReadWithParametersThatAreNull)
{
    const auto filter = dynamicFilter("stored");
    const auto description = descriptionOf({"a"});
    description->parameters.insert(0, nullptr);
    description->parameters.append(nullptr);
    description->outputs.append(nullptr);
    filter->ioDesc.set(description);

    readStored(stored(*filter), *dynamic);

    const auto read = dynamic->getIODesc({});
    ASSERT_EQ(read->parameters.size(), 3);
    EXPECT_EQ(read->parameters.at(0), nullptr);
    EXPECT_EQ(read->parameterByUid(1), read->parameters.at(1));
    EXPECT_EQ(stored(*dynamic), stored(*filter));
}

// A null parameter is no predecessor that could be found, and nothing to be inserted.
TEST_F(HostileBodyTest, isMergedPastParametersThatAreNull)
{
    const auto first = filter("1");
    const auto second = filter("2");
    const auto withNull = descriptionOf({"a", "b"});
    withNull->parameters.insert(1, nullptr);
    first->description = withNull;
    const auto other = descriptionOf({"b", "x", "a"}, 10);
    other->parameters.insert(1, nullptr);
    other->parameters.insert(0, nullptr);
    second->description = other;
    dynamic->types.insert(QStringLiteral("1"), recordOf(first->ownReference()));
    dynamic->types.insert(QStringLiteral("2"), recordOf(second->ownReference()));

    dynamic->generateIODesc();

    std::vector<std::string> identifiers;
    for (const auto &parameter : dynamic->ioDesc.get()->parameters)
        identifiers.push_back(parameter ? parameter->identifier.get().toStdString() : "null");
    EXPECT_THAT(identifiers, ElementsAre("a", "null", "b", "x"));
}

} // namespace Tesk::FilterBase
