#include <data/Cbor.h>

#include "Raised.h"

#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>

namespace Tesk::Data::Serialization {

namespace {

QByteArray hexOf(const std::function<void(Node)> &fill)
{
    Document document;
    fill(document.root());
    const QByteArray bytes = toCbor(document);
    EXPECT_EQ(toCbor(fromCbor(bytes)), bytes);
    return bytes.toHex();
}

QByteArray hexOfValue(auto value)
{
    return hexOf([&](Node root) { root.setValue(value); });
}

Document decoded(const char *hex)
{
    return fromCbor(QByteArray::fromHex(hex));
}

} // namespace

TEST(CborTest, writesUnsignedIntegersInTheirShortestForm)
{
    EXPECT_EQ(hexOfValue(0U), "00");
    EXPECT_EQ(hexOfValue(23U), "17");
    EXPECT_EQ(hexOfValue(24U), "1818");
    EXPECT_EQ(hexOfValue(255U), "18ff");
    EXPECT_EQ(hexOfValue(256U), "190100");
    EXPECT_EQ(hexOfValue(65535U), "19ffff");
    EXPECT_EQ(hexOfValue(65536U), "1a00010000");
    EXPECT_EQ(hexOfValue(4294967295U), "1affffffff");
    EXPECT_EQ(hexOfValue(quint64(4294967296)), "1b0000000100000000");
    EXPECT_EQ(hexOfValue(std::numeric_limits<quint64>::max()), "1bffffffffffffffff");
}

TEST(CborTest, writesNegativeIntegersInTheirShortestForm)
{
    EXPECT_EQ(hexOfValue(-1), "20");
    EXPECT_EQ(hexOfValue(-24), "37");
    EXPECT_EQ(hexOfValue(-25), "3818");
    EXPECT_EQ(hexOfValue(-256), "38ff");
    EXPECT_EQ(hexOfValue(-257), "390100");
    EXPECT_EQ(hexOfValue(std::numeric_limits<qint64>::min()), "3b7fffffffffffffff");
}

TEST(CborTest, writesAPositiveSignedIntegerLikeAnUnsignedOne)
{
    EXPECT_EQ(hexOfValue(qint64(500)), hexOfValue(quint64(500)));
}

TEST(CborTest, writesTruthValues)
{
    EXPECT_EQ(hexOfValue(false), "f4");
    EXPECT_EQ(hexOfValue(true), "f5");
}

TEST(CborTest, writesTextAndBytes)
{
    EXPECT_EQ(hexOfValue(QString()), "60");
    EXPECT_EQ(hexOfValue(QStringLiteral("\u00fc")), "62c3bc");
    EXPECT_EQ(hexOfValue("IETF"), "6449455446");
    EXPECT_EQ(hexOfValue(QByteArray()), "40");
    EXPECT_EQ(hexOfValue(QByteArray("\x01\xff", 2)), "4201ff");
    EXPECT_EQ(hexOfValue(QByteArray(24, 'a')), "5818" + QByteArray(24, 'a').toHex());
}

TEST(CborTest, writesFloatingPointNumbersInTheShortestFormThatKeepsThem)
{
    EXPECT_EQ(hexOfValue(0.0), "f90000");
    EXPECT_EQ(hexOfValue(-0.0), "f98000");
    EXPECT_EQ(hexOfValue(1.0), "f93c00");
    EXPECT_EQ(hexOfValue(65504.0), "f97bff");     // the largest half
    EXPECT_EQ(hexOfValue(65536.0), "fa47800000"); // beyond it
    EXPECT_EQ(hexOfValue(100000.0), "fa47c35000");
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, -24)), "f90001");     // the smallest half
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, -25)), "fa33000000"); // half of it
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, -14)), "f90400");     // the smallest normal half
    EXPECT_EQ(hexOfValue(-4.0), "f9c400");
    EXPECT_EQ(hexOfValue(1.1), "fb3ff199999999999a");
    EXPECT_EQ(hexOfValue(3.4028234663852886e+38), "fa7f7fffff"); // the largest single
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, 128)), "fb47f0000000000000");
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, -149)), "fa00000001"); // the smallest single
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, -150)), "fb3690000000000000");
    EXPECT_EQ(hexOfValue(std::ldexp(3.0, -149)), "fa00000003");
    EXPECT_EQ(hexOfValue(std::ldexp(1.0, -1074)), "fb0000000000000001");
    EXPECT_EQ(hexOfValue(std::numeric_limits<double>::infinity()), "f97c00");
    EXPECT_EQ(hexOfValue(-std::numeric_limits<double>::infinity()), "f9fc00");
}

