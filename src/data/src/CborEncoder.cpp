#include "CborEncoder.h"

#include "FloatForms.h"

#include <data/Cbor.h>
#include <data/Node.h>
#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>

#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace Tesk::Data::Serialization {

namespace {

constexpr qsizetype largestHead = 9;

} // namespace

QByteArray CborEncoder::encode(const Node &node)
{
    return CborEncoder(node.arena()).write(node.m_index);
}

QByteArray CborEncoder::write(quint32 index)
{
    // What was read is likely to be written in about the same size.
    grow(std::max<qsizetype>(256, m_arena.source().size() + 64));
    writeSlot(index, 1);
    m_out.truncate(m_at - m_out.constData());
    if (m_out.size() > CborLimits::sMaxBytes) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot write %1: %2 bytes are more than %3")
                                              .arg(m_arena.describe(index))
                                              .arg(m_out.size())
                                              .arg(CborLimits::sMaxBytes));
    }
    return m_out;
}

void CborEncoder::writeSlot(quint32 index, int depth)
{
    const Slot &slot = m_arena.slot(index);
    switch (slot.kind()) {
    case SlotKind::Object:
        writeObject(slot, depth);
        break;
    case SlotKind::Array:
        writeArray(slot, depth);
        break;
    case SlotKind::Unsigned:
        writeHead(Major::Unsigned, slot.bits);
        break;
    case SlotKind::Signed:
        writeHead(Major::Negative, ~slot.bits);
        break;
    case SlotKind::Bool:
        writeByte(CborFormat::firstByte(Major::Simple, slot.bits == 0 ? CborFormat::falseValue
                                                                      : CborFormat::trueValue));
        break;
    case SlotKind::Double:
        writeDouble(slot.bits);
        break;
    case SlotKind::Text:
        writeString(Major::Text, slot.text());
        break;
    case SlotKind::Bytes:
        writeString(Major::Bytes, slot.text());
        break;
    }
}

void CborEncoder::writeObject(const Slot &slot, int depth)
{
    const quint32 info = slot.children.extra;
    const quint32 entries = slot.children.count + (info == 0 ? 0 : 1);
    enterContainer(entries, depth);
    writeHead(Major::Map, entries);
    if (info != 0)
        writeClassInfo(m_arena.slot(info));
    for (quint32 at = slot.children.first; at != 0; at = m_arena.slot(at).next) {
        writeKey(m_arena.slot(at));
        writeSlot(at, depth + 1);
    }
}

void CborEncoder::writeArray(const Slot &slot, int depth)
{
    enterContainer(slot.children.count, depth);
    writeHead(Major::Array, quint64(slot.children.count) + 1);
    writeString(Major::Text, m_arena.nameText(slot.children.extra));
    for (quint32 at = slot.children.first; at != 0; at = m_arena.slot(at).next)
        writeSlot(at, depth + 1);
}

void CborEncoder::writeClassInfo(const Slot &info)
{
    writeString(Major::Text, CborFormat::classKey);
    writeHead(Major::Array, 2);
    writeString(Major::Text, info.text());
    writeHead(Major::Unsigned, static_cast<quint64>(info.view.version));
}

void CborEncoder::writeKey(const Slot &slot)
{
    const std::string_view name = m_arena.nameText(slot.name);
    if (!slot.isAttribute()) {
        writeString(Major::Text, name);
        return;
    }
    writeHead(Major::Text, name.size() + 1);
    writeByte(static_cast<quint8>(CborFormat::attributeMark));
    makeRoom(static_cast<qsizetype>(name.size()));
    m_at = std::copy(name.begin(), name.end(), m_at);
}

void CborEncoder::writeDouble(quint64 bits)
{
    makeRoom(largestHead);
    const auto write = [this](quint8 form, quint64 value, int size) {
        *m_at++ = static_cast<char>(CborFormat::firstByte(Major::Simple, form));
        putBigEndian(value, size);
    };
    if (isNan(bits))
        write(CborFormat::half, canonicalHalfNan, 2);
    else if (const auto halfBits = narrowed(bits, halfForm))
        write(CborFormat::half, *halfBits, 2);
    else if (const auto singleBits = narrowed(bits, singleForm))
        write(CborFormat::single, *singleBits, 4);
    else
        write(CborFormat::full, bits, 8);
}

void CborEncoder::writeString(Major major, std::string_view text)
{
    makeRoom(largestHead + static_cast<qsizetype>(text.size()));
    writeHead(major, text.size());
    m_at = std::copy(text.begin(), text.end(), m_at);
}

void CborEncoder::writeHead(Major major, quint64 argument)
{
    makeRoom(largestHead);
    const auto put = [this, major](quint8 info) {
        *m_at++ = static_cast<char>(CborFormat::firstByte(major, info));
    };
    if (argument < CborFormat::oneByte) {
        put(static_cast<quint8>(argument));
    } else if (argument <= 0xFF) {
        put(CborFormat::oneByte);
        *m_at++ = static_cast<char>(argument);
    } else if (argument <= 0xFFFF) {
        put(CborFormat::twoBytes);
        putBigEndian(argument, 2);
    } else if (argument <= 0xFFFFFFFF) {
        put(CborFormat::fourBytes);
        putBigEndian(argument, 4);
    } else {
        put(CborFormat::eightBytes);
        putBigEndian(argument, 8);
    }
}

void CborEncoder::writeByte(quint8 byte)
{
    makeRoom(1);
    *m_at++ = static_cast<char>(byte);
}

void CborEncoder::putBigEndian(quint64 value, int size)
{
    const quint64 swapped = qToBigEndian(value << (64 - 8 * size));
    std::memcpy(m_at, &swapped, static_cast<std::size_t>(size));
    m_at += size;
}

void CborEncoder::grow(qsizetype size)
{
    const qsizetype used = m_at == nullptr ? 0 : m_at - m_out.constData();
    m_out.resize(std::max(used + size, m_out.size() * 2));
    m_at = m_out.data() + used;
    m_end = m_out.data() + m_out.size();
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
