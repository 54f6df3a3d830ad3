#pragma once

#include <renderablebase/renderablebase_export.h>

#include <data/Node.h>

#include <QMetaType>
#include <QString>

namespace Tesk::RenderableBase {

/// What an output is meant for: a label that people read and an identifier that programs compare.
class RENDERABLEBASE_EXPORT Usage
{
public:
    Usage() = default;
    /// \a first is the label, \a second the identifier.
    Usage(QString first, QString second);

    const QString &first() const { return m_first; }   ///< the label
    const QString &second() const { return m_second; } ///< the identifier

    friend bool operator==(const Usage &, const Usage &) = default;

private:
    QString m_first;
    QString m_second;
};

} // namespace Tesk::RenderableBase

namespace Tesk::Data::Serialization {

RENDERABLEBASE_EXPORT void serializeToNode(Node &node, const RenderableBase::Usage &usage);
RENDERABLEBASE_EXPORT void deserializeFromNode(const Node &node, RenderableBase::Usage &usage);

} // namespace Tesk::Data::Serialization

Q_DECLARE_METATYPE(Tesk::RenderableBase::Usage)
