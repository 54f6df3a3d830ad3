#include "SqliteOldMetaData.h"

#include "CborWriter.h"
#include "StoredMetaData.h"

#include <sqlite3.h>

#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace Tesk::Assets::SqliteOldMetaData {

enum Argument { KeyTerm, Type, Accessibility, Kind, Value };

/// Returns the bytes of text, as UTF-8, or of a blob; nothing of anything else.
static QByteArrayView contentOf(sqlite3_value *value)
{
    const void *data = nullptr;
    if (sqlite3_value_type(value) == SQLITE_TEXT)
        data = sqlite3_value_text(value); // before its size, which is that of this form
    else if (sqlite3_value_type(value) == SQLITE_BLOB)
        data = sqlite3_value_blob(value);
    return data == nullptr
                   ? QByteArrayView()
                   : QByteArrayView(static_cast<const char *>(data), sqlite3_value_bytes(value));
}

/// Writes the value in the form that SQLite keeps it in, also where that does not fit the kind.
static void writeValue(CborWriter &writer, qint64 kind, sqlite3_value *value,
                       QByteArrayView content)
{
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER: {
        const qint64 number = sqlite3_value_int64(value);
        if (kind == StoredMetaData::Bool)
            writer.simple(number != 0 ? CborWriter::sTrue : CborWriter::sFalse);
        else
            writer.integer(number);
        break;
    }
    case SQLITE_FLOAT:
        writer.real(sqlite3_value_double(value));
        break;
    case SQLITE_TEXT:
        writer.string(CborMajor::Text, content);
        break;
    case SQLITE_BLOB:
        writer.string(CborMajor::Bytes, content);
        break;
    default:
        if (kind == StoredMetaData::Double) // which had no other way to say that it is no number
            writer.real(std::numeric_limits<double>::quiet_NaN());
        else
            writer.simple(CborWriter::sNull);
    }
}

static void appendItem(QByteArray &bytes, sqlite3_value **arguments)
{
    constexpr int sHeads = 6;
    const QByteArrayView content = contentOf(arguments[Value]);
    CborWriter writer(bytes, sHeads * CborWriter::sLargestHead + content.size());
    writer.head(CborMajor::Array, 5);
    for (const Argument number : {KeyTerm, Type, Accessibility, Kind})
        writer.integer(sqlite3_value_int64(arguments[number]));
    writeValue(writer, sqlite3_value_int64(arguments[Kind]), arguments[Value], content);
}

namespace {

/// What SQLite keeps of a group between its rows; all zero at first.
struct Group
{
    QByteArray *bytes;
};

} // namespace

/// Returns where SQLite keeps the group; null where memory ran out.
static Group *groupOf(sqlite3_context *context)
{
    return static_cast<Group *>(sqlite3_aggregate_context(context, sizeof(Group)));
}

static void takeRow(sqlite3_context *context, int /*count*/, sqlite3_value **arguments)
{
    Group *const group = groupOf(context);
    if (group == nullptr) {
        sqlite3_result_error_nomem(context);
        return;
    }
    try {
        if (group->bytes == nullptr)
            group->bytes = new QByteArray();
        appendItem(*group->bytes, arguments);
    } catch (const std::bad_alloc &) {
        sqlite3_result_error_nomem(context);
    }
}

static void giveResult(sqlite3_context *context)
{
    Group *const group = groupOf(context);
    const std::unique_ptr<QByteArray> bytes(
            group == nullptr ? nullptr : std::exchange(group->bytes, nullptr));
    if (bytes)
        sqlite3_result_blob64(context, bytes->constData(),
                              static_cast<sqlite3_uint64>(bytes->size()), SQLITE_TRANSIENT);
    else
        sqlite3_result_zeroblob(context, 0);
}

void registerFunction(SqliteConnection &connection)
{
    const int code = sqlite3_create_function_v2(connection.handle(), "gathered_metadata", 5,
                                                SQLITE_UTF8 | SQLITE_DIRECTONLY, nullptr, nullptr,
                                                takeRow, giveResult, nullptr);
    if (code != SQLITE_OK)
        connection.raise(code);
}

} // namespace Tesk::Assets::SqliteOldMetaData
