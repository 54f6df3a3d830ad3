#pragma once

#include "Place.h"
#include "SqliteBlockInsert.h"
#include "SqliteCore.h"
#include "SqliteIdStatement.h"
#include "StoredMetaData.h"

#include <QByteArray>

#include <functional>
#include <optional>
#include <vector>

namespace Tesk::Assets {

/// The table of metadata: one row an asset.
///
/// Errors: Damaged where a row, or what is asked of it, cannot be read.
namespace SqliteMetaData {

/// Returns the statement that reads the rows of assets by id, for the schema of the file.
const SqliteIdStatement &readingStatement(SqliteCore &core);

/// Returns the text of the statement that reads all rows: the id of the asset, then the row.
const char *scanText(SqliteCore &core);

/// Reads what readingStatement() found of the asset \a id: all items, ordered by key, or one.
std::vector<MetaRow> read(SqliteCore &core, const QByteArray &id, const SqliteQuery &row);
std::optional<MetaRow> readItem(SqliteCore &core, const QByteArray &id, const SqliteQuery &row,
                                qint64 keyTerm);

/// Calls \a report with a sentence for each thing that is wrong with the row at \a column.
void check(SqliteCore &core, const QByteArray &id, const SqliteQuery &row, int column,
           const std::function<void(const QString &)> &report);

/// Returns the row of the asset for a change, read to its end; none is an empty one.
StoredMetaData load(SqliteCore &core, const QByteArray &id, qint64 assetKey);

/// Writes the row, over the one that is there; without items there is none.
void store(SqliteCore &core, qint64 assetKey, const StoredMetaData &metaData);

/// Returns the statement that writes rows of assets that have none, with items.
const SqliteBlockInsert &insertStatement();
void bind(SqliteQuery &query, qint64 assetKey, const StoredMetaData &metaData);

} // namespace SqliteMetaData
} // namespace Tesk::Assets
