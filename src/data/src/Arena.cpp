#include "Arena.h"

#include "Utf8.h"

#include <data/Cbor.h>
#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>

#include <algorithm>
#include <array>

namespace Tesk::Data::Serialization {

namespace {

constexpr std::size_t chunkSize = 4096;
constexpr std::size_t smallSlots = 4096;
constexpr quint32 smallNames = 512;

QString quoted(std::string_view text)
{
    return QLatin1Char('"') + QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()))
           + QLatin1Char('"');
}

} // namespace

QString kindText(SlotKind kind)
{
    static const std::array texts = {QStringLiteral("an object"),
                                     QStringLiteral("an array"),
                                     QStringLiteral("an unsigned integer"),
                                     QStringLiteral("a negative integer"),
                                     QStringLiteral("a truth value"),
                                     QStringLiteral("a floating-point number"),
                                     QStringLiteral("text"),
                                     QStringLiteral("bytes")};
    return texts[static_cast<std::size_t>(kind)];
}

QString nameFault(std::string_view name)
{
    if (name.empty())
        return QStringLiteral("a name is empty");
    if (name.size() > static_cast<std::size_t>(CborLimits::sMaxNameBytes)) {
        return QStringLiteral("a name of %1 bytes is longer than %2")
                .arg(name.size())
                .arg(CborLimits::sMaxNameBytes);
    }
    if (name.front() == '@')
        return QStringLiteral("the name %1 begins with \"@\"").arg(quoted(name));
    if (!isValidUtf8(name)) {
        return QStringLiteral("the name %1 is not valid UTF-8 at its byte %2")
                .arg(quoted(name))
                .arg(validUtf8Prefix(name));
    }
    return {};
}

void checkName(std::string_view name)
{
    const QString fault = nameFault(name);
    if (!fault.isEmpty())
        raiseSerialization(TESK_HERE, QStringLiteral("Malformed name: %1").arg(fault));
}

Arena::Arena()
{
    m_slots.emplace_back(SlotKind::Object);
}

quint32 Arena::findChild(quint32 parent, std::string_view name) const
{
    const Slot &slot = m_slots[parent];
    if (!slot.isObject() || slot.children.count == 0)
        return 0;
    if (slot.children.count > sFewChildren) {
        const quint32 id = m_names.find(name);
        return id == 0 ? 0 : findChildById(parent, id);
    }
    const NameTable::Key key = m_names.keyOf(name);
    quint32 child = slot.children.first;
    while (child != 0 && !m_names.isName(m_slots[child].name, key))
        child = m_slots[child].next;
    return child;
}

const Slot &Arena::classInfo(quint32 index) const
{
    const Slot &slot = m_slots[index];
    if (!slot.isObject() || slot.children.extra == 0) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot read the class of %1: it has no class "
                                                     "information")
                                              .arg(describe(index)));
    }
    return m_slots[slot.children.extra];
}

quint32 Arena::useName(quint32 id, std::string_view name)
{
    if (id == 0)
        checkName(name);
    if (m_names.usedCount() == CborLimits::sMaxNames) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot add the name %1: the document has %2 names, "
                                          "the most it can have")
                                   .arg(quoted(name))
                                   .arg(CborLimits::sMaxNames));
    }
    if (id == 0)
        id = m_names.insert(name);
    m_names.use(id);
    return id;
}

void Arena::raiseFull()
{
    raiseSerialization(TESK_HERE, QStringLiteral("Cannot add a node: the document is full"));
}

quint32 Arena::addChild(quint32 parent, std::string_view name)
{
    if (!m_slots[parent].isObject()) [[unlikely]]
        raiseNoObject(parent);
    const quint32 id = internName(name);
    if (isNameTaken(parent, id)) [[unlikely]]
        raiseNameTaken(parent, name);
    const quint32 child = appendChild(parent, id);
    if (m_markedObject == parent)
        m_names.mark(id);
    return child;
}

quint32 Arena::addAttribute(quint32 parent, std::string_view name)
{
    const quint32 known = m_names.findNext(name);
    const bool canHaveIt = known != 0 && m_slots[parent].isObject();
    const quint32 taken = canHaveIt ? findChildById(parent, known) : 0;
    if (taken != 0 && m_slots[taken].isAttribute())
        return taken;
    if (name == "class") {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot add the attribute \"class\" to %1: the "
                                          "name stands for the class information")
                                   .arg(describe(parent)));
    }
    if (!m_slots[parent].isObject())
        raiseNoObject(parent);
    if (taken != 0)
        raiseNameTaken(parent, name);
    const quint32 id = m_names.isUsed(known) ? known : useName(known, name);
    const quint32 added = appendChild(parent, id);
    if (m_markedObject == parent)
        m_names.mark(id);
    m_slots[added].setBits(SlotKind::Bool, 0);
    m_slots[added].kindAndFlags |= Slot::sAttributeFlag;
    return added;
}

