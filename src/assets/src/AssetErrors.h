#pragma once

#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <QString>

#include <string>

namespace Tesk::Assets {

/// Logs on the service of the database at level "error", then throws \a Error.
template<class Error>
[[noreturn]] void raiseAs(const std::string &place, const QString &message)
{
    VantBase::logger(VantBase::LogService::Assets).record(VantBase::LogLevel::Error, place)
            << message;
    throw Error(message);
}

} // namespace Tesk::Assets
