#include "NameTable.h"

#include <QHashSeed>

#include <algorithm>

namespace Tesk::Data::Serialization {

namespace {

constexpr std::size_t firstIndexSize = 64;

} // namespace

NameTable::NameTable()
    : m_seed(QHashSeed::globalSeed() | 1U)
{
    m_entries.reserve(firstIndexSize / 2);
    clear();
}

void NameTable::clear()
{
    m_entries.assign(1, Entry());
    m_index.assign(firstIndexSize, 0);
    m_texts.release();
    m_mark = 0;
    m_latest = 0;
    m_document = 1;
    m_used = 0;
}

void NameTable::startDocument()
{
    ++m_document;
    m_used = 0;
}

quint32 NameTable::insert(std::string_view name)
{
    if (m_entries.size() * 2 > m_index.size())
        grow();
    const Words words = wordsOf(name);
    const std::size_t slot = slotFor(name, words);
    const auto id = static_cast<quint32>(m_entries.size());
    auto *const text = static_cast<char *>(m_texts.allocate(name.size(), 1));
    std::copy(name.begin(), name.end(), text);
    m_entries.push_back({text, static_cast<quint32>(name.size()), 0, words, 0, 0});
    m_index[slot] = id;
    return id;
}

NameTable::Words NameTable::wordsOfLong(std::string_view name) const
{
    // Two chains: names that agree in one word must not agree in the other by the same trick.
    Words words = {load<quint64>(name.data()), load<quint64>(name.data() + name.size() - 8)};
    for (std::size_t at = 8; at + 8 < name.size(); at += 8) {
        const auto word = load<quint64>(name.data() + at);
        words.head = fold(words.head ^ m_seed, word ^ 0xA0761D6478BD642FU);
        words.tail += fold(word ^ m_seed, words.head ^ 0xE7037ED1A0B428DBU);
    }
    return words;
}

void NameTable::grow()
{
    m_index.assign(m_index.size() * 2, 0);
    const auto end = static_cast<quint32>(m_entries.size());
    for (quint32 id = 1; id < end; ++id)
        m_index[slotFor({m_entries[id].data, m_entries[id].size}, m_entries[id].words)] = id;
}

} // namespace Tesk::Data::Serialization
