#pragma once

#include <futures/executor.h>
#include <futures/future_state.h>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace Tesk {

template<class T>
class future;

} // namespace Tesk

/// How the result of a function becomes the outcome of a future. Nothing here is for callers.
namespace Tesk::FutureDetail {

/// The one way from a state to a future and back.
struct Access
{
    template<class T>
    static future<T> makeFuture(std::shared_ptr<State<T>> state)
    {
        return future<T>(std::move(state));
    }

    template<class T>
    static const std::shared_ptr<State<T>> &stateOf(const future<T> &future)
    {
        return future.m_state;
    }
};

/// What a future of a function's result holds: a returned future is flattened, once.
template<class R>
struct Flattened
{
    using Type = std::decay_t<R>;
    static constexpr bool sIsFuture = false;
};

template<class T>
struct Flattened<future<T>>
{
    using Type = T;
    static constexpr bool sIsFuture = true;
};

template<class F, class... Args>
using FlattenedResult =
        typename Flattened<std::remove_cvref_t<std::invoke_result_t<F, Args...>>>::Type;

/// Completes a state like another one, once that is ready.
template<class T>
class Follower final : public Continuation
{
public:
    explicit Follower(Writer<T> target)
        : m_target(std::move(target))
    {}

    void run(const std::shared_ptr<StateBase> &completed) noexcept override
    {
        m_target.completeLike(std::static_pointer_cast<State<T>>(completed));
    }

private:
    Writer<T> m_target;
};

/// Completes \a target like \a followed; cancels it where that names no state.
template<class T>
void follow(Writer<T> &target, const std::shared_ptr<State<T>> &followed)
{
    if (!followed)
        target.cancel();
    else if (followed->isReady())
        target.completeLike(followed);
    else
        StateBase::attach(followed, std::make_unique<Follower<T>>(std::move(target)));
}

/// Calls \a function, which dies here: what it captured is gone once its future is ready.
template<class F, class... Args>
auto callOnce(F function, Args &&...args)
{
    if constexpr (std::is_void_v<std::invoke_result_t<F, Args...>>) {
        std::invoke(std::move(function), std::forward<Args>(args)...);
        return Nothing();
    } else {
        return std::invoke(std::move(function), std::forward<Args>(args)...);
    }
}

template<class F>
F takeOut(std::optional<F> &function)
{
    F taken = std::move(*function);
    function.reset();
    return taken;
}

/// Calls \a function and completes \a target with what it returns or throws.
template<class T, class F, class... Args>
void fulfil(Writer<T> &target, std::optional<F> &function, Args &&...args) noexcept
{
    std::exception_ptr failure;
    try {
        auto result = callOnce<F>(takeOut(function), std::forward<Args>(args)...);
        if constexpr (Flattened<decltype(result)>::sIsFuture)
            follow(target, Access::stateOf(result));
        else
            target.complete(std::move(result));
        return;
    } catch (...) {
        failure = std::current_exception();
    }
    target.fail(failure); // outside the handler: it runs continuations
}

/// A function attached to a future of T, with the writing end of the future of its result.
template<class T, class F>
class Reaction
{
    static constexpr bool sTakesValue = [] {
        if constexpr (std::is_void_v<T>)
            return std::is_invocable_v<F>;
        else
            return std::is_invocable_v<F, const T &>;
    }();

    static auto flattenedResult()
    {
        if constexpr (!sTakesValue)
            return std::type_identity<FlattenedResult<F, future<T>>>();
        else if constexpr (std::is_void_v<T>)
            return std::type_identity<FlattenedResult<F>>();
        else
            return std::type_identity<FlattenedResult<F, const T &>>();
    }

public:
    using Result = typename decltype(flattenedResult())::type;

    explicit Reaction(F function)
        : m_function(std::move(function))
    {}

    const std::shared_ptr<State<Result>> &resultState() const { return m_target.state(); }

    /// False where the outcome of \a source is passed on without calling the function.
    static bool callsFunction(const StateBase &source)
    {
        return !sTakesValue || !source.hasFailed();
    }

    void operator()(const std::shared_ptr<State<T>> &source) noexcept
    {
        if constexpr (!sTakesValue) {
            fulfil(m_target, m_function, Access::makeFuture(source));
        } else if (source->hasFailed()) {
            m_function.reset();
            m_target.fail(source->exception());
        } else if constexpr (std::is_void_v<T>) {
            fulfil(m_target, m_function);
        } else {
            fulfil(m_target, m_function, source->value());
        }
    }

private:
    Writer<Result> m_target;
    std::optional<F> m_function; // dies before the target is cancelled
};

/// Runs a reaction on the thread that completes the state.
template<class T, class F>
class InlineContinuation final : public Continuation
{
public:
    explicit InlineContinuation(Reaction<T, F> reaction)
        : m_reaction(std::move(reaction))
    {}

    void run(const std::shared_ptr<StateBase> &completed) noexcept override
    {
        m_reaction(std::static_pointer_cast<State<T>>(completed));
    }

private:
    Reaction<T, F> m_reaction;
};

/// Has an executor run a reaction. A failure that the function does not see is passed on at once.
template<class T, class F>
class PostedContinuation final : public Continuation
{
public:
    PostedContinuation(future_executor &executor, Reaction<T, F> reaction)
        : m_executor(executor)
        , m_reaction(std::move(reaction))
    {}

    void run(const std::shared_ptr<StateBase> &completed) noexcept override
    {
        auto source = std::static_pointer_cast<State<T>>(completed);
        if (!Reaction<T, F>::callsFunction(*source)) {
            m_reaction(source);
            return;
        }
        try {
            m_executor.post(future_task(
                    [source = std::move(source), reaction = std::move(m_reaction)]() mutable {
                        reaction(source);
                    }));
        } catch (...) {
            // The executor refused: the task is gone, which has cancelled its future.
            return;
        }
    }

private:
    future_executor &m_executor;
    Reaction<T, F> m_reaction;
};

} // namespace Tesk::FutureDetail
