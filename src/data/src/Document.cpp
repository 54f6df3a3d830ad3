#include <data/Document.h>

#include "Arena.h"

namespace Tesk::Data::Serialization {

Document::Document()
    : m_arena(std::make_unique<Arena>())
{}

Document::~Document() = default;

Document::Document(Document &&other) noexcept = default;

Document &Document::operator=(Document &&other) noexcept = default;

Node Document::root() const
{
    return Node(m_arena.get(), 0);
}

void Document::reserve(qsizetype nodes)
{
    m_arena->reserve(nodes);
}

void Document::clear()
{
    m_arena->clear();
}

} // namespace Tesk::Data::Serialization
