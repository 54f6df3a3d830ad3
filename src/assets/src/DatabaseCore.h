#pragma once

#include "AssetFactory.h"
#include "AssetRecord.h"
#include "AssetSlot.h"
#include "BatchScopes.h"
#include "ChangeObservers.h"

#include <assets/AssetDatabaseService.h>
#include <assets/Store.h>

#include <QSet>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Tesk::Assets {

class AssetTable;
class CollectionAsset;
struct EncodedAsset;

/// The database itself: what the service, the references and the controls speak to.
///
/// Each write changes the live objects at once and notes in a batch what is to be stored and
/// how to take it back. The batch is that of the thread's scope, or one that is committed
/// before the call returns.
///
/// Locks, in the order in which they are taken: those of callers, the decode lock of the data
/// floor, m_mutex, the store's. No field is touched and no virtual operation of an asset called
/// under m_mutex, and no asset released.
class DatabaseCore : public std::enable_shared_from_this<DatabaseCore>
{
public:
    using NewAsset = AssetDatabaseService::NewAsset;
    using Status = AssetDatabaseService::Status;

    static std::shared_ptr<DatabaseCore> open(std::unique_ptr<Store> store);

    /// Returns the database that a reference belongs to; null for a null reference, and when
    /// it is closed.
    static std::shared_ptr<DatabaseCore> of(const AssetReference &reference);
    ~DatabaseCore();

    void close();
    bool isOpen() const;

    // --- finding
    AssetReference reference(const QByteArray &id);
    std::shared_ptr<Asset> find(const QByteArray &id);
    std::shared_ptr<Asset> resolve(const AssetRecord &record);
    std::shared_ptr<Asset> resolveQuietly(const AssetRecord &record) noexcept;
    std::vector<std::shared_ptr<Asset>> resolveMany(std::span<const AssetReference> references);
    std::vector<AssetReference> findByQuery(const AssetQuery &query);
    void forEach(const std::function<bool(const AssetReference &, const QString &, const QString &)>
                         &visit);
    QString recordedName(const AssetRecord &record);
    QString recordedType(const AssetRecord &record);
    void prefetch(std::span<const AssetReference> references);

    // --- making
    AssetReference getOrCreate(const QByteArray &id, const QString &typeName, Status &status);
    std::shared_ptr<Asset> createInternal(const QByteArray &id, const QString &typeName,
                                          const QString &name);
    void insert(std::span<const NewAsset> assets);
    void makePersistent(const std::shared_ptr<Asset> &asset, const MetaData &metaData);
    bool remove(const AssetRecord &record);

    // --- attributes
    void renameAsset(const std::shared_ptr<Asset> &asset, const QString &name);
    void recordName(const AssetRecord &record, const QString &name);
    MetaData metaData(const AssetRecord &record);
    std::optional<MetaDataItem> metaDataItem(const AssetRecord &record, const QString &key);
    std::vector<QVariant> metaDataValues(const std::vector<const AssetRecord *> &records,
                                         const QString &key);
    std::vector<const AssetRecord *> keepMetaData(std::span<const AssetReference> references);
    void dropMetaData(std::span<const AssetRecord *const> records);
    bool setMetaDataItem(const AssetRecord &record, const QString &key,
                         const std::optional<MetaDataItem> &item);
    bool isHidden(const AssetRecord &record);
    void setHidden(const AssetRecord &record, bool hidden);
    QByteArray thumbnail(const AssetRecord &record);
    bool setThumbnail(const AssetRecord &record, const QByteArray &bytes);

    // --- collections
    bool loadItems(const CollectionAsset &collection);
    void appendItem(const std::shared_ptr<CollectionAsset> &collection, const AssetReference &item);
    void removeItem(const std::shared_ptr<CollectionAsset> &collection, const AssetReference &item);

    // --- scopes
    void beginScope();
    void commitScope();
    void abandonScope();

    // --- the whole
    ChangeObservers &observers() { return m_observers; }
    AssetDatabaseService::RefreshResult refresh();
    std::vector<IntegrityFinding> checkIntegrity();
    DatabaseStatistics statistics();

    // --- what assets call through the table
    void decode(Asset &asset);
    void contentChanged(Asset &asset);

private:
    class Write;

    explicit DatabaseCore(std::unique_ptr<Store> store);

    void checkOpenLocked() const;
    std::shared_ptr<Asset> makeShell(AssetFactory::Series &series, const QString &typeName,
                                     const QString &name) const;

