#pragma once

#include <data/data_export.h>

#include <data/SerializableFieldBase.h>

#include <QVariant>

namespace Tesk::Data {

/// What fields with one value have in common.
class DATA_EXPORT FieldBase : public SerializableFieldBase
{
public:
    ~FieldBase() override;

    virtual bool isEnumeration() const = 0;
    /// The text "Unregistered Qt type" when the value's type is not declared as a meta-type.
    virtual QVariant toVariant() const = 0;

protected:
    using SerializableFieldBase::SerializableFieldBase;
};

} // namespace Tesk::Data
