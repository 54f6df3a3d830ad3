#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QStringView>

namespace Tesk::Assets {

// The upper three bits of an item's first byte, as far as the metadata use them.
enum class CborMajor : quint8 {
    Unsigned = 0,
    Negative = 1,
    Bytes = 2,
    Text = 3,
    Array = 4,
    Simple = 7
};

/// Appends CBOR items to bytes, in their shortest form.
class CborWriter
{
public:
    static constexpr qsizetype sLargestHead = 9;

    // The lower five bits of Simple.
    static constexpr quint8 sFalse = 20;
    static constexpr quint8 sTrue = 21;
    static constexpr quint8 sNull = 22;
    static constexpr quint8 sDouble = 27;

    /// Makes \a room for what is to be written; more must not be. The end gives back what is left.
    CborWriter(QByteArray &bytes, qsizetype room);
    ~CborWriter();
    Q_DISABLE_COPY_MOVE(CborWriter)

    /// Returns the room that text() needs.
    static qsizetype roomFor(QStringView text) { return sLargestHead + 3 * text.size(); }

    void head(CborMajor major, quint64 argument);
    void integer(qint64 value);
    void simple(quint8 value) { head(CborMajor::Simple, value); }
    void real(double value);
    void string(CborMajor major, QByteArrayView content);
    void text(QStringView text);

private:
    void putBigEndian(quint64 value, int size);

    QByteArray &m_bytes;
    char *m_at;
};

} // namespace Tesk::Assets
