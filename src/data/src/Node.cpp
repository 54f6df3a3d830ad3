#include <data/Node.h>

#include "Arena.h"
#include "NodeAccess.h"

#include <data/ClassRegistry.h>
#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>

#include <bit>
#include <limits>

namespace Tesk::Data::Serialization {

namespace {

QString toQString(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

/// The slot, which must be of this kind.
const Slot &slotOfKind(const Arena &arena, quint32 index, SlotKind expected)
{
    const Slot &slot = arena.slot(index);
    if (slot.kind() != expected) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot read %1: it holds %2, expected %3")
                                              .arg(arena.describe(index), kindText(slot.kind()),
                                                   kindText(expected)));
    }
    return slot;
}

qint64 readInteger(const Arena &arena, quint32 index)
{
    const Slot &slot = arena.slot(index);
    if (slot.kind() == SlotKind::Signed)
        return std::bit_cast<qint64>(slot.bits);
    const quint64 value = slotOfKind(arena, index, SlotKind::Unsigned).bits;
    constexpr auto largest = std::numeric_limits<qint64>::max();
    if (value > static_cast<quint64>(largest)) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot read %1: it holds %2, expected at most %3")
                                   .arg(arena.describe(index))
                                   .arg(value)
                                   .arg(largest));
    }
    return static_cast<qint64>(value);
}

void writeSigned(Slot &slot, qint64 value)
{
    slot.setBits(value < 0 ? SlotKind::Signed : SlotKind::Unsigned, std::bit_cast<quint64>(value));
}

std::string_view bytesOf(QByteArrayView bytes)
{
    return {bytes.data(), static_cast<std::size_t>(bytes.size())};
}

} // namespace

Arena &Node::arena() const
{
    if (m_arena == nullptr)
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot use a node: it is null"));
    return *m_arena;
}

Arena &Node::arenaForValue() const
{
    const Slot &slot = arena().slot(m_index);
    if (slot.isEmpty()) [[likely]]
        return *m_arena;
    if (slot.isAttribute()) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot set %1: use the node that it belongs to")
                                   .arg(m_arena->describe(m_index)));
    }
    if (slot.isObject() && (slot.children.count != 0 || slot.children.extra != 0)) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot set the value of %1: it has %2 children%3")
                                   .arg(m_arena->describe(m_index))
                                   .arg(slot.children.count)
                                   .arg(slot.children.extra == 0
                                                ? QString()
                                                : QStringLiteral(" and class information")));
    }
    return *m_arena;
}

std::string_view Node::name() const
{
    return arena().nameText(m_arena->slot(m_index).name);
}

Node Node::nextSibling() const
{
    const quint32 next = arena().slot(m_index).next;
    return next == 0 ? Node() : Node(m_arena, next);
}

quint32 Node::findSubNode(const NodeName &name) const
{
    const quint32 child = arena().findChild(m_index, name.utf8());
    return child != 0 && m_arena->slot(child).isAttribute() ? 0 : child;
}

Node Node::findObject(const NodeName &name) const
{
    const quint32 child = findSubNode(name);
    return child == 0 || m_arena->slot(child).isArray() ? Node() : Node(m_arena, child);
}

ArrayNode Node::findArray(const NodeName &name, const NodeName &itemName) const
{
    const quint32 child = findSubNode(name);
    if (child == 0)
        return {};
    const Slot &slot = m_arena->slot(child);
    if (!slot.isArray() || m_arena->nameText(slot.children.extra) != itemName.utf8())
        return {};
    return ArrayNode(m_arena, child);
}

NodeChildren Node::children() const
{
    return NodeChildren(*this);
}

Node Node::addObject(const NodeName &name)
{
    return Node(m_arena, arena().addChild(m_index, name.utf8()));
}

ArrayNode Node::addArray(const NodeName &name, const NodeName &itemName, qsizetype sizeHint)
{
    const quint32 itemNameId = arena().internName(itemName.utf8());
    const quint32 child = m_arena->addChild(m_index, name.utf8());
    Slot &slot = m_arena->slot(child);
    slot.setContent(SlotKind::Array);
    slot.children.extra = itemNameId;
    m_arena->reserveMore(sizeHint);
    return ArrayNode(m_arena, child);
}

bool Node::removeChild(const NodeName &name)
{
    const quint32 child = findSubNode(name);
    if (child != 0)
        m_arena->removeChild(m_index, child);
    return child != 0;
}

bool Node::renameChild(const NodeName &from, const NodeName &to)
{
    const quint32 child = findSubNode(from);
    if (child != 0)
        m_arena->renameChild(m_index, child, to.utf8());
    return child != 0;
}

void Node::clear()
{
    if (arena().slot(m_index).isAttribute())
        arenaForValue(); // raises
    m_arena->clearContent(m_index);
}

void Node::copyFrom(const Node &other)
{
    if (arena().slot(m_index).isAttribute())
        arenaForValue(); // raises
    m_arena->copyContent(m_index, other.arena(), other.m_index);
}

// --- attributes

quint32 Node::findAttribute(const NodeName &name) const
{
    const quint32 child = arena().findChild(m_index, name.utf8());
    return child != 0 && m_arena->slot(child).isAttribute() ? child : 0;
}

quint32 Node::addAttribute(const NodeName &name)
{
    return arena().addAttribute(m_index, name.utf8());
}

bool Node::hasAttribute(const NodeName &name) const
{
    return findAttribute(name) != 0;
}

bool Node::boolAttribute(const NodeName &name, bool fallback) const
{
    const quint32 found = findAttribute(name);
    return found == 0 ? fallback : slotOfKind(*m_arena, found, SlotKind::Bool).bits != 0;
}

