#pragma once

#include <vantbase/vantbase_export.h>

#include <QByteArray>

namespace Tesk::VantBase::FileUtils {

/// Returns the content identifier of \a data: its BLAKE2b-256 as 64 lower-case hex digits.
///
/// Stored in user files as the id of assets; the algorithm never changes.
VANTBASE_EXPORT QByteArray dataToHash(const QByteArray &data);

} // namespace Tesk::VantBase::FileUtils
