#pragma once

#include <QtGlobal>

#include <string_view>

namespace Tesk::Data::Serialization::CborFormat {

// The upper three bits of an item's first byte.
enum Major : quint8 { Unsigned, Negative, Bytes, Text, Array, Map, Tag, Simple };

constexpr int majorShift = 5;
constexpr quint8 infoMask = 0x1F;

// The lower five bits: up to 23 the argument itself, then how many bytes hold it.
constexpr quint8 oneByte = 24;
constexpr quint8 twoBytes = 25;
constexpr quint8 fourBytes = 26;
constexpr quint8 eightBytes = 27;
constexpr quint8 indefinite = 31;

// The lower five bits of Simple.
constexpr quint8 falseValue = 20;
constexpr quint8 trueValue = 21;
constexpr quint8 nullValue = 22;
constexpr quint8 undefinedValue = 23;
constexpr quint8 half = twoBytes;
constexpr quint8 single = fourBytes;
constexpr quint8 full = eightBytes;

constexpr quint8 firstByte(Major major, quint8 info)
{
    return static_cast<quint8>(major << majorShift | info);
}

constexpr char attributeMark = '@';
constexpr std::string_view classKey = "@class";

} // namespace Tesk::Data::Serialization::CborFormat
