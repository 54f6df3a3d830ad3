#pragma once

#include <data/data_export.h>

#include <data/SerializableFieldBase.h>

#include <QVariantList>

#include <string_view>

namespace Tesk::Data {

/// What map fields have in common.
class DATA_EXPORT HashMapBase : public SerializableFieldBase
{
public:
    /// The keys and values of a map, entry by entry.
    struct VariantLists
    {
        QVariantList keys;
        QVariantList values;
    };

    /// The item name of the stored array.
    static constexpr std::string_view sItemName = "FieldHashMap";

    ~HashMapBase() override;

    /// In ascending order of the keys; a record that the map owns is given as a pointer.
    virtual VariantLists toVariantLists() const = 0;

protected:
    using SerializableFieldBase::SerializableFieldBase;
};

} // namespace Tesk::Data
