#pragma once

#include <vantbase/vantbase_export.h>

#include <QByteArray>
#include <QString>
#include <QStringView>

#include <concepts>
#include <functional>
#include <string>
#include <string_view>

namespace Tesk::VantBase {

/// Who speaks. The numbers are fixed: sinks and clients address services by them.
enum class LogService : int {
    General = 0,
    Declaration = 1,
    Filter = 2,
    Assets = 3,
    Data = 4,
    Base = 5,
    Renderable = 6,
    NodeLibrary = 7,
    Tool = 8,
};

/// Info: it happened. Warning: it was skipped, and the work goes on. Error: a throw follows.
enum class LogLevel : int { Info = 0, Warning = 1, Error = 2 };

struct LogMessage
{
    LogService service = LogService::General;
    LogLevel level = LogLevel::Info;
    std::string place; ///< as from TESK_HERE
    std::string text;  ///< UTF-8
};

/// One log entry in the making: takes its pieces with no separator, reaches the sink when closed.
///
/// Threads: used by one thread. Errors: what the sink throws is dropped.
class VANTBASE_EXPORT LogRecord
{
public:
    LogRecord(LogService service, LogLevel level, std::string place);
    LogRecord(const LogRecord &) = delete;
    LogRecord &operator=(const LogRecord &) = delete;
    ~LogRecord();

    LogRecord &operator<<(std::string_view text);
    LogRecord &operator<<(const char *text);
    LogRecord &operator<<(const std::string &text);
    LogRecord &operator<<(const QString &text);
    LogRecord &operator<<(QStringView text);
    LogRecord &operator<<(const QByteArray &bytes);
    LogRecord &operator<<(char character);
    LogRecord &operator<<(bool value);
    LogRecord &operator<<(double value);

    template<std::integral Number>
    LogRecord &operator<<(Number value)
    {
        return *this << std::string_view(std::to_string(value));
    }

private:
    LogMessage m_message;
};

/// The door to the log of one service; a value, cheap to make.
class VANTBASE_EXPORT Logger
{
public:
    explicit Logger(LogService service);

    LogRecord record(LogLevel level, std::string place) const;

private:
    LogService m_service;
};

/// `logger(LogService::Filter).record(LogLevel::Warning, TESK_HERE) << "a piece" << 12;`
VANTBASE_EXPORT Logger logger(LogService service);

/// Receives each closed record, on the thread that closed it.
using LogSink = std::function<void(const LogMessage &)>;

/// Makes \a sink the receiver of all records and returns the previous one.
///
/// A null sink is the default one, which writes to Qt's logging categories "tesk.general",
/// "tesk.declaration", "tesk.filter" and so on, at info, warning or critical level.
/// Threads: any. A sink is called without a lock, possibly from several threads at once, and
/// may still be running on another thread when the call that replaced it returns.
VANTBASE_EXPORT LogSink setLogSink(LogSink sink);

/// Returns \a text in the form the log carries: UTF-8, not quoted.
VANTBASE_EXPORT std::string logStr(const QString &text);

} // namespace Tesk::VantBase
