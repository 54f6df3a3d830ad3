#include "CborDecoder.h"

#include "FloatForms.h"
#include "Utf8.h"

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>

#include <QtEndian>

#include <algorithm>
#include <limits>

namespace Tesk::Data::Serialization {

namespace {

// An encoded node of ordinary records takes more than this many bytes, its name counted.
constexpr qsizetype bytesPerNode = 8;
// A large blob in a small tree must not make room for nodes that never come.
constexpr qsizetype mostReserved = 4096;

QString majorText(CborFormat::Major major)
{
    switch (major) {
    case CborFormat::Unsigned:
        return QStringLiteral("an unsigned integer");
    case CborFormat::Negative:
        return QStringLiteral("a negative integer");
    case CborFormat::Bytes:
        return QStringLiteral("bytes");
    case CborFormat::Text:
        return QStringLiteral("text");
    case CborFormat::Array:
        return QStringLiteral("an array");
    case CborFormat::Map:
        return QStringLiteral("a map");
    case CborFormat::Tag:
        return QStringLiteral("a tag");
    case CborFormat::Simple:
        break;
    }
    return QStringLiteral("a simple value");
}

} // namespace

CborDecoder::CborDecoder(Arena &arena, const QByteArray &bytes)
    : m_arena(arena)
    , m_begin(reinterpret_cast<const uchar *>(bytes.constData()))
    , m_at(m_begin)
    , m_end(m_begin + bytes.size())
{
    m_arena.keepSource(bytes);
}

Document CborDecoder::decode(const QByteArray &bytes)
{
    Document document;
    CborDecoder(*document.m_arena, bytes).readDocument();
    return document;
}

void CborDecoder::readDocument()
{
    const qsizetype size = m_end - m_begin;
    if (size > CborLimits::sMaxBytes) {
        fail(m_begin, TESK_HERE,
             QStringLiteral("%1 bytes are more than %2").arg(size).arg(CborLimits::sMaxBytes));
    }
    m_arena.reserve(std::min(size / bytesPerNode + 8, mostReserved));
    readContent(0, 1, false);
    if (m_at != m_end)
        fail(m_at, TESK_HERE, QStringLiteral("%1 bytes follow the end").arg(m_end - m_at));
}

// --- items

quint64 CborDecoder::readLongArgument(const uchar *itemAt)
{
    const auto major = static_cast<Major>(*itemAt >> CborFormat::majorShift);
    const quint8 info = *itemAt & CborFormat::infoMask;
    if (info > CborFormat::eightBytes) {
        fail(itemAt, TESK_HERE,
             info == CborFormat::indefinite ? QStringLiteral("an item of indefinite length")
                                            : QStringLiteral("a reserved length form"));
    }
    const int size = 1 << (info - CborFormat::oneByte);
    const quint64 argument = readBigEndian(itemAt, size);
    // Simple values and floats have rules of their own.
    if (major == Major::Simple)
        return argument;
    const bool fitsShorter =
            size == 1 ? argument < CborFormat::oneByte : argument >> (4 * size) == 0;
    if (fitsShorter)
        fail(itemAt, TESK_HERE,
             QStringLiteral("a number or length that is not in its shortest form"));
    return argument;
}

quint64 CborDecoder::readBigEndian(const uchar *itemAt, int size)
{
    if (m_end - m_at < size)
        fail(itemAt, TESK_HERE, QStringLiteral("the data ends inside an item"));
    const uchar *const at = m_at;
    m_at += size;
    switch (size) {
    case 1:
        return *at;
    case 2:
        return qFromBigEndian<quint16>(at);
    case 4:
        return qFromBigEndian<quint32>(at);
    default:
        return qFromBigEndian<quint64>(at);
    }
}

std::string_view CborDecoder::readText(const char *what)
{
    const Head head = readHead();
    if (head.major != Major::Text) [[unlikely]] {
        fail(head.at, TESK_HERE,
             QStringLiteral("%1 is %2, expected text")
                     .arg(QLatin1String(what), majorText(head.major)));
    }
    return takeString(head);
}

std::string_view CborDecoder::readName(const char *what)
{
    const uchar *const at = m_at;
    const std::string_view name = readText(what);
    const QString fault = nameFault(name);
    if (!fault.isEmpty()) [[unlikely]]
        fail(at, TESK_HERE, fault);
    return name;
}

// --- nodes

void CborDecoder::readContent(quint32 index, int depth, bool isArrayAllowed)
{
    const Head head = readHead();
    Slot &slot = m_arena.slot(index);
    switch (head.major) {
    case Major::Unsigned:
        slot.setBits(SlotKind::Unsigned, head.argument);
        return;
    case Major::Negative:
        if (head.argument > static_cast<quint64>(std::numeric_limits<qint64>::max()))
            fail(head.at, TESK_HERE, QStringLiteral("an integer below -9223372036854775808"));
        slot.setBits(SlotKind::Signed, ~head.argument);
        return;
    case Major::Bytes:
        slot.setView(SlotKind::Bytes, takeString(head));
        return;
    case Major::Text: {
        const std::string_view text = takeString(head);
        if (!isValidUtf8(text)) [[unlikely]] {
            fail(reinterpret_cast<const uchar *>(text.data()) + validUtf8Prefix(text), TESK_HERE,
                 QStringLiteral("text that is not valid UTF-8"));
        }
        slot.setView(SlotKind::Text, text);
        return;
    }
    case Major::Array:
        if (!isArrayAllowed)
            fail(head.at, TESK_HERE,
                 QStringLiteral("an array where an object or a value must stand"));
        readArray(index, head, depth);
        return;
    case Major::Map:
        readObject(index, head, depth);
        return;
    case Major::Tag:
        fail(head.at, TESK_HERE, QStringLiteral("a tag"));
    case Major::Simple:
        readSimple(index, head);
        return;
    }
}

void CborDecoder::readObject(quint32 index, const Head &head, int depth)
{
    enterContainer(head, head.argument, 2, depth);
    quint32 last = 0;
    quint32 count = 0;
    for (quint64 entry = 0; entry < head.argument; ++entry) {
        const uchar *const keyAt = m_at;
        std::string_view key = readText("a key");
        const bool isMarked = !key.empty() && key.front() == CborFormat::attributeMark;
        if (isMarked) {
            if (key == CborFormat::classKey) {
                readClassInfo(index, keyAt, entry == 0);
                continue;
            }
            key.remove_prefix(1);
        }
        const quint32 child = addSlot(intern(key, keyAt));
        if (last == 0)
            m_arena.slot(index).children.first = child;
        else
            m_arena.slot(last).next = child;
        last = child;
        ++count;
        if (isMarked)
            readAttribute(child);
        else
            readContent(child, depth + 1, true);
    }
    m_arena.slot(index).children.last = last;
    m_arena.slot(index).children.count = count;
    if (count > 1)
        checkNames(index, head.at);
}

void CborDecoder::readArray(quint32 index, const Head &head, int depth)
{
    if (head.argument == 0)
        fail(head.at, TESK_HERE, QStringLiteral("an array without an item name"));
    enterContainer(head, head.argument, 1, depth);
    const uchar *const itemNameAt = m_at;
    const quint32 itemName = intern(readText("an item name"), itemNameAt);
    m_arena.slot(index).setContent(SlotKind::Array);
    m_arena.slot(index).children.extra = itemName;
    quint32 last = 0;
    const auto count = static_cast<quint32>(head.argument - 1);
    for (quint32 i = 0; i < count; ++i) {
        const quint32 item = addSlot(0);
        if (last == 0)
            m_arena.slot(index).children.first = item;
        else
            m_arena.slot(last).next = item;
        last = item;
        readContent(item, depth + 1, false);
    }
    m_arena.slot(index).children.last = last;
    m_arena.slot(index).children.count = count;
}

void CborDecoder::readClassInfo(quint32 object, const uchar *keyAt, bool isFirst)
{
    if (!isFirst)
        fail(keyAt, TESK_HERE, QStringLiteral("\"@class\" is not the first key of its map"));
    const Head pair = readHead();
    if (pair.major != Major::Array || pair.argument != 2)
        fail(pair.at, TESK_HERE,
             QStringLiteral("class information that is not a name and a version"));
    const std::string_view name = readName("a class name");
    const Head version = readHead();
    if (version.major != Major::Unsigned
        || version.argument > static_cast<quint64>(std::numeric_limits<qint32>::max())) {
        fail(version.at, TESK_HERE,
             QStringLiteral("a class version that is no number from 0 to 2147483647"));
    }
    const quint32 info = addSlot(0);
    m_arena.slot(info).setView(SlotKind::Text, name, static_cast<qint32>(version.argument));
    m_arena.slot(object).children.extra = info;
}

void CborDecoder::readAttribute(quint32 index)
{
    const uchar *const at = m_at;
    if (m_at != m_end && *m_at >> CborFormat::majorShift == Major::Map)
        failAttribute(at, SlotKind::Object);
    readContent(index, 1, false);
    Slot &slot = m_arena.slot(index);
    if (slot.kind() == SlotKind::Double || slot.kind() == SlotKind::Bytes)
        failAttribute(at, slot.kind());
    slot.kindAndFlags |= Slot::sAttributeFlag;
}

void CborDecoder::readSimple(quint32 index, const Head &head)
{
    Slot &slot = m_arena.slot(index);
    switch (head.info) {
    case CborFormat::falseValue:
    case CborFormat::trueValue:
        slot.setBits(SlotKind::Bool, head.info == CborFormat::trueValue ? 1 : 0);
        return;
    case CborFormat::half:
    case CborFormat::single:
    case CborFormat::full:
        readFloat(index, head);
        return;
    case CborFormat::nullValue:
        fail(head.at, TESK_HERE, QStringLiteral("a null"));
    case CborFormat::undefinedValue:
        fail(head.at, TESK_HERE, QStringLiteral("an undefined value"));
    default:
        fail(head.at, TESK_HERE, QStringLiteral("the simple value %1").arg(head.argument));
    }
}

void CborDecoder::readFloat(quint32 index, const Head &head)
{
    quint64 bits = head.argument;
    if (head.info == CborFormat::half)
        bits = widened(bits, halfForm);
    else if (head.info == CborFormat::single)
        bits = widened(bits, singleForm);
    const bool isCanonicalNan = head.info == CborFormat::half && head.argument == canonicalHalfNan;
    if (isNan(bits) && !isCanonicalNan)
        fail(head.at, TESK_HERE, QStringLiteral("a NaN other than f97e00"));
    const bool fitsShorter = (head.info == CborFormat::full && narrowed(bits, singleForm))
                             || (head.info == CborFormat::single && narrowed(bits, halfForm));
    if (fitsShorter)
        fail(head.at, TESK_HERE,
             QStringLiteral("a floating-point number that is not in its shortest form"));
    m_arena.slot(index).setBits(SlotKind::Double, bits);
}

// --- the arena and the limits

quint32 CborDecoder::addSlot(quint32 name)
{
    std::vector<Slot> &slotTable = m_arena.slotTable();
    const auto index = static_cast<quint32>(slotTable.size());
    slotTable.emplace_back(SlotKind::Object, name);
    return index;
}

quint32 CborDecoder::intern(std::string_view name, const uchar *itemAt)
{
    NameTable &names = m_arena.names();
    quint32 id = names.findNext(name);
    if (names.isUsed(id)) [[likely]]
        return id;
    if (id == 0) {
        const QString fault = nameFault(name);
        if (!fault.isEmpty())
            fail(itemAt, TESK_HERE, fault);
    }
    if (names.usedCount() == CborLimits::sMaxNames) {
        fail(itemAt, TESK_HERE,
             QStringLiteral("more than %1 different names").arg(CborLimits::sMaxNames));
    }
    if (id == 0)
        id = names.insert(name);
    names.use(id);
    return id;
}

void CborDecoder::enterContainer(const Head &head, quint64 items, quint64 bytesPerItem, int depth)
{
    if (depth > CborLimits::sMaxDepth) [[unlikely]] {
        fail(head.at, TESK_HERE,
             QStringLiteral("nested deeper than %1").arg(CborLimits::sMaxDepth));
    }
    const auto left = static_cast<quint64>(m_end - m_at);
    if (items > left / bytesPerItem) [[unlikely]] {
        fail(head.at, TESK_HERE,
             QStringLiteral("%1 of %2 entries where %3 bytes are left")
                     .arg(majorText(head.major))
                     .arg(items)
                     .arg(left));
    }
    m_nodes += head.major == Major::Array ? items - 1 : items;
    if (m_nodes > CborLimits::sMaxNodes) [[unlikely]]
        fail(head.at, TESK_HERE, QStringLiteral("more than %1 nodes").arg(CborLimits::sMaxNodes));
}

void CborDecoder::checkNames(quint32 object, const uchar *objectAt)
{
    NameTable &names = m_arena.names();
    names.startMarks();
    for (quint32 at = m_arena.slot(object).children.first; at != 0; at = m_arena.slot(at).next) {
        const quint32 name = m_arena.slot(at).name;
        if (names.isMarked(name)) [[unlikely]] {
            const std::string_view text = names.text(name);
            fail(objectAt, TESK_HERE,
                 QStringLiteral("the name \"%1\" stands twice in this map")
                         .arg(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()))));
        }
        names.mark(name);
    }
}

void CborDecoder::failAtEnd() const
{
    fail(m_at, TESK_HERE, QStringLiteral("the data ends where an item must begin"));
}

void CborDecoder::failCutString(const Head &head) const
{
    fail(head.at, TESK_HERE,
         QStringLiteral("%1 of %2 bytes where %3 are left")
                 .arg(majorText(head.major))
                 .arg(head.argument)
                 .arg(m_end - m_at));
}

void CborDecoder::failAttribute(const uchar *at, SlotKind kind) const
{
    fail(at, TESK_HERE,
         QStringLiteral("an attribute that is %1, expected a truth value, an integer or text")
                 .arg(kindText(kind)));
}

void CborDecoder::fail(const uchar *at, const std::string &place, const QString &fault) const
{
    raiseSerialization(
            place, QStringLiteral("Malformed CBOR at byte %1: %2").arg(at - m_begin).arg(fault));
}

} // namespace Tesk::Data::Serialization
