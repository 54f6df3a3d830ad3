#pragma once

#include <vantbase/vantbase_export.h>

#include <QString>

#include <string>

namespace Tesk::VantBase {

// Each writes one log record (service Filter, level Error, the given place), then throws an
// exception with the same message. Pass TESK_HERE of <vantbase/Location.h> as the place.

/// Throws Exception::InvalidArgumentException.
[[noreturn]] VANTBASE_EXPORT void raiseInvalidArgument(const std::string &place,
                                                       const QString &message);

/// Throws Exception::Data::NotFoundException.
[[noreturn]] VANTBASE_EXPORT void raiseNotFound(const std::string &place, const QString &message);

/// Throws Exception::RuntimeErrorException.
[[noreturn]] VANTBASE_EXPORT void raiseRuntimeError(const std::string &place,
                                                    const QString &message);

} // namespace Tesk::VantBase
