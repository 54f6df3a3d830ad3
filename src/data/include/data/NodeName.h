#pragma once

#include <data/data_export.h>

#include <QLatin1StringView>
#include <QString>
#include <QStringView>

#include <array>
#include <string>
#include <string_view>

namespace Tesk::Data::Serialization {

/// The name of a node or attribute as UTF-8, made from whatever text the caller has.
///
/// A temporary for call sites: it borrows UTF-8 and ASCII text and transcodes the rest into
/// itself, without the heap up to 64 bytes. Whether the text is well formed is checked where
/// a name is added; a malformed one is simply never found.
///
/// Ownership: the source text must outlive it.
class DATA_EXPORT NodeName
{
public:
    NodeName(const char *utf8)
        : m_view(utf8)
    {}
    NodeName(std::string_view utf8)
        : m_view(utf8)
    {}
    NodeName(QLatin1StringView text);
    NodeName(QStringView text);
    NodeName(const QString &text)
        : NodeName(QStringView(text))
    {}
    ~NodeName() = default;

    NodeName(const NodeName &) = delete;
    NodeName &operator=(const NodeName &) = delete;

    std::string_view utf8() const { return m_view; }

private:
    static constexpr std::size_t sInlineSize = 64;

    std::string_view m_view;
    std::string m_long;
    std::array<char, sInlineSize> m_inline; // filled only as far as m_view reaches
};

} // namespace Tesk::Data::Serialization
