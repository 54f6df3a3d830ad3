#pragma once

#include <renderablebase/renderablebase_export.h>

#include <data/Field.h>
#include <data/Node.h>
#include <data/SerializableData.h>

#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

namespace Tesk::RenderableBase {

/// The values that a parameter may take. An invalid value means "no limit".
struct ParameterRange
{
    QVariant minimum = {};
    QVariant maximum = {};
    QVariant softMinimum = {}; ///< where a slider begins; the user may go below
    QVariant softMaximum = {};
    QVariant step = {};

    friend bool operator==(const ParameterRange &, const ParameterRange &) = default;
};

/// The choices that a parameter offers. There may be fewer values than labels, or none at all.
struct ParameterEnumeration
{
    QStringList labels = {};
    QVariantList values = {};

    friend bool operator==(const ParameterEnumeration &, const ParameterEnumeration &) = default;
};

/// What a user interface shows of a parameter beside its value.
struct ParameterPresentation
{
    QString label = {};
    QString group = {}; ///< nested groups are parted by "/"
    QString documentation = {};
    QString unit = {};
    QString unitType = {};
    QString colorSpace = {};
    QString hint = {};
    bool uniform = false;  ///< one value for the whole image
    bool advanced = false; ///< hidden until asked for

    friend bool operator==(const ParameterPresentation &, const ParameterPresentation &) = default;
};

/// Describes one parameter of a renderable.
///
/// The identifier says which parameter it is, in every description it occurs in; the uid is what
/// callers key their values by, and is meaningful within one description only.
///
/// Ownership: shared by the descriptions that list it.
/// Threads: not thread-safe; may be read by many once nobody writes any more.
/// Persistence: field names and their order are part of the stored form. What belongs together
/// and is mostly absent shares one field, so that a plain parameter takes few bytes. The fields
/// send no change events: a parameter is filled before it is shown to anyone.
class RENDERABLEBASE_EXPORT ParameterDesc : public Data::SerializableData
{
    Q_OBJECT
public:
    /// The name under which parameters are stored and created when loading.
    static const QString sTypeName;

    explicit ParameterDesc(Data::SerializableData *parent = nullptr);
    ~ParameterDesc() override;

    Data::Field<QString> identifier;
    Data::Field<unsigned int> uid;
    Data::Field<QString> type; ///< as the renderable's own vocabulary names it: "float", "color3"
    Data::Field<QVariant> defaultValue; ///< invalid when there is none
    Data::Field<ParameterRange> range;
    Data::Field<ParameterEnumeration> enumeration;
    Data::Field<ParameterPresentation> presentation;
};

} // namespace Tesk::RenderableBase

namespace Tesk::Data::Serialization {

// Members that hold nothing are not written.
RENDERABLEBASE_EXPORT void serializeToNode(Node &, const RenderableBase::ParameterRange &);
RENDERABLEBASE_EXPORT void deserializeFromNode(const Node &, RenderableBase::ParameterRange &);
RENDERABLEBASE_EXPORT void serializeToNode(Node &, const RenderableBase::ParameterEnumeration &);
RENDERABLEBASE_EXPORT void deserializeFromNode(const Node &,
                                               RenderableBase::ParameterEnumeration &);
RENDERABLEBASE_EXPORT void serializeToNode(Node &, const RenderableBase::ParameterPresentation &);
RENDERABLEBASE_EXPORT void deserializeFromNode(const Node &,
                                               RenderableBase::ParameterPresentation &);

} // namespace Tesk::Data::Serialization

Q_DECLARE_METATYPE(Tesk::RenderableBase::ParameterRange)
Q_DECLARE_METATYPE(Tesk::RenderableBase::ParameterEnumeration)
Q_DECLARE_METATYPE(Tesk::RenderableBase::ParameterPresentation)
