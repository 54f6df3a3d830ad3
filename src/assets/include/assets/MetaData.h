#pragma once

#include <assets/assets_export.h>
#include <assets/MetaDataItem.h>

#include <QString>

#include <cstddef>
#include <utility>
#include <vector>

namespace Tesk::Assets {

/// The metadata of one asset, ordered by key.
///
/// An item with an empty value is there; an item that is not there is absent.
///
/// Ownership: a value. Threads: not thread-safe.
/// Cost: a look-up is logarithmic; a new item moves those behind it.
class ASSETS_EXPORT MetaData
{
public:
    using Items = std::vector<std::pair<QString, MetaDataItem>>;

    /// Returns the item, or null when it is absent; valid until the next change.
    const MetaDataItem *find(const QString &key) const;
    bool contains(const QString &key) const { return find(key) != nullptr; }

    /// Returns the value, an invalid QVariant when the item is absent.
    QVariant value(const QString &key) const;

    std::size_t size() const { return m_items.size(); }
    bool empty() const { return m_items.empty(); }
    Items::const_iterator begin() const { return m_items.begin(); }
    Items::const_iterator end() const { return m_items.end(); }

    void set(const QString &key, MetaDataItem item);
    void set(const QString &key, const QVariant &value, MetaDataItem::Type type,
             Accessibility accessibility = Accessibility::Public);

    /// Removes the item; false when it was absent.
    bool remove(const QString &key);

    friend bool operator==(const MetaData &, const MetaData &) = default;

private:
    Items::const_iterator place(const QString &key) const;

    Items m_items; // few and made often: one allocation for all of them
};

} // namespace Tesk::Assets
