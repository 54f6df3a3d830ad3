#include <vantbase/Service.h>

namespace Tesk::VantBase {

Service::~Service() = default;

} // namespace Tesk::VantBase
