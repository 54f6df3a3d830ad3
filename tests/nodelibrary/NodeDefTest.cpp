#include <nodelibrary/NodeDef.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

TEST(NodeDefTest, qualifiesANameOnce)
{
    EXPECT_EQ(qualified(QStringLiteral("a"), QStringLiteral("s")), QStringLiteral("s:a"));
    EXPECT_EQ(qualified(QStringLiteral("s:a"), QStringLiteral("s")), QStringLiteral("s:a"));
    EXPECT_EQ(qualified(QStringLiteral("a"), QString()), QStringLiteral("a"));
}

TEST(NodeDefTest, doesNotTakeALongerNameForANamespace)
{
    EXPECT_EQ(qualified(QStringLiteral("sub:a"), QStringLiteral("s")), QStringLiteral("s:sub:a"));
}

TEST(NodeDefTest, tellsTheTypeOfOneOutput)
{
    const auto nodeDefs = completedBody(overload("N", "n", "color3"));

    EXPECT_EQ(nodeDefs.front().outputType(), QStringLiteral("color3"));
    EXPECT_TRUE(nodeDefs.front().hasUniqueOutput());
    EXPECT_EQ(nodeDefs.front().defaultActiveOutputs(), QStringLiteral("out"));
}

TEST(NodeDefTest, callsSeveralOutputsMultioutput)
{
    const auto nodeDefs = completedBody("<nodedef name=\"N\" node=\"n\"><output name=\"x\" "
                                        "type=\"float\"/><output name=\"y\" type=\"float\"/>"
                                        "</nodedef>");

    EXPECT_EQ(nodeDefs.front().outputType(), QStringLiteral("multioutput"));
    EXPECT_FALSE(nodeDefs.front().hasUniqueOutput());
    EXPECT_EQ(nodeDefs.front().defaultActiveOutputs(), QStringLiteral("x,y"));
}

TEST(NodeDefTest, callsNoOutputNone)
{
    const auto nodeDefs = completedBody("<nodedef name=\"N\" node=\"n\"/>");

    EXPECT_EQ(nodeDefs.front().outputType(), QStringLiteral("none"));
    EXPECT_FALSE(nodeDefs.front().hasUniqueOutput());
    EXPECT_EQ(nodeDefs.front().defaultActiveOutputs(), QString());
}

TEST(NodeDefTest, takesTheVariableUsageFromTheFirstOutputThatHasOne)
{
    const auto nodeDefs =
            completedBody("<nodedef name=\"N\" node=\"n\"><output name=\"x\" type=\"float\"/>"
                          "<output name=\"y\" type=\"float\" defaultinput=\"bg\"/>"
                          "<output name=\"z\" type=\"float\" defaultinput=\"fg\"/></nodedef>");

    EXPECT_EQ(nodeDefs.front().variableUsage(), QStringLiteral("bg"));
}

TEST(NodeDefTest, hasNoVariableUsageWithoutADefaultInput)
{
    EXPECT_EQ(completedBody(overload("N", "n", "float")).front().variableUsage(), QString());
}

TEST(NodeDefTest, comparesAttributesWhateverTheirOrder)
{
    Attributes left;
    left.set(AttributeName::Value, QStringLiteral("1"));
    left.set(AttributeName::Unit, QStringLiteral("m"));
    Attributes right;
    right.set(AttributeName::Unit, QStringLiteral("m"));
    right.set(AttributeName::Value, QStringLiteral("1"));

    EXPECT_EQ(left, right);
    right.set(AttributeName::Value, QStringLiteral("2"));
    EXPECT_NE(left, right);
}

TEST(NodeDefTest, knowsEveryAttributeByItsSpelling)
{
    for (int i = 0; i <= static_cast<int>(AttributeName::DefaultInput); ++i) {
        const auto name = static_cast<AttributeName>(i);
        EXPECT_EQ(attributeFromText(QString(attributeText(name))), name);
    }
    EXPECT_EQ(attributeFromText(u"Value"), std::nullopt);
}

} // namespace Tesk::NodeLibrary
