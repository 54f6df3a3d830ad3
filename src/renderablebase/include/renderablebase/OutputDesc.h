#pragma once

#include <renderablebase/renderablebase_export.h>
#include <renderablebase/Usage.h>

#include <data/Field.h>
#include <data/SerializableData.h>
#include <data/Vector.h>

#include <QMetaType>
#include <QString>

namespace Tesk::RenderableBase {

/// What kind of value an output gives: a signed 8-bit code. One that this version does not name
/// is kept as it is.
enum class ValueType : signed char {
    Unknown = -1,
    Float = 0,
    Float2 = 1,
    Float3 = 2,
    Float4 = 3,
    Integer = 4,
    Integer2 = 5,
    Integer3 = 6,
    Integer4 = 7,
    Image = 8, ///< in colour or in shades of grey: see OutputDesc::isColor
    String = 9,
};

/// Describes one output of a renderable.
///
/// Ownership: shared by the descriptions that list it.
/// Threads: not thread-safe; may be read by many once nobody writes any more.
/// Persistence: field names and their order are part of the stored form. The fields send no
/// change events: an output is filled before it is shown to anyone.
class RENDERABLEBASE_EXPORT OutputDesc : public Data::SerializableData
{
    Q_OBJECT
public:
    /// The name under which outputs are stored and created when loading.
    static const QString sTypeName;

    explicit OutputDesc(Data::SerializableData *parent = nullptr);
    ~OutputDesc() override;

    /// Whether the output is in colour; the stored answer, unless a subclass knows better.
    virtual bool isColor() const;

    Data::Field<QString> identifier;
    Data::Field<ValueType> valueType; ///< ValueType::Unknown until set
    Data::Field<QString>
            type;            ///< as the renderable's own vocabulary names it: "color3", "matrix44"
    Data::Field<bool> color; ///< what isColor() answers
    Data::Field<QString> label;
    Data::Vector<Usage> usages;
};

} // namespace Tesk::RenderableBase

Q_DECLARE_METATYPE(Tesk::RenderableBase::ValueType)
