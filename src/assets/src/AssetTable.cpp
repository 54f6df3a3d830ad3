#include "AssetTable.h"

#include "DatabaseCore.h"

#include <vantbase/Exception.h>

#include <QHashFunctions>

#include <algorithm>
#include <cstring>
#include <new>

namespace Tesk::Assets {

static constexpr std::size_t sFirstCapacity = 256;
static constexpr std::size_t sSmallestChunk = std::size_t(4) * 1024;
static constexpr std::size_t sLargestChunk = std::size_t(256) * 1024;

static std::size_t hashOf(QByteArrayView id)
{
    return qHashBits(id.data(), static_cast<std::size_t>(id.size()), 0);
}

AssetTable::Array::Array(std::size_t capacity)
    : mask(capacity - 1)
    , places(new std::atomic<const AssetRecord *>[capacity]())
{}

AssetTable::AssetTable()
{
    m_arrays.push_back(std::make_unique<Array>(sFirstCapacity));
    m_array.store(m_arrays.back().get(), std::memory_order_release);
}

AssetTable::~AssetTable() = default;

AssetTable &AssetTable::acquire(const QByteArray &storeIdentity,
                                const std::shared_ptr<DatabaseCore> &core)
{
    static std::mutex mutex;
    // Reachable for ever: records are never freed.
    static auto &tables = *new std::deque<AssetTable>;

    const std::lock_guard lock(mutex);
    for (AssetTable &table : tables) {
        const std::lock_guard door(table.m_doorMutex);
        if (storeIdentity.isEmpty() || table.m_identity != storeIdentity || !table.m_core.expired())
            continue;
        table.m_core = core;
        return table;
    }
    AssetTable &table = tables.emplace_back();
    const std::lock_guard door(table.m_doorMutex);
    table.m_identity = storeIdentity;
    table.m_core = core;
    return table;
}

std::shared_ptr<DatabaseCore> AssetTable::core() const
{
    const std::lock_guard lock(m_doorMutex);
    return m_core.lock();
}

void AssetTable::closeDoor()
{
    const std::lock_guard lock(m_doorMutex);
    m_core.reset();
}

const AssetRecord *AssetTable::findIn(const Array &array, std::size_t hash, QByteArrayView id)
{
    for (std::size_t at = hash & array.mask;; at = (at + 1) & array.mask) {
        const AssetRecord *record = array.places[at].load(std::memory_order_acquire);
        if (record == nullptr)
            return nullptr;
        if (record->hash == hash && record->id() == id)
            return record;
    }
}

void AssetTable::placeIn(Array &array, const AssetRecord &record)
{
    std::size_t at = record.hash & array.mask;
    while (array.places[at].load(std::memory_order_relaxed) != nullptr)
        at = (at + 1) & array.mask;
    array.places[at].store(&record, std::memory_order_release);
}

const AssetRecord *AssetTable::find(QByteArrayView id) const
{
    return findIn(*m_array.load(std::memory_order_acquire), hashOf(id), id);
}

const AssetRecord &AssetTable::intern(QByteArrayView id)
{
    const std::size_t hash = hashOf(id);
    if (const AssetRecord *known = findIn(*m_array.load(std::memory_order_acquire), hash, id))
        return *known;

    const std::lock_guard lock(m_mutex);
    // Another thread may have added it, or moved everything to a larger array.
    if (const AssetRecord *known = findIn(*m_arrays.back(), hash, id))
        return *known;
    if ((m_count.load(std::memory_order_relaxed) + 1) * 2 > m_arrays.back()->mask + 1)
        growLocked();

    const auto idSize = static_cast<std::size_t>(id.size());
    auto *record = new (allocateLocked(sizeof(AssetRecord) + idSize + 1)) AssetRecord;
    record->table = this;
    record->hash = hash;
    record->idSize = static_cast<quint32>(idSize);
    auto *bytes = reinterpret_cast<char *>(record + 1);
    std::memcpy(bytes, id.data(), idSize);
    bytes[idSize] = '\0';

    placeIn(*m_arrays.back(), *record);
    m_count.fetch_add(1, std::memory_order_relaxed);
    return *record;
}

void *AssetTable::allocateLocked(std::size_t size)
{
    const std::size_t rounded = (size + alignof(AssetRecord) - 1) & ~(alignof(AssetRecord) - 1);
    if (rounded > m_chunkFree) {
        m_chunkSize = std::clamp(m_chunkSize * 2, sSmallestChunk, sLargestChunk);
        m_chunkFree = std::max(m_chunkSize, rounded);
        m_chunks.push_back(std::make_unique<std::byte[]>(m_chunkFree));
        m_chunkNext = m_chunks.back().get();
        m_bytes += m_chunkFree;
    }
    void *place = m_chunkNext;
    m_chunkNext += rounded;
    m_chunkFree -= rounded;
    return place;
}

void AssetTable::growLocked()
{
    const std::size_t capacity = (m_arrays.back()->mask + 1) * 2;
    auto larger = std::make_unique<Array>(capacity);
    const Array &smaller = *m_arrays.back();
    for (std::size_t at = 0; at <= smaller.mask; ++at) {
        if (const AssetRecord *record = smaller.places[at].load(std::memory_order_relaxed))
            placeIn(*larger, *record);
    }
    m_bytes += capacity * sizeof(larger->places[0]);
    m_arrays.push_back(std::move(larger));
    m_array.store(m_arrays.back().get(), std::memory_order_release);
}

AssetSlot &AssetTable::newSlot(const AssetRecord &record)
{
    const std::lock_guard lock(m_mutex);
    AssetSlot &slot = m_slots.emplace_back();
    slot.record = &record;
    return slot;
}

void AssetTable::decode(Data::SerializableData &object)
{
    auto &asset = static_cast<Asset &>(object);
    if (const std::shared_ptr<DatabaseCore> database = core()) {
        database->decode(asset);
        return;
    }
    throw Exception::Data::SerializationException(
            QStringLiteral("Cannot read the body of %1: its database is closed")
                    .arg(asset.debugInfo()));
}

void AssetTable::objectChanged(Data::SerializableData &object)
{
    if (const std::shared_ptr<DatabaseCore> database = core())
        database->contentChanged(static_cast<Asset &>(object));
}

std::size_t AssetTable::bytes() const
{
    const std::lock_guard lock(m_mutex);
    return m_bytes + sFirstCapacity * sizeof(void *);
}

} // namespace Tesk::Assets
