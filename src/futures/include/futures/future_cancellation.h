#pragma once

#include <futures/futures_export.h>

#include <exception>

namespace Tesk {

/// What a future fails with when its task will never run or its promise was dropped.
class FUTURES_EXPORT future_cancellation : public std::exception
{
public:
    future_cancellation() noexcept = default;
    future_cancellation(const future_cancellation &) noexcept = default;
    future_cancellation &operator=(const future_cancellation &) noexcept = default;
    ~future_cancellation() override;

    /// Returns "the task was cancelled".
    const char *what() const noexcept override;
};

} // namespace Tesk
