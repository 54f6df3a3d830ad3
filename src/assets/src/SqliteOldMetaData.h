#pragma once

#include "SqliteConnection.h"

namespace Tesk::Assets {

/// Metadata as schemas 1 and 2 kept them: a row for each item.
///
/// A function of ours gathers the rows of an asset into the one row of today. The migration runs
/// it once, and so does each read of a file that may not be changed.
namespace SqliteOldMetaData {

/// The columns encoding, items and data for a SELECT from the table asset.
constexpr const char *sColumnsOfAsset =
        "1, (SELECT COUNT(*) FROM meta WHERE asset_k = asset.k), "
        "(SELECT gathered_metadata(key_k, type, accessibility, kind, value) FROM meta "
        "WHERE asset_k = asset.k)";

/// Reads the id of each asset that has metadata, encoding, items and data.
constexpr const char *sScan =
        "SELECT asset.id, 1, COUNT(*), "
        "gathered_metadata(key_k, meta.type, accessibility, kind, value) "
        "FROM meta JOIN asset ON asset.k = asset_k GROUP BY asset_k ORDER BY asset_k";

/// Makes gathered_metadata() known to the connection, and to nothing that a file brings along.
void registerFunction(SqliteConnection &connection);

} // namespace SqliteOldMetaData
} // namespace Tesk::Assets
