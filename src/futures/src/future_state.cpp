#include <futures/future_state.h>

#include <futures/future_cancellation.h>

#include <list>

namespace Tesk::FutureDetail {

namespace {

// The completed states whose continuations a thread has yet to run, in the order of completion.
//
// A continuation never runs inside another one: what it completes is queued and runs after it
// returned. So neither a long chain nor its destruction ever recurses. The queue lives on the
// stack of the outermost call that completed something.
struct RunQueue
{
    RunQueue() noexcept;
    RunQueue(const RunQueue &) = delete;
    RunQueue &operator=(const RunQueue &) = delete;
    ~RunQueue();

    bool runOne();

    std::list<std::shared_ptr<StateBase>> states;
    RunQueue *const outer;
};

thread_local RunQueue *newestQueue = nullptr; // of this thread; reaches the older ones
thread_local RunQueue *openQueue = nullptr;   // takes what is completed now; null: run it at once

RunQueue::RunQueue() noexcept
    : outer(newestQueue)
{
    newestQueue = this;
    openQueue = this;
}

RunQueue::~RunQueue()
{
    newestQueue = outer;
    openQueue = nullptr; // a queue is only made where none was open
}

// Runs the next continuation; false when there was none. A state stays at the front until its
// last continuation was taken, so that one which waits can have those behind it run.
bool RunQueue::runOne()
{
    while (!states.empty()) {
        const std::shared_ptr<StateBase> state = states.front();
        if (const std::unique_ptr<Continuation> continuation = state->takeContinuation()) {
            continuation->run(state);
            return true;
        }
        states.pop_front();
    }
    return false;
}

void schedule(const std::shared_ptr<StateBase> &state) noexcept
{
    if (openQueue) {
        openQueue->states.push_back(state);
        return;
    }
    RunQueue queue;
    queue.states.push_back(state);
    while (queue.runOne()) {
    }
}

} // namespace

Continuation::~Continuation() = default;

StateBase::StateBase() = default;
StateBase::~StateBase() = default;

// A thread that waits inside a continuation may be waiting for what it has put off itself.
void StateBase::runDeferred()
{
    for (RunQueue *queue = newestQueue; queue; queue = queue->outer) {
        while (!isReady() && queue->runOne()) {
        }
    }
}

void StateBase::wait()
{
    runDeferred();
    std::unique_lock lock(m_mutex);
    m_completed.wait(lock, [this] { return isReady(); });
}

bool StateBase::waitUntil(std::chrono::steady_clock::time_point deadline)
{
    runDeferred();
    std::unique_lock lock(m_mutex);
    return m_completed.wait_until(lock, deadline, [this] { return isReady(); });
}

bool StateBase::claim() noexcept
{
    Phase expected = Pending;
    return m_phase.compare_exchange_strong(expected, Claimed, std::memory_order_acq_rel);
}

void StateBase::unclaim() noexcept
{
    m_phase.store(Pending, std::memory_order_release);
}

void StateBase::publishValue(const std::shared_ptr<StateBase> &state) noexcept
{
    publish(state, HasValue);
}

void StateBase::publishFailure(const std::shared_ptr<StateBase> &state,
                               const std::exception_ptr &exception) noexcept
{
    state->m_exception = exception;
    publish(state, HasFailed);
}

void StateBase::publish(const std::shared_ptr<StateBase> &state, Phase phase) noexcept
{
    {
        const std::lock_guard lock(state->m_mutex);
        state->m_phase.store(phase, std::memory_order_release);
        state->m_completed.notify_all();
        if (!state->m_first)
            return;
        state->m_scheduled = true;
    }
    schedule(state);
}

void StateBase::attach(const std::shared_ptr<StateBase> &state,
                       std::unique_ptr<Continuation> continuation) noexcept
{
    {
        const std::lock_guard lock(state->m_mutex);
        Continuation *const last = continuation.get();
        (state->m_last ? state->m_last->m_next : state->m_first) = std::move(continuation);
        state->m_last = last;
        if (!state->isReady() || state->m_scheduled)
            return;
        state->m_scheduled = true;
    }
    schedule(state);
}

std::unique_ptr<Continuation> StateBase::takeContinuation() noexcept
{
    const std::lock_guard lock(m_mutex);
    std::unique_ptr<Continuation> taken = std::move(m_first);
    if (taken)
        m_first = std::move(taken->m_next);
    else
        m_scheduled = false;
    if (!m_first)
        m_last = nullptr;
    return taken;
}

FreshRunScope::FreshRunScope() noexcept
    : m_suspended(openQueue)
{
    openQueue = nullptr;
}

FreshRunScope::~FreshRunScope()
{
    openQueue = static_cast<RunQueue *>(m_suspended);
}

std::exception_ptr makeCancellation() noexcept
{
    return std::make_exception_ptr(future_cancellation());
}

} // namespace Tesk::FutureDetail
