#include <data/Document.h>

#include "Raised.h"

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace Tesk::Data::Serialization {

using testing::ElementsAre;

class ArrayNodeTest : public testing::Test
{
protected:
    TestSupport::RecordedLog log;
    Document document;
    Node root = document.root();
};

TEST_F(ArrayNodeTest, walksItsItemsInOrder)
{
    ArrayNode array = root.addArray("list", "FieldArray", 3);
    for (unsigned i = 0; i < 3; ++i)
        array.append().setValue(i * 10);

    std::vector<quint64> values;
    for (const Node &item : array)
        values.push_back(item.toUInt());

    EXPECT_THAT(values, ElementsAre(0U, 10U, 20U));
    EXPECT_EQ(array.size(), 3);
}

TEST_F(ArrayNodeTest, anEmptyArrayHasNoItems)
{
    const ArrayNode array = root.addArray("list", "FieldArray");

    EXPECT_EQ(array.size(), 0);
    EXPECT_EQ(array.begin(), array.end());
}

TEST_F(ArrayNodeTest, isFoundByNameAndItemName)
{
    const ArrayNode array = root.addArray("list", "FieldArray");

    EXPECT_EQ(root.findArray("list", "FieldArray"), array);
    EXPECT_EQ(array.name(), "list");
    EXPECT_EQ(array.itemName(), "FieldArray");
    EXPECT_TRUE(root.findArray("list", "FieldHashMap").isNull());
    EXPECT_TRUE(root.findArray("other", "FieldArray").isNull());
    EXPECT_TRUE(root.findObject("list").isNull());
}

TEST_F(ArrayNodeTest, anObjectIsNoArray)
{
    root.addObject("object");
    root.addObject("value").setValue(1);

    EXPECT_TRUE(root.findArray("object", "item").isNull());
    EXPECT_TRUE(root.findArray("value", "item").isNull());
}

TEST_F(ArrayNodeTest, itemsAreNodesOfEveryKind)
{
    ArrayNode array = root.addArray("map", "FieldHashMap");
    Node entry = array.append();
    entry.addObject("first").setValue("key");
    entry.addObject("second").addArray("inner", "FieldArray").append().setValue(true);

    const Node item = *array.begin();

    EXPECT_EQ(item.name(), "");
    EXPECT_EQ(item.findObject("first").toText(), QStringLiteral("key"));
    const ArrayNode inner = item.findObject("second").findArray("inner", "FieldArray");
    EXPECT_TRUE((*inner.begin()).toBool());
    EXPECT_EQ(raisedBy([&] { item.toBool(); }),
              "Cannot read an array item: it holds an object, expected a truth value");
}

TEST_F(ArrayNodeTest, isWalkedWhileItGrows)
{
    ArrayNode array = root.addArray("list", "FieldArray");
    array.append();

    int seen = 0;
    for (const Node &item : array) {
        (void)item;
        if (++seen < 1000)
            array.append();
    }

    EXPECT_EQ(seen, 1000);
}

TEST_F(ArrayNodeTest, aSizeHintBelowZeroIsNoHint)
{
    ArrayNode array = root.addArray("list", "FieldArray", -1);
    array.append();

    EXPECT_EQ(array.size(), 1);
}

TEST_F(ArrayNodeTest, aNullArrayRaisesInsteadOfCrashing)
{
    ArrayNode null;

    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(raisedBy([&] { null.size(); }), "Cannot use an array node: it is null");
    EXPECT_EQ(raisedBy([&] { null.append(); }), "Cannot use an array node: it is null");
    EXPECT_EQ(raisedBy([&] { null.begin(); }), "Cannot use an array node: it is null");
}

} // namespace Tesk::Data::Serialization
