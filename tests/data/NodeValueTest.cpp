#include <data/Document.h>

#include "Raised.h"

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Tesk::Data::Serialization {

class NodeValueTest : public testing::Test
{
protected:
    TestSupport::RecordedLog log; // errors are logged; keep them out of the output
    Document document;
    Node root = document.root();
    Node node = root.addObject("value");
};

TEST_F(NodeValueTest, aNewNodeHoldsNoValue)
{
    EXPECT_EQ(node.valueKind(), ValueKind::None);
}

TEST_F(NodeValueTest, keepsTheLargestUnsignedInteger)
{
    node.setValue(std::numeric_limits<quint64>::max());

    EXPECT_EQ(node.valueKind(), ValueKind::Unsigned);
    EXPECT_EQ(node.toUInt(), std::numeric_limits<quint64>::max());
}

TEST_F(NodeValueTest, keepsTheSmallestSignedInteger)
{
    node.setValue(std::numeric_limits<qint64>::min());

    EXPECT_EQ(node.valueKind(), ValueKind::Signed);
    EXPECT_EQ(node.toInt(), std::numeric_limits<qint64>::min());
}

TEST_F(NodeValueTest, aPositiveSignedIntegerIsUnsigned)
{
    node.setValue(qint64(7));

    EXPECT_EQ(node.valueKind(), ValueKind::Unsigned);
    EXPECT_EQ(node.toUInt(), 7U);
    EXPECT_EQ(node.toInt(), 7);
}

TEST_F(NodeValueTest, keepsTruthValues)
{
    node.setValue(true);
    EXPECT_EQ(node.valueKind(), ValueKind::Bool);
    EXPECT_TRUE(node.toBool());

    node.setValue(false);
    EXPECT_FALSE(node.toBool());
}

TEST_F(NodeValueTest, keepsDoublesBitByBit)
{
    node.setValue(-0.0);

    EXPECT_EQ(node.valueKind(), ValueKind::Double);
    EXPECT_EQ(node.toDouble(), 0.0);
    EXPECT_TRUE(std::signbit(node.toDouble()));
}

TEST_F(NodeValueTest, keepsTextFromEverySource)
{
    node.setValue(QStringLiteral("caf\u00e9"));
    EXPECT_EQ(node.textView(), "caf\xc3\xa9");
    node.setValue(u"\U0001f600");
    EXPECT_EQ(node.textView(), "\xf0\x9f\x98\x80");
    node.setValue("plain");
    EXPECT_EQ(node.toText(), QStringLiteral("plain"));
    node.setValue(std::string_view("with\0null", 9));
    EXPECT_EQ(node.textView(), std::string_view("with\0null", 9));
    EXPECT_EQ(node.valueKind(), ValueKind::Text);
}

TEST_F(NodeValueTest, keepsEmptyTextAndEmptyBytesApart)
{
    node.setValue("");
    EXPECT_EQ(node.valueKind(), ValueKind::Text);
    EXPECT_EQ(node.toText(), QString());

    node.setValue(QByteArray());
    EXPECT_EQ(node.valueKind(), ValueKind::Bytes);
    EXPECT_EQ(node.toBytes(), QByteArray());
}

TEST_F(NodeValueTest, bytesNeedNotBeText)
{
    const QByteArray bytes("\xff\x00\xfe", 3);

    node.setValue(bytes);

    EXPECT_EQ(node.valueKind(), ValueKind::Bytes);
    EXPECT_EQ(node.toBytes(), bytes);
}

TEST_F(NodeValueTest, aTextLargerThanAChunkIsKeptWhole)
{
    const QString large(100'000, QLatin1Char('x'));
    node.setValue(large);
    Node second = root.addObject("second");
    second.setValue("small");

    EXPECT_EQ(node.toText(), large);
    EXPECT_EQ(second.toText(), QStringLiteral("small"));
}

TEST_F(NodeValueTest, aValueReplacesAValue)
{
    node.setValue("text");

    node.setValue(3U);

    EXPECT_EQ(node.valueKind(), ValueKind::Unsigned);
    EXPECT_EQ(node.toUInt(), 3U);
}

TEST_F(NodeValueTest, readingTheWrongKindNamesTheNodeWhatWasFoundAndWhatWasExpected)
{
    node.setValue("text");

    EXPECT_EQ(raisedBy([&] { node.toUInt(); }),
              "Cannot read node \"value\": it holds text, expected an unsigned integer");
    EXPECT_EQ(raisedBy([&] { node.toInt(); }),
              "Cannot read node \"value\": it holds text, expected an unsigned integer");
    EXPECT_EQ(raisedBy([&] { node.toBool(); }),
              "Cannot read node \"value\": it holds text, expected a truth value");
    EXPECT_EQ(raisedBy([&] { node.toDouble(); }),
              "Cannot read node \"value\": it holds text, expected a floating-point number");
    EXPECT_EQ(raisedBy([&] { node.toBytes(); }),
              "Cannot read node \"value\": it holds text, expected bytes");
    EXPECT_EQ(raisedBy([&] { root.toText(); }),
              "Cannot read the root node: it holds an object, expected text");
}

TEST_F(NodeValueTest, aNegativeIntegerIsNoUnsignedOne)
{
    node.setValue(-1);

    EXPECT_EQ(raisedBy([&] { node.toUInt(); }),
              "Cannot read node \"value\": it holds a negative integer, expected an unsigned "
              "integer");
}

TEST_F(NodeValueTest, anUnsignedIntegerBeyondTheSignedOnesIsNotCutOff)
{
    node.setValue(quint64(1) << 63);

    EXPECT_EQ(raisedBy([&] { node.toInt(); }),
              "Cannot read node \"value\": it holds 9223372036854775808, expected at most "
              "9223372036854775807");
}

TEST_F(NodeValueTest, anErrorIsLoggedOnceWithItsPlace)
{
    raisedBy([&] { node.toBool(); });

    ASSERT_EQ(log.messages().size(), 1U);
    EXPECT_EQ(log.messages()[0].service, VantBase::LogService::Data);
    EXPECT_EQ(log.messages()[0].level, VantBase::LogLevel::Error);
    EXPECT_EQ(log.messages()[0].text,
              "Cannot read node \"value\": it holds an object, expected a truth value");
    EXPECT_EQ(log.messages()[0].place.rfind("Node.cpp:", 0), 0U) << log.messages()[0].place;
}

TEST_F(NodeValueTest, refusesTextThatIsNotUtf8AndKeepsTheOldValue)
{
    node.setValue("old");

    // A stray continuation, an overlong form, a surrogate, too large a number, a cut sequence.
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("ab\x80")); }),
              "Malformed text: not valid UTF-8 at byte 2");
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("\xc1\x81")); }),
              "Malformed text: not valid UTF-8 at byte 0");
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("a\xe0\x9f\xbf")); }),
              "Malformed text: not valid UTF-8 at byte 1");
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("a\xed\xa0\x80")); }),
              "Malformed text: not valid UTF-8 at byte 1");
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("\xf0\x8f\xbf\xbf")); }),
              "Malformed text: not valid UTF-8 at byte 0");
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("\xf4\x90\x80\x80")); }),
              "Malformed text: not valid UTF-8 at byte 0");
    EXPECT_EQ(raisedBy([&] { node.setValue(std::string_view("long ascii text \xe2\x82")); }),
              "Malformed text: not valid UTF-8 at byte 16");
    EXPECT_EQ(node.toText(), QStringLiteral("old"));
}

