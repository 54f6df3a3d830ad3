#include "VersionLine.h"

#include <unordered_set>
#include <utility>

namespace Tesk::FilterBase {

VersionLine followVersions(std::shared_ptr<Assets::Asset> asset)
{
    VersionLine line{std::move(asset), {}, {}};
    std::unordered_set<const Assets::Asset *> met;
    while (true) {
        const Assets::AssetReference next = line.newest->nextVersion.get();
        if (next.isInvalid())
            return line;
        met.insert(line.newest.get());
        auto successor = next.asset();
        if (!successor) {
            line.missing = next;
            return line;
        }
        if (met.contains(successor.get())) {
            line.repeated = std::move(successor);
            return line;
        }
        line.newest = std::move(successor);
    }
}

} // namespace Tesk::FilterBase
