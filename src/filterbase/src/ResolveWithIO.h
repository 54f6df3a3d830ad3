#pragma once

#include <assets/AssetReference.h>
#include <renderablebase/AssetWithIO.h>

#include <memory>
#include <string>

namespace Tesk::FilterBase {

/// Returns the asset as one with a description; null when it does not resolve or is no such.
std::shared_ptr<RenderableBase::AssetWithIO> resolveWithIO(const Assets::AssetReference &reference);

/// Warns that an implementation is passed over because it is missing or has no description.
void logNoIO(const std::string &place, const Assets::AssetReference &implementation,
             const Assets::AssetReference &filter);

/// Warns that a question has come back to a filter that is answering it.
void logRepeated(const std::string &place, const Assets::AssetReference &filter);

} // namespace Tesk::FilterBase
