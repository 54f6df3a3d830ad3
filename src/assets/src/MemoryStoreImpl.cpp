#include "MemoryStoreImpl.h"

#include "StoreChecks.h"

#include <assets/StoreError.h>

#include <QDateTime>
#include <QSet>

namespace Tesk::Assets {

using namespace StoreChecks;

const QString MemoryStore::Impl::sLocation = QStringLiteral("memory");

void MemoryStore::Impl::requireWritableLocked(const Place &place) const
{
    if (readOnly)
        raiseReadOnly(place, sLocation);
    if (content->writer && content->writer != this)
        raise(place, StoreError::Code::Busy,
              QStringLiteral("Cannot write to \"%1\": another store has a transaction "
                             "open; try again when it has ended")
                      .arg(sLocation));
}

void MemoryStore::Impl::noteCommitLocked(qint64 before)
{
    content->forgetJournal();
    if (seen == before)
        seen = content->tables.generation;
}

MemoryAsset &MemoryStore::Impl::requireLocked(const Place &place, const QByteArray &id) const
{
    MemoryAsset *const asset = content->tables.find(id);
    if (!asset)
        raiseNoSuchAsset(place, id);
    return *asset;
}

void MemoryStore::Impl::linkLocked(const Place &place, MemoryAsset &asset,
                                   const QByteArray &next) const
{
    QSet<QByteArray> met;
    for (QByteArray id = next; !id.isEmpty() && !met.contains(id);) {
        if (id == asset.row.id)
            raiseCycle(place, asset.row.id, next);
        met.insert(id);
        const MemoryAsset *const step = content->tables.find(id);
        id = step ? step->nextVersion : QByteArray();
    }
    asset.nextVersion = next;
}

qint64 MemoryStore::Impl::writeLocked(const Place &place, const AssetWrite &write)
{
    requireWrite(place, write);
    MemoryAsset *const existing = content->tables.find(write.row.id);
    requireRevision(place, write.row.id, write.expectedRevision,
                    existing ? existing->row.revision : 0);

    MemoryAsset &asset = existing ? content->change(*existing) : content->insert(write.row.id);
    const AssetRow before = asset.row;
    asset.row = write.row;
    asset.row.revision = asset.changed;
    asset.row.modifiedMs = QDateTime::currentMSecsSinceEpoch();
    asset.row.createdMs = existing ? before.createdMs : asset.row.modifiedMs;
    if (existing)
        asset.row.flags = before.flags;
    if (write.body)
        asset.body = write.body;
    if (write.nextVersion)
        linkLocked(place, asset, *write.nextVersion);
    if (write.dependencies)
        asset.dependencies = *write.dependencies;
    if (write.metaData) {
        asset.metaData.clear();
        for (const MetaRow &row : *write.metaData)
            asset.metaData.emplace(row.key, row);
    }
    return asset.row.revision;
}

} // namespace Tesk::Assets
