#include <nodelibrary/NodeDefAsset.h>

#include "Catalogue.h"
#include "NodeDefs.h"

#include <nodelibrary/ParameterUid.h>

#include <assets/MetaData.h>
#include <data/Document.h>
#include <data/Serialization.h>
#include <filterbase/UserDataKeys.h>
#include <renderablebase/OutputDesc.h>
#include <renderablebase/ParameterDesc.h>

#include <gtest/gtest.h>

#include <bit>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

namespace {

// Every case has its own catalogue, since the class must be known to the registries.
class NodeDefAssetTest : public testing::Test
{
protected:
    static std::shared_ptr<NodeDefAsset> make(const QByteArray &body, const QString &text = {})
    {
        auto asset = NodeDefAsset::create();
        asset->definition.set(completedBody(body).front());
        asset->variationText.set(text);
        return asset;
    }

    static std::shared_ptr<const RenderableBase::RenderableIODesc> describe(const QByteArray &ports)
    {
        return make("<nodedef name=\"N\" node=\"n\">" + ports + "</nodedef>")->getIODesc({});
    }

    static QVariant defaultOf(const QByteArray &type, const QByteArray &value)
    {
        const auto description =
                describe("<input name=\"a\" type=\"" + type + "\" value=\"" + value + "\"/>");
        return description->parameterByIdentifier(QStringLiteral("a"))->defaultValue.get();
    }

private:
    Catalogue m_catalogue;
};

} // namespace

TEST_F(NodeDefAssetTest, isEncodedAnywhereUnlessItsClassIsAClients)
{
    using Assets::AssetEncoding;
    class OwnAsset : public NodeDefAsset
    {
    public:
        using NodeDefAsset::NodeDefAsset;
    };
    using Shared = SharedObject<Assets::Asset>;
    const auto made = Shared::adopt(new NodeDefAsset(Shared::badge(), nullptr));
    const auto own = Shared::adopt(new OwnAsset(Shared::badge(), nullptr));

    EXPECT_EQ(NodeDefAsset::encodingOf(*made), AssetEncoding::Anywhere);
    EXPECT_EQ(NodeDefAsset::encodingOf(*own), AssetEncoding::ByCommitter);
}

TEST_F(NodeDefAssetTest, isAFilter)
{
    const auto asset = NodeDefAsset::create();

    EXPECT_EQ(asset->category(), QStringLiteral("filter"));
    EXPECT_EQ(asset->typeName(), QStringLiteral("Tesk::NodeLibrary::NodeDefAsset"));
}

TEST_F(NodeDefAssetTest, answersItsTextThroughTheInterface)
{
    const std::shared_ptr<Assets::Asset> asset =
            make(overload("N", "n", "float"), QStringLiteral("default_float"));

    const auto *filter = dynamic_cast<const FilterBase::StaticFilter *>(asset.get());
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->variationType(), QStringLiteral("default_float"));
}

TEST_F(NodeDefAssetTest, readsANumberInEveryFormThatQtKnows)
{
    const QStringList texts{u"0.1"_s,
                            u"-0"_s,
                            u"1."_s,
                            u".5"_s,
                            u"-.5"_s,
                            u"007"_s,
                            u"1e5"_s,
                            u"+1"_s,
                            u"inf"_s,
                            u"-inf"_s,
                            u"nan"_s,
                            u"1e999"_s,
                            u"-"_s,
                            u"."_s,
                            u""_s,
                            u"1-2"_s,
                            u"1..2"_s,
                            u"1 2"_s,
                            u"--1"_s,
                            u"0x1"_s,
                            u"1f"_s,
                            u"\u0661"_s,
                            u"3."_s + QString(40, u'3'),
                            QString(400, u'9')};
    for (const QString &text : texts) {
        bool isNumber = false;
        const double expected = text.toDouble(&isNumber);

        const QVariant found = defaultOf("float", text.toUtf8());

        if (!isNumber) {
            EXPECT_EQ(found, QVariant(text)) << text.toStdString();
            continue;
        }
        ASSERT_EQ(found.metaType(), QMetaType::fromType<double>()) << text.toStdString();
        EXPECT_EQ(std::bit_cast<quint64>(found.toDouble()), std::bit_cast<quint64>(expected))
                << text.toStdString();
    }
}

