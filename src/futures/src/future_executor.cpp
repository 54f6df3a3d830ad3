#include <futures/executor.h>

namespace Tesk {

future_task::Body::~Body() = default;

future_task::future_task() noexcept = default;
future_task::future_task(future_task &&other) noexcept = default;
future_task &future_task::operator=(future_task &&other) noexcept = default;
future_task::~future_task() = default;

void future_task::operator()()
{
    if (const std::unique_ptr<Body> body = std::move(m_body))
        body->run();
}

future_executor::~future_executor() = default;

} // namespace Tesk
