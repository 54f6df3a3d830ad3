#include "TermNumbers.h"

#include <cstdint>

namespace Tesk::Assets {

TermNumbers::Entry &TermNumbers::recent(const QString &text)
{
    constexpr quint64 mix = 0x9e3779b97f4a7c15;
    const auto place = reinterpret_cast<std::uintptr_t>(text.constData());
    return m_recent[static_cast<std::size_t>(place * mix >> 58U)];
}

std::optional<qint64> TermNumbers::find(const QString &text)
{
    Entry &entry = recent(text);
    if (entry.number != 0 && entry.text == text)
        return entry.number;
    const auto found = m_all.find(text);
    if (found == m_all.end())
        return std::nullopt;
    entry = {found->first, found->second};
    return found->second;
}

void TermNumbers::insert(const QString &text, qint64 number)
{
    // A copy of its own: what it was made of may be somebody else's memory.
    m_all.insert_or_assign(QString(text.constData(), text.size()), number);
}

void TermNumbers::clear()
{
    m_recent.fill({});
    m_all.clear();
}

} // namespace Tesk::Assets
