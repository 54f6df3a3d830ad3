#pragma once

#include <assets/AssetReference.h>

#include <QByteArray>
#include <QByteArrayView>

#include <atomic>

namespace Tesk::Assets {

class AssetTable;
struct AssetSlot;

/// What a reference points to: one id of one database.
///
/// Ownership: its table's arena, until the process ends; the bytes of the id lie behind it.
/// Threads: id and table are fixed; slot and lifespan are written by the database only.
struct AssetRecord
{
    AssetTable *table = nullptr;
    std::size_t hash = 0;
    mutable std::atomic<AssetSlot *> slot = nullptr;
    quint32 idSize = 0;
    mutable std::atomic<AssetReference::Lifespan> lifespan = AssetReference::Lifespan::Persistent;

    const char *idData() const { return reinterpret_cast<const char *>(this + 1); }
    QByteArrayView id() const { return {idData(), static_cast<qsizetype>(idSize)}; }
};

/// The record stays for ever, so its bytes need no copy.
inline QByteArray idOf(const AssetRecord &record)
{
    return QByteArray::fromRawData(record.idData(), static_cast<qsizetype>(record.idSize));
}

} // namespace Tesk::Assets
