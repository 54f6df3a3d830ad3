#pragma once

#include <data/data_export.h>

#include <data/SerializableData.h>

#include <vantbase/QObjectDeleteLater.h>

#include <QMetaType>
#include <QString>
#include <QVariant>

#include <concepts>
#include <memory>

/// What the fields do with a value depending on its type: plain values are copied, records
/// that a field owns are cloned, objects that it shares are shared until a clone is made.
namespace Tesk::Data::FieldValue {

template<class T>
struct Record
{
    static constexpr bool sIsOwned = false;
    static constexpr bool sIsShared = false;
};

template<std::derived_from<SerializableData> T>
struct Record<std::unique_ptr<T, QObjectDeleteLater>>
{
    static constexpr bool sIsOwned = true;
    static constexpr bool sIsShared = false;
};

template<std::derived_from<SerializableData> T>
struct Record<std::shared_ptr<T>>
{
    static constexpr bool sIsOwned = false;
    static constexpr bool sIsShared = true;
};

/// A deep copy of \a record without parent, which the caller owns.
DATA_EXPORT SerializableData *cloneRecord(const SerializableData &record);
/// \a object itself, or its copy while an object that shares it is being cloned.
DATA_EXPORT std::shared_ptr<SerializableData>
shareOrClone(const std::shared_ptr<SerializableData> &object);
/// From now on changes of \a record are changes of \a holder; null for none.
DATA_EXPORT void setHolder(SerializableData &record, SerializableData *holder);
/// Moves \a record and what its fields own from the current thread to that of \a owner.
DATA_EXPORT void moveToThreadOf(const SerializableData &owner, SerializableData &record);

template<class T>
T copy(const T &value)
{
    if constexpr (Record<T>::sIsOwned)
        return value ? T(static_cast<typename T::pointer>(cloneRecord(*value))) : T();
    else if constexpr (Record<T>::sIsShared)
        return std::static_pointer_cast<typename T::element_type>(shareOrClone(value));
    else
        return value;
}

template<class T>
void hold(const T &value, SerializableData *holder)
{
    if constexpr (Record<T>::sIsOwned) {
        if (value)
            setHolder(*value, holder);
    }
}

template<class T>
void adoptThread(const T &value, const SerializableData &owner)
{
    if constexpr (Record<T>::sIsOwned) {
        if (value)
            moveToThreadOf(owner, *value);
    }
}

/// Whether the type is known is decided here, not by what has been registered so far: that
/// would change with the first use of the type.
template<class T>
QVariant toVariant(const T &value)
{
    if constexpr (Record<T>::sIsOwned)
        return QVariant::fromValue(value.get());
    else if constexpr (std::same_as<T, QVariant>)
        return value;
    else if constexpr (QMetaTypeId2<T>::Defined)
        return QVariant::fromValue(value);
    else
        return QStringLiteral("Unregistered Qt type");
}

} // namespace Tesk::Data::FieldValue
