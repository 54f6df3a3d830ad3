#include <data/Node.h>

#include "Arena.h"

namespace Tesk::Data::Serialization {

NodeChildren::Iterator NodeChildren::begin() const
{
    const Slot &slot = m_parent.arena().slot(m_parent.m_index);
    if (!slot.isObject() || slot.children.first == 0)
        return end();
    return Iterator(Node(m_parent.m_arena, slot.children.first));
}

qsizetype NodeChildren::size() const
{
    const Slot &slot = m_parent.arena().slot(m_parent.m_index);
    return slot.isObject() ? slot.children.count : 0;
}

NodeChild NodeChildren::Iterator::operator*() const
{
    const Slot &slot = m_child.arena().slot(m_child.m_index);
    NodeChild child;
    child.name = m_child.name();
    if (slot.isArray()) {
        child.kind = ChildKind::Array;
        child.array = ArrayNode(m_child.m_arena, m_child.m_index);
    } else {
        child.kind = slot.isAttribute() ? ChildKind::Attribute : ChildKind::Object;
        child.node = m_child;
    }
    return child;
}

NodeChildren::Iterator &NodeChildren::Iterator::operator++()
{
    m_child = m_child.nextSibling();
    return *this;
}

} // namespace Tesk::Data::Serialization
