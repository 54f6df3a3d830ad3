#pragma once

#include "NameTable.h"

#include <QByteArray>

#include <memory>
#include <string_view>
#include <vector>

namespace Tesk::Data::Serialization {

enum class SlotKind : quint8 { Object, Array, Unsigned, Signed, Bool, Double, Text, Bytes };

/// One node, array, attribute or class information of a document.
///
/// Slots name each other by their index; 0 is the root, which nothing points at, and so means
/// "none".
struct Slot
{
    struct Children
    {
        quint32 first;
        quint32 last;
        quint32 count;
        quint32 extra; ///< of an object its class information, of an array the item name
    };
    struct View
    {
        const char *data;
        quint32 size;
        qint32 version; ///< of class information only
    };

    quint32 next = 0;         ///< sibling
    quint32 kindAndFlags : 8; // SlotKind, sAttributeFlag
    quint32 name : 24;        ///< 0 for the root and array items
    union {
        quint64 bits; ///< integer (two's complement), truth value or double
        Children children;
        View view;
    };

    static constexpr quint32 sAttributeFlag = 0x80;

    explicit Slot(SlotKind kind, quint32 nameId = 0)
        : kindAndFlags(static_cast<quint8>(kind))
        , name(nameId & 0xFFFFFFU)
        , children{0, 0, 0, 0}
    {}

    SlotKind kind() const { return static_cast<SlotKind>(kindAndFlags & 0x7FU); }
    bool isAttribute() const { return (kindAndFlags & sAttributeFlag) != 0; }
    /// Whether it is no attribute and has neither value nor children.
    bool isEmpty() const
    {
        return kindAndFlags == static_cast<quint8>(SlotKind::Object) && children.count == 0
               && children.extra == 0;
    }
    bool isObject() const { return kind() == SlotKind::Object; }
    bool isArray() const { return kind() == SlotKind::Array; }
    bool hasView() const { return kind() == SlotKind::Text || kind() == SlotKind::Bytes; }
    std::string_view text() const { return {view.data, view.size}; }

    void setContent(SlotKind kind)
    {
        kindAndFlags = (kindAndFlags & sAttributeFlag) | static_cast<quint8>(kind);
        children = {0, 0, 0, 0};
    }
    void setBits(SlotKind kind, quint64 value)
    {
        setContent(kind);
        bits = value;
    }
    void setView(SlotKind kind, std::string_view text, qint32 version = 0)
    {
        setContent(kind);
        view = {text.data(), static_cast<quint32>(text.size()), version};
    }
};
static_assert(sizeof(Slot) == 24);

/// Everything that a document owns.
///
/// Errors: what takes a name or text from outside raises a SerializationException when it is
/// malformed or too large.
class Arena
{
public:
    Arena();

    Arena(const Arena &) = delete;
    Arena &operator=(const Arena &) = delete;

    Slot &slot(quint32 index) { return m_slots[index]; }
    const Slot &slot(quint32 index) const { return m_slots[index]; }
    qsizetype slotCount() const { return static_cast<qsizetype>(m_slots.size()); }
    std::string_view nameText(quint32 id) const { return m_names.text(id); }
    NameTable &names() { return m_names; }
    std::vector<Slot> &slotTable() { return m_slots; }

    /// The child of the object that has this name, whatever its kind; 0 when there is none.
    quint32 findChild(quint32 parent, std::string_view name) const;

    /// Raises when the slot has none.
    const Slot &classInfo(quint32 index) const;

    quint32 internName(std::string_view name)
    {
        const quint32 id = m_names.findNext(name);
        return m_names.isUsed(id) ? id : useName(id, name);
    }
    /// Appends an empty object as the last child and returns it; the caller makes it what it is.
    quint32 appendChild(quint32 parent, quint32 name)
    {
        if (m_slots.size() == sNoObject) [[unlikely]]
            raiseFull();
        const auto child = static_cast<quint32>(m_slots.size());
        m_slots.emplace_back(SlotKind::Object, name);
        Slot::Children &list = m_slots[parent].children;
        (list.first == 0 ? list.first : m_slots[list.last].next) = child;
        list.last = child;
        ++list.count;
        return child;
    }
    /// As appendChild(), for an object: raises when the name is taken.
    quint32 addChild(quint32 parent, std::string_view name);
    /// The attribute of this name, made if there is none.
    quint32 addAttribute(quint32 parent, std::string_view name);
    void removeChild(quint32 parent, quint32 child);
    void renameChild(quint32 parent, quint32 child, std::string_view name);
    void setClassInfo(quint32 object, std::string_view className, qint32 version);
    /// The same if it was set last on another object: objects of one class follow each other.
    bool repeatClassInfo(quint32 object, std::string_view className, qint32 version);
    void clearContent(quint32 index);
    /// Copies the content of a slot of \a source, which may be this arena, but not the name.
    void copyContent(quint32 index, const Arena &source, quint32 sourceIndex);

    /// A copy that lives as long as the arena; \a text must be valid UTF-8.
    std::string_view keepText(std::string_view text);
    std::string_view keepText(QStringView text);
    std::string_view keepBytes(std::string_view bytes);

    /// Keeps what views into encoded bytes point at.
    void keepSource(const QByteArray &bytes) { m_source = bytes; }
    const QByteArray &source() const { return m_source; }

    void reserve(qsizetype slotCount);
    void reserveMore(qsizetype slotCount);
    void clear();
    /// Whether it is worth keeping for the next document.
    bool isSmall() const;

    /// How messages call a slot, as "node \"types\"".
    QString describe(quint32 index) const;

private:
    quint32 findChildById(quint32 parent, quint32 name) const
    {
        quint32 child = m_slots[parent].children.first;
        while (child != 0 && m_slots[child].name != name)
            child = m_slots[child].next;
        return child;
    }
    /// \a id is 0 for a name that the table does not have.
    quint32 useName(quint32 id, std::string_view name);
    [[noreturn]] static void raiseFull();
    [[noreturn]] void raiseNoObject(quint32 index) const;
    [[noreturn]] void raiseNameTaken(quint32 parent, std::string_view name) const;
    bool isNameTaken(quint32 parent, quint32 name)
    {
        return m_slots[parent].children.count <= sFewChildren ? findChildById(parent, name) != 0
                                                              : isAmongMany(parent, name);
    }
    bool isAmongMany(quint32 parent, quint32 name);
    void markNamesOf(quint32 parent);
    void copyTree(quint32 index, const Arena &source, quint32 sourceIndex, int depth);
    void copyOwn(Slot &target, const Arena &source, const Slot &from);
    char *allocate(std::size_t size);

    // Up to here comparing along the list is as fast as marking or finding the name first.
    static constexpr quint32 sFewChildren = 8;

    std::vector<Slot> m_slots;
    NameTable m_names;
    QByteArray m_source;
    std::vector<std::unique_ptr<char[]>> m_chunks;
    char *m_free = nullptr; // of the last chunk
    std::size_t m_freeSize = 0;

    // The object whose children's names are the marked ones of m_names; sNoObject for none.
    static constexpr quint32 sNoObject = 0xFFFFFFFF;
    quint32 m_markedObject = sNoObject;
    quint32 m_lastClassInfo = 0;
};

/// Raises unless \a name may name a node, an attribute or an item.
void checkName(std::string_view name);
/// What is wrong with \a name; empty when nothing is.
QString nameFault(std::string_view name);
/// As "text" or "an object", for messages.
QString kindText(SlotKind kind);

} // namespace Tesk::Data::Serialization
