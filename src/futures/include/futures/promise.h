#pragma once

#include <futures/future.h>

#include <concepts>
#include <exception>
#include <future>
#include <utility>

namespace Tesk {

/// The writing end of a future.
///
/// A promise that is destroyed or assigned to before it was kept cancels its future.
///
/// Ownership: whoever holds it owes the result; it can be moved, not copied.
/// Threads: any; where several threads set one promise, one of them wins.
/// Errors: setting it a second time, or using a promise that was moved from, throws
/// `std::future_error`. Where constructing the value throws, the promise is still open.
template<class T>
class promise
{
public:
    promise() = default;

    /// May be called more than once; every future names the same result.
    future<T> get_future() const
    {
        if (!m_writer.state())
            throw std::future_error(std::future_errc::no_state);
        return FutureDetail::Access::makeFuture(m_writer.state());
    }

    /// Runs what is attached to the future before it returns, unless a continuation calls it.
    template<class Value = FutureDetail::Stored<T>>
    requires std::constructible_from<FutureDetail::Stored<T>, Value>
    void set_value(Value &&value) { check(m_writer.complete(std::forward<Value>(value))); }

    void set_value() requires std::same_as<T, void> { check(m_writer.complete()); }

    /// \a exception must not be null.
    void set_exception(const std::exception_ptr &exception) { check(m_writer.fail(exception)); }

private:
    void check(bool completed) const
    {
        if (!completed)
            throw std::future_error(m_writer.state() ? std::future_errc::promise_already_satisfied
                                                     : std::future_errc::no_state);
    }

    FutureDetail::Writer<T> m_writer;
};

} // namespace Tesk
