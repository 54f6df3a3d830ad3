#pragma once

#include <futures/future_reaction.h>
#include <futures/future_state.h>

#include <chrono>
#include <exception>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

namespace Tesk {

/// A handle of a result that is there now, later, or never because of a failure.
///
/// Every copy names the same result. The result of a task that was cancelled is the
/// exception `future_cancellation`.
///
/// Ownership: the value lives as long as a handle of it.
/// Threads: any, also on one handle as long as none assigns to it.
/// Errors: `wait`, `get` and `then` of an invalid future throw `std::future_error`.
template<class T>
class future
{
public:
    /// An invalid future: it names no result.
    future() noexcept = default;

    bool is_valid() const noexcept { return m_state != nullptr; }
    /// True once there is a value or a failure; false for an invalid future.
    bool is_ready() const noexcept { return m_state && m_state->isReady(); }
    /// True once there is a failure, a cancellation included.
    bool has_exception() const noexcept { return m_state && m_state->hasFailed(); }

    /// Blocks until the future is ready. A continuation that waits has the continuations
    /// run that its thread has put off. It runs no event loop: on the main thread, do not
    /// wait for what the main thread is to do, let the event loop run until it is ready.
    void wait() const { state().wait(); }

    /// Waits at most \a duration, however long; false when the future is not ready by then.
    template<class Rep, class Period>
    bool wait_for(std::chrono::duration<Rep, Period> duration) const
    {
        return state().waitUntil(FutureDetail::deadlineAfter(duration));
    }

    /// Waits, then returns the value by reference (nothing for `void`) or throws the failure.
    std::conditional_t<std::is_void_v<T>, void, const FutureDetail::Stored<T> &> get() const
    {
        wait();
        if (m_state->hasFailed())
            std::rethrow_exception(m_state->exception());
        if constexpr (!std::is_void_v<T>)
            return m_state->value();
    }

    /// Has \a function called once with the value and returns the future of its result.
    ///
    /// The function takes `const T &` (nothing for `void`), and then a failure passes it by
    /// into the result; or it takes `future<T>`, which is ready, and sees failures too. The
    /// result of a function that returns a `future<U>` is a `future<U>`.
    ///
    /// It runs on the thread that completes this future, or on this thread when that has
    /// happened; after everything attached earlier; never under a lock; and never inside
    /// another continuation of the same thread but after it.
    template<class F>
    auto then(F &&function) const
    {
        using Function = std::decay_t<F>;
        return attach<FutureDetail::InlineContinuation<T, Function>>(
                FutureDetail::Reaction<T, Function>(std::forward<F>(function)));
    }

    /// The same, with \a executor running the function; it has to outlive the continuation.
    template<class F>
    auto then(future_executor &executor, F &&function) const
    {
        using Function = std::decay_t<F>;
        return attach<FutureDetail::PostedContinuation<T, Function>>(
                FutureDetail::Reaction<T, Function>(std::forward<F>(function)), executor);
    }

private:
    friend struct FutureDetail::Access;

    explicit future(std::shared_ptr<FutureDetail::State<T>> state) noexcept
        : m_state(std::move(state))
    {}

    FutureDetail::StateBase &state() const
    {
        if (!m_state)
            throw std::future_error(std::future_errc::no_state);
        return *m_state;
    }

    template<class Continuation, class Reaction, class... Executor>
    auto attach(Reaction reaction, Executor &...executor) const
    {
        state();
        auto result = FutureDetail::Access::makeFuture(reaction.resultState());
        FutureDetail::StateBase::attach(
                m_state, std::make_unique<Continuation>(executor..., std::move(reaction)));
        return result;
    }

    std::shared_ptr<FutureDetail::State<T>> m_state;
};

template<class T>
future<std::decay_t<T>> make_ready_future(T &&value)
{
    FutureDetail::Writer<std::decay_t<T>> writer;
    writer.complete(std::forward<T>(value));
    return FutureDetail::Access::makeFuture(writer.state());
}

inline future<void> make_ready_future()
{
    FutureDetail::Writer<void> writer;
    writer.complete();
    return FutureDetail::Access::makeFuture(writer.state());
}

/// \a exception must not be null.
template<class T>
future<T> make_failed_future(const std::exception_ptr &exception)
{
    FutureDetail::Writer<T> writer;
    writer.fail(exception);
    return FutureDetail::Access::makeFuture(writer.state());
}

} // namespace Tesk
