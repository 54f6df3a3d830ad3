#include "CborEncoder.h"

#include "FloatForms.h"

#include <data/Cbor.h>
#include <data/Node.h>
#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Tesk::Data::Serialization {

namespace {

constexpr std::size_t largestHead = 9;
// An encoded node of ordinary records takes about this many bytes, its name counted.
constexpr qsizetype bytesPerWrittenNode = 12;

/// The lowest \a size bytes of \a value, most significant first.
char *putBigEndian(char *at, quint64 value, std::size_t size)
{
    const quint64 swapped = qToBigEndian(value << (64 - 8 * size));
    std::memcpy(at, &swapped, size);
    return at + size;
}

char *putByte(char *at, quint8 byte)
{
    *at = static_cast<char>(byte);
    return at + 1;
}

char *putLongHead(char *at, CborFormat::Major major, quint64 argument)
{
    const auto put = [at, major, argument](quint8 info, std::size_t size) {
        return putBigEndian(putByte(at, CborFormat::firstByte(major, info)), argument, size);
    };
    if (argument <= 0xFF)
        return put(CborFormat::oneByte, 1);
    if (argument <= 0xFFFF)
        return put(CborFormat::twoBytes, 2);
    if (argument <= 0xFFFFFFFF)
        return put(CborFormat::fourBytes, 4);
    return put(CborFormat::eightBytes, 8);
}

char *putHead(char *at, CborFormat::Major major, quint64 argument)
{
    if (argument < CborFormat::oneByte) [[likely]]
        return putByte(at, CborFormat::firstByte(major, static_cast<quint8>(argument)));
    return putLongHead(at, major, argument);
}

template<class Word>
void copyEnds(char *to, std::string_view text)
{
    Word first;
    Word last;
    std::memcpy(&first, text.data(), sizeof(Word));
    std::memcpy(&last, text.data() + text.size() - sizeof(Word), sizeof(Word));
    std::memcpy(to, &first, sizeof(Word));
    std::memcpy(to + text.size() - sizeof(Word), &last, sizeof(Word));
}

// Most texts are short: two moves that overlap where needed cost less than a call.
char *putBytes(char *at, std::string_view text)
{
    const std::size_t size = text.size();
    if (size > 16)
        std::memcpy(at, text.data(), size);
    else if (size >= 8)
        copyEnds<quint64>(at, text);
    else if (size >= 4)
        copyEnds<quint32>(at, text);
    else if (size >= 2)
        copyEnds<quint16>(at, text);
    else if (size == 1)
        *at = text.front();
    return at + size;
}

char *putDouble(char *at, quint64 bits)
{
    const auto put = [at](quint8 form, quint64 value, std::size_t size) {
        return putBigEndian(putByte(at, CborFormat::firstByte(CborFormat::Simple, form)), value,
                            size);
    };
    if (isNan(bits))
        return put(CborFormat::half, canonicalHalfNan, 2);
    if (const auto halfBits = narrowed(bits, halfForm))
        return put(CborFormat::half, *halfBits, 2);
    if (const auto singleBits = narrowed(bits, singleForm))
        return put(CborFormat::single, *singleBits, 4);
    return put(CborFormat::full, bits, 8);
}

} // namespace

QByteArray CborEncoder::encode(const Node &node)
{
    return CborEncoder(node.arena()).write(node.m_index);
}

QByteArray CborEncoder::write(quint32 index)
{
    // What was read is likely to be written in about the same size.
    const qsizetype expected =
            std::max(m_arena.source().size(), m_arena.slotCount() * bytesPerWrittenNode);
    char *const begin = grow(nullptr, static_cast<std::size_t>(expected) + 64);
    const char *const end = writeSlot(begin, m_arena.slot(index), 1);
    m_out.truncate(end - m_out.constData());
    if (m_out.size() > CborLimits::sMaxBytes) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot write %1: %2 bytes are more than %3")
                                              .arg(m_arena.describe(index))
                                              .arg(m_out.size())
                                              .arg(CborLimits::sMaxBytes));
    }
    return std::move(m_out);
}

