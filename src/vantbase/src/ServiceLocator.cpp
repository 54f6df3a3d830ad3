#include <vantbase/ServiceLocator.h>

#include <vantbase/Exception.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <mutex>
#include <utility>

namespace Tesk::VantBase {

ServiceLocator &ServiceLocator::instance()
{
    // Never destroyed: a service that goes down at process exit may still ask for others.
    static auto *sInstance = new ServiceLocator;
    return *sInstance;
}

void ServiceLocator::registerService(unsigned long long typeId, std::shared_ptr<Service> service)
{
    const std::unique_lock lock(m_mutex);
    m_services[typeId].swap(service);
}

void ServiceLocator::unregisterService(unsigned long long typeId)
{
    std::shared_ptr<Service> removed;
    const std::unique_lock lock(m_mutex);
    const auto entry = m_services.find(typeId);
    if (entry == m_services.end())
        return;
    removed = std::move(entry->second);
    m_services.erase(entry);
}

std::shared_ptr<Service> ServiceLocator::getService(unsigned long long typeId) const
{
    if (auto found = findService(typeId))
        return found;
    static constexpr char sMessage[] = "Service not found";
    logger(LogService::Base).record(LogLevel::Error, TESK_HERE) << sMessage;
    throw Exception::LogicErrorException(sMessage);
}

std::shared_ptr<Service> ServiceLocator::findService(unsigned long long typeId) const
{
    const std::shared_lock lock(m_mutex);
    const auto entry = m_services.find(typeId);
    return entry == m_services.end() ? nullptr : entry->second;
}

} // namespace Tesk::VantBase