TEST_F(NodeDefAssetTest, tellsItsOutputsAndGroupAsUserData)
{
    const auto asset = make("<nodedef name=\"N\" node=\"n\" nodegroup=\"math\"><output name=\"x\" "
                            "type=\"float\" defaultinput=\"in\"/></nodedef>",
                            QStringLiteral("default_float"));
    Assets::MetaData metaData;

    EXPECT_TRUE(asset->initMetaData(metaData));

    EXPECT_EQ(metaData.size(), 5U);
    EXPECT_EQ(metaData.value(FilterBase::uniqueOutputUserDataKey), QVariant(true));
    EXPECT_EQ(metaData.value(FilterBase::defaultActiveOutputsUserDataKey), QStringLiteral("x"));
    EXPECT_EQ(metaData.value(FilterBase::variableUsageUserDataKey), QStringLiteral("in"));
    EXPECT_EQ(metaData.value(FilterBase::variationTypeUserDataKey),
              QStringLiteral("default_float"));
    EXPECT_EQ(metaData.value(QStringLiteral("Category")), QStringLiteral("math"));
}

TEST_F(NodeDefAssetTest, leavesOutWhatTheNodeDefDoesNotSay)
{
    Assets::MetaData metaData;

    make("<nodedef name=\"N\" node=\"n\"/>")->initMetaData(metaData);

    EXPECT_EQ(metaData.size(), 2U);
    EXPECT_EQ(metaData.value(FilterBase::uniqueOutputUserDataKey), QVariant(false));
    EXPECT_TRUE(metaData.contains(FilterBase::defaultActiveOutputsUserDataKey));
}

TEST_F(NodeDefAssetTest, describesItsParametersInOrderWithTheirUids)
{
    const auto description = describe("<input name=\"b\" type=\"float\"/>"
                                      "<token name=\"a\" type=\"string\"/>");

    ASSERT_EQ(description->parameters.size(), 2);
    const auto first = description->parameters.at(0);
    EXPECT_EQ(first->identifier.get(), QStringLiteral("b"));
    EXPECT_EQ(first->type.get(), QStringLiteral("float"));
    EXPECT_EQ(first->uid.get(), ParameterUid::hash(QStringLiteral("N.b")));
    EXPECT_EQ(description->parameters.at(1)->identifier.get(), QStringLiteral("a"));
}

TEST_F(NodeDefAssetTest, describesItsParametersOnce)
{
    const auto asset = make(overload("N", "n", "float"));

    EXPECT_EQ(asset->getIODesc({}), asset->getIODesc({{1U, 2}}));
}

TEST_F(NodeDefAssetTest, keepsWhatThereIsRoomForInAParameter)
{
    const auto description = describe(
            "<input name=\"a\" type=\"float\" uimin=\"0\" uisoftmax=\"2.5\" uistep=\"0.1\" "
            "uiname=\"Label\" uifolder=\"Group\" doc=\"Text\" unit=\"meter\" "
            "unittype=\"distance\" uniform=\"true\"/>");

    const auto parameter = description->parameters.at(0);
    EXPECT_EQ(parameter->range.get().minimum, QVariant(0.0));
    EXPECT_FALSE(parameter->range.get().maximum.isValid());
    EXPECT_EQ(parameter->range.get().softMaximum, QVariant(2.5));
    EXPECT_EQ(parameter->range.get().step, QVariant(0.1));
    const RenderableBase::ParameterPresentation shown = parameter->presentation.get();
    EXPECT_EQ(shown.label, QStringLiteral("Label"));
    EXPECT_EQ(shown.group, QStringLiteral("Group"));
    EXPECT_EQ(shown.documentation, QStringLiteral("Text"));
    EXPECT_EQ(shown.unit, QStringLiteral("meter"));
    EXPECT_EQ(shown.unitType, QStringLiteral("distance"));
    EXPECT_TRUE(shown.uniform);
    EXPECT_FALSE(shown.advanced);
}

