#include "FoldedName.h"

#include <cstdint>
#include <cstring>

namespace Tesk::FilterBase {

// Eight units in one vector register, whatever the machine calls it. Whole registers are loaded
// and stored: the hash that follows reads in the same width, and narrow stores would delay it.
using Block [[gnu::vector_size(16)]] = std::uint16_t;
static constexpr qsizetype sBlockSize = sizeof(Block) / sizeof(std::uint16_t);

// Folds one block from source to target and adds its units to those seen.
static void foldBlock(const char16_t *source, char16_t *target, Block &seen)
{
    Block units;
    std::memcpy(&units, source, sizeof(Block));
    seen |= units;
    const Block fromA = units - std::uint16_t{'A'};
    const auto isUpper = reinterpret_cast<Block>(fromA < std::uint16_t{26});
    units |= isUpper & std::uint16_t{0x20};
    std::memcpy(target, &units, sizeof(Block));
}

// Returns the bits that occur in any unit of a name of at least one block.
static unsigned int foldBlocks(const char16_t *source, char16_t *target, qsizetype size)
{
    Block seen = {};
    for (qsizetype at = 0; at + sBlockSize <= size; at += sBlockSize)
        foldBlock(source + at, target + at, seen);
    // The last block overlaps the one before instead of reading past the end.
    foldBlock(source + size - sBlockSize, target + size - sBlockSize, seen);
    unsigned int bits = 0;
    for (qsizetype i = 0; i < sBlockSize; ++i)
        bits |= seen[i];
    return bits;
}

static unsigned int foldUnits(const char16_t *source, char16_t *target, qsizetype size)
{
    unsigned int bits = 0;
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = source[i];
        target[i] = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit | 0x20) : unit;
        bits |= unit;
    }
    return bits;
}

FoldedName::FoldedName(const QString &name)
{
    const qsizetype size = name.size();
    const auto *source = reinterpret_cast<const char16_t *>(name.constData());
    unsigned int bits = 0xffff;
    if (size < sBlockSize)
        bits = foldUnits(source, m_buffer.data(), size);
    else if (size <= sBufferSize)
        bits = foldBlocks(source, m_buffer.data(), size);
    if (bits > 0x7f)
        m_key = name.toLower();
    else if (size > 0)
        m_key = QString::fromRawData(reinterpret_cast<const QChar *>(m_buffer.data()), size);
}

} // namespace Tesk::FilterBase
