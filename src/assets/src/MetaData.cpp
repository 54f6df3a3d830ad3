#include <assets/MetaData.h>

#include <algorithm>
#include <utility>

namespace Tesk::Assets {

// What is set comes in the order of its keys more often than not.
MetaData::Items::const_iterator MetaData::place(const QString &key) const
{
    if (m_items.empty() || m_items.back().first < key)
        return m_items.end();
    return std::lower_bound(
            m_items.begin(), m_items.end(), key,
            [](const auto &item, const QString &sought) { return item.first < sought; });
}

const MetaDataItem *MetaData::find(const QString &key) const
{
    const auto found = place(key);
    return found == m_items.end() || found->first != key ? nullptr : &found->second;
}

QVariant MetaData::value(const QString &key) const
{
    const MetaDataItem *item = find(key);
    return item == nullptr ? QVariant() : item->value;
}

void MetaData::set(const QString &key, MetaDataItem item)
{
    static constexpr std::size_t sUsualCount = 8;
    if (m_items.empty())
        m_items.reserve(sUsualCount);
    const auto at = m_items.begin() + (place(key) - m_items.cbegin());
    if (at != m_items.end() && at->first == key)
        at->second = std::move(item);
    else
        m_items.emplace(at, key, std::move(item));
}

void MetaData::set(const QString &key, const QVariant &value, MetaDataItem::Type type,
                   Accessibility accessibility)
{
    set(key, MetaDataItem{value, type, accessibility});
}

bool MetaData::remove(const QString &key)
{
    const auto found = place(key);
    if (found == m_items.end() || found->first != key)
        return false;
    m_items.erase(found);
    return true;
}

} // namespace Tesk::Assets
