#pragma once

#include <assets/StoreRows.h>

#include <QByteArray>
#include <QHash>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Tesk::Assets {

/// The list of a collection. Positions only grow, so that a removal moves nothing.
struct MemoryItems
{
    std::map<qint64, QByteArray> byPosition;
    QHash<QByteArray, qint64> positions;
};

/// All that is kept of one asset.
struct MemoryAsset
{
    AssetRow row;
    qint64 sequence = 0; ///< the order of first writing
    qint64 changed = 0;  ///< the generation of the last change of any kind
    std::optional<BodyRow> body;
    std::map<QString, MetaRow> metaData;
    QByteArray nextVersion;
    std::vector<DependencyRow> dependencies;
    std::optional<QByteArray> thumbnail;
};

/// One state of the content.
struct MemoryTables
{
    QHash<QByteArray, std::shared_ptr<MemoryAsset>> byId;
    std::map<qint64, std::shared_ptr<MemoryAsset>> bySequence;
    QHash<QByteArray, std::shared_ptr<MemoryItems>> items; ///< by the id of the collection
    QHash<QByteArray, qint64> removed;                     ///< the generation of the removal
    qint64 generation = 0;

    /// Returns a copy that shares nothing that can change.
    MemoryTables copy() const;

    MemoryAsset *find(const QByteArray &id) const;
    const MemoryItems *findItems(const QByteArray &collection) const;
};

/// What the stores of one content share: the tables, and how to undo what is not committed.
///
/// Threads: everything under the mutex.
class MemoryContent
{
public:
    MemoryContent();

    const QByteArray databaseId;
    std::mutex mutex;

    // guarded by mutex
    MemoryTables tables;
    int storeCount = 0;
    const void *writer = nullptr;           ///< the store whose transaction is open
    std::unique_ptr<MemoryTables> snapshot; ///< what the other stores see meanwhile

    // The changes; each notes how it is undone.
    std::size_t mark() const { return m_journal.size(); }
    void undoTo(std::size_t mark);
    void forgetJournal() { m_journal.clear(); }

    /// Returns the generation of the transaction that is under way.
    qint64 writingGeneration();
    MemoryAsset &insert(const QByteArray &id);

    /// Returns the asset for writing; its state before is noted.
    MemoryAsset &change(MemoryAsset &asset);
    void erase(const QByteArray &id);
    bool append(const QByteArray &collection, const QByteArray &id);
    bool take(const QByteArray &collection, const QByteArray &id);

private:
    std::vector<std::function<void()>> m_journal;
};

} // namespace Tesk::Assets
