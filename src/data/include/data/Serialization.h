#pragma once

#include <data/data_export.h>

#include <data/Node.h>
#include <data/SerializableData.h>

#include <vantbase/QObjectDeleteLater.h>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <concepts>
#include <limits>
#include <memory>
#include <type_traits>

/// How values become nodes and nodes values.
///
/// Overloads for further value types stand in this namespace, where the fields find them by
/// the type of the node. All reading raises a SerializationException for a node that does
/// not hold such a value, and then leaves the target as it was.
namespace Tesk::Data::Serialization {

/// Raises when the number of \a node lies outside the limits.
DATA_EXPORT qint64 readSigned(const Node &node, qint64 lowest, qint64 highest);
DATA_EXPORT quint64 readUnsigned(const Node &node, quint64 highest);

template<AnyInteger T>
void serializeToNode(Node &node, T value)
{
    node.setValue(value);
}

template<AnyInteger T>
void deserializeFromNode(const Node &node, T &value)
{
    using Limits = std::numeric_limits<T>;
    if constexpr (std::signed_integral<T>)
        value = static_cast<T>(readSigned(node, Limits::min(), Limits::max()));
    else
        value = static_cast<T>(readUnsigned(node, Limits::max()));
}

template<std::same_as<bool> T>
void serializeToNode(Node &node, T value)
{
    node.setValue(value);
}

template<std::same_as<bool> T>
void deserializeFromNode(const Node &node, T &value)
{
    value = node.toBool();
}

template<std::floating_point T>
void serializeToNode(Node &node, T value)
{
    node.setValue(static_cast<double>(value));
}

template<std::floating_point T>
void deserializeFromNode(const Node &node, T &value)
{
    value = static_cast<T>(node.toDouble());
}

/// Enumerations are stored as their numbers; which numbers are known is not checked.
template<class T>
requires std::is_enum_v<T>
void serializeToNode(Node &node, T value)
{
    serializeToNode(node, static_cast<std::underlying_type_t<T>>(value));
}

template<class T>
requires std::is_enum_v<T>
void deserializeFromNode(const Node &node, T &value)
{
    std::underlying_type_t<T> number = {};
    deserializeFromNode(node, number);
    value = static_cast<T>(number);
}

DATA_EXPORT void serializeToNode(Node &node, const QString &value);
DATA_EXPORT void deserializeFromNode(const Node &node, QString &value);
DATA_EXPORT void serializeToNode(Node &node, const QByteArray &value);
DATA_EXPORT void deserializeFromNode(const Node &node, QByteArray &value);
DATA_EXPORT void serializeToNode(Node &node, const QUrl &value);
DATA_EXPORT void deserializeFromNode(const Node &node, QUrl &value);
DATA_EXPORT void serializeToNode(Node &node, const QStringList &value);
DATA_EXPORT void deserializeFromNode(const Node &node, QStringList &value);

/// Raises for a type that has no stored form; see docs/format/fields.md for those that have.
DATA_EXPORT void writeVariant(Node &node, const QVariant &value);
DATA_EXPORT QVariant readVariant(const Node &node);

template<std::same_as<QVariant> T>
void serializeToNode(Node &node, const T &value)
{
    writeVariant(node, value);
}

template<std::same_as<QVariant> T>
void deserializeFromNode(const Node &node, T &value)
{
    value = readVariant(node);
}

/// Writes class name, current version and all persisted fields.
DATA_EXPORT void serializeToNode(Node &node, const SerializableData &object);
/// As above; null is stored as the attribute "nullptr".
DATA_EXPORT void serializeToNode(Node &node, const SerializableData *object);

/// Fills \a object, whose class must be that of \a node, then calls onLoadedFromDisk().
///
/// A node of an older version is upgraded in a copy. Fields that are not persisted are reset.
/// What fails leaves the fields before it read and those after it as they were.
DATA_EXPORT void deserializeFromNode(const Node &node, SerializableData &object);

/// A new, still empty object of the class that \a node names; null for a stored null.
///
/// The class is checked to be \a expected or derived from it. The caller owns the object,
/// which has no parent, and fills it with fillObject().
DATA_EXPORT SerializableData *newObject(const Node &node, const QMetaObject &expected);
/// deserializeFromNode() for an object of newObject(): part of the decode that is under way
/// on this thread, if there is one, and as silent.
DATA_EXPORT void fillObject(const Node &node, SerializableData &object);

template<std::derived_from<SerializableData> T>
void serializeToNode(Node &node, const std::unique_ptr<T, QObjectDeleteLater> &object)
{
    serializeToNode(node, static_cast<const SerializableData *>(object.get()));
}

template<std::derived_from<SerializableData> T>
void deserializeFromNode(const Node &node, std::unique_ptr<T, QObjectDeleteLater> &object)
{
    object.reset(static_cast<T *>(newObject(node, T::staticMetaObject)));
    if (object)
        fillObject(node, *object);
}

template<std::derived_from<SerializableData> T>
void serializeToNode(Node &node, const std::shared_ptr<T> &object)
{
    serializeToNode(node, static_cast<const SerializableData *>(object.get()));
}

template<std::derived_from<SerializableData> T>
void deserializeFromNode(const Node &node, std::shared_ptr<T> &object)
{
    std::unique_ptr<T, QObjectDeleteLater> owned;
    deserializeFromNode(node, owned);
    object = std::move(owned);
}

using NodeReader = void (*)(const Node &node, void *value);

/// The operation below for any type of value.
DATA_EXPORT bool deserializeObjectFromSubnode(const Node &parent, const NodeName &name,
                                              bool required, NodeReader read, void *value);

/// Reads \a value from the sub-object \a name of \a parent.
///
/// Gives false and changes nothing when there is none and none is required; raises a
/// NotFoundException when one is. An error of reading gets \a name added to its trace.
template<class T>
bool deserializeObjectFromSubnode(const Node &parent, const NodeName &name, T &value, bool required)
{
    const NodeReader read = [](const Node &node, void *target) {
        deserializeFromNode(node, *static_cast<T *>(target));
    };
    return deserializeObjectFromSubnode(parent, name, required, read, &value);
}

} // namespace Tesk::Data::Serialization