char *CborEncoder::writeSlot(char *at, const Slot &slot, int depth)
{
    switch (slot.kind()) {
    case SlotKind::Object:
        return writeObject(at, slot, depth);
    case SlotKind::Array:
        return writeArray(at, slot, depth);
    case SlotKind::Unsigned:
        return putHead(at, Major::Unsigned, slot.bits);
    case SlotKind::Signed:
        return putHead(at, Major::Negative, ~slot.bits);
    case SlotKind::Bool:
        return putByte(at, CborFormat::firstByte(Major::Simple, slot.bits == 0
                                                                        ? CborFormat::falseValue
                                                                        : CborFormat::trueValue));
    case SlotKind::Double:
        return putDouble(at, slot.bits);
    case SlotKind::Text:
        return writeString(at, Major::Text, slot.text());
    case SlotKind::Bytes:
        return writeString(at, Major::Bytes, slot.text());
    }
    return at;
}

char *CborEncoder::writeObject(char *at, const Slot &slot, int depth)
{
    const quint32 info = slot.children.extra;
    const quint32 entries = slot.children.count + (info == 0 ? 0 : 1);
    enterContainer(entries, depth);
    at = putHead(at, Major::Map, entries);
    if (info != 0)
        at = writeClassInfo(at, info);
    for (quint32 child = slot.children.first; child != 0;) {
        const Slot &entry = m_arena.slot(child);
        at = writeSlot(writeKey(at, entry), entry, depth + 1);
        child = entry.next;
    }
    return at;
}

char *CborEncoder::writeArray(char *at, const Slot &slot, int depth)
{
    enterContainer(slot.children.count, depth);
    at = putHead(at, Major::Array, quint64(slot.children.count) + 1);
    at = writeString(makeRoom(at, largestHead), Major::Text, m_arena.nameText(slot.children.extra));
    for (quint32 item = slot.children.first; item != 0; item = m_arena.slot(item).next)
        at = makeRoom(writeSlot(at, m_arena.slot(item), depth + 1), largestHead);
    return at;
}

char *CborEncoder::writeClassInfo(char *at, quint32 index)
{
    if (index == m_lastClassInfo) {
        at = makeRoom(at, m_lastClassInfoSize);
        return putBytes(at, {m_out.constData() + m_lastClassInfoAt, m_lastClassInfoSize});
    }
    const Slot &info = m_arena.slot(index);
    m_lastClassInfo = index;
    m_lastClassInfoAt = at - m_out.constData();
    at = writeString(makeRoom(at, largestHead), Major::Text, CborFormat::classKey);
    at = putHead(at, Major::Array, 2);
    at = writeString(makeRoom(at, largestHead), Major::Text, info.text());
    at = putHead(at, Major::Unsigned, static_cast<quint64>(info.view.version));
    m_lastClassInfoSize = static_cast<std::size_t>(at - m_out.constData() - m_lastClassInfoAt);
    return at;
}

char *CborEncoder::writeKey(char *at, const Slot &slot)
{
    const std::string_view name = m_arena.nameText(slot.name);
    at = makeRoom(at, largestHead + 1 + name.size() + largestHead);
    if (!slot.isAttribute())
        return putBytes(putHead(at, Major::Text, name.size()), name);
    at = putHead(at, Major::Text, name.size() + 1);
    return putBytes(putByte(at, static_cast<quint8>(CborFormat::attributeMark)), name);
}

char *CborEncoder::writeString(char *at, Major major, std::string_view text)
{
    at = putHead(at, major, text.size());
    return putBytes(makeRoom(at, text.size() + largestHead), text);
}

char *CborEncoder::grow(char *at, std::size_t size)
{
    const qsizetype used = at == nullptr ? 0 : at - m_out.constData();
    m_out.resize(std::max(used + static_cast<qsizetype>(size), m_out.size() * 2));
    m_end = m_out.constData() + m_out.size();
    return m_out.data() + used;
}

void CborEncoder::enterContainer(quint32 nodes, int depth)
{
    m_nodes += nodes;
    if (depth <= CborLimits::sMaxDepth && m_nodes <= CborLimits::sMaxNodes)
        return;
    const bool tooDeep = depth > CborLimits::sMaxDepth;
    raiseSerialization(
            TESK_HERE,
            QStringLiteral("Cannot write the nodes: %1 than %2")
                    .arg(tooDeep ? QStringLiteral("nested deeper") : QStringLiteral("more"))
                    .arg(tooDeep ? quint32(CborLimits::sMaxDepth) : CborLimits::sMaxNodes));
}

} // namespace Tesk::Data::Serialization
