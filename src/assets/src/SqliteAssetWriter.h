#pragma once

#include "Place.h"
#include "SqliteCore.h"
#include "StoredMetaData.h"

#include <assets/StoreRows.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace Tesk::Assets {

/// Writes the assets of one call of the store, inside its transaction.
///
/// Threads: one at a time, as the connection.
class SqliteAssetWriter
{
public:
    SqliteAssetWriter(SqliteCore &core, const Place &place);

    /// Returns the new revisions; raises where an asset is not in the state expected, of many
    /// the first one.
    std::vector<qint64> write(std::span<const AssetWrite> assets);

private:
    /// What the row of an asset says in the words of the file.
    struct Values
    {
        qint64 classKey = 0;
        qint64 categoryKey = 0;
        QByteArray name;
        QByteArray nameKey;
    };

    struct Existing
    {
        qint64 key = 0;
        qint64 revision = 0;
        qint64 classKey = 0;
        QString name;
    };

    /// One of many new assets, and what its rows say.
    struct NewAsset
    {
        const AssetWrite *write = nullptr;
        qint64 key = 0;
        Values values;
        StoredMetaData metaData;
    };

    struct NewDependency
    {
        qint64 key = 0;
        qint64 position = 0;
        const QByteArray *id = nullptr;
        qint64 roleKey = 0;
    };

    Values valuesOf(const AssetRow &row);
    std::optional<Existing> find(const QByteArray &id);
    void bindRow(SqliteQuery &query, const AssetRow &row, const Values &values);

    // --- one asset

    void writeOne(const AssetWrite &write);
    /// Returns nothing where the id is taken.
    std::optional<qint64> insert(const AssetRow &row);
    void update(const Existing &existing, const AssetRow &row);
    void writeParts(qint64 key, bool isNew, const AssetWrite &write);
    void writeBody(qint64 key, const BodyRow &body);
    void writeMetaData(qint64 key, bool isNew, const std::vector<MetaRow> &rows);
    void writeNextVersion(qint64 key, bool isNew, const QByteArray &id,
                          const QByteArray &nextVersion);
    void writeDependencies(qint64 key, bool isNew, const std::vector<DependencyRow> &rows);
    /// Lets entries of collections that name the new asset know it; it is no removed one any more.
    void announce(qint64 key, const AssetRow &row, const Values &values);

    // --- many new assets

    /// Writes the assets at the beginning that are new and many enough; returns how many.
    std::size_t writeNewOnes(std::span<const AssetWrite> assets);
    /// Returns the number of the next row where rows of \a count new assets can follow each other.
    std::optional<qint64> keyOfNext(std::size_t count);
    void prepareNew(const AssetWrite &write, qint64 key);
    /// Returns whether no id was taken; otherwise there are none of the rows.
    bool insertNew();
    void insertParts();

    bool hasRow(const char *sql);

    SqliteCore &m_core;
    const Place &m_place;
    const qint64 m_now;
    const bool m_hasDanglingItems; // nearly always false, and then new assets need not look
    const bool m_hasRemoved;
    StoredMetaData m_metaData; // one for all assets, for its memory
    std::vector<NewAsset> m_newAssets;
    std::vector<NewDependency> m_newDependencies;
};

} // namespace Tesk::Assets