TEST_F(NodeValueTest, acceptsTheFirstAndLastCodePointOfEverySequenceLength)
{
    const std::string_view borders[] = {"\x7f",         "\xc2\x80",         "\xdf\xbf",
                                        "\xe0\xa0\x80", "\xed\x9f\xbf",     "\xee\x80\x80",
                                        "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"};
    for (const std::string_view text : borders) {
        node.setValue(text);
        EXPECT_EQ(node.textView(), text);
        EXPECT_EQ(node.toText().toUtf8().toStdString(), text);
    }
}

TEST_F(NodeValueTest, refusesALoneSurrogateAndSaysWhere)
{
    EXPECT_EQ(raisedBy([&] { node.setValue(QStringView(u"\U0001f600\xd800z")); }),
              "Malformed text: a lone surrogate at unit 2");
    EXPECT_EQ(raisedBy([&] { node.setValue(QStringView(u"\xdc00")); }),
              "Malformed text: a lone surrogate at unit 0");
}

TEST_F(NodeValueTest, aNodeWithChildrenTakesNoValue)
{
    node.addObject("child");

    EXPECT_EQ(raisedBy([&] { node.setValue(1); }),
              "Cannot set the value of node \"value\": it has 1 children");
    EXPECT_EQ(node.valueKind(), ValueKind::None);
}

TEST_F(NodeValueTest, aNodeWithClassInformationTakesNoValue)
{
    node.setClassInfo(QStringLiteral("Class"), 1);

    EXPECT_EQ(raisedBy([&] { node.setValue(1); }),
              "Cannot set the value of node \"value\": it has 0 children and class information");
}

TEST_F(NodeValueTest, aNodeWithAValueTakesNoChildren)
{
    node.setValue(1);

    const std::string refusal =
            "Cannot add to node \"value\": it holds an unsigned integer, expected an object";
    EXPECT_EQ(raisedBy([&] { node.addObject("a"); }), refusal);
    EXPECT_EQ(raisedBy([&] { node.addArray("a", "item"); }), refusal);
    EXPECT_EQ(raisedBy([&] { node.setAttribute("a", true); }), refusal);
    EXPECT_EQ(raisedBy([&] { node.setClassInfo(QStringLiteral("a"), 1); }), refusal);
    EXPECT_TRUE(node.findObject("a").isNull());
    EXPECT_EQ(node.children().size(), 0);
}

TEST_F(NodeValueTest, clearingMakesAnObjectAgain)
{
    node.setValue(1);

    node.clear();
    node.addObject("child");

    EXPECT_EQ(node.valueKind(), ValueKind::None);
    EXPECT_EQ(node.children().size(), 1);
    EXPECT_EQ(node.name(), "value");
}

TEST_F(NodeValueTest, aNullNodeRaisesInsteadOfCrashing)
{
    Node null;

    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(raisedBy([&] { null.toBool(); }), "Cannot use a node: it is null");
    EXPECT_EQ(raisedBy([&] { null.setValue(true); }), "Cannot use a node: it is null");
    EXPECT_EQ(raisedBy([&] { null.addObject("a"); }), "Cannot use a node: it is null");
    EXPECT_EQ(raisedBy([&] { null.findObject("a"); }), "Cannot use a node: it is null");
    EXPECT_EQ(raisedBy([&] { null.children().begin(); }), "Cannot use a node: it is null");
    EXPECT_EQ(raisedBy([&] { root.copyFrom(null); }), "Cannot use a node: it is null");
}

} // namespace Tesk::Data::Serialization
