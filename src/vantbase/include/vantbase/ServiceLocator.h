#pragma once

#include <vantbase/vantbase_export.h>

#include <vantbase/Service.h>

#include <atomic>
#include <memory>
#include <shared_mutex>
#include <unordered_map>

namespace Tesk::VantBase {

/// Where the parts of a program find each other's services.
///
/// Ownership: shares the services; what is still registered when the process ends is not
/// destroyed, so the host takes its services out again.
/// Threads: any. Services are released outside the lock: their destructors may use the locator.
class VANTBASE_EXPORT ServiceLocator
{
public:
    static ServiceLocator &instance();

    ServiceLocator(const ServiceLocator &) = delete;
    ServiceLocator &operator=(const ServiceLocator &) = delete;

    /// Returns the service registered under `T::typeId()`.
    ///
    /// Throws Exception::LogicErrorException "Service not found", which is logged first.
    template<class T>
    std::shared_ptr<T> service() const
    {
        return std::static_pointer_cast<T>(getService(T::typeId()));
    }

    /// As service(), but null when there is none.
    template<class T>
    std::shared_ptr<T> findService() const
    {
        return std::static_pointer_cast<T>(findService(T::typeId()));
    }

    /// Whether the host has finished putting its services together.
    bool started() const { return m_started.load(std::memory_order_acquire); }

    /// Files \a service under \a typeId, the typeId() of its class; replaces one that is there.
    void registerService(unsigned long long typeId, std::shared_ptr<Service> service);

    /// Takes the service of \a typeId out; nothing happens when there is none.
    void unregisterService(unsigned long long typeId);

    void setStarted(bool started) { m_started.store(started, std::memory_order_release); }

private:
    ServiceLocator() = default;
    ~ServiceLocator() = default;

    std::shared_ptr<Service> getService(unsigned long long typeId) const;
    std::shared_ptr<Service> findService(unsigned long long typeId) const;

    std::atomic<bool> m_started = false;
    mutable std::shared_mutex m_mutex;
    // guarded by m_mutex
    std::unordered_map<unsigned long long, std::shared_ptr<Service>> m_services;
};

} // namespace Tesk::VantBase
