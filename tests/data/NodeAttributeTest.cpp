#include <data/Document.h>

#include "Raised.h"

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

namespace Tesk::Data::Serialization {

class NodeAttributeTest : public testing::Test
{
protected:
    TestSupport::RecordedLog log;
    Document document;
    Node node = document.root().addObject("node");
};

TEST_F(NodeAttributeTest, keepsTruthValuesIntegersAndText)
{
    node.setAttribute("nullptr", true);
    node.setAttribute("small", -5);
    node.setAttribute("large", quint64(5));
    node.setAttribute("utf8", "text");
    node.setAttribute("utf16", QStringLiteral("caf\u00e9"));

    EXPECT_TRUE(node.attribute("nullptr", false));
    EXPECT_EQ(node.attribute("small", 0), -5);
    EXPECT_EQ(node.attribute("large", 0), 5);
    EXPECT_EQ(node.attribute("utf8", QString()), QStringLiteral("text"));
    EXPECT_EQ(node.attribute("utf16", QString()), QStringLiteral("caf\u00e9"));
}

TEST_F(NodeAttributeTest, anAttributeThatIsNotThereGivesTheFallback)
{
    node.addObject("object").setValue(true); // no attribute, though of this name

    EXPECT_FALSE(node.hasAttribute("object"));
    EXPECT_FALSE(node.attribute("object", false));
    EXPECT_TRUE(node.attribute("absent", true));
    EXPECT_EQ(node.attribute("absent", 7), 7);
    EXPECT_EQ(node.attribute("absent", QStringLiteral("x")), QStringLiteral("x"));
}

TEST_F(NodeAttributeTest, anAttributeIsNoObject)
{
    node.setAttribute("a", true);

    EXPECT_TRUE(node.hasAttribute("a"));
    EXPECT_TRUE(node.findObject("a").isNull());
    EXPECT_FALSE(node.renameChild("a", "b"));
}

TEST_F(NodeAttributeTest, settingAgainReplacesTheValueInItsPlace)
{
    node.setAttribute("a", true);
    node.setAttribute("b", 1);

    node.setAttribute("a", QStringLiteral("text"));

    EXPECT_EQ(node.children().size(), 2);
    EXPECT_EQ((*node.children().begin()).name, "a");
    EXPECT_EQ(node.attribute("a", QString()), QStringLiteral("text"));
}

TEST_F(NodeAttributeTest, readingTheWrongKindRaises)
{
    node.setAttribute("a", 1);

    EXPECT_EQ(raisedBy([&] { node.attribute("a", false); }),
              "Cannot read attribute \"a\": it holds an unsigned integer, expected a truth value");
    EXPECT_EQ(raisedBy([&] { node.attribute("a", QString()); }),
              "Cannot read attribute \"a\": it holds an unsigned integer, expected text");
}

TEST_F(NodeAttributeTest, isRemoved)
{
    node.setAttribute("a", 1);
    node.addObject("b");

    EXPECT_TRUE(node.removeAttribute("a"));
    EXPECT_FALSE(node.removeAttribute("a"));
    EXPECT_FALSE(node.removeAttribute("b"));

    EXPECT_EQ(node.children().size(), 1);
}

TEST_F(NodeAttributeTest, theNameClassIsTakenByTheClassInformation)
{
    EXPECT_EQ(raisedBy([&] { node.setAttribute("class", 1); }),
              "Cannot add the attribute \"class\" to node \"node\": the name stands for the class "
              "information");
    EXPECT_EQ(raisedBy([&] { node.addObject("class"); }), "");
}

TEST_F(NodeAttributeTest, isWrittenThroughItsNodeOnly)
{
    node.setAttribute("a", 1);
    Node attribute = (*node.children().begin()).node;

    const std::string refusal = "Cannot set attribute \"a\": use the node that it belongs to";
    EXPECT_EQ(raisedBy([&] { attribute.setValue(1.5); }), refusal);
    EXPECT_EQ(raisedBy([&] { attribute.clear(); }), refusal);
    EXPECT_EQ(raisedBy([&] { attribute.copyFrom(node); }), refusal);
    EXPECT_EQ(raisedBy([&] { attribute.addObject("x"); }),
              "Cannot add to attribute \"a\": it holds an unsigned integer, expected an object");
    EXPECT_EQ(node.attribute("a", 0), 1);
}

} // namespace Tesk::Data::Serialization
