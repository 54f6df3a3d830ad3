#include <data/FieldBase.h>

namespace Tesk::Data {

FieldBase::~FieldBase() = default;

} // namespace Tesk::Data
