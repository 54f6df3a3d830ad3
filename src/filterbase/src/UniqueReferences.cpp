#include "UniqueReferences.h"

namespace Tesk::FilterBase {

void UniqueReferences::append(const Assets::AssetReference &reference)
{
    if (!m_known.insert(reference).second)
        return;
    m_references.push_back(reference);
    m_isVoid.push_back(false);
}

void UniqueReferences::replace(std::size_t index, const Assets::AssetReference &reference)
{
    if (m_references[index] == reference)
        return;
    m_known.erase(m_references[index]);
    m_references[index] = reference;
    m_isVoid[index] = !m_known.insert(reference).second;
}

std::vector<Assets::AssetReference> UniqueReferences::toVector() const
{
    std::vector<Assets::AssetReference> references;
    references.reserve(m_known.size());
    for (std::size_t index = 0; index < m_references.size(); ++index) {
        if (!m_isVoid[index])
            references.push_back(m_references[index]);
    }
    return references;
}

} // namespace Tesk::FilterBase
