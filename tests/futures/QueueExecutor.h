#pragma once

#include <futures/executor.h>

#include <cstddef>
#include <deque>
#include <utility>

namespace Tesk {

/// Keeps tasks until the test runs or drops them.
class QueueExecutor : public future_executor
{
public:
    void post(future_task task) override { m_tasks.push_back(std::move(task)); }

    std::size_t size() const { return m_tasks.size(); }

    void runAll()
    {
        while (!m_tasks.empty()) {
            future_task task = std::move(m_tasks.front());
            m_tasks.pop_front();
            task();
        }
    }

    void dropAll() { std::exchange(m_tasks, {}).clear(); }

private:
    std::deque<future_task> m_tasks;
};

} // namespace Tesk
