#include <data/VectorBase.h>

#include <data/SerializableData.h>

#include <vantbase/Location.h>
#include <vantbase/Raise.h>

namespace Tesk::Data {

VectorBase::~VectorBase() = default;

void VectorBase::checkIndex(qsizetype index, qsizetype size) const
{
    if (index < 0 || index >= size)
        VantBase::raiseInvalidArgument(
                TESK_HERE, QStringLiteral("The field \"%1\" has no place %2: expected 0 to %3")
                                   .arg(name(), QString::number(index), QString::number(size - 1)));
}

} // namespace Tesk::Data
