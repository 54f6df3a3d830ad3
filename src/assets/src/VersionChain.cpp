#include "VersionChain.h"

#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <unordered_set>

namespace Tesk::Assets {

using VantBase::logger;
using VantBase::LogLevel;
using VantBase::LogService;

void walkNextVersions(const Asset &asset, const std::function<bool(const AssetReference &)> &visit)
{
    std::unordered_set<AssetReference> met{asset.ownReference()};
    AssetReference next = asset.nextVersion.get();
    while (next.isValid()) {
        if (!met.insert(next).second) {
            logger(LogService::Assets).record(LogLevel::Warning, TESK_HERE)
                    << "the versions of " << asset.debugInfo() << " lead back to "
                    << next.debugInfo();
            return;
        }
        if (!visit(next))
            return;
        const std::shared_ptr<Asset> following = next.asset();
        if (!following)
            return;
        next = following->nextVersion.get();
    }
}

} // namespace Tesk::Assets
