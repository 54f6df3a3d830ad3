#include <surfaces/Surface.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace Tesk::Surfaces {

TEST(SurfaceTest, keepsItsSizeFormatAndBytes)
{
    const Surface surface(QSize(2, 1), PixelFormat::Rgb8, QByteArray("abcdef"));

    EXPECT_EQ(surface.size(), QSize(2, 1));
    EXPECT_EQ(surface.pixelFormat(), PixelFormat::Rgb8);
    EXPECT_EQ(surface.bytes(), QByteArray("abcdef"));
    EXPECT_EQ(surface.bytesPerRow(), 6);
}

TEST(SurfaceTest, refusesBytesThatDoNotFitAndSaysBothSizes)
{
    try {
        const Surface surface(QSize(2, 2), PixelFormat::Rgba8, QByteArray("abc"));
        FAIL() << "accepted 3 bytes for 16";
    } catch (const std::invalid_argument &error) {
        EXPECT_STREQ(error.what(), "A surface of 2 x 2 pixels of 4 bytes cannot hold 3 bytes");
    }
}

TEST(SurfaceTest, refusesAnEmptyOrNegativeSize)
{
    EXPECT_THROW(Surface(QSize(0, 0), PixelFormat::Gray8, QByteArray()), std::invalid_argument);
    EXPECT_THROW(Surface(QSize(-1, -1), PixelFormat::Gray8, QByteArray("x")),
                 std::invalid_argument);
}

TEST(SurfaceTest, writesTheBytesThatTheFormatPageLists)
{
    const Surface surface(QSize(2, 1), PixelFormat::Gray8, QByteArray("\x10\x20"));

    EXPECT_EQ(surface.toBytes().toHex(), QByteArray("54535246"
                                                    "0100"
                                                    "02000000"
                                                    "01000000"
                                                    "1020"));
}

TEST(SurfaceTest, readsBackWhatItWroteInEveryFormat)
{
    for (const auto format :
         {PixelFormat::Gray8, PixelFormat::Rgb8, PixelFormat::Rgba8, PixelFormat::Gray16,
          PixelFormat::Rgba16, PixelFormat::GrayFloat, PixelFormat::RgbaFloat}) {
        const Surface surface(QSize(3, 2), format, QByteArray(6 * bytesPerPixel(format), 'p'));

        EXPECT_EQ(Surface::fromBytes(surface.toBytes()), surface);
    }
}

TEST(SurfaceTest, readsNothingFromDamagedBytes)
{
    const QByteArray stored =
            Surface(QSize(2, 2), PixelFormat::Gray8, QByteArray("abcd")).toBytes();
    QByteArray otherVersion = stored;
    otherVersion[4] = 2;
    QByteArray unknownFormat = stored;
    unknownFormat[5] = 99;
    QByteArray hugeWidth = stored;
    hugeWidth[9] = 0x7f;

    EXPECT_FALSE(Surface::fromBytes(QByteArray()));
    EXPECT_FALSE(Surface::fromBytes(stored.chopped(1)));
    EXPECT_FALSE(Surface::fromBytes(stored + 'e'));
    EXPECT_FALSE(Surface::fromBytes(otherVersion));
    EXPECT_FALSE(Surface::fromBytes(unknownFormat));
    EXPECT_FALSE(Surface::fromBytes(hugeWidth));
}

} // namespace Tesk::Surfaces
