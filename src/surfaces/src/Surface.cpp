#include <surfaces/Surface.h>

#include <QtEndian>

#include <bit>
#include <stdexcept>
#include <string>
#include <utility>

namespace Tesk::Surfaces {

// The stored form begins with these four bytes and a version byte.
static constexpr char sMagic[4] = {'T', 'S', 'R', 'F'};
static constexpr char sVersion = 1;
static constexpr qsizetype sHeaderSize = 4 + 1 + 1 + 4 + 4;

// A surface beyond this is a damaged header, not a picture.
static constexpr qint64 sLargestSide = 1 << 16;

qsizetype bytesPerPixel(PixelFormat format)
{
    switch (format) {
    case PixelFormat::Gray8:
        return 1;
    case PixelFormat::Rgb8:
        return 3;
    case PixelFormat::Rgba8:
    case PixelFormat::GrayFloat:
        return 4;
    case PixelFormat::Gray16:
        return 2;
    case PixelFormat::Rgba16:
        return 8;
    case PixelFormat::RgbaFloat:
        return 16;
    }
    return 0;
}

static qsizetype bytesPerChannel(PixelFormat format)
{
    switch (format) {
    case PixelFormat::Gray16:
    case PixelFormat::Rgba16:
        return 2;
    case PixelFormat::GrayFloat:
    case PixelFormat::RgbaFloat:
        return 4;
    default:
        return 1;
    }
}

// The stored form is little endian; on such a machine nothing is to be done.
static QByteArray swappedOnBigEndian(QByteArray bytes, PixelFormat format)
{
    if constexpr (std::endian::native == std::endian::little)
        return bytes;
    const qsizetype width = bytesPerChannel(format);
    char *data = bytes.data();
    for (qsizetype at = 0; at + width <= bytes.size(); at += width) {
        for (qsizetype low = 0, high = width - 1; low < high; ++low, --high)
            std::swap(data[at + low], data[at + high]);
    }
    return bytes;
}

static bool fits(QSize size, PixelFormat format, qsizetype byteCount)
{
    return size.width() > 0 && size.height() > 0 && size.width() <= sLargestSide
           && size.height() <= sLargestSide && bytesPerPixel(format) > 0
           && byteCount == bytesPerPixel(format) * size.width() * size.height();
}

Surface::Surface(QSize size, PixelFormat format, QByteArray bytes)
    : m_size(size)
    , m_format(format)
    , m_bytes(std::move(bytes))
{
    if (fits(m_size, m_format, m_bytes.size()))
        return;
    throw std::invalid_argument("A surface of " + std::to_string(size.width()) + " x "
                                + std::to_string(size.height()) + " pixels of "
                                + std::to_string(bytesPerPixel(format)) + " bytes cannot hold "
                                + std::to_string(m_bytes.size()) + " bytes");
}

qsizetype Surface::bytesPerRow() const
{
    return bytesPerPixel(m_format) * m_size.width();
}

QByteArray Surface::toBytes() const
{
    QByteArray stored(sHeaderSize, Qt::Uninitialized);
    char *out = stored.data();
    std::copy(std::begin(sMagic), std::end(sMagic), out);
    out[4] = sVersion;
    out[5] = static_cast<char>(m_format);
    qToLittleEndian<qint32>(m_size.width(), out + 6);
    qToLittleEndian<qint32>(m_size.height(), out + 10);
    return stored + swappedOnBigEndian(m_bytes, m_format);
}

std::optional<Surface> Surface::fromBytes(const QByteArray &stored)
{
    if (stored.size() < sHeaderSize || !stored.startsWith(QByteArrayView(sMagic, 4))
        || stored.at(4) != sVersion)
        return std::nullopt;
    const auto format = static_cast<PixelFormat>(stored.at(5));
    const QSize size(qFromLittleEndian<qint32>(stored.constData() + 6),
                     qFromLittleEndian<qint32>(stored.constData() + 10));
    if (!fits(size, format, stored.size() - sHeaderSize))
        return std::nullopt;
    return Surface(size, format, swappedOnBigEndian(stored.mid(sHeaderSize), format));
}

} // namespace Tesk::Surfaces
