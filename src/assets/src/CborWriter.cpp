#include "CborWriter.h"

#include <QStringConverter>
#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cstring>

namespace Tesk::Assets {

CborWriter::CborWriter(QByteArray &bytes, qsizetype room)
    : m_bytes(bytes)
{
    const qsizetype size = bytes.size();
    bytes.resize(size + room);
    m_at = bytes.data() + size;
}

CborWriter::~CborWriter()
{
    m_bytes.truncate(m_at - m_bytes.constData());
}

void CborWriter::head(CborMajor major, quint64 argument)
{
    const auto put = [this, major](quint64 info) {
        *m_at++ = static_cast<char>(static_cast<quint64>(major) << 5U | info);
    };
    if (argument < 24) {
        put(argument);
    } else if (argument <= 0xff) {
        put(24);
        putBigEndian(argument, 1);
    } else if (argument <= 0xffff) {
        put(25);
        putBigEndian(argument, 2);
    } else if (argument <= 0xffffffff) {
        put(26);
        putBigEndian(argument, 4);
    } else {
        put(27);
        putBigEndian(argument, 8);
    }
}

void CborWriter::integer(qint64 value)
{
    const auto bits = static_cast<quint64>(value);
    head(value < 0 ? CborMajor::Negative : CborMajor::Unsigned, value < 0 ? ~bits : bits);
}

void CborWriter::real(double value)
{
    *m_at++ = static_cast<char>(static_cast<quint8>(CborMajor::Simple) << 5U | sDouble);
    putBigEndian(std::bit_cast<quint64>(value), 8);
}

void CborWriter::string(CborMajor major, QByteArrayView content)
{
    head(major, static_cast<quint64>(content.size()));
    m_at = std::copy(content.begin(), content.end(), m_at);
}

/// Writes the text where all of it is ASCII, as nearly every one is.
static bool writeAscii(char *at, QStringView text)
{
    char16_t units = 0;
    for (const QChar unit : text) {
        units |= unit.unicode();
        *at++ = static_cast<char>(unit.unicode());
    }
    return units < 0x80;
}

void CborWriter::text(QStringView text)
{
    char *const start = m_at;
    head(CborMajor::Text, static_cast<quint64>(text.size()));
    if (writeAscii(m_at, text)) {
        m_at += text.size();
        return;
    }
    m_at = start;
    // Its size is known only once it is there: the text is written behind the largest head.
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    char *const content = m_at + sLargestHead;
    const auto size = static_cast<std::size_t>(encoder.appendToBuffer(content, text) - content);
    head(CborMajor::Text, size);
    std::memmove(m_at, content, size);
    m_at += size;
}

void CborWriter::putBigEndian(quint64 value, int size)
{
    const quint64 swapped = qToBigEndian(value << (64 - 8 * size));
    std::memcpy(m_at, &swapped, static_cast<std::size_t>(size));
    m_at += size;
}

} // namespace Tesk::Assets
