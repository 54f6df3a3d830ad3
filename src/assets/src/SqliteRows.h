#pragma once

#include "SqliteCore.h"

#include <QByteArray>

namespace Tesk::Assets {

/// Returns the 64-bit FNV-1a hash of a body, by which the integrity check knows it again.
qint64 bodyHash(const QByteArray &data);

/// Writes one item, over the one of its key where there is one.
void writeMetaRow(SqliteCore &core, qint64 assetKey, const MetaRow &row);

/// Reads key_k, type, accessibility, kind and value, the first columns, of the asset \a id.
///
/// Raises Damaged where the value is of no known form.
MetaRow readMetaRow(SqliteCore &core, const QByteArray &id, const SqliteQuery &query);

} // namespace Tesk::Assets