qint64 Node::integerAttribute(const NodeName &name, qint64 fallback) const
{
    const quint32 found = findAttribute(name);
    return found == 0 ? fallback : readInteger(*m_arena, found);
}

QString Node::attribute(const NodeName &name, const QString &fallback) const
{
    const quint32 found = findAttribute(name);
    return found == 0 ? fallback : toQString(slotOfKind(*m_arena, found, SlotKind::Text).text());
}

void Node::setBoolAttribute(const NodeName &name, bool value)
{
    const quint32 attribute = addAttribute(name);
    m_arena->slot(attribute).setBits(SlotKind::Bool, value ? 1 : 0);
}

void Node::setSignedAttribute(const NodeName &name, qint64 value)
{
    const quint32 attribute = addAttribute(name);
    writeSigned(m_arena->slot(attribute), value);
}

void Node::setUnsignedAttribute(const NodeName &name, quint64 value)
{
    const quint32 attribute = addAttribute(name);
    m_arena->slot(attribute).setBits(SlotKind::Unsigned, value);
}

void Node::setAttribute(const NodeName &name, QStringView value)
{
    const std::string_view kept = arena().keepText(value);
    const quint32 attribute = addAttribute(name);
    m_arena->slot(attribute).setView(SlotKind::Text, kept);
}

void Node::setAttribute(const NodeName &name, const char *utf8)
{
    const std::string_view kept = arena().keepText(std::string_view(utf8));
    const quint32 attribute = addAttribute(name);
    m_arena->slot(attribute).setView(SlotKind::Text, kept);
}

bool Node::removeAttribute(const NodeName &name)
{
    const quint32 found = findAttribute(name);
    if (found != 0)
        m_arena->removeChild(m_index, found);
    return found != 0;
}

// --- class information

bool Node::hasClassInfo() const
{
    const Slot &slot = arena().slot(m_index);
    return slot.isObject() && slot.children.extra != 0;
}

QString Node::className() const
{
    return toQString(arena().classInfo(m_index).text());
}

int Node::classVersion() const
{
    return arena().classInfo(m_index).view.version;
}

void Node::checkClassInfo(const QString &expectedClassName) const
{
    const QString found = className();
    if (found != expectedClassName
        && ClassRegistry::currentName(found) != ClassRegistry::currentName(expectedClassName)) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot read %1: it holds class \"%2\", expected "
                                          "class \"%3\"")
                                   .arg(m_arena->describe(m_index), found, expectedClassName));
    }
}

void Node::setClassInfo(const QString &className, int version)
{
    const NodeName name(className);
    checkName(name.utf8());
    if (version < 0) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot set the version of class \"%1\" to %2: "
                                          "expected a number from 0")
                                   .arg(className)
                                   .arg(version));
    }
    arena().setClassInfo(m_index, name.utf8(), version);
}

void NodeAccess::setClassInfo(Node &node, std::string_view className, int version)
{
    if (node.arena().repeatClassInfo(node.m_index, className, version))
        return;
    const auto size = static_cast<qsizetype>(className.size());
    node.setClassInfo(QString::fromUtf8(className.data(), size), version);
}

// --- values

ValueKind Node::valueKind() const
{
    switch (arena().slot(m_index).kind()) {
    case SlotKind::Unsigned:
        return ValueKind::Unsigned;
    case SlotKind::Signed:
        return ValueKind::Signed;
    case SlotKind::Bool:
        return ValueKind::Bool;
    case SlotKind::Double:
        return ValueKind::Double;
    case SlotKind::Text:
        return ValueKind::Text;
    case SlotKind::Bytes:
        return ValueKind::Bytes;
    case SlotKind::Object:
    case SlotKind::Array:
        break;
    }
    return ValueKind::None;
}

bool Node::toBool() const
{
    return slotOfKind(arena(), m_index, SlotKind::Bool).bits != 0;
}

quint64 Node::toUInt() const
{
    return slotOfKind(arena(), m_index, SlotKind::Unsigned).bits;
}

qint64 Node::toInt() const
{
    return readInteger(arena(), m_index);
}

double Node::toDouble() const
{
    return std::bit_cast<double>(slotOfKind(arena(), m_index, SlotKind::Double).bits);
}

std::string_view Node::textView() const
{
    return slotOfKind(arena(), m_index, SlotKind::Text).text();
}

QString Node::toText() const
{
    return toQString(textView());
}

QByteArrayView Node::bytesView() const
{
    const std::string_view bytes = slotOfKind(arena(), m_index, SlotKind::Bytes).text();
    return {bytes.data(), static_cast<qsizetype>(bytes.size())};
}

QByteArray Node::toBytes() const
{
    return bytesView().toByteArray();
}

void Node::setBool(bool value)
{
    arenaForValue().slot(m_index).setBits(SlotKind::Bool, value ? 1 : 0);
}

void Node::setSigned(qint64 value)
{
    writeSigned(arenaForValue().slot(m_index), value);
}

void Node::setUnsigned(quint64 value)
{
    arenaForValue().slot(m_index).setBits(SlotKind::Unsigned, value);
}

void Node::setDouble(double value)
{
    arenaForValue().slot(m_index).setBits(SlotKind::Double, std::bit_cast<quint64>(value));
}

void Node::setValue(QStringView text)
{
    const std::string_view kept = arenaForValue().keepText(text);
    m_arena->slot(m_index).setView(SlotKind::Text, kept);
}

void Node::setValue(std::string_view utf8)
{
    const std::string_view kept = arenaForValue().keepText(utf8);
    m_arena->slot(m_index).setView(SlotKind::Text, kept);
}

void Node::setValue(QByteArrayView bytes)
{
    const std::string_view kept = arenaForValue().keepBytes(bytesOf(bytes));
    m_arena->slot(m_index).setView(SlotKind::Bytes, kept);
}

} // namespace Tesk::Data::Serialization