TEST_F(NodeDefAssetTest, readsValuesOfTheKnownTypes)
{
    EXPECT_EQ(defaultOf("float", " 0.5 "), QVariant(0.5));
    EXPECT_EQ(defaultOf("integer", "7"), QVariant(7));
    EXPECT_EQ(defaultOf("boolean", "true"), QVariant(true));
    EXPECT_EQ(defaultOf("string", " as it is "), QVariant(QStringLiteral(" as it is ")));
    EXPECT_EQ(defaultOf("color3", "1,0, .5"), QVariant(QVariantList{1.0, 0.0, 0.5}));
}

TEST_F(NodeDefAssetTest, keepsAMalformedValueAsText)
{
    EXPECT_EQ(defaultOf("float", "a lot"), QVariant(QStringLiteral("a lot")));
    EXPECT_EQ(defaultOf("integer", "1.5"), QVariant(QStringLiteral("1.5")));
    EXPECT_EQ(defaultOf("boolean", "yes"), QVariant(QStringLiteral("yes")));
    EXPECT_EQ(defaultOf("color3", "1, 2"), QVariant(QStringLiteral("1, 2")));
    EXPECT_EQ(defaultOf("vector2", "1, 2, 3"), QVariant(QStringLiteral("1, 2, 3")));
}

TEST_F(NodeDefAssetTest, readsChoicesWhoseValuesHaveSeveralNumbers)
{
    const auto description = describe("<input name=\"a\" type=\"vector2\" enum=\"low, high\" "
                                      "enumvalues=\"0,0, 1,1\"/><input name=\"b\" type=\"string\" "
                                      "enum=\"one,two,three\" enumvalues=\"1,2\"/>");

    const auto numbers = description->parameters.at(0)->enumeration.get();
    EXPECT_EQ(numbers.labels, (QStringList{QStringLiteral("low"), QStringLiteral("high")}));
    EXPECT_EQ(numbers.values, (QVariantList{QVariantList{0.0, 0.0}, QVariantList{1.0, 1.0}}));
    const auto texts = description->parameters.at(1)->enumeration.get();
    EXPECT_EQ(texts.labels.size(), 3);
    EXPECT_EQ(texts.values, (QVariantList{QStringLiteral("1"), QStringLiteral("2")}));
}

TEST_F(NodeDefAssetTest, describesItsOutputs)
{
    const auto description = describe("<output name=\"c\" type=\"color3\"/>"
                                      "<output name=\"f\" type=\"float\"/>"
                                      "<output name=\"v\" type=\"vector3\"/>"
                                      "<output name=\"m\" type=\"matrix44\"/>");

    ASSERT_EQ(description->outputs.size(), 4);
    const auto key = [&](qsizetype index) {
        return FilterBase::DynamicFilterAsset::typeKeyFromOutputDesc(
                *description->outputs.at(index));
    };
    EXPECT_EQ(key(0), QStringLiteral("color"));
    EXPECT_EQ(key(1), QStringLiteral("grayscale"));
    EXPECT_EQ(key(2), QStringLiteral("float3"));
    EXPECT_EQ(key(3), QString());
    EXPECT_EQ(description->outputs.at(3)->type.get(), QStringLiteral("matrix44"));
}

TEST_F(NodeDefAssetTest, survivesStorage)
{
    const auto asset = make("<nodedef name=\"D\" node=\"n\" inherit=\"B\" version=\"1\" "
                            "isdefaultversion=\"true\" doc=\"Text\"><parameter name=\"a\" "
                            "type=\"float\" value=\"\"/></nodedef><nodedef name=\"B\" node=\"n\" "
                            "type=\"float\"><token name=\"b\" type=\"string\"/></nodedef>",
                            QStringLiteral("default_float"));
    asset->sourceFile.set(QUrl::fromLocalFile(QStringLiteral("/library/test.mtlx")));
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    Data::Serialization::serializeToNode(root, *asset);

    const auto loaded = NodeDefAsset::create();
    Data::Serialization::deserializeFromNode(root, *loaded);

    NodeDef expected = asset->definition.get();
    expected.filePath.clear();
    expected.relativePath.clear();
    expected.line = 0;
    expected.column = 0;
    EXPECT_EQ(loaded->definition.get(), expected);
    EXPECT_EQ(loaded->variationText.get(), QStringLiteral("default_float"));
    EXPECT_EQ(loaded->getSourceFileUrl(), asset->getSourceFileUrl());
}

} // namespace Tesk::NodeLibrary
