#pragma once

#include <nodelibrary/NodeDef.h>

#include <renderablebase/RenderableIODesc.h>

#include <QString>
#include <QVariant>

#include <memory>

class QThread;

namespace Tesk::NodeLibrary {

/// Describes the ports of a nodedef in the host's terms.
struct IODescBuilder
{
    /// Describes the completed \a nodeDef; the description lives on \a thread.
    static std::shared_ptr<RenderableBase::RenderableIODesc> build(const NodeDef &nodeDef,
                                                                   QThread *thread);

    /// The value that \a text writes in \a type: a number, a boolean, a list of numbers.
    ///
    /// A text that is no such value, as real files have them, stays a text.
    static QVariant toValue(const QString &text, const QString &type);
};

} // namespace Tesk::NodeLibrary
