#include "ResolveWithIO.h"

#include <assets/Asset.h>
#include <vantbase/Logger.h>

#include <QObject>

namespace Tesk::FilterBase {

std::shared_ptr<RenderableBase::AssetWithIO> resolveWithIO(const Assets::AssetReference &reference)
{
    auto asset = reference.asset();
    auto *const withIO = qobject_cast<RenderableBase::AssetWithIO *>(asset.get());
    if (!withIO)
        return nullptr;
    return {std::move(asset), withIO};
}

void logNoIO(const std::string &place, const Assets::AssetReference &implementation,
             const Assets::AssetReference &filter)
{
    VantBase::logger(VantBase::LogService::Filter).record(VantBase::LogLevel::Warning, place)
            << "The implementation " << implementation.debugInfo() << " of " << filter.debugInfo()
            << " is not an AssetWithIO";
}

void logRepeated(const std::string &place, const Assets::AssetReference &filter)
{
    VantBase::logger(VantBase::LogService::Filter).record(VantBase::LogLevel::Warning, place)
            << "The filter " << filter.debugInfo() << " is among its own implementations";
}

} // namespace Tesk::FilterBase
