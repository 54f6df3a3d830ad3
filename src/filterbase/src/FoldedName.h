#pragma once

#include <QString>

#include <array>

namespace Tesk::FilterBase {

/// A filter name as the tables' key: exactly what QString::toLower gives.
///
/// A short ASCII name is folded into a buffer of this object, without an allocation; key() is then
/// only valid as long as this object. Anything else goes through toLower.
class FoldedName
{
public:
    explicit FoldedName(const QString &name);
    FoldedName(const FoldedName &) = delete;
    FoldedName &operator=(const FoldedName &) = delete;

    /// For look-ups; shares no memory with the table, and must not be kept.
    const QString &key() const { return m_key; }

    /// A copy that owns its text, for insertion.
    QString ownedKey() const { return QString(m_key.constData(), m_key.size()); }

private:
    static constexpr qsizetype sBufferSize = 64;

    alignas(16) std::array<char16_t, sBufferSize> m_buffer;
    QString m_key;
};

} // namespace Tesk::FilterBase
