#include "SqliteValue.h"

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>
#include <vantbase/Exception.h>

#include <QMetaType>

#include <sqlite3.h>

#include <limits>

namespace Tesk::Assets {

SqliteValue::SqliteValue(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
        break;
    case QMetaType::Bool:
        m_kind = Bool;
        m_integer = value.toBool() ? 1 : 0;
        break;
    case QMetaType::Int:
        m_kind = Int;
        m_integer = value.toInt();
        break;
    case QMetaType::UInt:
        m_kind = UInt;
        m_integer = value.toUInt();
        break;
    case QMetaType::LongLong:
        m_kind = LongLong;
        m_integer = value.toLongLong();
        break;
    case QMetaType::Double:
        m_kind = Double;
        m_real = value.toDouble();
        break;
    case QMetaType::QString:
        m_kind = Text;
        m_bytes = value.toString().toUtf8();
        break;
    case QMetaType::QByteArray:
        m_kind = Bytes;
        m_bytes = value.toByteArray();
        break;
    default: {
        m_kind = Node;
        Data::Serialization::Document document;
        Data::Serialization::Node root = document.root();
        Data::Serialization::writeVariant(root, value);
        m_bytes = Data::Serialization::toCbor(document);
    }
    }
}

void SqliteValue::bindTo(SqliteQuery &query) const
{
    query.bind(qint64(m_kind));
    switch (m_kind) {
    case Invalid:
        query.bindNull();
        break;
    case Bool:
    case Int:
    case UInt:
    case LongLong:
        query.bind(m_integer);
        break;
    case Double:
        query.bind(m_real); // what is no number becomes NULL
        break;
    case Text:
        query.bindUtf8(m_bytes);
        break;
    case Bytes:
    case Node:
        query.bindBytes(m_bytes);
        break;
    }
}

void SqliteValue::giveTo(sqlite3_context *result) const
{
    const auto size = static_cast<sqlite3_uint64>(m_bytes.size());
    switch (m_kind) {
    case Invalid:
        sqlite3_result_null(result);
        break;
    case Bool:
    case Int:
    case UInt:
    case LongLong:
        sqlite3_result_int64(result, m_integer);
        break;
    case Double:
        sqlite3_result_double(result, m_real); // what is no number becomes NULL
        break;
    case Text:
        sqlite3_result_text64(result, m_bytes.constData(), size, SQLITE_STATIC, SQLITE_UTF8);
        break;
    case Bytes:
    case Node:
        sqlite3_result_blob64(result, m_bytes.constData(), size, SQLITE_STATIC);
        break;
    }
}

QVariant SqliteValue::read(const SqliteQuery &query, int column)
{
    const int valueColumn = column + 1;
    switch (query.integer(column)) {
    case Invalid:
        return {};
    case Bool:
        return query.integer(valueColumn) != 0;
    case Int:
        return static_cast<int>(query.integer(valueColumn));
    case UInt:
        return static_cast<uint>(query.integer(valueColumn));
    case LongLong:
        return query.integer(valueColumn);
    case Double:
        return query.isNull(valueColumn) ? std::numeric_limits<double>::quiet_NaN()
                                         : query.real(valueColumn);
    case Text:
        return query.text(valueColumn);
    case Bytes:
        return query.bytes(valueColumn);
    case Node:
        return Data::Serialization::readVariant(
                Data::Serialization::fromCbor(query.bytes(valueColumn)).root());
    default:
        throw Exception::Data::SerializationException(
                QStringLiteral("kind %1 is unknown").arg(query.integer(column)));
    }
}

} // namespace Tesk::Assets
