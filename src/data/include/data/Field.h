#pragma once

#include <data/FieldBase.h>
#include <data/FieldValue.h>
#include <data/Serialization.h>

#include <type_traits>
#include <utility>

namespace Tesk::Data {

/// A field that holds one value.
///
/// Ownership, threads and errors as for SerializableFieldBase; pointers to shared objects are
/// compared as pointers, and what happens inside such an object is no change of the field.
/// Persistence: an object sub-node of the field's name with the value.
template<class T>
class Field : public FieldBase
{
public:
    Field(SerializableData &owner, const QString &name, Options options)
        : FieldBase(owner, name, options)
    {}
    ~Field() override { FieldValue::hold(m_value, nullptr); }

    const T &get() const
    {
        touch();
        return m_value;
    }

    void set(T value)
    {
        checkWritable();
        if (!(value == m_value) || hasEffectiveOption(NotifyEqualAssignments))
            assign(std::move(value));
    }

    void resetToDefault() override
    {
        checkWritable();
        T value = T();
        if (!(value == m_value))
            assign(std::move(value));
    }

    void copyFrom(const SerializableFieldBase &other) override
    {
        checkSameType(other);
        const T &value = static_cast<const Field &>(other).get();
        checkWritable();
        if (!(value == m_value))
            assign(FieldValue::copy(value));
    }

    bool isEqual(const SerializableFieldBase &other) const override
    {
        return isSameType(other) && get() == static_cast<const Field &>(other).get();
    }

    void serialize(Serialization::Node &parent) const override
    {
        const T &value = get();
        Serialization::Node node = parent.addObject(name());
        serializeToNode(node, value);
    }

    // Without a sub-node the value stays and nobody hears that it did: on purpose.
    void deserialize(const Serialization::Node &parent) override
    {
        touch();
        notify(FieldEvent::Phase::AboutToChange);
        T value = T();
        if (!Serialization::deserializeObjectFromSubnode(parent, name(), value, false))
            return;
        const bool differs = !(value == m_value);
        replace(std::move(value));
        notifyChanged(differs);
    }

    void adoptOwnerThread() override { FieldValue::adoptThread(m_value, owner()); }

    bool isEnumeration() const override { return std::is_enum_v<T>; }
    QVariant toVariant() const override { return FieldValue::toVariant(get()); }

private:
    void assign(T &&value)
    {
        notify(FieldEvent::Phase::AboutToChange);
        const bool differs = !(value == m_value); // now: who heard of it may have set it
        replace(std::move(value));
        notifyChanged(differs);
    }

    void replace(T &&value)
    {
        FieldValue::hold(m_value, nullptr);
        m_value = std::move(value);
        FieldValue::hold(m_value, &mutableOwner());
    }

    T m_value = T();
};

} // namespace Tesk::Data
