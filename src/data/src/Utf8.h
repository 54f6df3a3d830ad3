#pragma once

#include <QStringView>

#include <cstddef>
#include <cstring>
#include <string_view>

namespace Tesk::Data::Serialization {

/// \a text.size() when all of it is valid UTF-8, else the offset of the first wrong sequence.
std::size_t validUtf8Prefix(std::string_view text);

inline bool isAscii(const char *text, std::size_t size)
{
    constexpr quint64 highBits = 0x8080808080808080;
    quint64 word = 0;
    if (size < sizeof(word)) {
        unsigned char seen = 0;
        for (std::size_t i = 0; i < size; ++i)
            seen = static_cast<unsigned char>(seen | static_cast<unsigned char>(text[i]));
        return seen < 0x80;
    }
    quint64 seen = 0;
    for (std::size_t i = 0; i + sizeof(word) <= size; i += sizeof(word)) {
        std::memcpy(&word, text + i, sizeof(word));
        seen |= word;
    }
    // The last load overlaps the one before it instead of looping over a rest.
    std::memcpy(&word, text + size - sizeof(word), sizeof(word));
    return ((seen | word) & highBits) == 0;
}

inline bool isValidUtf8(std::string_view text)
{
    return isAscii(text.data(), text.size()) || validUtf8Prefix(text) == text.size();
}

bool isAscii(QStringView text);
/// Writes the units of \a text, which must all be ASCII, and returns the end.
char *writeAscii(char *out, QStringView text);

/// How many bytes writeUtf8() writes.
std::size_t utf8Size(QStringView text);
/// The place of the first surrogate without its other half, -1 when there is none.
qsizetype firstLoneSurrogate(QStringView text);
/// Writes \a text as UTF-8 and returns the end. A lone surrogate becomes three bytes that are
/// not valid UTF-8, so that the check which every text passes finds it.
char *writeUtf8(char *out, QStringView text);

} // namespace Tesk::Data::Serialization
