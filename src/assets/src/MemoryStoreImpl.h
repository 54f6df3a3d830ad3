#pragma once

#include "MemoryContent.h"
#include "Place.h"

#include <assets/MemoryStore.h>

#include <memory>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace Tesk::Assets {

/// One store of a content, and how it reads and writes there.
class MemoryStore::Impl
{
public:
    static const QString sLocation;

    explicit Impl(std::shared_ptr<MemoryContent> shared)
        : content(std::move(shared))
    {}

    /// Returns the state this store sees: not what another one has not committed.
    const MemoryTables &viewLocked() const
    {
        return content->writer && content->writer != this ? *content->snapshot : content->tables;
    }
    bool inTransactionLocked() const { return content->writer == this; }
    void requireWritableLocked(const Place &place) const;

    /// Runs \a work so that all or nothing of it remains, committed outside a transaction.
    template<class Work>
    auto change(const Place &place, Work work);
    void noteCommitLocked(qint64 before);

    /// Calls \a give with the asset of each id, or null, and collects the results.
    template<class Give>
    auto collect(std::span<const QByteArray> ids, Give give) const;

    /// Returns the ids of the assets of which \a isMeant holds, oldest first.
    template<class Predicate>
    std::vector<QByteArray> idsWhere(Predicate isMeant) const;

    /// Returns the asset; raises NoSuchAsset.
    MemoryAsset &requireLocked(const Place &place, const QByteArray &id) const;
    void linkLocked(const Place &place, MemoryAsset &asset, const QByteArray &next) const;
    qint64 writeLocked(const Place &place, const AssetWrite &write);

    const std::shared_ptr<MemoryContent> content;

    // guarded by the content's mutex
    bool readOnly = false;
    qint64 seen = 0;
};

template<class Work>
auto MemoryStore::Impl::change(const Place &place, Work work)
{
    const std::lock_guard lock(content->mutex);
    requireWritableLocked(place);
    const std::size_t mark = content->mark();
    const qint64 before = content->tables.generation;
    try {
        auto result = work();
        if (!inTransactionLocked())
            noteCommitLocked(before);
        return result;
    } catch (...) {
        content->undoTo(mark);
        throw;
    }
}

template<class Give>
auto MemoryStore::Impl::collect(std::span<const QByteArray> ids, Give give) const
{
    const std::lock_guard lock(content->mutex);
    const MemoryTables &tables = viewLocked();
    std::vector<decltype(give(static_cast<const MemoryAsset *>(nullptr)))> result;
    result.reserve(ids.size());
    for (const QByteArray &id : ids)
        result.push_back(give(tables.find(id)));
    return result;
}

template<class Predicate>
std::vector<QByteArray> MemoryStore::Impl::idsWhere(Predicate isMeant) const
{
    const std::lock_guard lock(content->mutex);
    const MemoryTables &tables = viewLocked();
    std::vector<QByteArray> result;
    for (const auto &[sequence, asset] : tables.bySequence) {
        if (isMeant(tables, *asset))
            result.push_back(asset->row.id);
    }
    return result;
}

} // namespace Tesk::Assets
