#include "OrderedPositions.h"

namespace Tesk::FilterBase {

// From left to right: the new one takes what has a lower priority from the right edge of the tree
// as its left subtree. What leaves the edge is complete.
void OrderedPositions::assign(const std::vector<std::uint32_t> &sequence)
{
    m_nodes.assign(sequence.size(), Node());
    std::vector<std::uint32_t> edge;
    for (const std::uint32_t number : sequence) {
        Node &node = m_nodes[number];
        node.priority = nextPriority();
        for (; !edge.empty() && m_nodes[edge.back()].priority < node.priority; edge.pop_back()) {
            node.left = edge.back();
            updateSize(edge.back());
        }
        if (node.left != sFront)
            m_nodes[node.left].parent = number;
        if (!edge.empty()) {
            m_nodes[edge.back()].right = number;
            node.parent = edge.back();
        }
        edge.push_back(number);
    }
    m_root = edge.empty() ? sFront : edge.front();
    for (; !edge.empty(); edge.pop_back())
        updateSize(edge.back());
}

void OrderedPositions::insertBehind(std::uint32_t predecessor)
{
    const auto node = static_cast<std::uint32_t>(m_nodes.size());
    m_nodes.emplace_back().priority = nextPriority();
    if (m_root == sFront) {
        m_root = node;
        return;
    }
    hang(node, predecessor);
    for (std::uint32_t above = m_nodes[node].parent; above != sFront; above = m_nodes[above].parent)
        ++m_nodes[above].size;
    while (m_nodes[node].parent != sFront
           && m_nodes[m_nodes[node].parent].priority < m_nodes[node].priority)
        rotateUp(node);
}

std::size_t OrderedPositions::indexOf(std::uint32_t number) const
{
    std::size_t index = sizeOf(m_nodes[number].left);
    for (std::uint32_t node = number; m_nodes[node].parent != sFront; node = m_nodes[node].parent) {
        const Node &parent = m_nodes[m_nodes[node].parent];
        if (parent.right == node)
            index += sizeOf(parent.left) + 1;
    }
    return index;
}

std::uint32_t OrderedPositions::nextPriority()
{
    m_random ^= m_random << 13;
    m_random ^= m_random >> 17;
    m_random ^= m_random << 5;
    return m_random;
}

void OrderedPositions::updateSize(std::uint32_t node)
{
    m_nodes[node].size = sizeOf(m_nodes[node].left) + sizeOf(m_nodes[node].right) + 1;
}

// Makes the node a leaf between the predecessor and what stood behind it.
void OrderedPositions::hang(std::uint32_t node, std::uint32_t predecessor)
{
    std::uint32_t parent = predecessor == sFront ? m_root : m_nodes[predecessor].right;
    if (parent == sFront) {
        m_nodes[predecessor].right = node;
        m_nodes[node].parent = predecessor;
        return;
    }
    while (m_nodes[parent].left != sFront)
        parent = m_nodes[parent].left;
    m_nodes[parent].left = node;
    m_nodes[node].parent = parent;
}

void OrderedPositions::rotateUp(std::uint32_t node)
{
    const std::uint32_t parent = m_nodes[node].parent;
    const std::uint32_t above = m_nodes[parent].parent;
    const bool isLeft = m_nodes[parent].left == node;
    const std::uint32_t inner = isLeft ? m_nodes[node].right : m_nodes[node].left;

    (isLeft ? m_nodes[parent].left : m_nodes[parent].right) = inner;
    if (inner != sFront)
        m_nodes[inner].parent = parent;
    (isLeft ? m_nodes[node].right : m_nodes[node].left) = parent;
    m_nodes[parent].parent = node;
    m_nodes[node].parent = above;
    if (above == sFront)
        m_root = node;
    else
        (m_nodes[above].left == parent ? m_nodes[above].left : m_nodes[above].right) = node;

    m_nodes[node].size = m_nodes[parent].size;
    updateSize(parent);
}

} // namespace Tesk::FilterBase
