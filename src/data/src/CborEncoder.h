#pragma once

#include "Arena.h"
#include "CborFormat.h"

#include <QByteArray>

#include <string_view>

namespace Tesk::Data::Serialization {

class Node;

/// Writes one node.
class CborEncoder
{
public:
    static QByteArray encode(const Node &node);

private:
    using Major = CborFormat::Major;

    explicit CborEncoder(const Arena &arena)
        : m_arena(arena)
    {}

    QByteArray write(quint32 index);
    void writeSlot(quint32 index, int depth);
    void writeObject(const Slot &slot, int depth);
    void writeArray(const Slot &slot, int depth);
    void writeClassInfo(const Slot &info);
    void writeKey(const Slot &slot);
    void writeDouble(quint64 bits);
    void writeString(Major major, std::string_view text);
    void writeHead(Major major, quint64 argument);
    void writeByte(quint8 byte);
    /// The lowest \a size bytes of \a value, most significant first. Needs room made before.
    void putBigEndian(quint64 value, int size);
    void makeRoom(qsizetype size)
    {
        if (m_end - m_at < size)
            grow(size);
    }
    void grow(qsizetype size);
    void enterContainer(quint32 nodes, int depth);

    const Arena &m_arena;
    QByteArray m_out;
    char *m_at = nullptr;
    char *m_end = nullptr;
    quint64 m_nodes = 1;
};

} // namespace Tesk::Data::Serialization
