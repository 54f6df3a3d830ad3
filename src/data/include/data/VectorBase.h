#pragma once

#include <data/data_export.h>

#include <data/SerializableFieldBase.h>

#include <QVariantList>

#include <string_view>

namespace Tesk::Data {

/// What vector fields have in common.
class DATA_EXPORT VectorBase : public SerializableFieldBase
{
public:
    /// The item name of the stored array.
    static constexpr std::string_view sItemName = "FieldArray";

    ~VectorBase() override;

    /// The elements in order, each as FieldBase::toVariant() gives a value.
    virtual QVariantList toVariantList() const = 0;

protected:
    using SerializableFieldBase::SerializableFieldBase;

    /// Raises an InvalidArgumentException unless \a index is below \a size.
    void checkIndex(qsizetype index, qsizetype size) const;
};

} // namespace Tesk::Data
