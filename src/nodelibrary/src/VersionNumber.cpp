#include <nodelibrary/VersionNumber.h>

#include <QList>

#include <algorithm>

namespace Tesk::NodeLibrary {

static QString leadingNumber(QStringView text)
{
    const auto isDigit = [](QChar c) {
        return c >= u'0' && c <= u'9';
    };
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto begin = std::find_if(text.begin(), end, [](QChar c) { return c != u'0'; });
    return QStringView(begin, end).toString();
}

static std::strong_ordering compareNumbers(const QString &left, const QString &right)
{
    if (left.size() != right.size())
        return left.size() <=> right.size();
    return left.compare(right) <=> 0;
}

VersionNumber::VersionNumber(QStringView text)
    : m_isNone(text.trimmed().isEmpty())
{
    if (m_isNone)
        return;
    for (const QStringView component : text.split(u'.'))
        m_components.push_back(leadingNumber(component.trimmed()));
    while (!m_components.empty() && m_components.back().isEmpty())
        m_components.pop_back();
}

std::strong_ordering VersionNumber::operator<=>(const VersionNumber &other) const
{
    if (m_isNone != other.m_isNone)
        return m_isNone ? std::strong_ordering::less : std::strong_ordering::greater;
    return std::lexicographical_compare_three_way(m_components.begin(), m_components.end(),
                                                  other.m_components.begin(),
                                                  other.m_components.end(), compareNumbers);
}

} // namespace Tesk::NodeLibrary
