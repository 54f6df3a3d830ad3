#pragma once

#include <futures/futures_export.h>

#include <concepts>
#include <functional>
#include <memory>
#include <utility>

namespace Tesk {

/// A piece of work for an executor: a move-only callable that runs at most once.
///
/// A task that is destroyed before it ran cancels the future it was to complete.
/// Errors: the tasks of this library never throw; a task made of a callable that
/// throws passes the exception on to the executor.
class FUTURES_EXPORT future_task
{
public:
    future_task() noexcept = default;

    template<std::invocable F>
    explicit future_task(F function)
        : m_body(std::make_unique<Callable<F>>(std::move(function)))
    {}

    future_task(future_task &&other) noexcept = default;
    future_task &operator=(future_task &&other) noexcept = default;
    ~future_task() = default;

    /// False once it ran, was moved from, or when it was made of nothing.
    explicit operator bool() const noexcept { return m_body != nullptr; }

    /// Runs the callable and destroys it; does nothing where there is none.
    void operator()()
    {
        if (const std::unique_ptr<Body> body = std::move(m_body))
            body->run();
    }

private:
    class FUTURES_EXPORT Body
    {
    public:
        Body() = default;
        Body(const Body &) = delete;
        Body &operator=(const Body &) = delete;
        virtual ~Body();
        virtual void run() = 0;
    };

    template<class F>
    class Callable final : public Body
    {
    public:
        explicit Callable(F function)
            : m_function(std::move(function))
        {}
        void run() override { std::invoke(std::move(m_function)); }

    private:
        F m_function;
    };

    std::unique_ptr<Body> m_body;
};

/// Decides where and when a task runs.
///
/// Ownership: borrowed by every continuation that was attached with it, so it has to
/// outlive them.
/// Threads: `post` is called from any thread.
/// Errors: where `post` throws or drops the task, the future of the task is cancelled.
class FUTURES_EXPORT future_executor
{
public:
    future_executor() = default;
    future_executor(const future_executor &) = delete;
    future_executor &operator=(const future_executor &) = delete;
    virtual ~future_executor();

    virtual void post(future_task task) = 0;
};

} // namespace Tesk
