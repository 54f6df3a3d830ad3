#pragma once

#include <assets/MetaData.h>

#include <QByteArray>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>

namespace Tesk::Assets {

class Asset;
struct AssetRecord;

enum class SlotState : quint8 {
    Known, ///< in the store, as last seen there; no object yet
    Live,
    Gone, ///< removed, rolled back, or the database is closed
};

/// What is kept with an asset as long as the store does not know it.
struct UnstoredAttributes
{
    MetaData metaData;
    QByteArray thumbnail;
    bool hidden = false;
    bool internal = false; ///< of this session only, else waiting for a commit
};

/// One appearance of an asset: of one id, or of two once it was made persistent.
///
/// Ownership: its table, until the process ends: a reader may come late.
/// Threads: a reader looks at the state, and at the weak pointer only when it is Live.
struct AssetSlot
{
    std::atomic<SlotState> state = SlotState::Known;
    std::weak_ptr<Asset> weak; // fixed before the state becomes Live, never changed again

    // guarded by the mutex of the database
    std::shared_ptr<Asset> owner;
    const AssetRecord *record = nullptr;
    QString typeName;
    QString name; // what the database records
    qint64 revision = 0;
    qint64 knownAt = 0; // generation at which the store was last seen to have it, while Known
    std::unique_ptr<UnstoredAttributes> unstored;
};

} // namespace Tesk::Assets
