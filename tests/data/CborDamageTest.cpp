#include <data/Cbor.h>

#include "Raised.h"

#include <support/RecordedLog.h>

#include <gtest/gtest.h>

#include <string>

namespace Tesk::Data::Serialization {

class CborDamageTest : public testing::Test
{
protected:
    static std::string faultOfBytes(const QByteArray &bytes)
    {
        const std::string raised = raisedBy([&] { fromCbor(bytes); });
        const std::string start = "Malformed CBOR at byte ";
        return raised.rfind(start, 0) == 0 ? raised.substr(start.size()) : raised;
    }
    static std::string faultOf(const char *hex) { return faultOfBytes(QByteArray::fromHex(hex)); }

    TestSupport::RecordedLog log;
};

TEST_F(CborDamageTest, refusesNothingAtAll)
{
    EXPECT_EQ(faultOf(""), "0: the data ends where an item must begin");
    EXPECT_EQ(faultOfBytes(QByteArray()), "0: the data ends where an item must begin");
}

TEST_F(CborDamageTest, refusesACutItem)
{
    EXPECT_EQ(faultOf("a26161006162"), "6: the data ends where an item must begin");
    EXPECT_EQ(faultOf("a161611901"), "3: the data ends inside an item");
    EXPECT_EQ(faultOf("a1616165616263"), "3: text of 5 bytes where 3 are left");
    EXPECT_EQ(faultOf("a1616143"), "3: bytes of 3 bytes where 0 are left");
    EXPECT_EQ(faultOf("5bffffffffffffffff"),
              "0: bytes of 18446744073709551615 bytes where 0 are left");
}

TEST_F(CborDamageTest, refusesWhatFollowsTheEnd)
{
    EXPECT_EQ(faultOf("a00000"), "1: 2 bytes follow the end");
}

TEST_F(CborDamageTest, refusesNumbersAndLengthsThatAreNotInTheirShortestForm)
{
    const std::string fault = "0: a number or length that is not in its shortest form";
    EXPECT_EQ(faultOf("1817"), fault);
    EXPECT_EQ(faultOf("1900ff"), fault);
    EXPECT_EQ(faultOf("1a0000ffff"), fault);
    EXPECT_EQ(faultOf("1b00000000ffffffff"), fault);
    EXPECT_EQ(faultOf("3817"), fault);
    EXPECT_EQ(faultOf("580161"), fault);
    EXPECT_EQ(faultOf("780161"), fault);
    EXPECT_EQ(faultOf("b800"), fault);
    EXPECT_EQ(faultOf("a1616198016169"), "3: a number or length that is not in its shortest form");
}

TEST_F(CborDamageTest, refusesFloatingPointNumbersThatAreNotInTheirShortestForm)
{
    const std::string fault = "0: a floating-point number that is not in its shortest form";
    EXPECT_EQ(faultOf("fa3f800000"), fault);
    EXPECT_EQ(faultOf("fb3ff0000000000000"), fault);
    EXPECT_EQ(faultOf("fb40f86a0000000000"), fault); // 100000 fits a single
    EXPECT_EQ(faultOf("fa7f800000"), fault);         // infinity
    EXPECT_EQ(faultOf("fa80000000"), fault);         // minus zero
    EXPECT_EQ(faultOf("fa33800000"), fault);         // the smallest half
}

TEST_F(CborDamageTest, refusesEveryNanButTheOne)
{
    EXPECT_EQ(faultOf("f97e01"), "0: a NaN other than f97e00");
    EXPECT_EQ(faultOf("f9fe00"), "0: a NaN other than f97e00");
    EXPECT_EQ(faultOf("f97c01"), "0: a NaN other than f97e00");
    EXPECT_EQ(faultOf("fa7fc00000"), "0: a NaN other than f97e00");
    EXPECT_EQ(faultOf("fb7ff8000000000000"), "0: a NaN other than f97e00");
}

TEST_F(CborDamageTest, refusesReservedAndIndefiniteForms)
{
    EXPECT_EQ(faultOf("1c"), "0: a reserved length form");
    EXPECT_EQ(faultOf("7e"), "0: a reserved length form");
    EXPECT_EQ(faultOf("5f4161ff"), "0: an item of indefinite length");
    EXPECT_EQ(faultOf("a161617f6161ff"), "3: an item of indefinite length");
    EXPECT_EQ(faultOf("bfff"), "0: an item of indefinite length");
    EXPECT_EQ(faultOf("a161619fff"), "3: an item of indefinite length");
    EXPECT_EQ(faultOf("ff"), "0: an item of indefinite length");
}

TEST_F(CborDamageTest, refusesTagsNullUndefinedAndOtherSimpleValues)
{
    EXPECT_EQ(faultOf("c000"), "0: a tag");
    EXPECT_EQ(faultOf("a16161d9d9f700"), "3: a tag");
    EXPECT_EQ(faultOf("f6"), "0: a null");
    EXPECT_EQ(faultOf("f7"), "0: an undefined value");
    EXPECT_EQ(faultOf("e0"), "0: the simple value 0");
    EXPECT_EQ(faultOf("f8ff"), "0: the simple value 255");
    EXPECT_EQ(faultOf("f814"), "0: the simple value 20");
}

TEST_F(CborDamageTest, refusesAnIntegerBelowTheSignedOnes)
{
    EXPECT_EQ(faultOf("3b8000000000000000"), "0: an integer below -9223372036854775808");
}

TEST_F(CborDamageTest, refusesTextThatIsNotUtf8AndSaysWhichByte)
{
    EXPECT_EQ(faultOf("a161616361ff62"), "5: text that is not valid UTF-8");
    EXPECT_EQ(faultOf("a1616162c080"), "4: text that is not valid UTF-8");
    EXPECT_EQ(faultOf("a1616163eda080"), "4: text that is not valid UTF-8");
    EXPECT_EQ(faultOf("a1616162e282"), "4: text that is not valid UTF-8");
    EXPECT_EQ(faultOf("a161c300"), "1: the name \"\xef\xbf\xbd\" is not valid UTF-8 at its byte 0");
}

TEST_F(CborDamageTest, refusesKeysThatAreNoNames)
{
    EXPECT_EQ(faultOf("a10000"), "1: a key is an unsigned integer, expected text");
    EXPECT_EQ(faultOf("a1416100"), "1: a key is bytes, expected text");
    EXPECT_EQ(faultOf("a16000"), "1: a name is empty");
    EXPECT_EQ(faultOf("a1614000"), "1: a name is empty");
    EXPECT_EQ(faultOf("a163404061f5"), "1: the name \"@a\" begins with \"@\"");
    EXPECT_EQ(faultOfBytes("\xa1\x79\x01" + QByteArray(1, '\0') + QByteArray(256, 'n')
                           + QByteArray(1, '\0')),
              "1: a name of 256 bytes is longer than 255");
}

TEST_F(CborDamageTest, refusesANameThatStandsTwiceWithItsMap)
{
    EXPECT_EQ(faultOf("a2616100616101"), "0: the name \"a\" stands twice in this map");
    // An attribute and an object share their names; the same name one level down does not count.
    EXPECT_EQ(faultOf("a16162"
                      "a3"
                      "6161a1616100"
                      "616200"
                      "624061f5"),
              "3: the name \"a\" stands twice in this map");
    EXPECT_EQ(faultOf("a26161a1616100616200"), "");
}

TEST_F(CborDamageTest, refusesArraysThatAreNoListOfNodes)
{
    EXPECT_EQ(faultOf("80"), "0: an array where an object or a value must stand");
    EXPECT_EQ(faultOf("a1616180"), "3: an array without an item name");
    EXPECT_EQ(faultOf("a161618101"), "4: an item name is an unsigned integer, expected text");
    EXPECT_EQ(faultOf("a161618160"), "4: a name is empty");
    EXPECT_EQ(faultOf("a161618261698161"
                      "69"),
              "6: an array where an object or a value must stand");
}

TEST_F(CborDamageTest, refusesAttributesThatAreNeitherTruthValueNorIntegerNorText)
{
    const std::string expected = ", expected a truth value, an integer or text";
    EXPECT_EQ(faultOf("a1624061a0"), "4: an attribute that is an object" + expected);
    EXPECT_EQ(faultOf("a162406140"), "4: an attribute that is bytes" + expected);
    EXPECT_EQ(faultOf("a1624061f93c00"),
              "4: an attribute that is a floating-point number" + expected);
    EXPECT_EQ(faultOf("a162406181616900"), "4: an array where an object or a value must stand");
    EXPECT_EQ(faultOf("a1624061"), "4: the data ends where an item must begin");
}

TEST_F(CborDamageTest, refusesMalformedClassInformation)
{
    const std::string fault = "8: class information that is not a name and a version";
    EXPECT_EQ(faultOf("a16640636c6173736141"), fault);
    EXPECT_EQ(faultOf("a16640636c617373816141"), fault);
    EXPECT_EQ(faultOf("a16640636c61737383614100"
                      "00"),
              fault);
    EXPECT_EQ(faultOf("a16640636c617373820000"),
              "9: a class name is an unsigned integer, expected text");
    EXPECT_EQ(faultOf("a16640636c617373826000"), "9: a name is empty");
    EXPECT_EQ(faultOf("a16640636c61737382614120"),
              "11: a class version that is no number from 0 to 2147483647");
    EXPECT_EQ(faultOf("a16640636c6173738261411a80000000"),
              "11: a class version that is no number from 0 to 2147483647");
    EXPECT_EQ(faultOf("a16640636c6173738261411a7fffffff"), "");
}

TEST_F(CborDamageTest, refusesClassInformationThatIsNotFirst)
{
    EXPECT_EQ(faultOf("a26161006640636c61737382614100"),
              "4: \"@class\" is not the first key of its map");
    EXPECT_EQ(faultOf("a26640636c617373826141006640636c61737382614100"),
              "12: \"@class\" is not the first key of its map");
}

TEST_F(CborDamageTest, refusesCountsThatTheDataCannotHold)
{
    EXPECT_EQ(faultOf("a4616100616200"), "0: a map of 4 entries where 6 bytes are left");
    EXPECT_EQ(faultOf("bbffffffffffffffff"),
              "0: a map of 18446744073709551615 entries where 0 bytes are left");
    EXPECT_EQ(faultOf("a161619bffffffffffffffff"),
              "3: an array of 18446744073709551615 entries where 0 bytes are left");
}

TEST_F(CborDamageTest, refusesTreesBeyondTheGreatestDepth)
{
    QByteArray bytes;
    for (int depth = 0; depth < CborLimits::sMaxDepth; ++depth)
        bytes += "\xa1\x61\x61";
    EXPECT_EQ(faultOfBytes(bytes + '\0'), "");
    EXPECT_EQ(faultOfBytes(bytes + "\xa0"), "192: nested deeper than 64");
    EXPECT_EQ(faultOfBytes(bytes + "\x81\x61i"), "192: nested deeper than 64");
    EXPECT_EQ(faultOfBytes(QByteArray("\xa1\x61\x61").repeated(1'000'000)),
              "192: nested deeper than 64");
}

TEST_F(CborDamageTest, refusesMoreNodesThanTheLimit)
{
    // An array of the most items, behind it one entry more.
    const quint32 items = CborLimits::sMaxNodes - 2;
    QByteArray bytes("\xa2\x61\x61\x9a", 4);
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>((items + 1) >> shift);
    bytes += "\x61i" + QByteArray(items, '\0');
    EXPECT_EQ(faultOfBytes(bytes + QByteArray("\x61z\0", 3)), "3: more than 4194304 nodes");
    bytes[0] = '\xa1';
    EXPECT_EQ(faultOfBytes(bytes), "");
}

TEST_F(CborDamageTest, refusesMoreNamesThanTheLimit)
{
    QByteArray bytes("\xba\x00\x01\x00\x01", 5); // a map of 65537 entries
    for (unsigned name = 0; name <= CborLimits::sMaxNames; ++name)
        bytes += "\x65" + QByteArray::number(name).rightJustified(5, '0') + '\0';
    EXPECT_EQ(faultOfBytes(bytes), "458757: more than 65536 different names");
    bytes[4] = '\0';
    bytes.chop(7);
    EXPECT_EQ(faultOfBytes(bytes), "");
}

TEST_F(CborDamageTest, refusesMoreBytesThanTheLimit)
{
    EXPECT_EQ(faultOfBytes(QByteArray(CborLimits::sMaxBytes + 1, '\0')),
              "0: 67108865 bytes are more than 67108864");
}

TEST_F(CborDamageTest, aRefusalIsLoggedOnce)
{
    faultOf("f6");

    EXPECT_EQ(log.texts(), std::vector<std::string>{"Malformed CBOR at byte 0: a null"});
}

} // namespace Tesk::Data::Serialization
