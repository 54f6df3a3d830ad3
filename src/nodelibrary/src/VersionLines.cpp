#include <nodelibrary/VersionLines.h>

#include <nodelibrary/VersionNumber.h>

#include <algorithm>
#include <map>
#include <span>
#include <tuple>
#include <utility>

namespace Tesk::NodeLibrary {

// The places of the nodedefs of one version, by version.
using VersionGroup = std::map<VersionNumber, std::vector<std::size_t>>;
using Signature = std::vector<std::pair<QString, QString>>;

namespace {

// A nodedef by what tells it from those that are no versions of it.
struct OverloadPlace
{
    QString target;
    QString outputType;
    std::size_t index = 0;

    bool operator<(const OverloadPlace &other) const
    {
        return std::tie(target, outputType, index)
               < std::tie(other.target, other.outputType, other.index);
    }
    bool isSameOverload(const OverloadPlace &other) const
    {
        return target == other.target && outputType == other.outputType;
    }
};

} // namespace

static VersionGroup groupOf(std::span<const OverloadPlace> overload,
                            const std::vector<const NodeDef *> &nodeDefs)
{
    VersionGroup group;
    for (const OverloadPlace &each : overload)
        group[VersionNumber(nodeDefs[each.index]->version)].push_back(each.index);
    return group;
}

static Signature signatureOf(const NodeDef &nodeDef)
{
    Signature signature;
    for (const NodePort &parameter : nodeDef.parameters)
        signature.emplace_back(parameter.name, parameter.type);
    std::sort(signature.begin(), signature.end());
    return signature;
}

static const NodeDef *successorOf(const NodeDef &older,
                                  const std::vector<const NodeDef *> &nodeDefs,
                                  const std::vector<std::size_t> &candidates)
{
    const Signature signature = signatureOf(older);
    const auto alike = std::find_if(candidates.begin(), candidates.end(), [&](std::size_t index) {
        return signatureOf(*nodeDefs[index]) == signature;
    });
    return nodeDefs[alike == candidates.end() ? candidates.front() : *alike];
}

static VersionGroup::const_iterator defaultOf(const VersionGroup &group,
                                              const std::vector<const NodeDef *> &nodeDefs)
{
    const auto isFlagged = [&](std::size_t index) {
        return nodeDefs[index]->isDefaultVersion;
    };
    const auto flagged = std::find_if(group.rbegin(), group.rend(), [&](const auto &entry) {
        return std::any_of(entry.second.begin(), entry.second.end(), isFlagged);
    });
    return flagged == group.rend() ? std::prev(group.end()) : std::prev(flagged.base());
}

static void settleGroup(const VersionGroup &group, const std::vector<const NodeDef *> &nodeDefs,
                        std::vector<VersionPlace> &places)
{
    if (group.size() == 1)
        return;
    const auto byDefault = defaultOf(group, nodeDefs);
    for (auto older = group.begin(); older != byDefault; ++older) {
        for (const std::size_t index : older->second)
            places[index] = {VersionPlace::Kind::Superseded,
                             successorOf(*nodeDefs[index], nodeDefs, std::next(older)->second)};
    }
    for (auto newer = std::next(byDefault); newer != group.end(); ++newer) {
        for (const std::size_t index : newer->second)
            places[index].kind = VersionPlace::Kind::OptIn;
    }
}

std::vector<VersionPlace> VersionLines::settle(const std::vector<const NodeDef *> &nodeDefs)
{
    std::vector<OverloadPlace> order;
    order.reserve(nodeDefs.size());
    for (std::size_t i = 0; i < nodeDefs.size(); ++i)
        order.push_back({nodeDefs[i]->target, nodeDefs[i]->outputType(), i});
    std::sort(order.begin(), order.end());

    std::vector<VersionPlace> places(nodeDefs.size());
    for (auto begin = order.begin(); begin != order.end();) {
        const auto end = std::find_if_not(begin, order.end(), [&](const OverloadPlace &each) {
            return each.isSameOverload(*begin);
        });
        // One alone has no versions.
        if (end - begin > 1)
            settleGroup(groupOf({begin, end}, nodeDefs), nodeDefs, places);
        begin = end;
    }
    for (std::size_t i = 0; i < nodeDefs.size(); ++i) {
        if (!nodeDefs[i]->target.isEmpty() && places[i].isHead())
            places[i].kind = VersionPlace::Kind::OptIn;
    }
    return places;
}

} // namespace Tesk::NodeLibrary
