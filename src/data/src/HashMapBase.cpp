#include <data/HashMapBase.h>

namespace Tesk::Data {

HashMapBase::~HashMapBase() = default;

} // namespace Tesk::Data
