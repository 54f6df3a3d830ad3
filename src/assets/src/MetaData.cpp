#include <assets/MetaData.h>

#include <utility>

namespace Tesk::Assets {

const MetaDataItem *MetaData::find(const QString &key) const
{
    const auto found = m_items.find(key);
    return found == m_items.end() ? nullptr : &found->second;
}

QVariant MetaData::value(const QString &key) const
{
    const MetaDataItem *item = find(key);
    return item == nullptr ? QVariant() : item->value;
}

void MetaData::set(const QString &key, MetaDataItem item)
{
    m_items.insert_or_assign(key, std::move(item));
}

void MetaData::set(const QString &key, const QVariant &value, MetaDataItem::Type type,
                   Accessibility accessibility)
{
    set(key, MetaDataItem{value, type, accessibility});
}

bool MetaData::remove(const QString &key)
{
    return m_items.erase(key) > 0;
}

} // namespace Tesk::Assets
