#pragma once

#include <vantbase/vantbase_export.h>

#include <vantbase/Service.h>

namespace Tesk::VantBase {

/// Registered by a host that lets pending tasks come to their end before it goes down.
///
/// Where it is absent nobody waits for a pending future, see FutureStorage.
class VANTBASE_EXPORT DefaultAsyncRecovery : public Service
{
public:
    static unsigned long long typeId();

    ~DefaultAsyncRecovery() override;
};

} // namespace Tesk::VantBase
