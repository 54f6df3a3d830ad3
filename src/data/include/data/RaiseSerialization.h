#pragma once

#include <data/data_export.h>

#include <QString>

#include <string>

namespace Tesk::Data {

/// Logs \a message with \a place (TESK_HERE), then throws it as a SerializationException.
[[noreturn]] DATA_EXPORT void raiseSerialization(const std::string &place, const QString &message);

} // namespace Tesk::Data
