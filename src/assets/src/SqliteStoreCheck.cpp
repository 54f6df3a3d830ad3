#include <assets/SqliteStore.h>

#include "BodyHash.h"
#include "SqliteCore.h"
#include "SqliteMetaData.h"
#include "StoreChecks.h"

#include <QHash>

#include <functional>

namespace Tesk::Assets {

using namespace StoreChecks;
using FindingCode = StoreFinding::Code;
using Findings = std::vector<StoreFinding>;

/// Calls \a report for each row of \a sql.
static void forEachRow(SqliteCore &core, const char *sql,
                       const std::function<void(const SqliteQuery &)> &report)
{
    SqliteQuery query(*core.connection, sql);
    while (query.next())
        report(query);
}

static void checkStorage(SqliteCore &core, Findings &findings)
{
    forEachRow(core, "PRAGMA integrity_check", [&](const SqliteQuery &row) {
        const QString text = row.text(0);
        if (text != QLatin1StringView("ok"))
            findings.push_back({FindingCode::StoreDamaged,
                                {},
                                {},
                                QStringLiteral("The file is damaged: %1").arg(text)});
    });
    forEachRow(core, "PRAGMA foreign_key_check", [&](const SqliteQuery &row) {
        findings.push_back(
                {FindingCode::OrphanedRow,
                 {},
                 {},
                 QStringLiteral("A row of table \"%1\" belongs to an asset that does not exist")
                         .arg(row.text(0))});
    });
}

static void checkBodies(SqliteCore &core, Findings &findings)
{
    forEachRow(core,
               "SELECT asset.id, hash, data FROM body JOIN asset ON asset.k = body.asset_k "
               "ORDER BY asset.k",
               [&](const SqliteQuery &row) {
                   if (bodyHash(row.bytes(2)) == row.integer(1))
                       return;
                   findings.push_back({FindingCode::BodyDamaged,
                                       row.bytes(0),
                                       {},
                                       QStringLiteral("The body of asset \"%1\" is not what was "
                                                      "written; restore it from a backup")
                                               .arg(readable(row.bytes(0)))});
               });
}

static void checkMetaData(SqliteCore &core, Findings &findings)
{
    forEachRow(core, SqliteMetaData::scanText(core), [&](const SqliteQuery &row) {
        const QByteArray id = row.bytes(0);
        SqliteMetaData::check(core, id, row, 1, [&](const QString &text) {
            findings.push_back({FindingCode::StoreDamaged, id, {}, text});
        });
    });
}

static void checkLists(SqliteCore &core, Findings &findings)
{
    forEachRow(core,
               "SELECT asset.id, item_id FROM collection_item "
               "JOIN asset ON asset.k = collection_k WHERE item_k IS NULL "
               "AND item_id NOT IN (SELECT id FROM asset) ORDER BY collection_k, position",
               [&](const SqliteQuery &row) {
                   findings.push_back(danglingItem(row.bytes(0), row.bytes(1)));
               });
    forEachRow(core,
               "SELECT owner.id, item_id FROM collection_item AS item "
               "JOIN asset AS owner ON owner.k = collection_k "
               "LEFT JOIN asset ON asset.k = item_k WHERE "
               "(item_k IS NULL AND item_id IN (SELECT id FROM asset)) OR (item_k IS NOT NULL AND "
               "(asset.k IS NULL OR asset.id <> item_id OR asset.class_k <> item.class_k "
               "OR asset.name <> item.name OR asset.flags <> item.flags)) "
               "ORDER BY collection_k, position",
               [&](const SqliteQuery &row) {
                   findings.push_back(
                           {FindingCode::CatalogueOutOfDate, row.bytes(0), row.bytes(1),
                            QStringLiteral("Collection \"%1\" keeps another name, class "
                                           "or state of \"%2\" than the asset itself")
                                    .arg(readable(row.bytes(0)), readable(row.bytes(1)))});
               });
    forEachRow(core,
               "SELECT asset.id, item_id FROM collection_item JOIN asset ON asset.k = collection_k "
               "GROUP BY collection_k, item_id HAVING COUNT(*) > 1 ORDER BY collection_k, item_id",
               [&](const SqliteQuery &row) {
                   findings.push_back(
                           {FindingCode::DuplicateItem, row.bytes(0), row.bytes(1),
                            QStringLiteral("Collection \"%1\" lists \"%2\" more than once")
                                    .arg(readable(row.bytes(0)), readable(row.bytes(1)))});
               });
}

static void checkLinks(SqliteCore &core, Findings &findings)
{
    forEachRow(core,
               "SELECT asset.id, dependency.id FROM dependency "
               "JOIN asset ON asset.k = asset_k "
               "WHERE dependency.id NOT IN (SELECT id FROM asset) ORDER BY asset_k, position",
               [&](const SqliteQuery &row) {
                   findings.push_back(danglingDependency(row.bytes(0), row.bytes(1)));
               });
    QHash<QByteArray, QByteArray> next;
    std::vector<QByteArray> starts;
    forEachRow(core,
               "SELECT asset.id, next_id, next_id IN (SELECT id FROM asset) FROM version_edge "
               "JOIN asset ON asset.k = asset_k ORDER BY asset_k",
               [&](const SqliteQuery &row) {
                   next.insert(row.bytes(0), row.bytes(1));
                   starts.push_back(row.bytes(0));
                   if (row.integer(2) == 0)
                       findings.push_back(danglingNextVersion(row.bytes(0), row.bytes(1)));
               });

    // Each asset is walked over once: a walk ends where an earlier one passed.
    QHash<QByteArray, std::size_t> walkOf;
    for (std::size_t walk = 0; walk < starts.size(); ++walk) {
        QByteArray id = starts[walk];
        for (; next.contains(id) && !walkOf.contains(id); id = next.value(id))
            walkOf.insert(id, walk);
        if (!next.contains(id) || walkOf.value(id) != walk)
            continue;
        findings.push_back({FindingCode::VersionCycle, id, next.value(id),
                            QStringLiteral("The versions after asset \"%1\" lead back to it, by "
                                           "way of \"%2\"")
                                    .arg(readable(id), readable(next.value(id)))});
    }
}

std::vector<StoreFinding> SqliteStore::checkIntegrity() const
{
    return m_core->read(TESK_PLACE, true, [this] {
        Findings findings;
        checkStorage(*m_core, findings);
        checkBodies(*m_core, findings);
        checkMetaData(*m_core, findings);
        checkLists(*m_core, findings);
        checkLinks(*m_core, findings);
        return findings;
    });
}

} // namespace Tesk::Assets
