#include <vantbase/FileUtils.h>

#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::VantBase {

TEST(FileUtilsTest, hashesWithSha256InLowerCaseHex)
{
    // The published test values of SHA-256; asset ids in user files depend on them.
    EXPECT_EQ(FileUtils::dataToHash("abc"),
              QByteArray("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_EQ(FileUtils::dataToHash(""),
              QByteArray("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
}

TEST(FileUtilsTest, takesEveryByteIntoAccount)
{
    const QByteArray withNull("a\0b", 3);

    EXPECT_NE(FileUtils::dataToHash(withNull), FileUtils::dataToHash("a"));
    EXPECT_EQ(FileUtils::dataToHash(QByteArray()), FileUtils::dataToHash(""));
}

} // namespace Tesk::VantBase
