#pragma once

#include <assets/StoreRows.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QVariant>

namespace Tesk::Assets {

/// The metadata of one asset as its row in the file holds them: a CBOR array for each item, one
/// behind the other. Keys are numbers of the table of terms.
///
/// Equal items have equal bytes. Threads: a value. Persistence: docs/format/database.md.
class StoredMetaData
{
public:
    class Reader;

    static constexpr int sEncoding = 1;

    /// What the bytes of a value mean. Stored: never change one.
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

    StoredMetaData() = default;
    /// Takes what a row holds; nothing is looked at yet.
    StoredMetaData(qint64 count, QByteArray bytes);

    qint64 count() const { return m_count; }
    const QByteArray &bytes() const { return m_bytes; }

    /// Forgets the items and keeps the memory.
    void clear();

    /// Appends an item; there must be none of its key.
    void append(qint64 keyTerm, const MetaRow &row);

    /// Puts the item in the place of the one of its key, or at the end; false where it is there.
    ///
    /// Does not look at the values, and so writes over one that cannot be read.
    /// Raises a SerializationException where the items cannot be told apart.
    bool set(qint64 keyTerm, const MetaRow &row);

    /// Removes the item; false where there is none. Raises as set() does.
    bool remove(qint64 keyTerm);

private:
    qint64 m_count = 0;
    QByteArray m_bytes;
};

/// Goes through the items of a row, whoever wrote it.
///
/// Does not own the bytes. Errors: SerializationException, which says what is wrong.
class StoredMetaData::Reader
{
public:
    Reader(qint64 encoding, qint64 count, QByteArrayView bytes);

    /// Goes to the next item; false behind the last one. Raises for what is no item.
    bool next();

    qint64 keyTerm() const { return m_keyTerm; }
    int type() const { return m_type; }
    int accessibility() const { return m_accessibility; }

    /// Returns the value of the item. Raises for one of no known form.
    QVariant value() const;

    /// Where the item begins, and where the next one does.
    qsizetype begin() const { return m_begin; }
    qsizetype end() const { return m_at; }

private:
    struct Head
    {
        quint8 major;
        quint8 info;
        quint64 argument;
    };

    [[noreturn]] void raise(const char *what) const;
    Head readHead();
    qint64 readInteger(qint64 lowest, qint64 highest);
    void readValue();
    qint64 integerValue(qint64 lowest, qint64 highest) const;
    QByteArrayView stringValue(quint8 major) const;

    QByteArrayView m_bytes;
    qint64 m_left;
    qsizetype m_begin = 0;
    qsizetype m_at = 0;

    // of the item
    qint64 m_keyTerm = 0;
    int m_type = 0;
    int m_accessibility = 0;
    qint64 m_kind = 0;
    Head m_value{};
    QByteArrayView m_string;
};

} // namespace Tesk::Assets
