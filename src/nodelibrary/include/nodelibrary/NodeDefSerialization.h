#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>

#include <data/Node.h>

namespace Tesk::Data::Serialization {

/// Writes a nodedef; where it was read from is left out, and so is what is empty.
NODELIBRARY_EXPORT void serializeToNode(Node &node, const NodeLibrary::NodeDef &nodeDef);
NODELIBRARY_EXPORT void deserializeFromNode(const Node &node, NodeLibrary::NodeDef &nodeDef);

} // namespace Tesk::Data::Serialization
