#pragma once

#include <surfaces/surfaces_export.h>

#include <QByteArray>
#include <QSize>

#include <cstdint>
#include <optional>

namespace Tesk::Surfaces {

/// How one pixel of a surface lies in memory; channels are interleaved.
///
/// The numbers are part of the stored form.
enum class PixelFormat : std::uint8_t {
    Gray8 = 0,
    Rgb8 = 1,
    Rgba8 = 2,
    Gray16 = 3,
    Rgba16 = 4,
    GrayFloat = 5,
    RgbaFloat = 6,
};

/// Returns the bytes of one pixel, 0 for a number that is no format.
SURFACES_EXPORT qsizetype bytesPerPixel(PixelFormat format);

/// An immutable rectangle of pixels, such as a thumbnail.
///
/// Rows follow each other from top to bottom without padding, in the byte order
/// of the machine.
///
/// Ownership: a value; copies share the bytes.
/// Threads: const, so safe to read from any thread.
/// Errors: the constructor throws std::invalid_argument where the size is empty
/// or the bytes do not fit size and format.
/// Persistence: toBytes() and fromBytes(), described in docs/format/surface.md.
class SURFACES_EXPORT Surface
{
public:
    Surface(QSize size, PixelFormat format, QByteArray bytes);

    QSize size() const { return m_size; }
    PixelFormat pixelFormat() const { return m_format; }
    const QByteArray &bytes() const { return m_bytes; }
    qsizetype bytesPerRow() const;

    /// Returns the stored form, the same on every machine.
    QByteArray toBytes() const;

    /// Reads the stored form; nothing when \a stored is damaged or of an unknown version.
    static std::optional<Surface> fromBytes(const QByteArray &stored);

    friend bool operator==(const Surface &, const Surface &) = default;

private:
    QSize m_size;
    PixelFormat m_format;
    QByteArray m_bytes;
};

} // namespace Tesk::Surfaces
