#include <nodelibrary/FilterPlan.h>

#include <nodelibrary/VariationTexts.h>

#include <algorithm>
#include <map>
#include <utility>

namespace Tesk::NodeLibrary {

using Items = std::vector<FilterPlan::Item>;

// What stands under \a key. Neighbours often share it: \a last is where the one before stood.
template<class Value>
static Value &valueOf(std::map<QString, Value> &values,
                      typename std::map<QString, Value>::iterator &last, const QString &key)
{
    if (last == values.end() || last->first != key)
        last = values.try_emplace(key).first;
    return last->second;
}

std::size_t PlannedFilter::headCount() const
{
    return static_cast<std::size_t>(
            std::count_if(implementations.begin(), implementations.end(),
                          [](const auto &each) { return each.place.isHead(); }));
}

static std::vector<VersionPlace> settleVersions(const Items &items)
{
    std::map<QString, std::vector<std::size_t>> nodes;
    auto last = nodes.end();
    for (std::size_t i = 0; i < items.size(); ++i)
        valueOf(nodes, last, items[i].nodeDef->node.toLower()).push_back(i);

    std::vector<VersionPlace> places(items.size());
    std::vector<const NodeDef *> nodeDefs;
    for (const auto &[node, indices] : nodes) {
        nodeDefs.clear();
        for (const std::size_t index : indices)
            nodeDefs.push_back(items[index].nodeDef);
        const std::vector<VersionPlace> settled = VersionLines::settle(nodeDefs);
        for (std::size_t i = 0; i < indices.size(); ++i)
            places[indices[i]] = settled[i];
    }
    return places;
}

static void assignTexts(PlannedFilter &filter)
{
    std::vector<VariationTexts::Head> heads;
    std::vector<PlannedImplementation *> implementations;
    for (PlannedImplementation &each : filter.implementations) {
        if (!each.place.isHead())
            continue;
        heads.push_back({each.nodeDef, each.place.kind});
        implementations.push_back(&each);
    }
    const QStringList texts = VariationTexts::assign(heads);
    for (std::size_t i = 0; i < implementations.size(); ++i)
        implementations[i]->text = texts[static_cast<qsizetype>(i)];
}

std::vector<PlannedFilter> FilterPlan::plan(const Items &items,
                                            const std::function<bool(const QString &)> &isDynamic)
{
    const std::vector<VersionPlace> places = settleVersions(items);
    struct Gathered
    {
        PlannedFilter filter;
        bool hasHead = false;
    };
    std::map<QString, Gathered> filters;
    auto last = filters.end();
    for (std::size_t i = 0; i < items.size(); ++i) {
        auto &[filter, hasHead] = valueOf(filters, last, items[i].filterName.toLower());
        const bool isFirstHead = places[i].isHead() && !std::exchange(hasHead, true);
        if (isFirstHead || filter.name.isEmpty())
            filter.name = items[i].filterName;
        filter.implementations.push_back({i, items[i].nodeDef, places[i], {}});
    }

    std::vector<PlannedFilter> result;
    result.reserve(filters.size());
    for (auto &[key, gathered] : filters) {
        PlannedFilter &filter = gathered.filter;
        filter.key = key;
        assignTexts(filter);
        filter.isDynamic = filter.headCount() > 1 || (isDynamic && isDynamic(key));
        result.push_back(std::move(filter));
    }
    return result;
}

} // namespace Tesk::NodeLibrary
