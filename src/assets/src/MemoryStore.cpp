#include <assets/MemoryStore.h>

#include "MemoryStoreImpl.h"
#include "StoreChecks.h"

#include <assets/StoreError.h>

namespace Tesk::Assets {

using namespace StoreChecks;

MemoryStore::MemoryStore()
    : MemoryStore(std::make_shared<MemoryContent>())
{}

MemoryStore::MemoryStore(std::shared_ptr<MemoryContent> content)
    : m_impl(std::make_unique<Impl>(std::move(content)))
{
    const std::lock_guard lock(m_impl->content->mutex);
    ++m_impl->content->storeCount;
    m_impl->seen = m_impl->content->tables.generation;
}

MemoryStore::~MemoryStore()
{
    if (inTransaction())
        rollback();
    const std::lock_guard lock(m_impl->content->mutex);
    --m_impl->content->storeCount;
}

std::unique_ptr<MemoryStore> MemoryStore::openAnother() const
{
    {
        const std::lock_guard lock(m_impl->content->mutex);
        if (m_impl->content->writer)
            raise(TESK_PLACE, StoreError::Code::Busy,
                  QStringLiteral("Cannot open \"%1\" a second time: a transaction is "
                                 "open; try again when it has ended")
                          .arg(Impl::sLocation));
    }
    return std::unique_ptr<MemoryStore>(new MemoryStore(m_impl->content));
}

void MemoryStore::setReadOnly(bool readOnly)
{
    const std::lock_guard lock(m_impl->content->mutex);
    m_impl->readOnly = readOnly;
}

QByteArray MemoryStore::databaseId() const
{
    return m_impl->content->databaseId;
}

bool MemoryStore::isReadOnly() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->readOnly;
}

QString MemoryStore::location() const
{
    return Impl::sLocation;
}

void MemoryStore::begin(SyncLevel)
{
    const std::lock_guard lock(m_impl->content->mutex);
    if (m_impl->inTransactionLocked())
        raise(TESK_PLACE, StoreError::Code::Misuse,
              QStringLiteral("Cannot begin a transaction: one is open already"));
    m_impl->requireWritableLocked(TESK_PLACE);
    if (m_impl->content->storeCount > 1)
        m_impl->content->snapshot = std::make_unique<MemoryTables>(m_impl->content->tables.copy());
    m_impl->content->writer = m_impl.get();
}

void MemoryStore::commit()
{
    const std::lock_guard lock(m_impl->content->mutex);
    if (!m_impl->inTransactionLocked())
        raise(TESK_PLACE, StoreError::Code::Misuse,
              QStringLiteral("Cannot commit: no transaction is open"));
    m_impl->content->writer = nullptr;
    m_impl->content->snapshot.reset();
    const bool changed = m_impl->content->mark() > 0;
    m_impl->noteCommitLocked(m_impl->content->tables.generation - (changed ? 1 : 0));
}

void MemoryStore::rollback()
{
    const std::lock_guard lock(m_impl->content->mutex);
    if (!m_impl->inTransactionLocked())
        raise(TESK_PLACE, StoreError::Code::Misuse,
              QStringLiteral("Cannot roll back: no transaction is open"));
    m_impl->content->undoTo(0);
    m_impl->content->writer = nullptr;
    m_impl->content->snapshot.reset();
}

bool MemoryStore::inTransaction() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->inTransactionLocked();
}

void MemoryStore::beginRead() const {}

void MemoryStore::endRead() const noexcept {}

qint64 MemoryStore::generation() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->viewLocked().generation;
}

ChangeList MemoryStore::changesSince(qint64 generation) const
{
    const std::lock_guard lock(m_impl->content->mutex);
    const MemoryTables &tables = m_impl->viewLocked();
    std::map<std::pair<qint64, QByteArray>, ChangeRow> ordered;
    for (const auto &[sequence, asset] : tables.bySequence) {
        if (asset->changed > generation)
            ordered.emplace(std::pair(asset->changed, asset->row.id),
                            ChangeRow{asset->row.id, false, asset->row.revision});
    }
    for (auto entry = tables.removed.begin(); entry != tables.removed.end(); ++entry) {
        if (entry.value() > generation)
            ordered.emplace(std::pair(entry.value(), entry.key()), ChangeRow{entry.key(), true, 0});
    }
    ChangeList list{tables.generation, {}};
    for (const auto &[key, row] : ordered)
        list.changes.push_back(row);
    return list;
}

qint64 MemoryStore::seenGeneration() const
{
    const std::lock_guard lock(m_impl->content->mutex);
    return m_impl->seen;
}

void MemoryStore::setSeenGeneration(qint64 generation)
{
    const std::lock_guard lock(m_impl->content->mutex);
    m_impl->seen = generation;
}

void MemoryStore::backupTo(const QString &path) const
{
    raise(TESK_PLACE, StoreError::Code::Misuse,
          QStringLiteral("Cannot back up to \"%1\": a store in memory has no file form").arg(path));
}

} // namespace Tesk::Assets
