#pragma once

#include <data/data_export.h>

#include <data/NodeName.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <concepts>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace Tesk::Data::Serialization {

class Arena;
class ArrayNode;
class NodeChildren;

/// What a node holds as its value. Integers from 0 upwards are Unsigned, whatever type they
/// were set with, so that equal numbers are equal nodes.
enum class ValueKind { None, Unsigned, Signed, Bool, Double, Text, Bytes };

template<class T>
concept SignedInteger = std::signed_integral<T>;
template<class T>
concept UnsignedInteger = std::unsigned_integral<T> && !std::same_as<T, bool>;
template<class T>
concept AnyInteger = SignedInteger<T> || UnsignedInteger<T>;

/// One node of a Document: an object with named children, or a value.
///
/// An object has sub-objects, arrays and attributes, kept in the order in which they were
/// added under names that are unique over all three, and may carry class information. A
/// node with a value has none of these.
///
/// Ownership: a handle, cheap to copy, that is valid as long as its document; a removed node
/// stays readable until then.
/// Threads: a document is not thread-safe; several threads may read one that nobody writes.
/// Errors: what cannot be done raises a SerializationException that names the node, what was
/// found and what was expected; so does every use of a null node but isNull().
class DATA_EXPORT Node
{
public:
    Node() = default;

    bool isNull() const { return m_arena == nullptr; }
    /// The name under which its parent holds it; empty for a root and for array items.
    std::string_view name() const;

    /// Null when there is no object of this name.
    Node findObject(const NodeName &name) const;
    /// Null when there is no array of this name with this item name.
    ArrayNode findArray(const NodeName &name, const NodeName &itemName) const;
    /// Objects, arrays and attributes in order.
    NodeChildren children() const;

    bool hasAttribute(const NodeName &name) const;
    template<std::same_as<bool> T>
    bool attribute(const NodeName &name, T fallback) const
    {
        return boolAttribute(name, fallback);
    }
    template<AnyInteger T>
    qint64 attribute(const NodeName &name, T fallback) const
    {
        return integerAttribute(name, static_cast<qint64>(fallback));
    }
    QString attribute(const NodeName &name, const QString &fallback) const;

    bool hasClassInfo() const;
    /// Raises when there is no class information.
    QString className() const;
    /// Raises when there is no class information.
    int classVersion() const;
    /// Raises unless the class information names \a expectedClassName or an old name of it.
    void checkClassInfo(const QString &expectedClassName) const;

    /// None for an object.
    ValueKind valueKind() const;
    bool toBool() const;
    quint64 toUInt() const;
    qint64 toInt() const;
    double toDouble() const;
    QString toText() const;
    QByteArray toBytes() const;
    /// The text without a copy; valid as long as the document is.
    std::string_view textView() const;
    /// The bytes without a copy; valid as long as the document is.
    QByteArrayView bytesView() const;

    Node addObject(const NodeName &name);
    ArrayNode addArray(const NodeName &name, const NodeName &itemName, qsizetype sizeHint = 0);
    /// Removes the object or array; false when there is none.
    bool removeChild(const NodeName &name);
    /// Renames the object or array in its place; false when there is none.
    bool renameChild(const NodeName &from, const NodeName &to);

    /// Adds the attribute, or replaces its value in its place.
    template<std::same_as<bool> T>
    void setAttribute(const NodeName &name, T value)
    {
        setBoolAttribute(name, value);
    }
    template<SignedInteger T>
    void setAttribute(const NodeName &name, T value)
    {
        setSignedAttribute(name, value);
    }
    template<UnsignedInteger T>
    void setAttribute(const NodeName &name, T value)
    {
        setUnsignedAttribute(name, value);
    }
    void setAttribute(const NodeName &name, QStringView value);
    void setAttribute(const NodeName &name, const char *utf8);
    bool removeAttribute(const NodeName &name);

    /// Versions are whole numbers from 0.
    void setClassInfo(const QString &className, int version);

