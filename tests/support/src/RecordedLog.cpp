#include <support/RecordedLog.h>

#include <mutex>
#include <utility>

namespace Tesk::TestSupport {

struct RecordedLog::Records
{
    std::mutex mutex;
    std::vector<VantBase::LogMessage> messages; // guarded by mutex
};

RecordedLog::RecordedLog()
    : m_records(std::make_shared<Records>())
    , m_previous(VantBase::setLogSink([records = m_records](const VantBase::LogMessage &message) {
        const std::lock_guard lock(records->mutex);
        records->messages.push_back(message);
    }))
{}

RecordedLog::~RecordedLog()
{
    VantBase::setLogSink(std::move(m_previous));
}

std::vector<VantBase::LogMessage> RecordedLog::messages() const
{
    const std::lock_guard lock(m_records->mutex);
    return m_records->messages;
}

std::vector<std::string> RecordedLog::texts() const
{
    std::vector<std::string> texts;
    for (auto &message : messages())
        texts.push_back(std::move(message.text));
    return texts;
}

void RecordedLog::clear()
{
    const std::lock_guard lock(m_records->mutex);
    m_records->messages.clear();
}

int lineOf(const std::string &place)
{
    return std::stoi(place.substr(place.find(':') + 1));
}

} // namespace Tesk::TestSupport

namespace Tesk::VantBase {

void PrintTo(const LogMessage &message, std::ostream *stream)
{
    *stream << "[service " << static_cast<int>(message.service) << ", level "
            << static_cast<int>(message.level) << "] " << message.place << " \"" << message.text
            << '"';
}

} // namespace Tesk::VantBase
