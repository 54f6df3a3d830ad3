#pragma once

#include <QByteArray>

namespace Tesk::Assets {

/// Returns the 64-bit FNV-1a hash of a body, by which the integrity check knows it again.
qint64 bodyHash(const QByteArray &data);

} // namespace Tesk::Assets
