#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <QString>

#include <vector>

namespace Tesk::NodeLibrary {

/// Something in a node library that a person should look at.
struct NODELIBRARY_EXPORT Problem
{
    enum class Severity : int {
        FileRefused = 0,    ///< the file contributes nothing
        NodeDefRefused = 1, ///< one nodedef is left out
        Remark = 2,         ///< the nodedef is taken, but not quite as written
    };

    Severity severity = Severity::Remark;
    QString file;
    qint64 line = 0;   ///< counted from 1; 0 when the problem is the whole file
    qint64 column = 0; ///< in characters, counted from 1
    QString text;

    /// "file:line:column: text", the form that editors can jump to.
    QString toString() const;

    bool operator==(const Problem &) const = default;
};

using Problems = std::vector<Problem>;

} // namespace Tesk::NodeLibrary
