#pragma once

#include "AssetSlot.h"

#include <assets/AssetChange.h>
#include <assets/AssetReference.h>
#include <assets/MetaData.h>
#include <assets/StoreRows.h>

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

namespace Tesk::Assets {

/// What a batch is to store for one id.
struct PendingChange
{
    struct ItemChange
    {
        QByteArray item;
        bool appended;
    };

    bool isEmpty() const;

    const AssetRecord *record = nullptr;
    AssetSlot *slot = nullptr;  // null where only the store knows the asset
    bool removed = false;       // what was stored; done before the rest
    qint64 removedRevision = 0; // 0: not known
    bool created = false;
    bool madePersistent = false; // created, of an internal asset
    bool contentChanged = false;
    std::optional<QString> name;
    bool renamesObject = false; // not only what the database records
    std::optional<bool> hidden;
    std::map<QString, std::optional<MetaDataItem>> metaData; // nothing: removed
    std::optional<QByteArray> thumbnail;                     // empty: removed
    std::vector<ItemChange> items;
    quint64 itemsVersion = 0; // of the list before the first of them
};

/// The writes of one thread that are to be stored together, and how to take them back.
///
/// Threads: guarded by the mutex of the database.
class Batch
{
public:
    PendingChange &change(const AssetRecord &record);

    /// Returns what is pending for the id, null for nothing.
    const PendingChange *find(const AssetRecord &record) const;
    void drop(const AssetRecord &record);
    bool isEmpty() const;
    bool needsBodies() const;

    /// Returns what observers are told once the batch is stored.
    std::vector<AssetChange> notices() const;

    /// Pending changes in the order of their first write.
    const std::vector<std::unique_ptr<PendingChange>> &changes() const { return m_changes; }

    /// Adds a step of a rollback. Steps run backwards, without any lock.
    void onRollback(std::function<void()> step) { m_undo.push_back(std::move(step)); }
    std::vector<std::function<void()>> takeUndo() { return std::move(m_undo); }

    std::thread::id thread = std::this_thread::get_id();
    int depth = 1;
    bool doomed = false; // an inner scope was left without commit

private:
    std::vector<std::unique_ptr<PendingChange>> m_changes;
    std::unordered_map<const AssetRecord *, PendingChange *> m_byRecord;
    std::vector<std::function<void()>> m_undo;
};

} // namespace Tesk::Assets
