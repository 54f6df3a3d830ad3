#pragma once

#include <data/FieldValue.h>
#include <data/HashMapBase.h>
#include <data/Serialization.h>

#include <vantbase/Exception.h>

#include <map>
#include <utility>

namespace Tesk::Data {

/// A field that holds values by unique keys.
///
/// Entries are visited and stored in ascending order of the keys: texts by UTF-16 code units,
/// numbers by value. Values that are owned records are compared as pointers, cloned when the
/// map is copied, released by deferred deletion, and their changes are changes of the owner.
///
/// Ownership, threads and errors as for SerializableFieldBase.
/// Persistence: an array sub-node of the field's name; each item has "first" and "second".
template<class K, class V>
class HashMap : public HashMapBase
{
    using Map = std::map<K, V>;

public:
    using const_iterator = typename Map::const_iterator;

    HashMap(SerializableData &owner, const QString &name, Options options)
        : HashMapBase(owner, name, options)
    {}
    ~HashMap() override { holdAll(nullptr); }

    const_iterator begin() const { return entries().begin(); }
    const_iterator end() const { return entries().end(); }
    const_iterator find(const K &key) const { return entries().find(key); }
    bool contains(const K &key) const { return find(key) != end(); }
    qsizetype size() const { return static_cast<qsizetype>(entries().size()); }
    bool empty() const { return entries().empty(); }

    /// Adds an entry; false, and nothing happens, when the key is there already.
    bool insert(K key, V value)
    {
        checkWritable();
        const const_iterator place = m_entries.lower_bound(key);
        if (place != m_entries.end() && !(key < place->first))
            return false;
        notifyAbout(key);
        // Who heard of it may have added the entry already.
        const auto [added, isNew] = m_entries.emplace(std::move(key), std::move(value));
        FieldValue::hold(added->second, &mutableOwner());
        notifyDone(isNew, added->first);
        return isNew;
    }

    /// Adds an entry or replaces its value; an equal value is left alone.
    void overwrite(K key, V value)
    {
        checkWritable();
        const const_iterator found = m_entries.find(key);
        if (found != m_entries.end() && found->second == value
            && !hasEffectiveOption(NotifyEqualAssignments)) {
            return;
        }
        notifyAbout(key);
        // Looked up anew: who heard of it may have changed the map.
        const auto [entry, isNew] = m_entries.try_emplace(key);
        V &slot = entry->second;
        const bool differs = isNew || !(slot == value);
        FieldValue::hold(slot, nullptr);
        slot = std::move(value);
        FieldValue::hold(slot, &mutableOwner());
        notifyDone(differs, key);
    }

    /// False, and nothing happens, when there is no such key.
    bool remove(const K &key)
    {
        checkWritable();
        if (!m_entries.contains(key))
            return false;
        const K removed = key; // the caller's may be the one in the map
        notifyAbout(removed);
        const auto found = m_entries.find(removed);
        const bool isThere = found != m_entries.end(); // who heard of it may have removed it
        if (isThere) {
            FieldValue::hold(found->second, nullptr);
            m_entries.erase(found);
        }
        notifyDone(isThere, removed);
        return isThere;
    }

    void clear()
    {
        checkWritable();
        if (!m_entries.empty())
            replaceAll({});
    }

    void resetToDefault() override { clear(); }

    void copyFrom(const SerializableFieldBase &other) override
    {
        checkSameType(other);
        const Map &entries = static_cast<const HashMap &>(other).entries();
        checkWritable();
        if (entries == m_entries)
            return;
        Map copies;
        for (const auto &[key, value] : entries)
            copies.emplace_hint(copies.end(), key, FieldValue::copy(value));
        replaceAll(std::move(copies));
    }

    bool isEqual(const SerializableFieldBase &other) const override
    {
        return isSameType(other) && entries() == static_cast<const HashMap &>(other).entries();
    }

    void serialize(Serialization::Node &parent) const override
    {
        const Map &all = entries();
        Serialization::ArrayNode array =
                parent.addArray(name(), sItemName, static_cast<qsizetype>(all.size()));
        for (const auto &[key, value] : all) {
            Serialization::Node item = array.append();
            Serialization::Node first = item.addObject("first");
            serializeToNode(first, key);
            Serialization::Node second = item.addObject("second");
            serializeToNode(second, value);
        }
    }

    void deserialize(const Serialization::Node &parent) override
    {
        touch();
        try {
            notify(FieldEvent::Phase::AboutToChange);
            Map read = readItems(parent);
            const bool differs = !(read == m_entries);
            swapIn(std::move(read));
            notifyChanged(differs);
        } catch (Exception::Data::SerializationException &error) {
            error.addTrace(name().toStdString());
            throw;
        }
    }

    void adoptOwnerThread() override
    {
        for (const auto &entry : m_entries)
            FieldValue::adoptThread(entry.second, owner());
    }

    VariantLists toVariantLists() const override
    {
        VariantLists lists;
        for (const auto &[key, value] : entries()) {
            lists.keys.append(FieldValue::toVariant(key));
            lists.values.append(FieldValue::toVariant(value));
        }
        return lists;
    }

private:
    const Map &entries() const
    {
        touch();
        return m_entries;
    }

    void notifyAbout(const K &key) const
    {
        if (isNotifying())
            notify(FieldEvent::Phase::AboutToChange, -1, FieldValue::toVariant(key));
    }

    void notifyDone(bool differs, const K &key) const
    {
        notifyChanged(differs, -1, isNotifying() ? FieldValue::toVariant(key) : QVariant());
    }

    Map readItems(const Serialization::Node &parent) const
    {
        Map read;
        const Serialization::ArrayNode array = parent.findArray(name(), sItemName);
        if (array.isNull())
            return read;
        for (const Serialization::Node item : array) {
            K key = K();
            V value = V();
            Serialization::deserializeObjectFromSubnode(item, "first", key, true);
            Serialization::deserializeObjectFromSubnode(item, "second", value, true);
            read.insert_or_assign(read.end(), std::move(key), std::move(value));
        }
        return read;
    }

    void replaceAll(Map &&entries)
    {
        notify(FieldEvent::Phase::AboutToChange);
        const bool differs = !(entries == m_entries); // now: who heard of it may have changed it
        swapIn(std::move(entries));
        notifyChanged(differs);
    }

    void swapIn(Map &&entries)
    {
        holdAll(nullptr);
        m_entries = std::move(entries);
        holdAll(&mutableOwner());
    }

    void holdAll(SerializableData *holder)
    {
        for (const auto &entry : m_entries)
            FieldValue::hold(entry.second, holder);
    }

    Map m_entries;
};

} // namespace Tesk::Data
