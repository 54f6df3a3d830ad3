#pragma once

#include <data/data_export.h>

namespace Tesk::Data {

class SerializableData;

/// Hears of every change of the content of an object, whatever its fields' options are.
///
/// Ownership: must outlive the objects that name it, or be taken off them first.
class DATA_EXPORT ChangeListener
{
public:
    virtual ~ChangeListener();

    /// Called after each mutation that left \a object, or a record that one of its fields
    /// owns, different from before; never while a body is being decoded.
    virtual void objectChanged(SerializableData &object) = 0;
};

} // namespace Tesk::Data
