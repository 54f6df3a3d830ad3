#pragma once

#include <QtGlobal>

#include <cstring>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace Tesk::Data::Serialization {

/// Names, each known by a small number. 0 is "no name".
///
/// One document after another uses the table: the names of the earlier ones stay, since those
/// of the next are mostly the same.
///
/// Most names have at most 16 bytes; two loads that overlap where needed hold such a name
/// whole, so that finding it compares two words and never looks at the text.
///
/// Ownership: owns copies of the names.
class NameTable
{
    struct Words
    {
        quint64 head = 0;
        quint64 tail = 0;
    };

public:
    /// A name as it is compared.
    class Key
    {
    private:
        friend class NameTable;
        std::string_view m_name;
        Words m_words;
    };

    NameTable();

    Key keyOf(std::string_view name) const
    {
        Key key;
        key.m_name = name;
        key.m_words = wordsOf(name);
        return key;
    }
    bool isName(quint32 id, const Key &key) const
    {
        return isName(m_entries[id], key.m_name, key.m_words);
    }

    /// 0 when it is not there.
    quint32 find(std::string_view name) const { return m_index[slotFor(name, wordsOf(name))]; }
    /// As find(), sooner where names come in the same order as before: those of records do.
    quint32 findNext(std::string_view name)
    {
        const Words words = wordsOf(name);
        quint32 id = m_entries[m_latest].follower;
        if (id == 0 || !isName(m_entries[id], name, words)) {
            id = m_index[slotFor(name, words)];
            if (id == 0)
                return 0;
            m_entries[m_latest].follower = id;
        }
        m_latest = id;
        return id;
    }
    quint32 insert(std::string_view name);

    /// Whether the current document uses the name; never for "no name".
    bool isUsed(quint32 id) const { return m_entries[id].document == m_document; }
    /// To be called once in a document.
    void use(quint32 id)
    {
        m_entries[id].document = m_document;
        ++m_used;
    }

    std::string_view text(quint32 id) const { return {m_entries[id].data, m_entries[id].size}; }
    /// All names, whichever document they came with.
    quint32 count() const { return static_cast<quint32>(m_entries.size() - 1); }
    /// The names of the current document.
    quint32 usedCount() const { return m_used; }

    /// Starts a new set of marked names, empty.
    void startMarks() { ++m_mark; }
    bool isMarked(quint32 id) const { return m_entries[id].mark == m_mark; }
    void mark(quint32 id) { m_entries[id].mark = m_mark; }

    /// Starts a document that uses no name yet.
    void startDocument();
    void clear();

private:
    struct Entry
    {
        const char *data = nullptr;
        quint32 size = 0;
        quint32 follower = 0; ///< the name that was looked up next the last time
        Words words;
        quint64 document = 0; ///< the last one that used the name, from 1
        quint64 mark = 0;
    };

    static constexpr std::size_t sWholeInWords = 16;

    template<class T>
    static T load(const char *from)
    {
        T value;
        std::memcpy(&value, from, sizeof(value));
        return value;
    }

    /// Together with the size they tell names of up to 16 bytes apart.
    Words wordsOf(std::string_view name) const
    {
        const char *data = name.data();
        const std::size_t size = name.size();
        if (size > sWholeInWords)
            return wordsOfLong(name);
        if (size >= 8)
            return {load<quint64>(data), load<quint64>(data + size - 8)};
        if (size >= 4)
            return {load<quint32>(data), load<quint32>(data + size - 4)};
        if (size == 0)
            return {};
        // At most three bytes: the first, the middle and the last one.
        const auto byte = [data](std::size_t at) {
            return quint64(static_cast<uchar>(data[at]));
        };
        return {byte(0) | byte(size / 2) << 8 | byte(size - 1) << 16, 0};
    }
    Words wordsOfLong(std::string_view name) const;

    static quint64 fold(quint64 a, quint64 b)
    {
        __extension__ using Wide = unsigned __int128;
        const Wide product = Wide(a) * b;
        return static_cast<quint64>(product) ^ static_cast<quint64>(product >> 64);
    }
    quint64 hashOf(const Words &words, std::size_t size) const
    {
        return fold(words.head ^ m_seed, words.tail ^ 0x9E3779B97F4A7C15U ^ (size << 56));
    }

    static bool isName(const Entry &entry, std::string_view name, const Words &words)
    {
        return entry.words.head == words.head && entry.words.tail == words.tail
               && entry.size == name.size()
               && (name.size() <= sWholeInWords
                   || std::memcmp(entry.data, name.data(), name.size()) == 0);
    }

    /// Where the name stands in m_index, or the free place where it belongs.
    std::size_t slotFor(std::string_view name, const Words &words) const
    {
        const std::size_t mask = m_index.size() - 1;
        std::size_t at = hashOf(words, name.size()) & mask;
        while (const quint32 id = m_index[at]) {
            if (isName(m_entries[id], name, words))
                break;
            at = (at + 1) & mask;
        }
        return at;
    }
    void grow();

    std::vector<Entry> m_entries; // by id; the first stands for "no name"
    std::vector<quint32> m_index; // open addressing, a power of two, at most half full
    std::pmr::monotonic_buffer_resource m_texts;
    quint64 m_mark = 0;
    quint64 m_document = 1;
    quint32 m_latest = 0;
    quint32 m_used = 0;
    quint64 m_seed; // names come from files: nobody shall choose those that collide
};

} // namespace Tesk::Data::Serialization
