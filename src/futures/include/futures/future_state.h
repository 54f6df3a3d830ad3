#pragma once

#include <futures/futures_export.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

/// What futures and promises share. Nothing in here is meant for callers.
namespace Tesk::FutureDetail {

class StateBase;

/// Returns the time that is \a duration from now; the end of all times where that is so far
/// away that no clock could tell, as with the greatest value of the type.
template<class Rep, class Period>
std::chrono::steady_clock::time_point deadlineAfter(std::chrono::duration<Rep, Period> duration)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point now = Clock::now();
    // In seconds as doubles, since no integer type holds the nanoseconds of every duration.
    const std::chrono::duration<double> seconds = duration;
    const std::chrono::duration<double> farAway = (Clock::time_point::max() - now) / 2;
    if (seconds > farAway)
        return Clock::time_point::max();
    if (!(seconds > seconds.zero())) // behind us, or no number
        return now;
    return now + std::chrono::ceil<Clock::duration>(duration);
}

/// What happens once a state is complete. Destroyed right after it ran.
class FUTURES_EXPORT Continuation
{
public:
    Continuation() = default;
    Continuation(const Continuation &) = delete;
    Continuation &operator=(const Continuation &) = delete;
    virtual ~Continuation();

    virtual void run(const std::shared_ptr<StateBase> &completed) noexcept = 0;

private:
    friend class StateBase;

    std::unique_ptr<Continuation> m_next; // guarded by the mutex of the state it waits for
};

/// The part of a shared state that does not depend on the type of its value.
///
/// It is completed exactly once: `claim` decides who may, the winner writes the outcome
/// and publishes it, and from then on the outcome never changes.
///
/// Threads: any; no lock is held while a continuation runs.
class FUTURES_EXPORT StateBase
{
public:
    StateBase();
    StateBase(const StateBase &) = delete;
    StateBase &operator=(const StateBase &) = delete;

    bool isReady() const noexcept { return m_phase.load(std::memory_order_acquire) >= HasValue; }
    bool hasFailed() const noexcept { return m_phase.load(std::memory_order_acquire) == HasFailed; }
    const std::exception_ptr &exception() const noexcept { return m_exception; }

    /// Blocks until the state is ready, running what this thread has put off first.
    void wait();
    bool waitUntil(std::chrono::steady_clock::time_point deadline);

    /// True for the one caller that may complete the state.
    bool claim() noexcept;
    void unclaim() noexcept;
    static void publishValue(const std::shared_ptr<StateBase> &state) noexcept;
    static void publishFailure(const std::shared_ptr<StateBase> &state,
                               const std::exception_ptr &exception) noexcept;

    /// Has \a continuation run after those attached before it, at once when none is left to run.
    static void attach(const std::shared_ptr<StateBase> &state,
                       std::unique_ptr<Continuation> continuation) noexcept;

    /// Returns the next continuation to run; null, and the state is no longer scheduled, if none.
    std::unique_ptr<Continuation> takeContinuation() noexcept;

protected:
    ~StateBase(); // states die through the deleter of their concrete type

private:
    enum Phase : unsigned char { Pending, Claimed, HasValue, HasFailed };

    static void publish(const std::shared_ptr<StateBase> &state, Phase phase) noexcept;
    void runDeferred();

    std::atomic<Phase> m_phase = Pending;
    std::exception_ptr m_exception; // fixed once published

    std::mutex m_mutex;
    std::condition_variable m_completed;
    // guarded by m_mutex
    std::unique_ptr<Continuation> m_first;
    Continuation *m_last = nullptr;
    bool m_scheduled = false; // some thread is going to run the continuations
};

/// Lets the code inside it run continuations at once although a continuation is running.
///
/// An executor opens one around a task that an event loop inside a continuation delivers;
/// without it the loop would wait for results that are put off until it ends.
class FUTURES_EXPORT FreshRunScope
{
public:
    FreshRunScope() noexcept;
    FreshRunScope(const FreshRunScope &) = delete;
    FreshRunScope &operator=(const FreshRunScope &) = delete;
    ~FreshRunScope();

private:
    void *m_suspended;
};

/// Stands in for the value of a `void` future.
struct Nothing
{
};

template<class T>
using Stored = std::conditional_t<std::is_void_v<T>, Nothing, T>;

/// A state that holds its value, or shares the state that does.
template<class T>
class State final : public StateBase
{
    static_assert(std::is_same_v<T, std::decay_t<T>>, "a future holds a plain value");

public:
    const Stored<T> &value() const noexcept { return m_source ? *m_source->m_own : *m_own; }

    template<class... Args>
    void setValue(Args &&...args)
    {
        m_own.emplace(std::forward<Args>(args)...);
    }

    /// Shares the value of \a other, which is ready. Values are never copied, and a state
    /// always points at the one that holds the value, so that no chain of states grows.
    void shareValue(const std::shared_ptr<const State> &other) noexcept
    {
        m_source = other->m_source ? other->m_source : other;
    }

private:
    std::optional<Stored<T>> m_own;
    std::shared_ptr<const State> m_source; // holds the value where this state has none
};

FUTURES_EXPORT std::exception_ptr makeCancellation() noexcept;

/// The writing end of a state: whoever holds it completes the state or, by dropping it, cancels.
template<class T>
class Writer
{
public:
    Writer()
        : m_state(std::make_shared<State<T>>())
    {}
    Writer(Writer &&other) noexcept = default;
    Writer &operator=(Writer &&other) noexcept
    {
        Writer dropped(std::move(*this));
        m_state = std::move(other.m_state);
        return *this;
    }
    ~Writer() { cancel(); }

    /// Null where it was moved from.
    const std::shared_ptr<State<T>> &state() const noexcept { return m_state; }

    // Each of these returns false where there is nothing to complete any more.

    /// Nothing is completed where constructing the value throws.
    template<class... Args>
    bool complete(Args &&...args)
    {
        if (!claim())
            return false;
        try {
            m_state->setValue(std::forward<Args>(args)...);
        } catch (...) {
            m_state->unclaim();
            throw;
        }
        StateBase::publishValue(m_state);
        return true;
    }

    bool fail(const std::exception_ptr &exception) noexcept
    {
        if (!claim())
            return false;
        StateBase::publishFailure(m_state, exception);
        return true;
    }

    bool cancel() noexcept
    {
        if (!claim())
            return false;
        StateBase::publishFailure(m_state, makeCancellation());
        return true;
    }

    /// Takes over the outcome of \a other, which is ready.
    bool completeLike(const std::shared_ptr<State<T>> &other) noexcept
    {
        if (other->hasFailed())
            return fail(other->exception());
        if (!claim())
            return false;
        m_state->shareValue(other);
        StateBase::publishValue(m_state);
        return true;
    }

private:
    bool claim() noexcept { return m_state && m_state->claim(); }

    std::shared_ptr<State<T>> m_state;
};

} // namespace Tesk::FutureDetail
