#include <nodelibrary/VariationTexts.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

#include <QSet>

#include <random>

namespace Tesk::NodeLibrary {

namespace {

QStringList assign(const QByteArray &body)
{
    const std::vector<NodeDef> nodeDefs = completedBody(body);
    std::vector<VariationTexts::Head> heads;
    for (const NodeDef &nodeDef : nodeDefs)
        heads.push_back({&nodeDef, nodeDef.target.isEmpty() ? VersionPlace::Kind::Current
                                                            : VersionPlace::Kind::OptIn});
    return VariationTexts::assign(heads);
}

QByteArray typed(const QByteArray &name, const QByteArray &type)
{
    return overload(name, "n", type);
}

QByteArray outputs(const QByteArray &name, const QList<QByteArray> &types)
{
    QByteArray body = "<nodedef name=\"" + name + "\" node=\"n\">";
    for (const QByteArray &type : types)
        body += "<output name=\"o" + QByteArray::number(body.size()) + "\" type=\"" + type + "\"/>";
    return body + "</nodedef>";
}

QString partsOf(const char *type)
{
    return VariationTexts::partsOf(QString::fromUtf8(type)).join(u',');
}

} // namespace

TEST(VariationTextsTest, knowsThePartsOfTheValueTypes)
{
    EXPECT_EQ(partsOf("float"), QStringLiteral("default_float,default_grayscale"));
    EXPECT_EQ(partsOf("vector2"), QStringLiteral("default_float2"));
    EXPECT_EQ(partsOf("vector3"), QStringLiteral("default_float3"));
    EXPECT_EQ(partsOf("vector4"), QStringLiteral("default_float4"));
    EXPECT_EQ(partsOf("integer"), QStringLiteral("default_integer"));
    EXPECT_EQ(partsOf("color3"), QStringLiteral("default_color"));
    EXPECT_EQ(partsOf("color4"), QStringLiteral("default_color,color4"));
    EXPECT_EQ(partsOf("string"), QStringLiteral("default_string"));
    EXPECT_EQ(partsOf("filename"), QStringLiteral("default_string,filename"));
}

TEST(VariationTextsTest, usesAnyOtherTypeAsAUsage)
{
    EXPECT_EQ(partsOf("BSDF"), QStringLiteral("BSDF"));
    EXPECT_EQ(partsOf("boolean"), QStringLiteral("boolean"));
    EXPECT_EQ(partsOf(" float"), QStringLiteral(" float"));
}

TEST(VariationTextsTest, disguisesATypeThatWouldBeMistaken)
{
    EXPECT_EQ(partsOf("a,b"), QStringLiteral("type:a%2Cb"));
    EXPECT_EQ(partsOf("default_color"), QStringLiteral("type:default_color"));
    EXPECT_EQ(partsOf("nodedef:x"), QStringLiteral("type:nodedef:x"));
    EXPECT_EQ(partsOf("output_size"), QStringLiteral("type:output_size"));
    EXPECT_EQ(partsOf("dynamic"), QStringLiteral("type:dynamic"));
}

TEST(VariationTextsTest, asksForNothingForAnEmptyType)
{
    EXPECT_EQ(partsOf(""), QString());
    EXPECT_EQ(assign(typed("N", "")), QStringList{QStringLiteral("nodedef:N")});
}

TEST(VariationTextsTest, givesTheFirstOverloadOfATypeItsKey)
{
    EXPECT_EQ(assign(typed("A", "color3") + typed("B", "color3")),
              (QStringList{QStringLiteral("default_color"), QStringLiteral("nodedef:B")}));
}

TEST(VariationTextsTest, letsColor3ChooseBeforeColor4)
{
    EXPECT_EQ(assign(typed("A", "color4") + typed("B", "color3")),
              (QStringList{QStringLiteral("color4"), QStringLiteral("default_color")}));
}

TEST(VariationTextsTest, givesColor4BothKeysWhenItIsAlone)
{
    EXPECT_EQ(assign(typed("A", "color4")), QStringList{QStringLiteral("default_color,color4")});
}

TEST(VariationTextsTest, letsStringChooseBeforeFilename)
{
    EXPECT_EQ(assign(typed("A", "filename") + typed("B", "string")),
              (QStringList{QStringLiteral("filename"), QStringLiteral("default_string")}));
}

TEST(VariationTextsTest, letsOneOutputChooseBeforeSeveral)
{
    EXPECT_EQ(assign(outputs("A", {"color3", "float"}) + typed("B", "color4")),
              (QStringList{QStringLiteral("default_float,default_grayscale"),
                           QStringLiteral("default_color,color4")}));
}

TEST(VariationTextsTest, takesTheTypesOfSeveralOutputsInTheirOrder)
{
    EXPECT_EQ(assign(outputs("A", {"integer", "float", "vector3", "float"})),
              QStringList{QStringLiteral(
                      "default_integer,default_float,default_grayscale,default_float3")});
}

TEST(VariationTextsTest, givesAnOptInItsNameOnly)
{
    EXPECT_EQ(assign(overload("A", "n", "float", "target=\"gl\"") + typed("B", "float")),
              (QStringList{QStringLiteral("nodedef:A"),
                           QStringLiteral("default_float,default_grayscale")}));
}

TEST(VariationTextsTest, writesTheCommaOfANameOtherwise)
{
    EXPECT_EQ(assign("<nodedef name=\"A,B\" node=\"n\"/>"),
              QStringList{QStringLiteral("nodedef:A%2CB")});
}

TEST(VariationTextsTest, keepsTwoNamesApartThatTheCommaMakesOne)
{
    EXPECT_EQ(assign("<nodedef name=\"A,B\" node=\"n\"/><nodedef name=\"A%2CB\" node=\"n\"/>"),
              (QStringList{QStringLiteral("nodedef:A%2CB"), QStringLiteral("nodedef:A%2CB#2")}));
}

TEST(VariationTextsTest, neverAsksForAKeyTwiceWhateverTheOverloads)
{
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    const QList<QByteArray> types{"float",     "color3",   "color4",       "string",
                                  "filename",  "",         "matrix",       "dynamic",
                                  "a,b",       "type:a,b", "integer",      "BSDF",
                                  "default_x", "vector2",  "type:dynamic", "nodedef:N1"};
    for (int round = 0; round < 300; ++round) {
        QByteArray body;
        for (int i = 0; i < 8; ++i) {
            QList<QByteArray> chosen;
            for (unsigned int left = random() % 4; left > 0; --left)
                chosen.append(types[static_cast<qsizetype>(random() % 16)]);
            body += outputs("N" + QByteArray::number(i), chosen);
        }
        QSet<QString> seen;
        for (const QString &text : assign(body)) {
            const QStringList parts = text.split(u',');
            for (const QString &part : parts) {
                ASSERT_FALSE(part.isEmpty()) << "seed " << seed << " round " << round;
                ASSERT_FALSE(seen.contains(part))
                        << part.toStdString() << " seed " << seed << " round " << round;
                seen.insert(part);
            }
        }
    }
}

} // namespace Tesk::NodeLibrary
