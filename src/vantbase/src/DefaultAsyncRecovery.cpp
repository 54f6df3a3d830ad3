#include <vantbase/DefaultAsyncRecovery.h>

#include <vantbase/TypeId.h>

namespace Tesk::VantBase {

unsigned long long DefaultAsyncRecovery::typeId()
{
    static constexpr auto sTypeId = typeIdOf("Tesk::VantBase::DefaultAsyncRecovery");
    return sTypeId;
}

DefaultAsyncRecovery::~DefaultAsyncRecovery() = default;

} // namespace Tesk::VantBase
