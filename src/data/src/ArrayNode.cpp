#include <data/Node.h>

#include "Arena.h"

#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>

namespace Tesk::Data::Serialization {

Arena &ArrayNode::arena() const
{
    if (m_arena == nullptr)
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot use an array node: it is null"));
    return *m_arena;
}

std::string_view ArrayNode::name() const
{
    return arena().nameText(m_arena->slot(m_index).name);
}

std::string_view ArrayNode::itemName() const
{
    return arena().nameText(m_arena->slot(m_index).children.extra);
}

qsizetype ArrayNode::size() const
{
    return arena().slot(m_index).children.count;
}

Node ArrayNode::append()
{
    return Node(m_arena, arena().appendChild(m_index, 0));
}

ArrayNode::Iterator ArrayNode::begin() const
{
    const quint32 first = arena().slot(m_index).children.first;
    return first == 0 ? end() : Iterator(Node(m_arena, first));
}

ArrayNode::Iterator &ArrayNode::Iterator::operator++()
{
    m_item = m_item.nextSibling();
    return *this;
}

} // namespace Tesk::Data::Serialization
