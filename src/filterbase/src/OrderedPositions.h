#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tesk::FilterBase {

/// A growing sequence of numbers 0, 1, 2, ... that knows at which index each of them stands.
///
/// Each number is inserted once, in ascending order, anywhere. Inserting and asking cost the
/// logarithm of the size.
class OrderedPositions
{
public:
    static constexpr std::uint32_t sFront = UINT32_MAX;

    /// Takes over a sequence of the numbers up to its size; costs the size.
    void assign(const std::vector<std::uint32_t> &sequence);

    /// Inserts the next number right behind \a predecessor, or before all others.
    void insertBehind(std::uint32_t predecessor);

    std::size_t indexOf(std::uint32_t number) const;

private:
    // A treap with parent links; a node's number is its place in the vector.
    struct Node
    {
        std::uint32_t parent = sFront;
        std::uint32_t left = sFront;
        std::uint32_t right = sFront;
        std::uint32_t size = 1;
        std::uint32_t priority = 0;
    };

    std::uint32_t sizeOf(std::uint32_t node) const
    {
        return node == sFront ? 0 : m_nodes[node].size;
    }
    std::uint32_t nextPriority();
    void updateSize(std::uint32_t node);
    void hang(std::uint32_t node, std::uint32_t predecessor);
    void rotateUp(std::uint32_t node);

    std::vector<Node> m_nodes;
    std::uint32_t m_root = sFront;
    std::uint32_t m_random = 0x9e3779b9; // fixed: the shape may not differ from run to run
};

} // namespace Tesk::FilterBase
