#include <futures/future_cancellation.h>

namespace Tesk {

future_cancellation::~future_cancellation() = default;

const char *future_cancellation::what() const noexcept
{
    return "the task was cancelled";
}

} // namespace Tesk
