#include <assets/Store.h>

#include <exception>

namespace Tesk::Assets {

Store::~Store() = default;

void Store::endAtFailure() {}

Store::Transaction::Transaction(Store &store, SyncLevel level)
    : m_store(store)
{
    m_store.begin(level);
}

Store::Transaction::~Transaction()
{
    if (!m_open)
        return;
    try {
        m_store.rollback();
    } catch (const std::exception &) {
        // The store logged it, and what was not committed is gone at the latest when it is closed.
    }
}

void Store::Transaction::commit()
{
    m_open = false; // a commit that fails has rolled back
    m_store.commit();
}

} // namespace Tesk::Assets
