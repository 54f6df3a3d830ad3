#pragma once

#include "Arena.h"

#include <data/Node.h>

#include <string_view>

namespace Tesk::Data::Serialization {

/// What other parts of this library need of a node without making texts of names.
class NodeAccess
{
public:
    /// Raises when the node has none.
    static const Slot &classInfo(const Node &node) { return node.arena().classInfo(node.m_index); }

    static void setClassInfo(Node &node, std::string_view className, int version);
};

} // namespace Tesk::Data::Serialization