    /// Makes the node a value, or replaces its value. Raises for a node with children.
    template<std::same_as<bool> T>
    void setValue(T value)
    {
        setBool(value);
    }
    template<SignedInteger T>
    void setValue(T value)
    {
        setSigned(value);
    }
    template<UnsignedInteger T>
    void setValue(T value)
    {
        setUnsigned(value);
    }
    template<std::floating_point T>
    void setValue(T value)
    {
        setDouble(static_cast<double>(value));
    }
    void setValue(QStringView text);
    void setValue(std::string_view utf8);
    void setValue(const char *utf8) { setValue(std::string_view(utf8)); }
    void setValue(QByteArrayView bytes);
    void setValue(const QString &text) { setValue(QStringView(text)); }
    void setValue(const QByteArray &bytes) { setValue(QByteArrayView(bytes)); }

    /// Makes it an empty object; the name and the place among its siblings stay.
    void clear();
    /// Replaces the content by a deep copy of the content of \a other, a node of any document.
    void copyFrom(const Node &other);

    /// The same node of the same document.
    friend bool operator==(const Node &a, const Node &b) = default;

private:
    friend class ArrayNode;
    friend class CborEncoder;
    friend class Document;
    friend class NodeAccess;
    friend class NodeChildren;

    Node(Arena *arena, quint32 index)
        : m_arena(arena)
        , m_index(index)
    {}

    bool boolAttribute(const NodeName &name, bool fallback) const;
    qint64 integerAttribute(const NodeName &name, qint64 fallback) const;
    void setBoolAttribute(const NodeName &name, bool value);
    void setSignedAttribute(const NodeName &name, qint64 value);
    void setUnsignedAttribute(const NodeName &name, quint64 value);
    void setBool(bool value);
    void setSigned(qint64 value);
    void setUnsigned(quint64 value);
    void setDouble(double value);

    Arena &arena() const;
    /// The arena of a node that may be given a value.
    Arena &arenaForValue() const;
    /// Null after the last one.
    Node nextSibling() const;
    /// Of the object or array; 0 when there is none.
    quint32 findSubNode(const NodeName &name) const;
    /// 0 when there is none.
    quint32 findAttribute(const NodeName &name) const;
    quint32 addAttribute(const NodeName &name);

    Arena *m_arena = nullptr;
    quint32 m_index = 0;
};

/// An ordered list of nodes; the item name says what they are.
///
/// Ownership, threads and errors as for Node.
class DATA_EXPORT ArrayNode
{
public:
    /// Walks the items in order; items appended meanwhile are reached too.
    class DATA_EXPORT Iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = Node;
        using pointer = void;
        using reference = Node;

        Iterator() = default;
        Node operator*() const { return m_item; }
        Iterator &operator++();
        Iterator operator++(int)
        {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const Iterator &a, const Iterator &b) = default;

    private:
        friend class ArrayNode;
        explicit Iterator(Node item)
            : m_item(item)
        {}

        Node m_item;
    };

    ArrayNode() = default;

    bool isNull() const { return m_arena == nullptr; }
    std::string_view name() const;
    std::string_view itemName() const;
    qsizetype size() const;
    Iterator begin() const;
    Iterator end() const { return Iterator(); }

    /// Appends an empty object.
    Node append();

    friend bool operator==(const ArrayNode &a, const ArrayNode &b) = default;

private:
    friend class Node;
    friend class NodeChildren;

    ArrayNode(Arena *arena, quint32 index)
        : m_arena(arena)
        , m_index(index)
    {}

    Arena &arena() const;

    Arena *m_arena = nullptr;
    quint32 m_index = 0;
};

enum class ChildKind { Object, Array, Attribute };

/// One named entry of an object.
struct NodeChild
{
    std::string_view name;
    ChildKind kind = ChildKind::Object;
    Node node;       ///< the object, or the attribute as a value to read; null for an array
    ArrayNode array; ///< null unless the child is an array
};

/// The children of an object, for range-based for.
class DATA_EXPORT NodeChildren
{
public:
    class DATA_EXPORT Iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = NodeChild;
        using pointer = void;
        using reference = NodeChild;

        Iterator() = default;
        NodeChild operator*() const;
        Iterator &operator++();
        Iterator operator++(int)
        {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const Iterator &a, const Iterator &b) = default;

    private:
        friend class NodeChildren;
        explicit Iterator(Node child)
            : m_child(child)
        {}

        Node m_child;
    };

    Iterator begin() const;
    Iterator end() const { return Iterator(); }
    qsizetype size() const;

private:
    friend class Node;
    explicit NodeChildren(Node parent)
        : m_parent(parent)
    {}

    Node m_parent;
};

} // namespace Tesk::Data::Serialization
