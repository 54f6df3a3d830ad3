#include <futures/executor.h>

namespace Tesk {

future_task::Body::~Body() = default;

future_executor::~future_executor() = default;

} // namespace Tesk
