#pragma once

#include <vantbase/Logger.h>

#include <gmock/gmock.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Tesk::TestSupport {

/// While it lives, the log goes here instead of to the console; then to where it went before.
///
/// Threads: records may come from any thread at any time.
class RecordedLog
{
public:
    RecordedLog();
    ~RecordedLog();
    RecordedLog(const RecordedLog &) = delete;
    RecordedLog &operator=(const RecordedLog &) = delete;

    /// The records since the beginning or since clear(), in the order in which they were closed.
    std::vector<VantBase::LogMessage> messages() const;

    /// The texts alone.
    std::vector<std::string> texts() const;

    void clear();

private:
    struct Records;

    std::shared_ptr<Records> m_records; // also held by the sink, which may outlive this object
    VantBase::LogSink m_previous;
};

/// Matches a LogMessage from any place.
MATCHER_P3(isLogMessage, service, level, text, "")
{
    return arg.service == static_cast<VantBase::LogService>(service)
           && arg.level == static_cast<VantBase::LogLevel>(level) && arg.text == text;
}

/// Matches "File.cpp:12 Tesk::Module::Class::function()" whatever the line.
///
/// Takes "Tesk::Module::Class::function()" as the function.
MATCHER_P2(placeIs, file, function, "")
{
    const std::string place = arg;
    const std::string start = std::string(file) + ':';
    const std::string end = ' ' + std::string(function);
    if (!place.starts_with(start) || !place.ends_with(end)
        || place.size() <= start.size() + end.size())
        return false;
    const auto line = place.substr(start.size(), place.size() - start.size() - end.size());
    return line.find_first_not_of("0123456789") == std::string::npos;
}

/// Returns the line that a place names.
int lineOf(const std::string &place);

} // namespace Tesk::TestSupport

namespace Tesk::VantBase {

// Found by googletest where an expectation on a record fails.
void PrintTo(const LogMessage &message, std::ostream *stream);

} // namespace Tesk::VantBase
