#include "StoredMetaData.h"

#include "CborWriter.h"

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>
#include <vantbase/Exception.h>

#include <QMetaType>
#include <QString>

#include <bit>
#include <limits>
#include <utility>

namespace Tesk::Assets {

// The parts of an item: key, type, accessibility, kind, value.
static constexpr quint64 sPartCount = 5;

template<class Number>
using Limits = std::numeric_limits<Number>;

StoredMetaData::StoredMetaData(qint64 count, QByteArray bytes)
    : m_count(count)
    , m_bytes(std::move(bytes))
{}

// --- writing

void StoredMetaData::clear()
{
    m_count = 0;
    m_bytes.resize(0);
}

static QByteArray nodeOf(const QVariant &value)
{
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    Data::Serialization::writeVariant(root, value);
    return Data::Serialization::toCbor(document);
}

namespace {

/// Writes one item, with room for \a content bytes of its value.
class ItemWriter : public CborWriter
{
public:
    ItemWriter(QByteArray &bytes, StoredMetaData::Kind kind, qint64 keyTerm, const MetaRow &row,
               qsizetype content = 0)
        : CborWriter(bytes, static_cast<qsizetype>(sPartCount + 1) * sLargestHead + content)
    {
        head(CborMajor::Array, sPartCount);
        integer(keyTerm);
        integer(row.type);
        integer(row.accessibility);
        integer(kind);
    }
};

} // namespace

static void writeItem(QByteArray &bytes, qint64 keyTerm, const MetaRow &row)
{
    using Stored = StoredMetaData;
    const QVariant &value = row.value;
    const auto writeString = [&](Stored::Kind kind, const QByteArray &content) {
        ItemWriter(bytes, kind, keyTerm, row, content.size()).string(CborMajor::Bytes, content);
    };
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        ItemWriter(bytes, Stored::Invalid, keyTerm, row).simple(CborWriter::sNull);
        break;
    case QMetaType::Bool:
        ItemWriter(bytes, Stored::Bool, keyTerm, row)
                .simple(value.toBool() ? CborWriter::sTrue : CborWriter::sFalse);
        break;
    case QMetaType::Int:
        ItemWriter(bytes, Stored::Int, keyTerm, row).integer(value.toInt());
        break;
    case QMetaType::UInt:
        ItemWriter(bytes, Stored::UInt, keyTerm, row).integer(value.toUInt());
        break;
    case QMetaType::LongLong:
        ItemWriter(bytes, Stored::LongLong, keyTerm, row).integer(value.toLongLong());
        break;
    case QMetaType::Double:
        ItemWriter(bytes, Stored::Double, keyTerm, row).real(value.toDouble());
        break;
    case QMetaType::QString: {
        const auto &text = *static_cast<const QString *>(value.constData());
        ItemWriter(bytes, Stored::Text, keyTerm, row, CborWriter::roomFor(text)).text(text);
        break;
    }
    case QMetaType::QByteArray:
        writeString(Stored::Bytes, value.toByteArray());
        break;
    default:
        writeString(Stored::Node, nodeOf(value));
    }
}

void StoredMetaData::append(qint64 keyTerm, const MetaRow &row)
{
    writeItem(m_bytes, keyTerm, row);
    ++m_count;
}

bool StoredMetaData::set(qint64 keyTerm, const MetaRow &row)
{
    QByteArray item;
    writeItem(item, keyTerm, row);
    Reader reader(sEncoding, m_count, m_bytes);
    while (reader.next()) {
        if (reader.keyTerm() != keyTerm)
            continue;
        const qsizetype size = reader.end() - reader.begin();
        if (QByteArrayView(m_bytes).sliced(reader.begin(), size) == item)
            return false;
        m_bytes.replace(reader.begin(), size, item);
        return true;
    }
    m_bytes += item;
    ++m_count;
    return true;
}

bool StoredMetaData::remove(qint64 keyTerm)
{
    Reader reader(sEncoding, m_count, m_bytes);
    while (reader.next()) {
        if (reader.keyTerm() != keyTerm)
            continue;
        m_bytes.remove(reader.begin(), reader.end() - reader.begin());
        --m_count;
        return true;
    }
    return false;
}

// --- reading

StoredMetaData::Reader::Reader(qint64 encoding, qint64 count, QByteArrayView bytes)
    : m_bytes(bytes)
    , m_left(count)
{
    if (encoding != sEncoding)
        throw Exception::Data::SerializationException(
                QStringLiteral("encoding %1 is unknown").arg(encoding));
}

void StoredMetaData::Reader::raise(const char *what) const
{
    throw Exception::Data::SerializationException(
            QStringLiteral("%1 at byte %2").arg(QLatin1StringView(what)).arg(m_begin));
}