    // Slots: what is known of an id in this process.
    AssetSlot *slotOfLocked(const AssetRecord &record) const;
    AssetSlot *liveSlotLocked(const Asset &asset) const;
    const QString &sharedTypeNameLocked(const QString &typeName);
    AssetSlot &knownSlotLocked(const AssetRecord &record, const QString &typeName,
                               const QString &name);
    bool isStillStoredLocked(AssetSlot &slot);
    AssetSlot *findLocked(const AssetRecord &record);
    const AssetRecord &ownRecordLocked(const AssetRecord &record) const;
    void publishLocked(AssetSlot &slot, const std::shared_ptr<Asset> &asset);
    std::shared_ptr<Asset> withdrawLocked(AssetSlot &slot);
    void withdraw(AssetSlot &slot);

    bool isKnown(const AssetRecord &record);
    bool fileNew(Write &write, const AssetRecord &record, const std::shared_ptr<Asset> &asset,
                 const QString &name, bool internal);
    void fileNewLocked(Write &write, const AssetRecord &record, const std::shared_ptr<Asset> &asset,
                       const QString &typeName, const QString &name, MetaData metaData,
                       bool internal);
    void requireUnfiledLocked(const Asset &asset) const;
    void lookUpLocked(const std::vector<const AssetRecord *> &records);
    void refileLocked(Batch &batch, AssetSlot &slot, const std::shared_ptr<Asset> &asset,
                      const QByteArray &contentId, const MetaData &initial);
    void removeLocked(Batch &batch, AssetSlot &slot, std::shared_ptr<Asset> &removed);
    void dropCreationLocked(const AssetRecord &record);

    void restore(Asset &asset);
    std::optional<StoredAsset> takeBodyLocked(const AssetRecord &record);
    void takeNameLocked(AssetSlot &slot, const QString &name);
    bool reportOnce(const AssetRecord &record);

    // Attributes: what the store has, and what this thread's scope made of it.
    const PendingChange *pendingLocked(const AssetRecord &record) const;
    std::optional<AssetRow> rowLocked(const AssetRecord &record) const;
    bool isHiddenLocked(const AssetRecord &record) const;
    std::optional<MetaDataItem> metaDataItemLocked(const AssetRecord &record,
                                                   const QString &key) const;
    bool setMetaDataItem(const AssetRecord &record, const QString &key,
                         const std::optional<MetaDataItem> &item, Write &write);
    void renameLocked(Batch &batch, AssetSlot &slot, const QString &name, bool renamesObject);
    QString nameBeforeLocked(const AssetSlot &slot, const QString &before) const noexcept;

    template<class Change>
    void changeItems(const std::shared_ptr<CollectionAsset> &collection, Change change);
    void noteItemLocked(Batch &batch, AssetSlot &slot,
                        const std::shared_ptr<CollectionAsset> &collection,
                        PendingChange::ItemChange itemChange);

    // Commit.
    std::unique_ptr<Batch> leaveScope(bool doomed);
    static PendingChange &changeLocked(Batch &batch, AssetSlot &slot);
    void commit(Batch &batch, SyncLevel level);
    void rollBack(Batch &batch);
    std::vector<EncodedAsset> assetsToWrite(const Batch &batch) const;
    void settleLocked(const Batch &batch);
    static void settleNameLocked(const PendingChange &change);
    static void settleItemsLocked(const PendingChange &change);

    // Care.
    void addConflictsLocked(ChangeList &list);
    bool refreshAsset(const ChangeRow &change, const std::optional<AssetRow> &row,
                      AssetDatabaseService::RefreshResult &result);
    void checkBodies(std::vector<IntegrityFinding> &findings);

    AssetTable *m_table = nullptr; // fixed after construction
    ChangeObservers m_observers;   // has a lock of its own

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    std::unique_ptr<Store> m_store; // null when closed
    std::vector<AssetSlot *> m_published;
    std::unordered_map<const AssetRecord *, StoredAsset> m_prefetched;
    std::unordered_map<const AssetRecord *, std::vector<MetaRow>> m_keptMetaData; // as stored
    std::unordered_map<const AssetRecord *, int> m_removalsPending;
    BatchScopes m_scopes;
    std::unordered_set<const AssetRecord *> m_reportedBodies;
    std::unordered_set<const AssetRecord *> m_conflicts; // which a refresh left as they were
    QSet<QString> m_typeNames;                           // one copy of each
    QString m_lastTypeName;                              // one of them
    quint64 m_epoch = 0; // changes when what was read of the store may be out of date
};

} // namespace Tesk::Assets
