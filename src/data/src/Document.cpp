#include <data/Document.h>

#include "Arena.h"

namespace Tesk::Data::Serialization {

namespace {

// Making the blocks of a document costs more than filling them with a small body: each thread
// keeps those of the last document that it dropped.
struct SpareArena
{
    ~SpareArena() { isGone = true; }

    std::unique_ptr<Arena> arena;
    static thread_local bool isGone; // outlives the thread's other objects
};

thread_local bool SpareArena::isGone = false;
thread_local SpareArena spareArena;

std::unique_ptr<Arena> takeArena()
{
    if (!SpareArena::isGone && spareArena.arena)
        return std::move(spareArena.arena);
    return std::make_unique<Arena>();
}

} // namespace

Document::Document()
    : m_arena(takeArena())
{}

Document::~Document()
{
    if (!m_arena || SpareArena::isGone || !m_arena->isSmall())
        return;
    m_arena->clear();
    spareArena.arena = std::move(m_arena);
}

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
