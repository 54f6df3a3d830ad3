#include <vantbase/Logger.h>

#include <QLoggingCategory>

#include <array>
#include <charconv>
#include <memory>
#include <mutex>
#include <utility>

namespace Tesk::VantBase {

namespace {

const QLoggingCategory &categoryOf(LogService service)
{
    // Never destroyed: other libraries log while the process winds down.
    static const auto *sCategories = new std::array<QLoggingCategory, 9>{
            QLoggingCategory("tesk.general"),    QLoggingCategory("tesk.declaration"),
            QLoggingCategory("tesk.filter"),     QLoggingCategory("tesk.assets"),
            QLoggingCategory("tesk.data"),       QLoggingCategory("tesk.base"),
            QLoggingCategory("tesk.renderable"), QLoggingCategory("tesk.nodelibrary"),
            QLoggingCategory("tesk.tool"),
    };
    const auto number = static_cast<std::size_t>(service);
    return number < sCategories->size() ? (*sCategories)[number] : sCategories->front();
}

void writeToCategory(const LogMessage &message)
{
    const QLoggingCategory &category = categoryOf(message.service);
    const QByteArray line = QByteArray::fromStdString(
            message.place.empty() ? message.text : message.place + ' ' + message.text);
    switch (message.level) {
    case LogLevel::Info:
        qCInfo(category, "%s", line.constData());
        return;
    case LogLevel::Warning:
        qCWarning(category, "%s", line.constData());
        return;
    case LogLevel::Error:
        break;
    }
    // A level that nobody knows must not get lost either.
    qCCritical(category, "%s", line.constData());
}

class SinkHolder
{
public:
    std::shared_ptr<const LogSink> current() const
    {
        const std::lock_guard lock(m_mutex);
        return m_sink;
    }

    std::shared_ptr<const LogSink> exchange(std::shared_ptr<const LogSink> sink)
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_sink, std::move(sink));
    }

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<const LogSink> m_sink; // guarded by m_mutex; null is the default sink
};

SinkHolder &sinkHolder()
{
    static auto *sHolder = new SinkHolder; // never destroyed, as above
    return *sHolder;
}

} // namespace

LogRecord::LogRecord(LogService service, LogLevel level, std::string place)
    : m_message{service, level, std::move(place), {}}
{}

LogRecord::~LogRecord()
{
    try {
        if (const auto sink = sinkHolder().current())
            (*sink)(m_message);
        else
            writeToCategory(m_message);
    } catch (...) { // NOLINT(bugprone-empty-catch): a failing log must not end the program
    }
}

LogRecord &LogRecord::operator<<(std::string_view text)
{
    m_message.text += text;
    return *this;
}

LogRecord &LogRecord::operator<<(const char *text)
{
    return text ? *this << std::string_view(text) : *this;
}

LogRecord &LogRecord::operator<<(const std::string &text)
{
    return *this << std::string_view(text);
}

LogRecord &LogRecord::operator<<(const QString &text)
{
    return *this << QStringView(text);
}

LogRecord &LogRecord::operator<<(QStringView text)
{
    return *this << text.toUtf8();
}

LogRecord &LogRecord::operator<<(const QByteArray &bytes)
{
    return *this << std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

LogRecord &LogRecord::operator<<(char character)
{
    return *this << std::string_view(&character, 1);
}

LogRecord &LogRecord::operator<<(bool value)
{
    return *this << (value ? "true" : "false");
}

LogRecord &LogRecord::operator<<(double value)
{
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return *this << std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

Logger::Logger(LogService service)
    : m_service(service)
{}

LogRecord Logger::record(LogLevel level, std::string place) const
{
    return LogRecord(m_service, level, std::move(place));
}

Logger logger(LogService service)
{
    return Logger(service);
}

LogSink setLogSink(LogSink sink)
{
    auto installed = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
    const auto previous = sinkHolder().exchange(std::move(installed));
    return previous ? *previous : LogSink();
}

std::string logStr(const QString &text)
{
    return text.toStdString();
}

} // namespace Tesk::VantBase
