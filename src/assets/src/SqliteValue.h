#pragma once

#include "SqliteQuery.h"

#include <QByteArray>
#include <QVariant>

struct sqlite3_context;

namespace Tesk::Assets {

/// A metadata value as the columns "kind" and "value" hold it.
///
/// What SQLite can show is stored as it is; the rest as the CBOR of the node of the value.
class SqliteValue
{
public:
    explicit SqliteValue(const QVariant &value);

    /// Binds kind and value, in this order.
    void bindTo(SqliteQuery &query) const;

    int kind() const { return m_kind; }

    /// Makes the value the result of a function or column of ours, which must not outlive it.
    void giveTo(sqlite3_context *result) const;

    /// Reads kind and value from \a column and the next one. Raises Damaged.
    static QVariant read(const SqliteQuery &query, int column);

private:
    // Stored: never change one.
    enum Kind : int {
        Invalid = 0,
        Bool = 1,
        Int = 2,
        UInt = 3,
        LongLong = 4,
        Double = 6,
        Text = 7,
        Bytes = 8,
        Node = 15
    };

    Kind m_kind = Invalid;
    qint64 m_integer = 0;
    double m_real = 0;
    QByteArray m_bytes;
};

} // namespace Tesk::Assets
