#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <QString>
#include <QStringView>

#include <compare>
#include <vector>

namespace Tesk::NodeLibrary {

/// A version "major[.minor[.patch]]", ordered by its components as numbers.
///
/// Missing components are 0, so "1" and "1.0" are equal. No version at all is below
/// every version. A component that is no number counts as the digits it begins with.
class NODELIBRARY_EXPORT VersionNumber
{
public:
    VersionNumber() = default;
    explicit VersionNumber(QStringView text);

    bool isNone() const { return m_isNone; }

    std::strong_ordering operator<=>(const VersionNumber &other) const;
    bool operator==(const VersionNumber &other) const { return std::is_eq(*this <=> other); }

private:
    bool m_isNone = true;
    std::vector<QString> m_components; // digits without leading zeros: no limit to overflow
};

} // namespace Tesk::NodeLibrary
