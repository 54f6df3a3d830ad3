#pragma once

#include "AssetRecord.h"
#include "AssetSlot.h"

#include <data/SerializableData.h>

#include <QByteArrayView>

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace Tesk::Assets {

class DatabaseCore;

/// The ids of one database, and the door from a reference to the database.
///
/// Finding an id takes no lock: records are only ever added, and an array that became too
/// small stays readable behind the larger one.
///
/// Ownership: lives until the process ends, so that references and assets which outlive
/// their database find a closed door instead of freed memory.
/// Threads: any.
class AssetTable : public Data::BodySource, public Data::ChangeListener
{
public:
    AssetTable();
    ~AssetTable() override;

    /// Returns a table for a database; one that an earlier opening of the same store left
    /// behind is used again, so that references of then resolve again.
    static AssetTable &acquire(const QByteArray &storeIdentity,
                               const std::shared_ptr<DatabaseCore> &core);

    /// Returns the database, null when it is closed.
    std::shared_ptr<DatabaseCore> core() const;
    void closeDoor();

    const AssetRecord *find(QByteArrayView id) const;
    const AssetRecord &intern(QByteArrayView id);
    AssetSlot &newSlot(const AssetRecord &record);

    std::size_t size() const { return m_count.load(std::memory_order_relaxed); }
    std::size_t bytes() const;

    void decode(Data::SerializableData &object) override;
    void objectChanged(Data::SerializableData &object) override;

private:
    struct Array
    {
        explicit Array(std::size_t capacity);

        std::size_t mask;
        std::unique_ptr<std::atomic<const AssetRecord *>[]> places;
    };

    static const AssetRecord *findIn(const Array &array, std::size_t hash, QByteArrayView id);
    static void placeIn(Array &array, const AssetRecord &record);
    void *allocateLocked(std::size_t size);
    void growLocked();

    std::atomic<Array *> m_array;
    std::atomic<std::size_t> m_count = 0;

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    std::vector<std::unique_ptr<Array>> m_arrays;
    std::vector<std::unique_ptr<std::byte[]>> m_chunks;
    std::byte *m_chunkNext = nullptr;
    std::size_t m_chunkFree = 0;
    std::size_t m_chunkSize = 0;
    std::size_t m_bytes = 0;
    std::deque<AssetSlot> m_slots;

    mutable std::mutex m_doorMutex;
    // guarded by m_doorMutex
    std::weak_ptr<DatabaseCore> m_core;
    QByteArray m_identity;
};

} // namespace Tesk::Assets
