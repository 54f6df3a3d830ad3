#pragma once

#include <assets/AssetReference.h>

#include <unordered_set>
#include <vector>

namespace Tesk::FilterBase {

/// References in the order of their arrival, no two of them equal.
///
/// Each operation takes constant time, whatever the length.
class UniqueReferences
{
public:
    std::size_t size() const { return m_references.size(); }
    const Assets::AssetReference &at(std::size_t index) const { return m_references[index]; }

    /// Appends \a reference unless it is there already.
    void append(const Assets::AssetReference &reference);

    /// Puts \a reference in the place of the one at \a index. Where \a reference stands at another
    /// place already, that one stays and the place at \a index becomes void; it keeps its index.
    void replace(std::size_t index, const Assets::AssetReference &reference);

    /// The references without the void places.
    std::vector<Assets::AssetReference> toVector() const;

private:
    std::vector<Assets::AssetReference> m_references;
    std::vector<bool> m_isVoid;
    std::unordered_set<Assets::AssetReference> m_known;
};

} // namespace Tesk::FilterBase
