#include "Utf8.h"

#include <QChar>

#include <array>
#include <cstdint>

namespace Tesk::Data::Serialization {

namespace {

unsigned byteAt(std::string_view text, std::size_t at)
{
    return static_cast<unsigned char>(text[at]);
}

bool isContinuation(std::string_view text, std::size_t at)
{
    return at < text.size() && (byteAt(text, at) & 0xC0U) == 0x80U;
}

/// The size of the sequence at \a at, 0 when it is wrong.
std::size_t sequenceSize(std::string_view text, std::size_t at)
{
    const unsigned lead = byteAt(text, at);
    if (lead < 0x80)
        return 1;
    if (!isContinuation(text, at + 1) || lead < 0xC2)
        return 0;
    if (lead < 0xE0)
        return 2;
    const unsigned second = byteAt(text, at + 1);
    if (!isContinuation(text, at + 2))
        return 0;
    if (lead < 0xF0) {
        const bool overlong = lead == 0xE0 && second < 0xA0;
        const bool surrogate = lead == 0xED && second >= 0xA0;
        return overlong || surrogate ? 0 : 3;
    }
    if (!isContinuation(text, at + 3))
        return 0;
    const bool overlong = lead == 0xF0 && second < 0x90;
    const bool tooLarge = lead > 0xF4 || (lead == 0xF4 && second >= 0x90);
    return overlong || tooLarge ? 0 : 4;
}

bool startsPair(QStringView text, qsizetype at)
{
    return text[at].isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate();
}

using Units [[gnu::vector_size(16)]] = std::uint16_t;
using Bytes [[gnu::vector_size(8)]] = std::uint8_t;
constexpr qsizetype block = sizeof(Units) / sizeof(std::uint16_t);

constexpr qsizetype halfBlock = sizeof(quint64) / sizeof(char16_t);

quint64 wordAt(const char16_t *units)
{
    quint64 word = 0;
    std::memcpy(&word, units, sizeof(word));
    return word;
}

Units blockAt(const char16_t *units)
{
    Units loaded;
    std::memcpy(&loaded, units, sizeof(loaded));
    return loaded;
}

void narrowBlock(char *out, const char16_t *units)
{
    const Bytes bytes = __builtin_convertvector(blockAt(units), Bytes);
    std::memcpy(out, &bytes, sizeof(bytes));
}

} // namespace

std::size_t validUtf8Prefix(std::string_view text)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t size = sequenceSize(text, at);
        if (size == 0)
            return at;
        at += size;
    }
    return at;
}

// Nearly all text is ASCII: eight units are looked at and narrowed at a time. The last block
// overlaps the one before it instead of looping over a rest.
bool isAscii(QStringView text)
{
    constexpr quint64 beyondAscii = 0xff80ff80ff80ff80;
    const char16_t *const units = text.utf16();
    if (text.size() < block) {
        if (text.size() >= halfBlock)
            return ((wordAt(units) | wordAt(units + text.size() - halfBlock)) & beyondAscii) == 0;
        unsigned seen = 0;
        for (qsizetype at = 0; at < text.size(); ++at)
            seen |= units[at];
        return seen < 0x80;
    }
    const qsizetype last = text.size() - block;
    Units seen = blockAt(units + last);
    for (qsizetype at = 0; at < last; at += block)
        seen |= blockAt(units + at);
    std::array<quint64, 2> words = {};
    std::memcpy(words.data(), &seen, sizeof(seen));
    return ((words[0] | words[1]) & beyondAscii) == 0;
}

char *writeAscii(char *out, QStringView text)
{
    const char16_t *const units = text.utf16();
    if (text.size() < block) {
        for (qsizetype at = 0; at < text.size(); ++at)
            out[at] = static_cast<char>(units[at]);
    } else {
        const qsizetype last = text.size() - block;
        for (qsizetype at = 0; at < last; at += block)
            narrowBlock(out + at, units + at);
        narrowBlock(out + last, units + last);
    }
    return out + text.size();
}

std::size_t utf8Size(QStringView text)
{
    if (isAscii(text))
        return static_cast<std::size_t>(text.size());
    std::size_t size = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i].unicode();
        if (unit < 0x80) {
            size += 1;
        } else if (unit < 0x800) {
            size += 2;
        } else if (startsPair(text, i)) {
            size += 4;
            ++i;
        } else {
            size += 3;
        }
    }
    return size;
}

qsizetype firstLoneSurrogate(QStringView text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (startsPair(text, i))
            ++i;
        else if (text[i].isSurrogate())
            return i;
    }
    return -1;
}

char *writeUtf8(char *out, QStringView text)
{
    if (isAscii(text))
        return writeAscii(out, text);
    const auto put = [&out](unsigned byte) {
        *out++ = static_cast<char>(byte);
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        char32_t code = text[i].unicode();
        if (startsPair(text, i)) {
            code = QChar::surrogateToUcs4(text[i], text[i + 1]);
            ++i;
        }
        if (code < 0x80) {
            put(code);
        } else if (code < 0x800) {
            put(0xC0U | (code >> 6));
            put(0x80U | (code & 0x3FU));
        } else if (code < 0x10000) {
            put(0xE0U | (code >> 12));
            put(0x80U | ((code >> 6) & 0x3FU));
            put(0x80U | (code & 0x3FU));
        } else {
            put(0xF0U | (code >> 18));
            put(0x80U | ((code >> 12) & 0x3FU));
            put(0x80U | ((code >> 6) & 0x3FU));
            put(0x80U | (code & 0x3FU));
        }
    }
    return out;
}

} // namespace Tesk::Data::Serialization
