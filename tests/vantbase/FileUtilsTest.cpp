#include <vantbase/FileUtils.h>

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::VantBase {

TEST(FileUtilsTest, hashesWithBlake2bInLowerCaseHex)
{
    // The published values of BLAKE2b with 32 bytes; asset ids in user files depend on them.
    EXPECT_EQ(FileUtils::dataToHash("abc"),
              QByteArray("bddd813c634239723171ef3fee98579b94964e3bb1cb3e427262c8c068d52319"));
    EXPECT_EQ(FileUtils::dataToHash(""),
              QByteArray("0e5751c026e543b2e8ab2eb06099daa1d1e5df47778f7787faab45cdf12fe3a8"));
}

TEST(FileUtilsTest, takesEveryByteIntoAccount)
{
    const QByteArray withNull("a\0b", 3);

    EXPECT_NE(FileUtils::dataToHash(withNull), FileUtils::dataToHash("a"));
    EXPECT_EQ(FileUtils::dataToHash(QByteArray()), FileUtils::dataToHash(""));
}

} // namespace Tesk::VantBase