TEST(CborTest, writesEveryNanAlike)
{
    EXPECT_EQ(hexOfValue(std::numeric_limits<double>::quiet_NaN()), "f97e00");
    EXPECT_EQ(hexOfValue(std::bit_cast<double>(quint64(0xFFF0000000000001))), "f97e00");
}

TEST(CborTest, everyHalfIsReadAndWrittenUnchanged)
{
    for (unsigned half = 0; half <= 0xFFFF; ++half) {
        const bool isNan = (half & 0x7FFF) > 0x7C00;
        if (isNan && half != 0x7E00)
            continue;
        QByteArray bytes("\xf9\x00\x00", 3);
        bytes[1] = static_cast<char>(half >> 8);
        bytes[2] = static_cast<char>(half & 0xFF);
        const Document document = fromCbor(bytes);
        ASSERT_EQ(toCbor(document), bytes);

        const int exponent = static_cast<int>(half >> 10 & 31);
        const double mantissa = half & 1023;
        const double size = exponent == 0 ? std::ldexp(mantissa, -24)
                                          : std::ldexp(mantissa + 1024, exponent - 25);
        if (exponent != 31) {
            ASSERT_EQ(document.root().toDouble(), half >> 15 == 0 ? size : -size) << half;
        }
    }
}

TEST(CborTest, writesAnEmptyObjectAsAnEmptyMap)
{
    EXPECT_EQ(hexOf([](Node) {}), "a0");
}

TEST(CborTest, writesChildrenInTheOrderInWhichTheyWereAdded)
{
    EXPECT_EQ(hexOf([](Node root) {
                  root.addObject("b").setValue(1);
                  root.addObject("a").setValue(true);
                  root.addObject("c");
              }),
              "a3"
              "616201"
              "6161f5"
              "6163a0");
}

TEST(CborTest, writesAnArrayAsItsItemNameAndItsItems)
{
    EXPECT_EQ(hexOf([](Node root) {
                  ArrayNode array = root.addArray("l", "it");
                  array.append().setValue("x");
                  array.append().addObject("k").setValue(2);
                  root.addArray("e", "it");
              }),
              "a2"
              "616c"
              "83"
              "626974"
              "6178"
              "a1616b02"
              "6165"
              "81"
              "626974");
}

TEST(CborTest, writesAttributesBehindAnAtSign)
{
    EXPECT_EQ(hexOf([](Node root) {
                  root.setAttribute("nullptr", true);
                  root.setAttribute("n", -1);
                  root.setAttribute("t", "x");
              }),
              "a3"
              "68406e756c6c707472"
              "f5"
              "62406e"
              "20"
              "624074"
              "6178");
}

TEST(CborTest, writesClassInformationFirstWheneverItWasSet)
{
    EXPECT_EQ(hexOf([](Node root) {
                  root.addObject("f").setValue(0);
                  root.setClassInfo(QStringLiteral("A::B"), 300);
              }),
              "a2"
              "6640636c617373"
              "82"
              "64413a3a42"
              "19012c"
              "6166"
              "00");
}

TEST(CborTest, writesASubtreeWithoutItsName)
{
    Document document;
    Node child = document.root().addObject("child");
    child.addObject("x").setValue(1);

    EXPECT_EQ(toCbor(child).toHex(), "a1617801");
}

TEST(CborTest, doesNotWriteWhatWasRemoved)
{
    EXPECT_EQ(hexOf([](Node root) {
                  root.addObject("a").addObject("inner");
                  root.addObject("b");
                  root.setAttribute("c", true);
                  root.removeChild("a");
                  root.removeAttribute("c");
              }),
              "a16162a0");
}

TEST(CborTest, equalContentBuiltInDifferentWaysGivesEqualBytes)
{
    Document first;
    first.root().addObject("n").setValue(1);
    first.root().addObject("m").setValue("text");

    Document second;
    second.root().addObject("other").setValue(5.5);
    second.root().clear();
    second.root().addObject("old");
    second.root().renameChild("old", "n");
    second.root().findObject("n").setValue(qint64(1));
    second.root().addObject("m").setValue(QStringLiteral("text"));

    EXPECT_EQ(toCbor(first), toCbor(second));
}

