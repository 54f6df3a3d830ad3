#pragma once

#include <futures/executor.h>
#include <futures/futures_export.h>

namespace Tesk {

/// Runs tasks on the thread of the `QCoreApplication`, through its event loop.
///
/// Tasks run in the order of posting, one an event, also in a `processEvents` that excludes
/// user input and socket notifiers, and also in a loop that a running task or continuation
/// opens. None runs inside `post`, not even on the main thread.
///
/// Without an application object, before the first and after each, a posted task is
/// destroyed at once, which cancels its future. Those still queued when the application
/// object is destroyed are cancelled too; a loop that merely returned leaves them queued.
///
/// Ownership: one for the process, never destroyed; it serves one application object
/// after the other.
/// Threads: any.
class FUTURES_EXPORT main_thread_executor : public future_executor
{
public:
    static main_thread_executor &instance();

    void post(future_task task) override;

private:
    main_thread_executor();
    ~main_thread_executor() override;
};

} // namespace Tesk
