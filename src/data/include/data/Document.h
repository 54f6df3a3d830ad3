#pragma once

#include <data/data_export.h>

#include <data/Node.h>

#include <memory>

namespace Tesk::Data::Serialization {

/// A tree of nodes with one root, which starts as an empty object.
///
/// All nodes stand in one block, names are kept once and decoded texts stay where they were
/// read, so that making and dropping a document costs a handful of allocations.
///
/// Ownership: owns every node, name and text; handles are valid until it is cleared or dies,
/// and stay valid when it is moved.
class DATA_EXPORT Document
{
public:
    Document();
    ~Document();
    Document(Document &&other) noexcept;
    Document &operator=(Document &&other) noexcept;

    Node root() const;

    /// Makes room for \a nodes nodes in all.
    void reserve(qsizetype nodes);
    /// Back to an empty object; every handle becomes invalid.
    void clear();

private:
    friend class CborDecoder;

    std::unique_ptr<Arena> m_arena;
};

} // namespace Tesk::Data::Serialization
