#pragma once

#include "Arena.h"
#include "CborFormat.h"

#include <QByteArray>

#include <string_view>

namespace Tesk::Data::Serialization {

class Node;

/// Writes one node.
///
/// What writes takes the place to write at and gives the place behind what it wrote. There must
/// be room for a head; what else it writes it makes room for.
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
    char *writeSlot(char *at, const Slot &slot, int depth);
    char *writeObject(char *at, const Slot &slot, int depth);
    char *writeArray(char *at, const Slot &slot, int depth);
    char *writeClassInfo(char *at, quint32 index);
    char *writeKey(char *at, const Slot &slot);
    char *writeString(char *at, Major major, std::string_view text);
    char *makeRoom(char *at, std::size_t size)
    {
        return static_cast<std::size_t>(m_end - at) < size ? grow(at, size) : at;
    }
    char *grow(char *at, std::size_t size);
    void enterContainer(quint32 nodes, int depth);

    const Arena &m_arena;
    QByteArray m_out;
    const char *m_end = nullptr;
    quint64 m_nodes = 1;
    // Objects of one class follow each other: where the class information written last stands.
    quint32 m_lastClassInfo = 0;
    qsizetype m_lastClassInfoAt = 0;
    std::size_t m_lastClassInfoSize = 0;
};

} // namespace Tesk::Data::Serialization