void Arena::raiseNameTaken(quint32 parent, std::string_view name) const
{
    raiseSerialization(TESK_HERE, QStringLiteral("Cannot add %1 to %2: the name is taken")
                                          .arg(quoted(name), describe(parent)));
}

bool Arena::isAmongMany(quint32 parent, quint32 name)
{
    if (m_markedObject != parent)
        markNamesOf(parent);
    return m_names.isMarked(name);
}

void Arena::markNamesOf(quint32 parent)
{
    m_names.startMarks();
    for (quint32 at = m_slots[parent].children.first; at != 0; at = m_slots[at].next)
        m_names.mark(m_slots[at].name);
    m_markedObject = parent;
}

void Arena::raiseNoObject(quint32 index) const
{
    raiseSerialization(TESK_HERE,
                       QStringLiteral("Cannot add to %1: it holds %2, expected an object")
                               .arg(describe(index), kindText(m_slots[index].kind())));
}

void Arena::removeChild(quint32 parent, quint32 child)
{
    Slot::Children &list = m_slots[parent].children;
    quint32 before = 0;
    for (quint32 at = list.first; at != child; at = m_slots[at].next)
        before = at;
    const quint32 after = m_slots[child].next;
    if (before == 0)
        list.first = after;
    else
        m_slots[before].next = after;
    if (list.last == child)
        list.last = before;
    --list.count;
    m_slots[child].next = 0;
    m_markedObject = sNoObject;
}

void Arena::renameChild(quint32 parent, quint32 child, std::string_view name)
{
    const quint32 id = internName(name);
    if (id == m_slots[child].name)
        return;
    if (isNameTaken(parent, id)) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot rename %1 to %2: the name is taken")
                                              .arg(describe(child), quoted(name)));
    }
    m_slots[child].name = id & 0xFFFFFFU;
    m_markedObject = sNoObject;
}

void Arena::setClassInfo(quint32 object, std::string_view className, qint32 version)
{
    if (!m_slots[object].isObject())
        raiseNoObject(object);
    const std::string_view kept = keepBytes(className);
    // Always a new slot: several objects may share the one there is.
    m_lastClassInfo = static_cast<quint32>(m_slots.size());
    m_slots.emplace_back(SlotKind::Text).setView(SlotKind::Text, kept, version);
    m_slots[object].children.extra = m_lastClassInfo;
}

bool Arena::repeatClassInfo(quint32 object, std::string_view className, qint32 version)
{
    const Slot &last = m_slots[m_lastClassInfo];
    if (m_lastClassInfo == 0 || last.view.version != version || last.text() != className
        || !m_slots[object].isObject())
        return false;
    m_slots[object].children.extra = m_lastClassInfo;
    return true;
}

void Arena::clearContent(quint32 index)
{
    m_slots[index].setContent(SlotKind::Object);
    m_markedObject = sNoObject;
}

void Arena::copyContent(quint32 index, const Arena &source, quint32 sourceIndex)
{
    // Built aside and then put in place: the source may contain the target, or stand in it.
    const auto aside = static_cast<quint32>(m_slots.size());
    m_slots.emplace_back(SlotKind::Object);
    copyTree(aside, source, sourceIndex, 1);
    const Slot &copied = m_slots[aside];
    Slot &target = m_slots[index];
    target.setContent(copied.kind());
    target.children = copied.children;
    if (copied.hasView())
        target.view = copied.view;
    else if (!copied.isObject() && !copied.isArray())
        target.bits = copied.bits;
    m_markedObject = sNoObject;
}

void Arena::copyOwn(Slot &target, const Arena &source, const Slot &from)
{
    if (!from.hasView())
        target.setBits(from.kind(), from.bits);
    else if (&source == this)
        target.setView(from.kind(), from.text(), from.view.version);
    else
        target.setView(from.kind(), keepBytes(from.text()), from.view.version);
}

