#pragma once

#include <vantbase/vantbase_export.h>

namespace Tesk::VantBase {

/// Base of what the service locator hands out.
///
/// A service class also has `static unsigned long long typeId()`, see <vantbase/TypeId.h>.
class VANTBASE_EXPORT Service
{
public:
    Service() = default;
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;
    virtual ~Service();
};

} // namespace Tesk::VantBase
