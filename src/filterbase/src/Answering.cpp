#include "Answering.h"

#include <utility>

namespace Tesk::FilterBase {

struct Answering::Link
{
    Assets::AssetReference filter;
    Question question = Question::Description;
    Lineage outer;
};

static thread_local Answering::Lineage currentLineage;

Answering::Answering(const Assets::AssetReference &filter, Question question)
    : m_before(currentLineage)
{
    if (filter.isInvalid())
        return;
    for (const Link *link = m_before.get(); link && !m_isRepeated; link = link->outer.get())
        m_isRepeated = link->question == question && link->filter == filter;
    if (!m_isRepeated)
        currentLineage = std::make_shared<const Link>(Link{filter, question, m_before});
}

Answering::Answering(Lineage lineage)
    : m_before(std::exchange(currentLineage, std::move(lineage)))
{}

Answering::~Answering()
{
    currentLineage = std::move(m_before);
}

Answering::Lineage Answering::lineage()
{
    return currentLineage;
}

} // namespace Tesk::FilterBase
