#include "Write.h"

#include "BatchWriter.h"

namespace Tesk::Assets {

DatabaseCore::Write::Write(DatabaseCore &core)
    : m_core(core)
{
    const std::lock_guard lock(core.m_mutex);
    core.checkOpenLocked();
    m_batch = core.m_scopes.current();
    if (m_batch == nullptr) {
        m_own = std::make_unique<Batch>();
        m_batch = m_own.get();
    }
}

DatabaseCore::Write::~Write()
{
    if (m_own && !m_isStored)
        m_core.rollBack(*m_own);
}

void DatabaseCore::Write::encode(std::vector<EncodedAsset> assets)
{
    if (!m_own)
        return;
    m_encoded = std::move(assets);
    EncodedAsset::encodeAll(m_encoded);
}

void DatabaseCore::Write::storeLocked()
{
    if (!m_own || m_own->isEmpty() || (m_own->needsBodies() && m_encoded.empty()))
        return;
    for (EncodedAsset &entry : m_encoded)
        entry.change = m_own->find(*entry.asset->ownReference().record());
    const auto all = [this](std::size_t) {
        return m_encoded.size();
    };
    BatchWriter(*m_core.m_store, *m_own).write(m_encoded, all, SyncLevel::Process);
    m_isStored = true;
    m_core.settleLocked(*m_own);
    m_changes = m_own->notices();
}

void DatabaseCore::Write::finish()
{
    const std::unique_ptr<Batch> own = std::move(m_own);
    if (m_isStored)
        m_core.m_observers.notify(m_changes);
    else if (own)
        m_core.commit(*own, SyncLevel::Process);
}

} // namespace Tesk::Assets
