#include <vantbase/SharedObject.h>

namespace Tesk {

SharedObjectBase::~SharedObjectBase() = default;

} // namespace Tesk