TEST(CborTest, readsEachKindOfNode)
{
    const Document document = decoded("a8"
                                      "6640636c617373"
                                      "82"
                                      "6141"
                                      "07"
                                      "624061"
                                      "f5"
                                      "6175"
                                      "19012c"
                                      "6173"
                                      "3903e7"
                                      "6166"
                                      "f93e00"
                                      "6174"
                                      "63e282ac"
                                      "6162"
                                      "42ff00"
                                      "616c"
                                      "83"
                                      "626974"
                                      "f4"
                                      "a0");
    const Node root = document.root();

    EXPECT_EQ(root.className(), QStringLiteral("A"));
    EXPECT_EQ(root.classVersion(), 7);
    EXPECT_TRUE(root.attribute("a", false));
    EXPECT_EQ(root.findObject("u").toUInt(), 300U);
    EXPECT_EQ(root.findObject("s").toInt(), -1000);
    EXPECT_EQ(root.findObject("f").toDouble(), 1.5);
    EXPECT_EQ(root.findObject("t").toText(), QStringLiteral("\u20ac"));
    EXPECT_EQ(root.findObject("b").toBytes(), QByteArray("\xff\x00", 2));
    const ArrayNode array = root.findArray("l", "it");
    EXPECT_EQ(array.size(), 2);
    EXPECT_FALSE((*array.begin()).toBool());
    EXPECT_EQ(root.children().size(), 7);
}

TEST(CborTest, aReadDocumentKeepsItsBytes)
{
    QByteArray bytes = QByteArray::fromHex("a16161"
                                           "6378797a");

    const Document document = fromCbor(bytes);
    bytes.fill('\0');
    bytes.clear();

    EXPECT_EQ(document.root().findObject("a").toText(), QStringLiteral("xyz"));
}

TEST(CborTest, aReadDocumentCanBeChanged)
{
    Document document = decoded("a2616101616202");

    document.root().findObject("a").setValue("text");
    document.root().removeChild("b");
    document.root().addObject("c");

    EXPECT_EQ(toCbor(document).toHex(), "a2"
                                        "6161"
                                        "6474657874"
                                        "6163"
                                        "a0");
    const TestSupport::RecordedLog log;
    EXPECT_EQ(raisedBy([&] { document.root().addObject("a"); }),
              "Cannot add \"a\" to the root node: the name is taken");
}

TEST(CborTest, aTextLargerThanTheFirstBufferIsWrittenWhole)
{
    const QString text(10'000, QLatin1Char('x'));
    Document document;
    document.root().addObject("a").setValue(text);
    document.root().addObject("b").setValue(text);

    const Document read = fromCbor(toCbor(document));

    EXPECT_EQ(read.root().findObject("a").toText(), text);
    EXPECT_EQ(read.root().findObject("b").toText(), text);
}

TEST(CborTest, aTreeOfTheGreatestDepthIsWrittenAndRead)
{
    Document document;
    Node node = document.root();
    for (int depth = 1; depth < CborLimits::sMaxDepth; ++depth)
        node = node.addObject("n");
    node.addObject("value").setValue(1); // a value adds no depth

    const QByteArray bytes = toCbor(document);
    EXPECT_EQ(toCbor(fromCbor(bytes)), bytes);

    const TestSupport::RecordedLog log;
    node.addObject("deeper");
    EXPECT_EQ(raisedBy([&] { toCbor(document); }), "Cannot write the nodes: nested deeper than 64");
}

TEST(CborTest, theGreatestNumberOfNodesIsWrittenAndRead)
{
    const TestSupport::RecordedLog log;
    Document document;
    ArrayNode array = document.root().addArray("a", "i", CborLimits::sMaxNodes);
    for (quint32 i = 2; i < CborLimits::sMaxNodes; ++i)
        array.append().setValue(0);

    const QByteArray bytes = toCbor(document);
    EXPECT_EQ(fromCbor(bytes).root().findArray("a", "i").size(), CborLimits::sMaxNodes - 2);

    array.append();
    EXPECT_EQ(raisedBy([&] { toCbor(document); }), "Cannot write the nodes: more than 4194304");
}

TEST(CborTest, moreBytesThanTheLimitAreNotWritten)
{
    const TestSupport::RecordedLog log;
    Document document;
    document.root().addObject("a").setValue(QByteArray(CborLimits::sMaxBytes - 8, '\0'));
    // 1 for the map, 2 for the name, 5 for the length.
    const QByteArray bytes = toCbor(document);
    EXPECT_EQ(bytes.size(), CborLimits::sMaxBytes);
    EXPECT_EQ(fromCbor(bytes).root().children().size(), 1);

    document.root().setAttribute("b", true);
    EXPECT_EQ(raisedBy([&] { toCbor(document); }),
              "Cannot write the root node: 67108868 bytes are more than 67108864");
    EXPECT_EQ(
            raisedBy([&] { document.root().addObject("c").setValue(QByteArray(67108865, '\0')); }),
            "Cannot keep 67108865 bytes: the limit is 67108864");
}

} // namespace Tesk::Data::Serialization
