#include <data/Document.h>

#include "Raised.h"

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tesk::Data::Serialization {

using testing::ElementsAre;

class NodeTest : public testing::Test
{
protected:
    static std::vector<std::string> namesOf(const Node &node)
    {
        std::vector<std::string> names;
        for (const NodeChild &child : node.children())
            names.emplace_back(child.name);
        return names;
    }

    TestSupport::RecordedLog log;
    Document document;
    Node root = document.root();
};

TEST_F(NodeTest, findsTheObjectThatWasAdded)
{
    const Node added = root.addObject("types");

    EXPECT_EQ(root.findObject("types"), added);
    EXPECT_EQ(root.findObject(QStringLiteral("types")), added);
    EXPECT_EQ(added.name(), "types");
}

TEST_F(NodeTest, anObjectThatIsNotThereIsNull)
{
    root.addObject("types").addObject("inner");

    EXPECT_TRUE(root.findObject("usages").isNull()); // a name that no node has
    EXPECT_TRUE(root.findObject("inner").isNull());  // a name that another node has
    EXPECT_TRUE(root.findObject("").isNull());
}

TEST_F(NodeTest, findsNamesThatDifferOnlyInLengthOrMiddle)
{
    // 1 to 3, 4 to 7, 8 to 16 and more bytes are compared in different ways.
    const std::vector<std::string> names = {"a",
                                            "aa",
                                            "aaa",
                                            "aba",
                                            "aaaa",
                                            "aaaaa",
                                            "abbba",
                                            "aaaaaaa",
                                            "aaabaaa",
                                            "aaaaaaaa",
                                            "aaaaaaaaa",
                                            "aaaabaaaa",
                                            "aaaaaaaaaaaaaaaa",
                                            "aaaaaaaaaaaaaaaaa",
                                            "aaaaaaaabaaaaaaaa",
                                            "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
                                            "aaaaaaaaaaaaaaaaaabaaaaaaaaaaaaaaaaa",
                                            "\xc3\xa9"};
    for (const std::string &name : names)
        root.addObject(std::string_view(name)).setValue(std::string_view(name));

    for (const std::string &name : names)
        EXPECT_EQ(root.findObject(std::string_view(name)).textView(), name);
    EXPECT_EQ(namesOf(root), names);
}

TEST_F(NodeTest, refusesANameThatIsTakenByAnythingElse)
{
    Node node = root.addObject("node");
    node.addObject("object");
    node.addArray("array", "item");
    node.setAttribute("attribute", true);

    for (const char *taken : {"object", "array", "attribute"}) {
        const std::string refusal =
                std::string("Cannot add \"") + taken + "\" to node \"node\": the name is taken";
        EXPECT_EQ(raisedBy([&] { node.addObject(taken); }), refusal);
        EXPECT_EQ(raisedBy([&] { node.addArray(taken, "item"); }), refusal);
    }
    EXPECT_EQ(raisedBy([&] { node.setAttribute("object", 1); }),
              "Cannot add \"object\" to node \"node\": the name is taken");
    EXPECT_THAT(namesOf(node), ElementsAre("object", "array", "attribute"));
}

TEST_F(NodeTest, theSameNameMayStandInDifferentNodes)
{
    root.addObject("a").addObject("a").addObject("a");

    EXPECT_EQ(root.findObject("a").findObject("a").findObject("a").name(), "a");
}

TEST_F(NodeTest, refusesATakenNameAmongManyWhileOthersAreFilledInTurn)
{
    // Two large nodes filled in turn, each with small ones below: every shape of the check.
    Node first = root.addObject("first");
    Node second = root.addObject("second");
    for (int i = 0; i < 40; ++i) {
        const QString name = QString::number(i);
        first.addObject(name).addObject(name);
        second.addObject(name).addObject(QStringLiteral("x"));
    }

    for (int i = 0; i < 40; ++i) {
        const QString name = QString::number(i);
        EXPECT_NE(raisedBy([&] { first.addObject(name); }), "") << i;
        EXPECT_NE(raisedBy([&] { second.addObject(name); }), "") << i;
    }
    EXPECT_EQ(raisedBy([&] { first.addObject("x"); }), "");
    EXPECT_EQ(first.children().size(), 41);
    EXPECT_EQ(second.children().size(), 40);
}

TEST_F(NodeTest, aNameIsFreeAgainAfterRemovalAmongMany)
{
    for (int i = 0; i < 20; ++i)
        root.addObject(QString::number(i));

    EXPECT_TRUE(root.removeChild("7"));
    root.addObject("7");

    EXPECT_EQ(root.children().size(), 20);
    EXPECT_EQ(namesOf(root).back(), "7");
}

TEST_F(NodeTest, refusesMalformedNames)
{
    EXPECT_EQ(raisedBy([&] { root.addObject(""); }), "Malformed name: a name is empty");
    EXPECT_EQ(raisedBy([&] { root.addObject("@class"); }),
              "Malformed name: the name \"@class\" begins with \"@\"");
    EXPECT_EQ(raisedBy([&] { root.setAttribute("@x", 1); }),
              "Malformed name: the name \"@x\" begins with \"@\"");
    EXPECT_EQ(raisedBy([&] { root.addArray("a", "@item"); }),
              "Malformed name: the name \"@item\" begins with \"@\"");
    EXPECT_EQ(raisedBy([&] { root.addObject(std::string_view("a\xff")); }),
              "Malformed name: the name \"a\xef\xbf\xbd\" is not valid UTF-8 at its byte 1");
    EXPECT_EQ(raisedBy([&] { root.addObject(QStringView(u"\xd800")); }),
              "Malformed name: the name \"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\" is not valid "
              "UTF-8 at its byte 0");
    EXPECT_EQ(raisedBy([&] { root.addObject(QString(256, QLatin1Char('n'))); }),
              "Malformed name: a name of 256 bytes is longer than 255");
    EXPECT_EQ(root.children().size(), 0);

    root.addObject(QString(255, QLatin1Char('n')));
    EXPECT_EQ(root.children().size(), 1);
}

TEST_F(NodeTest, aDocumentHasAtMost65536Names)
{
    Node item = root.addArray("a", "a").append();
    for (int i = 0; i < 65535; ++i) {
        item.addObject(QString::number(i));
        item.clear();
    }

    EXPECT_EQ(raisedBy([&] { item.addObject("b"); }),
              "Cannot add the name \"b\": the document has 65536 names, the most it can have");
    item.addObject("a"); // a name that is there already
}

TEST_F(NodeTest, removesFirstMiddleLastAndOnlyChild)
{
    for (const char *name : {"a", "b", "c", "d"})
        root.addObject(name);

    EXPECT_TRUE(root.removeChild("b"));
    EXPECT_THAT(namesOf(root), ElementsAre("a", "c", "d"));
    EXPECT_TRUE(root.removeChild("d"));
    EXPECT_THAT(namesOf(root), ElementsAre("a", "c"));
    EXPECT_TRUE(root.removeChild("a"));
    EXPECT_TRUE(root.removeChild("c"));
    EXPECT_THAT(namesOf(root), ElementsAre());
    EXPECT_FALSE(root.removeChild("c"));

    root.addObject("e");
    EXPECT_THAT(namesOf(root), ElementsAre("e"));
}

TEST_F(NodeTest, aChildAddedAfterTheLastWasRemovedFollowsTheOneBefore)
{
    root.addObject("a");
    root.addObject("b");

    root.removeChild("b");
    root.addObject("c");

    EXPECT_THAT(namesOf(root), ElementsAre("a", "c"));
}

TEST_F(NodeTest, removingAChildLeavesAttributesAlone)
{
    root.setAttribute("a", true);

    EXPECT_FALSE(root.removeChild("a"));

    EXPECT_TRUE(root.hasAttribute("a"));
}

TEST_F(NodeTest, renamesInPlace)
{
    root.addObject("a");
    root.addArray("b", "item");
    root.addObject("c");

    EXPECT_TRUE(root.renameChild("b", "z"));
    EXPECT_FALSE(root.renameChild("b", "y"));

    EXPECT_THAT(namesOf(root), ElementsAre("a", "z", "c"));
    EXPECT_FALSE(root.findArray("z", "item").isNull());
}

TEST_F(NodeTest, refusesToRenameToATakenName)
{
    root.addObject("a");
    root.setAttribute("b", true);

    EXPECT_EQ(raisedBy([&] { root.renameChild("a", "b"); }),
              "Cannot rename node \"a\" to \"b\": the name is taken");
    EXPECT_TRUE(root.renameChild("a", "a"));
    EXPECT_THAT(namesOf(root), ElementsAre("a", "b"));
}

TEST_F(NodeTest, theOldNameIsFreeAfterRenamingAmongMany)
{
    for (int i = 0; i < 20; ++i)
        root.addObject(QString::number(i));
    raisedBy([&] { root.addObject("3"); }); // the check has seen all names by now

    root.renameChild("3", "three");

    EXPECT_EQ(raisedBy([&] { root.addObject("3"); }), "");
    EXPECT_NE(raisedBy([&] { root.addObject("three"); }), "");
}

TEST_F(NodeTest, classInformationIsKeptAndReplaced)
{
    EXPECT_FALSE(root.hasClassInfo());

    root.setClassInfo(QStringLiteral("Tesk::Old"), 100);
    root.setClassInfo(QStringLiteral("Tesk::New"), 300);

    EXPECT_TRUE(root.hasClassInfo());
    EXPECT_EQ(root.className(), QStringLiteral("Tesk::New"));
    EXPECT_EQ(root.classVersion(), 300);
    EXPECT_EQ(root.children().size(), 0);
}

TEST_F(NodeTest, missingClassInformationRaises)
{
    Node second = root.addObject("second");

    EXPECT_EQ(raisedBy([&] { second.className(); }),
              "Cannot read the class of node \"second\": it has no class information");
    EXPECT_EQ(raisedBy([&] { second.classVersion(); }),
              "Cannot read the class of node \"second\": it has no class information");
    EXPECT_EQ(raisedBy([&] { second.checkClassInfo(QStringLiteral("A")); }),
              "Cannot read the class of node \"second\": it has no class information");
}

TEST_F(NodeTest, checksTheClassAndNamesBoth)
{
    Node second = root.addObject("second");
    second.setClassInfo(QStringLiteral("A"), 1);

    EXPECT_EQ(raisedBy([&] { second.checkClassInfo(QStringLiteral("A")); }), "");
    EXPECT_EQ(raisedBy([&] { second.checkClassInfo(QStringLiteral("B")); }),
              "Cannot read node \"second\": it holds class \"A\", expected class \"B\"");
}

TEST_F(NodeTest, refusesClassNamesAndVersionsThatCannotBeStored)
{
    EXPECT_EQ(raisedBy([&] { root.setClassInfo(QString(), 1); }),
              "Malformed name: a name is empty");
    EXPECT_EQ(raisedBy([&] { root.setClassInfo(QStringLiteral("A"), -1); }),
              "Cannot set the version of class \"A\" to -1: expected a number from 0");
    EXPECT_FALSE(root.hasClassInfo());
}

TEST_F(NodeTest, walksChildrenInOrderWithTheirKinds)
{
    root.addObject("value").setValue(1);
    root.setAttribute("attribute", QStringLiteral("text"));
    root.addArray("array", "item").append();
    root.addObject("object").addObject("inner");

    std::vector<NodeChild> children(root.children().begin(), root.children().end());

    ASSERT_EQ(children.size(), 4U);
    EXPECT_EQ(root.children().size(), 4);
    EXPECT_EQ(children[0].kind, ChildKind::Object);
    EXPECT_EQ(children[0].node.toUInt(), 1U);
    EXPECT_EQ(children[1].kind, ChildKind::Attribute);
    EXPECT_EQ(children[1].node.toText(), QStringLiteral("text"));
    EXPECT_EQ(children[2].kind, ChildKind::Array);
    EXPECT_EQ(children[2].array.size(), 1);
    EXPECT_TRUE(children[2].node.isNull());
    EXPECT_EQ(children[3].kind, ChildKind::Object);
    EXPECT_EQ(children[3].node, root.findObject("object"));
}

TEST_F(NodeTest, aValueHasNoChildrenToWalk)
{
    root.setValue("text");

    EXPECT_EQ(root.children().begin(), root.children().end());
}

} // namespace Tesk::Data::Serialization