bool StoredMetaData::Reader::next()
{
    m_begin = m_at;
    if (m_left <= 0) {
        if (m_left < 0 || m_at != m_bytes.size())
            raise("not as many items as were counted");
        return false;
    }
    --m_left;
    const Head array = readHead();
    if (array.major != quint8(CborMajor::Array) || array.argument != sPartCount)
        raise("no item");
    m_keyTerm = readInteger(Limits<qint64>::min(), Limits<qint64>::max());
    m_type = static_cast<int>(readInteger(Limits<int>::min(), Limits<int>::max()));
    m_accessibility = static_cast<int>(readInteger(Limits<int>::min(), Limits<int>::max()));
    m_kind = readInteger(Limits<qint64>::min(), Limits<qint64>::max());
    readValue();
    return true;
}

StoredMetaData::Reader::Head StoredMetaData::Reader::readHead()
{
    if (m_at == m_bytes.size())
        raise("no item");
    const auto first = static_cast<quint8>(m_bytes[m_at++]);
    Head head{static_cast<quint8>(first >> 5U), static_cast<quint8>(first & 0x1fU), 0};
    if (head.info < 24) {
        head.argument = head.info;
        return head;
    }
    if (head.info > 27)
        raise("an item of no known form");
    const qsizetype size = qsizetype(1) << (head.info - 24);
    if (m_bytes.size() - m_at < size)
        raise("an item that ends too early");
    for (const char unit : m_bytes.sliced(m_at, size))
        head.argument = head.argument << 8U | static_cast<quint8>(unit);
    m_at += size;
    return head;
}

static bool isInteger(quint8 major)
{
    return major == quint8(CborMajor::Unsigned) || major == quint8(CborMajor::Negative);
}

static bool isString(quint8 major)
{
    return major == quint8(CborMajor::Bytes) || major == quint8(CborMajor::Text);
}

/// Returns the number of an integer's head, which must be one of 64 bits with a sign.
static qint64 signedNumber(quint8 major, quint64 argument)
{
    return static_cast<qint64>(major == quint8(CborMajor::Negative) ? ~argument : argument);
}

qint64 StoredMetaData::Reader::readInteger(qint64 lowest, qint64 highest)
{
    const Head head = readHead();
    if (!isInteger(head.major) || head.argument > quint64(Limits<qint64>::max()))
        raise("no number where one must be");
    const qint64 number = signedNumber(head.major, head.argument);
    if (number < lowest || number > highest)
        raise("a number that is too large");
    return number;
}

/// Goes behind the value, whatever its kind; whether it is of its kind only value() asks.
void StoredMetaData::Reader::readValue()
{
    m_value = readHead();
    m_string = {};
    if (isString(m_value.major)) {
        if (m_value.argument > static_cast<quint64>(m_bytes.size() - m_at))
            raise("an item that ends too early");
        m_string = m_bytes.sliced(m_at, static_cast<qsizetype>(m_value.argument));
        m_at += m_string.size();
        return;
    }
    if (!isInteger(m_value.major) && m_value.major != quint8(CborMajor::Simple))
        raise("a value of no known form");
}

[[noreturn]] static void raiseValue()
{
    throw Exception::Data::SerializationException(QStringLiteral("the value is not of its kind"));
}

qint64 StoredMetaData::Reader::integerValue(qint64 lowest, qint64 highest) const
{
    if (!isInteger(m_value.major) || m_value.argument > quint64(Limits<qint64>::max()))
        raiseValue();
    const qint64 number = signedNumber(m_value.major, m_value.argument);
    if (number < lowest || number > highest)
        raiseValue();
    return number;
}

QByteArrayView StoredMetaData::Reader::stringValue(quint8 major) const
{
    if (m_value.major != major)
        raiseValue();
    return m_string;
}

QVariant StoredMetaData::Reader::value() const
{
    const bool isSimple = m_value.major == quint8(CborMajor::Simple);
    switch (m_kind) {
    case Invalid:
        if (!isSimple || m_value.info != CborWriter::sNull)
            raiseValue();
        return {};
    case Bool:
        if (!isSimple || (m_value.info != CborWriter::sFalse && m_value.info != CborWriter::sTrue))
            raiseValue();
        return m_value.info == CborWriter::sTrue;
    case Int:
        return static_cast<int>(integerValue(Limits<int>::min(), Limits<int>::max()));
    case UInt:
        return static_cast<uint>(integerValue(0, Limits<uint>::max()));
    case LongLong:
        return static_cast<qlonglong>(integerValue(Limits<qint64>::min(), Limits<qint64>::max()));
    case Double:
        if (!isSimple || m_value.info != CborWriter::sDouble)
            raiseValue();
        return std::bit_cast<double>(m_value.argument);
    case Text:
        return QString::fromUtf8(stringValue(quint8(CborMajor::Text)));
    case Bytes:
        return stringValue(quint8(CborMajor::Bytes)).toByteArray();
    case Node:
        return Data::Serialization::readVariant(
                Data::Serialization::fromCbor(stringValue(quint8(CborMajor::Bytes)).toByteArray())
                        .root());
    default:
        throw Exception::Data::SerializationException(
                QStringLiteral("kind %1 is unknown").arg(m_kind));
    }
}

} // namespace Tesk::Assets
