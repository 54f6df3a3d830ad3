#pragma once

#include <futures/executor.h>
#include <futures/future.h>

#include <memory>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>

namespace Tesk {

/// A posted task: its result, and the handle that stops it.
///
/// Destroying it neither stops the task nor waits for it.
template<class T>
struct stoppable
{
    future<T> result;
    std::stop_source stop;
};

namespace FutureDetail {

/// Calls a function unless it was stopped before; destroyed un-run, it cancels.
template<class T, class F>
class StoppableTask
{
public:
    StoppableTask(std::stop_token token, F function)
        : m_token(std::move(token))
        , m_function(std::move(function))
    {}

    const std::shared_ptr<State<T>> &resultState() const { return m_target.state(); }

    void operator()() noexcept
    {
        if (m_token.stop_requested())
            return; // the executor destroys the task, which cancels
        if constexpr (std::is_invocable_v<F, std::stop_token>)
            fulfil(m_target, m_function, std::move(m_token));
        else
            fulfil(m_target, m_function);
    }

private:
    Writer<T> m_target;
    std::stop_token m_token;
    std::optional<F> m_function; // dies before the target is cancelled
};

template<class F>
auto stoppableResult()
{
    if constexpr (std::is_invocable_v<F, std::stop_token>)
        return std::type_identity<FlattenedResult<F, std::stop_token>>();
    else
        return std::type_identity<FlattenedResult<F>>();
}

} // namespace FutureDetail

/// Has \a executor run \a function, which takes a `std::stop_token` or nothing.
///
/// A task that was stopped before it runs does not call the function: its future is
/// cancelled. Once the function runs, stopping is what the function makes of its token.
/// Throws what `post` throws.
template<class F>
auto make_stoppable(future_executor &executor, F &&function)
{
    using Function = std::decay_t<F>;
    using Result = typename decltype(FutureDetail::stoppableResult<Function>())::type;

    std::stop_source stop;
    FutureDetail::StoppableTask<Result, Function> task(stop.get_token(), std::forward<F>(function));
    stoppable<Result> handle{FutureDetail::Access::makeFuture(task.resultState()), std::move(stop)};
    executor.post(future_task(std::move(task)));
    return handle;
}

} // namespace Tesk
