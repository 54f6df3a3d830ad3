#pragma once

#include "SqliteCore.h"

#include <QByteArray>

namespace Tesk::Assets {

/// Returns the 64-bit FNV-1a hash of a body, by which the integrity check knows it again.
qint64 bodyHash(const QByteArray &data);

/// Writes one item, over the one of its key where there is one.
void writeMetaRow(SqliteCore &core, qint64 assetKey, const MetaRow &row);

/// Reads key_k, type, accessibility, kind and value from \a column on.
MetaRow readMetaRow(SqliteCore &core, const SqliteQuery &query, int column);

} // namespace Tesk::Assets
