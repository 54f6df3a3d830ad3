#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/VersionLines.h>

#include <QString>
#include <QStringList>

#include <vector>

namespace Tesk::NodeLibrary {

/// Shares out the keys of one filter among its nodedefs.
struct NODELIBRARY_EXPORT VariationTexts
{
    struct Head
    {
        const NodeDef *nodeDef = nullptr;
        VersionPlace::Kind kind = VersionPlace::Kind::Current;
    };

    /// The variation type text of each of \a heads, which are in canonical order.
    ///
    /// Every text has a part and no part occurs twice, so registering the heads in any order
    /// never asks for a key that is taken.
    static QStringList assign(const std::vector<Head> &heads);

    /// The parts that an output of type \a type asks for; none for an empty type.
    static QStringList partsOf(const QString &type);
};

} // namespace Tesk::NodeLibrary
