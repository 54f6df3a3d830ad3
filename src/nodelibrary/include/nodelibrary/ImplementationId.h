#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>

#include <QByteArray>
#include <QString>

#include <optional>

namespace Tesk::NodeLibrary {

/// The identifier of the asset that implements a nodedef.
///
/// It reads "mtlx://NODEDEF@DIGEST#GENERATION". Two assets of one nodedef differ in the digest
/// when their definitions or texts differ, and always in the generation.
struct NODELIBRARY_EXPORT ImplementationId
{
    QString nodeDef;
    QString digest;
    int generation = 1;

    QByteArray toBytes() const;

    /// The identifier spelled \a bytes, or nothing if they are not one.
    static std::optional<ImplementationId> fromBytes(const QByteArray &bytes);

    /// A digest of the completed \a nodeDef and its variation type \a text.
    ///
    /// Where a nodedef was read from and what was inherited does not count.
    static QString digestOf(const NodeDef &nodeDef, const QString &text);

    bool operator==(const ImplementationId &) const = default;
};

} // namespace Tesk::NodeLibrary