void Arena::copyTree(quint32 index, const Arena &source, quint32 sourceIndex, int depth)
{
    // A copy: with this arena as the source, adding slots moves them.
    const Slot from = source.slot(sourceIndex);
    if (!from.isObject() && !from.isArray()) {
        copyOwn(m_slots[index], source, from);
        return;
    }
    if (depth > CborLimits::sMaxDepth) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot copy %1: it stands deeper than %2")
                                              .arg(source.describe(sourceIndex))
                                              .arg(CborLimits::sMaxDepth));
    }
    m_slots[index].setContent(from.kind());
    if (from.isArray()) {
        const quint32 itemName = internName(source.nameText(from.children.extra));
        m_slots[index].children.extra = itemName;
    } else if (from.children.extra != 0) {
        const Slot info = source.slot(from.children.extra);
        setClassInfo(index, info.text(), info.view.version);
    }
    for (quint32 at = from.children.first; at != 0; at = source.slot(at).next) {
        const Slot child = source.slot(at);
        const quint32 name = child.name == 0 ? 0 : internName(source.nameText(child.name));
        const quint32 copy = appendChild(index, name);
        m_slots[copy].kindAndFlags = child.kindAndFlags;
        copyTree(copy, source, at, depth + 1);
    }
}

std::string_view Arena::keepText(std::string_view text)
{
    if (!isValidUtf8(text)) {
        raiseSerialization(TESK_HERE, QStringLiteral("Malformed text: not valid UTF-8 at byte %1")
                                              .arg(validUtf8Prefix(text)));
    }
    return keepBytes(text);
}

std::string_view Arena::keepText(QStringView text)
{
    if (isAscii(text)) {
        const auto units = static_cast<std::size_t>(text.size());
        char *const narrowed = allocate(units);
        writeAscii(narrowed, text);
        return {narrowed, units};
    }
    const qsizetype lone = firstLoneSurrogate(text);
    if (lone >= 0) {
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Malformed text: a lone surrogate at unit %1").arg(lone));
    }
    const std::size_t size = utf8Size(text);
    char *const kept = allocate(size);
    writeUtf8(kept, text);
    return {kept, size};
}

std::string_view Arena::keepBytes(std::string_view bytes)
{
    char *kept = allocate(bytes.size());
    std::copy(bytes.begin(), bytes.end(), kept);
    return {kept, bytes.size()};
}

char *Arena::allocate(std::size_t size)
{
    if (size > static_cast<std::size_t>(CborLimits::sMaxBytes)) {
        raiseSerialization(TESK_HERE, QStringLiteral("Cannot keep %1 bytes: the limit is %2")
                                              .arg(size)
                                              .arg(CborLimits::sMaxBytes));
    }
    if (size > m_freeSize || m_free == nullptr) {
        // A large text has a chunk of its own and leaves the current one in use.
        if (size > chunkSize / 4) {
            m_chunks.push_back(std::make_unique_for_overwrite<char[]>(size));
            return m_chunks.back().get();
        }
        m_chunks.push_back(std::make_unique_for_overwrite<char[]>(chunkSize));
        m_free = m_chunks.back().get();
        m_freeSize = chunkSize;
    }
    char *const allocated = m_free;
    m_free += size;
    m_freeSize -= size;
    return allocated;
}

void Arena::reserve(qsizetype slotCount)
{
    if (slotCount > 0)
        m_slots.reserve(static_cast<std::size_t>(slotCount));
}

void Arena::reserveMore(qsizetype slotCount)
{
    if (slotCount <= 0)
        return;
    // At least twice as much: asking again and again for a little must stay linear.
    const std::size_t wanted = m_slots.size() + static_cast<std::size_t>(slotCount);
    if (wanted > m_slots.capacity())
        m_slots.reserve(std::max(wanted, m_slots.capacity() * 2));
}

void Arena::clear()
{
    if (isSmall())
        m_names.startDocument();
    else
        m_names.clear();
    m_slots.clear();
    m_slots.emplace_back(SlotKind::Object);
    m_source.clear();
    const bool isOneOfUsualSize = m_chunks.size() == 1 && m_free != nullptr;
    if (!isOneOfUsualSize)
        m_chunks.clear();
    m_free = isOneOfUsualSize ? m_chunks.front().get() : nullptr;
    m_freeSize = isOneOfUsualSize ? chunkSize : 0;
    m_markedObject = sNoObject;
    m_lastClassInfo = 0;
}

bool Arena::isSmall() const
{
    return m_slots.capacity() <= smallSlots && m_names.count() <= smallNames;
}

QString Arena::describe(quint32 index) const
{
    if (index == 0)
        return QStringLiteral("the root node");
    const Slot &slot = m_slots[index];
    if (slot.name == 0)
        return QStringLiteral("an array item");
    const QString name = quoted(nameText(slot.name));
    if (slot.isAttribute())
        return QStringLiteral("attribute %1").arg(name);
    return (slot.isArray() ? QStringLiteral("array %1") : QStringLiteral("node %1")).arg(name);
}

} // namespace Tesk::Data::Serialization
