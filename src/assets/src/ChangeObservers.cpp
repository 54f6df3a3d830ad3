#include "ChangeObservers.h"

#include <utility>

namespace Tesk::Assets {

std::size_t ChangeObservers::add(AssetDatabaseService::ChangeObserver observer)
{
    const std::lock_guard lock(m_mutex);
    m_observers.emplace(m_next, std::move(observer));
    return m_next++;
}

void ChangeObservers::remove(std::size_t observer)
{
    const std::lock_guard lock(m_mutex);
    m_observers.erase(observer);
}

void ChangeObservers::notify(const std::vector<AssetChange> &changes) const
{
    if (changes.empty())
        return;
    std::vector<AssetDatabaseService::ChangeObserver> observers;
    {
        const std::lock_guard lock(m_mutex);
        for (const auto &[number, observer] : m_observers)
            observers.push_back(observer);
    }
    for (const auto &observer : observers)
        observer(changes);
}

} // namespace Tesk::Assets
