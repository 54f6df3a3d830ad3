#include "BatchScopes.h"

#include <algorithm>
#include <thread>

namespace Tesk::Assets {

Batch *BatchScopes::current() const
{
    const auto found = std::find_if(m_batches.begin(), m_batches.end(), [](const auto &batch) {
        return batch->thread == std::this_thread::get_id();
    });
    return found == m_batches.end() ? nullptr : found->get();
}

void BatchScopes::enter()
{
    if (Batch *outer = current())
        ++outer->depth;
    else
        m_batches.push_back(std::make_unique<Batch>());
}

std::unique_ptr<Batch> BatchScopes::leave(bool doomed)
{
    Batch *batch = current();
    if (batch == nullptr)
        return nullptr;
    batch->doomed |= doomed;
    if (--batch->depth > 0)
        return nullptr;
    const auto found = std::find_if(m_batches.begin(), m_batches.end(),
                                    [&](const auto &known) { return known.get() == batch; });
    std::unique_ptr<Batch> ended = std::move(*found);
    m_batches.erase(found);
    return ended;
}

} // namespace Tesk::Assets
