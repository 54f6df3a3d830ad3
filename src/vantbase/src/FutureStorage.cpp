#include <vantbase/FutureStorage.h>

#include <vantbase/DefaultAsyncRecovery.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>
#include <vantbase/ServiceLocator.h>
#include <vantbase/ThreadUtils.h>

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace Tesk::VantBase {

// How long the main thread leaves its events alone while it waits.
static constexpr std::chrono::milliseconds sPumpInterval{1};

static bool isFinished(const future<void> &pending)
{
    return !pending.is_valid() || pending.is_ready();
}

static bool waitingIsWanted()
{
    const ServiceLocator &locator = ServiceLocator::instance();
    return locator.started() && locator.findService<DefaultAsyncRecovery>();
}

static void processEventsUntilFinished(const future<void> &pending)
{
    while (!isFinished(pending)) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents
                                        | QEventLoop::ExcludeSocketNotifiers);
        pending.wait_for(sPumpInterval);
    }
}

FutureStorage<void>::~FutureStorage()
{
    try {
        waitAll();
    } catch (...) { // NOLINT(bugprone-empty-catch): out of memory; there is nobody to tell
    }
}

void FutureStorage<void>::add(future<void> pending, std::stop_source stop, std::string name)
{
    std::vector<Entry> finished; // dies after the lock: what it releases may call back
    const std::lock_guard lock(m_mutex);
    // The iterator form: clang 14 does not compile the ranges of this standard library.
    const auto firstFinished =
            std::stable_partition(m_entries.begin(), m_entries.end(),
                                  [](const Entry &entry) { return !isFinished(entry.pending); });
    finished.assign(std::move_iterator(firstFinished), std::move_iterator(m_entries.end()));
    m_entries.erase(firstFinished, m_entries.end());
    if (!isFinished(pending))
        m_entries.push_back({std::move(pending), std::move(stop), std::move(name)});
}

void FutureStorage<void>::waitAll()
{
    const bool waits = waitingIsWanted();
    for (auto entries = takeEntries(); !entries.empty(); entries = takeEntries()) {
        for (const Entry &entry : entries)
            finish(entry, waits);
    }
}

void FutureStorage<void>::finish(const Entry &entry, bool waits)
{
    if (!isFinished(entry.pending)) {
        logger(LogService::Base).record(LogLevel::Warning, TESK_HERE)
                << "A future is still running: " << entry.name;
    }
    if (!waits)
        return;
    try {
        if (ThreadUtils::isMainThread() && QCoreApplication::instance())
            processEventsUntilFinished(entry.pending);
        entry.pending.get();
    } catch (...) { // NOLINT(bugprone-empty-catch): whoever cares for the result has its future
    }
}

std::vector<FutureStorage<void>::Entry> FutureStorage<void>::takeEntries()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_entries, {});
}

} // namespace Tesk::VantBase
