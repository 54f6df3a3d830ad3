#include <data/Cbor.h>

#include "Raised.h"

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

#include <utility>

namespace Tesk::Data::Serialization {

namespace {

/// One of everything.
void fill(Node node)
{
    node.setClassInfo(QStringLiteral("Tesk::Class"), 7);
    node.setAttribute("attribute", true);
    node.addObject("text").setValue("text");
    node.addObject("bytes").setValue(QByteArray("\xff\x00", 2));
    node.addObject("number").setValue(-1.5);
    ArrayNode array = node.addArray("array", "item");
    array.append().setValue(1);
    array.append().addObject("first").setValue("key");
    array.append().setClassInfo(QStringLiteral("Tesk::Inner"), 0);
    node.addObject("empty");
}

} // namespace

TEST(DocumentTest, startsAsAnEmptyObject)
{
    const Document document;

    EXPECT_FALSE(document.root().isNull());
    EXPECT_EQ(document.root().children().size(), 0);
    EXPECT_EQ(document.root().valueKind(), ValueKind::None);
    EXPECT_EQ(document.root().name(), "");
}

// A dropped document leaves its memory to the next one of the thread, and nothing else.
TEST(DocumentTest, startsAsAnEmptyObjectAfterAnotherOneWasDropped)
{
    for (int round = 0; round < 3; ++round) {
        Document document;
        EXPECT_EQ(toCbor(document), toCbor(Document()));
        EXPECT_TRUE(document.root().findObject("text").isNull());
        fill(document.root());
        const Document decoded = fromCbor(toCbor(document));
        EXPECT_EQ(toCbor(decoded), toCbor(document));
    }
}

TEST(DocumentTest, theNamesOfADroppedDocumentDoNotCountAmongThoseOfTheNext)
{
    const TestSupport::RecordedLog log; // keeps the error out of the output
    const auto addNames = [](Document &document, const QString &prefix, quint32 count) {
        Node item = document.root().addArray("item", "item").append();
        for (quint32 number = 1; number < count; ++number) {
            item.addObject(prefix + QString::number(number));
            item.clear();
        }
        return item;
    };
    {
        Document dropped;
        addNames(dropped, QStringLiteral("dropped"), 400);
    }
    Document document;
    Node item = addNames(document, QStringLiteral("kept"), CborLimits::sMaxNames);

    EXPECT_EQ(raisedBy([&] { item.addObject("dropped7"); }),
              "Cannot add the name \"dropped7\": the document has 65536 names, the most it can "
              "have");
    item.addObject("kept7");

    document.clear();
    addNames(document, QStringLiteral("again"), CborLimits::sMaxNames);
    EXPECT_EQ(document.root().children().size(), 1);
}

TEST(DocumentTest, keepsItsTextsWhenDocumentsAroundItAreDropped)
{
    Document kept;
    {
        Document dropped;
        fill(dropped.root());
        fill(kept.root());
    }
    const Document next;
    fill(next.root());

    EXPECT_EQ(kept.root().findObject("text").toText(), "text");
    EXPECT_EQ(toCbor(kept), toCbor(next));
}

TEST(DocumentTest, handlesStayValidWhenItIsMoved)
{
    Document document;
    const Node child = document.root().addObject("child");

    const Document moved = std::move(document);

    EXPECT_EQ(moved.root().findObject("child"), child);
}

TEST(DocumentTest, clearingForgetsEverything)
{
    Document document;
    fill(document.root());

    document.clear();

    EXPECT_EQ(toCbor(document), toCbor(Document()));
    fill(document.root()); // and it can be filled again
    EXPECT_EQ(document.root().findObject("text").toText(), QStringLiteral("text"));
}

TEST(DocumentTest, reservingChangesNothing)
{
    Document document;
    fill(document.root());
    const QByteArray before = toCbor(document);

    document.reserve(1000);
    document.reserve(-1);

    EXPECT_EQ(toCbor(document), before);
}

TEST(DocumentTest, aCopyFromAnotherDocumentOutlivesIt)
{
    Document target;
    QByteArray expected;
    {
        Document source;
        fill(source.root());
        expected = toCbor(source);
        const Document decoded = fromCbor(expected); // its texts are views
        target.root().addObject("built").copyFrom(source.root());
        target.root().addObject("decoded").copyFrom(decoded.root());
    }

    EXPECT_EQ(toCbor(target.root().findObject("built")), expected);
    EXPECT_EQ(toCbor(target.root().findObject("decoded")), expected);
}

TEST(DocumentTest, aCopyIsDeep)
{
    Document document;
    Node source = document.root().addObject("source");
    fill(source);
    Node copy = document.root().addObject("copy");
    copy.copyFrom(source);
    const QByteArray expected = toCbor(source);

    copy.findObject("text").setValue("changed");
    copy.removeChild("array");
    copy.setClassInfo(QStringLiteral("Other"), 1);

    EXPECT_EQ(toCbor(source), expected);
    EXPECT_EQ(copy.name(), "copy");
}

TEST(DocumentTest, aCopyReplacesWhatWasThere)
{
    Document document;
    Node source = document.root().addObject("source");
    source.setValue("text");
    Node target = document.root().addObject("target");
    fill(target);

    target.copyFrom(source);

    EXPECT_EQ(target.toText(), QStringLiteral("text"));
    EXPECT_EQ(target.children().size(), 0);
}

TEST(DocumentTest, aNodeCanBeReplacedByItsOwnChild)
{
    Document document;
    Node outer = document.root().addObject("outer");
    fill(outer.addObject("inner"));
    const QByteArray expected = toCbor(outer.findObject("inner"));

    outer.copyFrom(outer.findObject("inner"));

    EXPECT_EQ(toCbor(outer), expected);
}

TEST(DocumentTest, aNodeCanTakeACopyOfItsOwnParent)
{
    Document document;
    Node outer = document.root().addObject("outer");
    fill(outer);
    const QByteArray before = toCbor(outer);

    Node inner = outer.findObject("empty");
    inner.copyFrom(outer);

    EXPECT_EQ(toCbor(inner), before);
}

TEST(DocumentTest, aCopyOfItselfChangesNothing)
{
    Document document;
    fill(document.root());
    const QByteArray before = toCbor(document);

    document.root().copyFrom(document.root());

    EXPECT_EQ(toCbor(document), before);
}

TEST(DocumentTest, aCopyOfATreeTooDeepToStoreRaisesAndChangesNothing)
{
    const TestSupport::RecordedLog log;
    Document document;
    Node target = document.root().addObject("target");
    target.setValue("kept");
    Node deepest = document.root().addObject("source");
    for (int depth = 1; depth < CborLimits::sMaxDepth; ++depth)
        deepest = deepest.addObject("n");

    EXPECT_EQ(raisedBy([&] { Document().root().copyFrom(document.root().findObject("source")); }),
              "");
    deepest.addObject("one more");
    EXPECT_EQ(raisedBy([&] { target.copyFrom(document.root().findObject("source")); }),
              "Cannot copy node \"one more\": it stands deeper than 64");
    EXPECT_EQ(target.toText(), QStringLiteral("kept"));
}

} // namespace Tesk::Data::Serialization
