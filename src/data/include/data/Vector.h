#pragma once

#include <data/FieldValue.h>
#include <data/Serialization.h>
#include <data/VectorBase.h>

#include <vantbase/Exception.h>

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tesk::Data {

/// A field that holds an ordered list.
///
/// Ownership, threads and errors as for SerializableFieldBase; references and iterators are
/// invalid after a change, as those of a std::vector. Where somebody who hears of a change
/// shortens the list, an insertion goes to its end and a removal may find nothing to remove.
/// Persistence: an array sub-node of the field's name with one item for each element.
template<class T>
class Vector : public VectorBase
{
    static_assert(!std::is_same_v<T, bool>, "elements need addresses");

public:
    using const_iterator = typename std::vector<T>::const_iterator;

    Vector(SerializableData &owner, const QString &name, Options options)
        : VectorBase(owner, name, options)
    {}
    ~Vector() override { holdAll(nullptr); }

    const std::vector<T> &values() const
    {
        touch();
        return m_values;
    }
    const_iterator begin() const { return values().begin(); }
    const_iterator end() const { return values().end(); }
    qsizetype size() const { return static_cast<qsizetype>(values().size()); }
    bool empty() const { return values().empty(); }

    /// Raises an InvalidArgumentException for an index that is not below size().
    const T &at(qsizetype index) const
    {
        checkIndex(index, size());
        return m_values[static_cast<std::size_t>(index)];
    }

    bool contains(const T &value) const { return std::find(begin(), end(), value) != end(); }

    void append(T value) { insert(size(), std::move(value)); }

    /// Raises an InvalidArgumentException for an index above size().
    void insert(qsizetype index, T value)
    {
        checkWritable();
        checkIndex(index, size() + 1);
        notify(FieldEvent::Phase::AboutToChange, index);
        index = std::min(index, size());
        const auto added = m_values.insert(m_values.begin() + index, std::move(value));
        FieldValue::hold(*added, &mutableOwner());
        notifyChanged(true, index);
    }

    /// Raises an InvalidArgumentException for an index that is not below size().
    void removeAt(qsizetype index)
    {
        checkWritable();
        checkIndex(index, size());
        notify(FieldEvent::Phase::AboutToChange, index);
        notifyChanged(erase(index), index);
    }

    /// Removes the elements for which \a predicate holds and gives their number.
    ///
    /// Asks from the last to the first; \a predicate must not change the field. Linear without
    /// events; with events each element is removed by itself, as the events say.
    template<class Predicate>
    qsizetype removeIf(Predicate predicate)
    {
        checkWritable();
        qsizetype removed = 0;
        try {
            if (isNotifying())
                eraseOneByOne(predicate, removed);
            else
                compact(predicate, removed);
        } catch (...) {
            // Whatever is thrown, what was removed before is a change.
            if (removed > 0)
                markChanged();
            throw;
        }
        if (removed > 0)
            markChanged();
        return removed;
    }

    /// Replaces all elements, as one change of the whole field; equal ones as Field::set() does.
    void assign(std::vector<T> values)
    {
        checkWritable();
        if (!(values == m_values) || hasEffectiveOption(NotifyEqualAssignments))
            replaceAll(std::move(values));
    }

    void clear()
    {
        checkWritable();
        if (!m_values.empty())
            replaceAll({});
    }

    void resetToDefault() override { clear(); }

    void copyFrom(const SerializableFieldBase &other) override
    {
        checkSameType(other);
        const std::vector<T> &values = static_cast<const Vector &>(other).values();
        checkWritable();
        if (values == m_values)
            return;
        std::vector<T> copies;
        copies.reserve(values.size());
        for (const T &value : values)
            copies.push_back(FieldValue::copy(value));
        replaceAll(std::move(copies));
    }

    bool isEqual(const SerializableFieldBase &other) const override
    {
        return isSameType(other) && values() == static_cast<const Vector &>(other).values();
    }

    void serialize(Serialization::Node &parent) const override
    {
        const std::vector<T> &elements = values();
        Serialization::ArrayNode array =
                parent.addArray(name(), sItemName, static_cast<qsizetype>(elements.size()));
        for (const T &element : elements) {
            Serialization::Node item = array.append();
            serializeToNode(item, element);
        }
    }

    void deserialize(const Serialization::Node &parent) override
    {
        touch();
        try {
            notify(FieldEvent::Phase::AboutToChange);
            std::vector<T> read = readItems(parent);
            const bool differs = !(read == m_values);
            swapIn(std::move(read));
            notifyChanged(differs);
        } catch (Exception::Data::SerializationException &error) {
            error.addTrace(name().toStdString());
            throw;
        }
    }

    void adoptOwnerThread() override
    {
        for (const T &value : m_values)
            FieldValue::adoptThread(value, owner());
    }

    QVariantList toVariantList() const override
    {
        QVariantList list;
        list.reserve(size());
        for (const T &value : m_values)
            list.append(FieldValue::toVariant(value));
        return list;
    }

private:
    std::vector<T> readItems(const Serialization::Node &parent) const
    {
        std::vector<T> read;
        const Serialization::ArrayNode array = parent.findArray(name(), sItemName);
        if (array.isNull())
            return read;
        read.reserve(static_cast<std::size_t>(array.size()));
        for (const Serialization::Node item : array) {
            T element = T();
            deserializeFromNode(item, element);
            read.push_back(std::move(element));
        }
        return read;
    }

    void replaceAll(std::vector<T> &&values)
    {
        notify(FieldEvent::Phase::AboutToChange);
        const bool differs = !(values == m_values); // now: who heard of it may have changed it
        swapIn(std::move(values));
        notifyChanged(differs);
    }

    void swapIn(std::vector<T> &&values)
    {
        holdAll(nullptr);
        m_values = std::move(values);
        holdAll(&mutableOwner());
    }

    void holdAll(SerializableData *holder)
    {
        for (const T &value : m_values)
            FieldValue::hold(value, holder);
    }

    // False where there is no such element: who heard of the removal may have taken it away.
    bool erase(qsizetype index)
    {
        if (index >= size())
            return false;
        FieldValue::hold(m_values[static_cast<std::size_t>(index)], nullptr);
        m_values.erase(m_values.begin() + index);
        return true;
    }

    template<class Predicate>
    void eraseOneByOne(Predicate &predicate, qsizetype &removed)
    {
        for (qsizetype end = size(); end > 0; end = std::min(end, size())) {
            const qsizetype index = --end;
            if (!predicate(std::as_const(m_values[static_cast<std::size_t>(index)])))
                continue;
            notify(FieldEvent::Phase::AboutToChange, index);
            removed += erase(index) ? 1 : 0;
            notify(FieldEvent::Phase::Changed, index);
        }
    }

    // Kept elements move towards the end; the gap before them is closed once.
    template<class Predicate>
    void compact(Predicate &predicate, qsizetype &removed)
    {
        Gap gap(m_values);
        while (gap.first > 0) {
            T &element = m_values[gap.first - 1];
            const bool removes = predicate(std::as_const(element));
            --gap.first;
            removed += removes ? 1 : 0;
            if (removes)
                FieldValue::hold(element, nullptr);
            else if (--gap.last != gap.first)
                m_values[gap.last] = std::move(element);
        }
    }

    struct Gap
    {
        explicit Gap(std::vector<T> &elements)
            : values(elements)
            , first(elements.size())
            , last(elements.size())
        {}
        ~Gap()
        {
            values.erase(values.begin() + static_cast<std::ptrdiff_t>(first),
                         values.begin() + static_cast<std::ptrdiff_t>(last));
        }
        Gap(const Gap &) = delete;
        Gap &operator=(const Gap &) = delete;

        std::vector<T> &values;
        std::size_t first; // elements from here to last are gone
        std::size_t last;
    };

    std::vector<T> m_values;
};

} // namespace Tesk::Data
