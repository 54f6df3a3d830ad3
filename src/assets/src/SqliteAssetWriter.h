#pragma once

#include "Place.h"
#include "SqliteCore.h"
#include "StoredMetaData.h"

#include <assets/StoreRows.h>

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace Tesk::Assets {

/// Writes the assets of one call of the store, inside its transaction.
///
/// Threads: one at a time, as the connection.
class SqliteAssetWriter
{
public:
    SqliteAssetWriter(SqliteCore &core, const Place &place);

    /// Returns the new revision; raises where the asset is not in the state expected.
    qint64 write(const AssetWrite &write);

private:
    struct Existing
    {
        qint64 key = 0;
        qint64 revision = 0;
        qint64 classKey = 0;
        QString name;
    };

    std::optional<Existing> find(const QByteArray &id);
    /// Returns nothing where the id is taken.
    std::optional<qint64> insert(const AssetRow &row);
    void update(const Existing &existing, const AssetRow &row);
    void writeParts(qint64 key, bool isNew, const AssetWrite &write);
    void writeBody(qint64 key, const BodyRow &body);
    void writeMetaData(qint64 key, bool isNew, const std::vector<MetaRow> &rows);
    void writeNextVersion(qint64 key, bool isNew, const QByteArray &id,
                          const QByteArray &nextVersion);
    void writeDependencies(qint64 key, bool isNew, const std::vector<DependencyRow> &rows);
    bool hasRow(const char *sql);

    SqliteCore &m_core;
    const Place &m_place;
    const qint64 m_now;
    const bool m_hasDanglingItems; // nearly always false, and then new assets need not look
    const bool m_hasRemoved;
    StoredMetaData m_metaData; // one for all assets, for its memory
};

} // namespace Tesk::Assets
