#pragma once

#include <assets/Asset.h>

#include <QObject>

#include <memory>
#include <utility>

namespace Tesk::FilterBase {

/// The same asset as a \a Target, sharing its ownership; null when it is none or null.
template<class Target>
std::shared_ptr<Target> assetCast(std::shared_ptr<Assets::Asset> asset)
{
    auto *const target = qobject_cast<Target *>(asset.get());
    return target ? std::shared_ptr<Target>(std::move(asset), target) : nullptr;
}

} // namespace Tesk::FilterBase
