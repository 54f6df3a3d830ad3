#include <nodelibrary/LibraryDiff.h>

#include <nodelibrary/FilterPlan.h>
#include <nodelibrary/ImplementationId.h>

#include "LibraryUnion.h"

#include <vantbase/ParallelLoop.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>

namespace Tesk::NodeLibrary {

std::size_t ImportPlan::count(FilterChange::State state) const
{
    return static_cast<std::size_t>(
            std::count_if(filters.begin(), filters.end(),
                          [state](const FilterChange &each) { return each.state == state; }));
}

namespace {

class Comparison
{
public:
    Comparison(const std::vector<HeldImplementation> &held, std::vector<ReadLibrary> read,
               const CatalogueFacts &facts)
        : m_held(held)
        , m_facts(facts)
        , m_union(held, std::move(read))
    {}

    ImportPlan run()
    {
        const std::vector<PlannedFilter> planned =
                FilterPlan::plan(m_union.planItems(), m_facts.isDynamic);
        takeDigests(planned);
        m_placeOf.resize(m_union.entries().size());
        m_plan.created.reserve(m_union.entries().size());
        m_plan.filters.reserve(planned.size());
        for (std::size_t i = 0; i < m_held.size(); ++i)
            m_heldByKey[m_held[i].filterName.toLower()].push_back(i);
        for (const PlannedFilter &filter : planned)
            addFilter(filter);
        addRemovedFilters();
        linkVersions();
        linkOldAssets();
        for (FilterChange &filter : m_plan.filters)
            orderBatch(filter);
        takeDefinitions();
        m_plan.libraries = m_union.libraries();
        m_plan.problems = std::move(m_union.problems());
        return std::move(m_plan);
    }

private:
    using Indices = std::vector<std::size_t>;

    const Indices &heldOf(const QString &key) const
    {
        static const Indices none;
        const auto found = m_heldByKey.find(key);
        return found == m_heldByKey.end() ? none : found->second;
    }

    bool isAnyDynamic(const Indices &held) const
    {
        return std::any_of(held.begin(), held.end(),
                           [&](std::size_t index) { return m_held[index].isDynamic; });
    }

    // The digests of the heads by nodedef name: what makes a filter what it is.
    std::map<QString, QString> heldHeads(const Indices &held) const
    {
        std::map<QString, QString> heads;
        for (const std::size_t index : held) {
            if (m_held[index].isHead)
                heads.emplace(m_held[index].nodeDef.name, m_held[index].digest);
        }
        return heads;
    }

    // On several threads: a digest takes longer than all the rest of the comparison.
    void takeDigests(const std::vector<PlannedFilter> &planned)
    {
        static constexpr std::size_t sFewestForAThread = 50;
        std::vector<const PlannedImplementation *> all;
        for (const PlannedFilter &filter : planned) {
            for (const PlannedImplementation &each : filter.implementations)
                all.push_back(&each);
        }
        m_digests.resize(m_union.entries().size());
        VantBase::parallelLoop(all.size(), sFewestForAThread, [&](std::size_t i) {
            m_digests[all[i]->index] = ImplementationId::digestOf(*all[i]->nodeDef, all[i]->text);
        });
    }

    const QString &digestOf(const PlannedImplementation &planned) const
    {
        return m_digests[planned.index];
    }

    std::map<QString, QString> plannedHeads(const PlannedFilter &filter) const
    {
        std::map<QString, QString> heads;
        for (const PlannedImplementation &each : filter.implementations) {
            if (each.place.isHead())
                heads.emplace(each.nodeDef->name, digestOf(each));
        }
        return heads;
    }

    void addFilter(const PlannedFilter &filter)
    {
        const Indices &held = heldOf(filter.key);
        FilterChange change;
        change.name = filter.name;
        change.key = filter.key;
        change.isDynamic = filter.isDynamic;
        change.wasDynamic = isAnyDynamic(held);
        const std::map<QString, QString> heads = heldHeads(held);
        if (!heads.empty() && heads == plannedHeads(filter)) {
            keepHeads(filter, held, change);
        } else {
            change.state = held.empty() ? FilterChange::State::New : FilterChange::State::Updated;
            change.replaced = held;
            for (const PlannedImplementation &each : filter.implementations)
                create(filter, each, change);
        }
        m_plan.filters.push_back(std::move(change));
    }

    // The filter itself stays as it is; its superseded versions are nobody's but their own.
    void keepHeads(const PlannedFilter &filter, const Indices &held, FilterChange &change)
    {
        std::map<QString, std::size_t> heldByName;
        for (const std::size_t index : held)
            heldByName.emplace(m_held[index].nodeDef.name, index);
        for (const PlannedImplementation &each : filter.implementations) {
            const auto found = heldByName.find(each.nodeDef->name);
            if (found != heldByName.end() && isSame(each, m_held[found->second])) {
                keep(each, found->second);
                heldByName.erase(found);
            } else {
                create(filter, each, change);
            }
        }
        for (const auto &[name, index] : heldByName)
            change.replaced.push_back(index);
        if (!change.superseded.empty() || !change.replaced.empty())
            change.state = FilterChange::State::Updated;
    }

    bool isSame(const PlannedImplementation &planned, const HeldImplementation &held) const
    {
        if (planned.place.isHead() != held.isHead)
            return false;
        const QString next = planned.place.next != nullptr ? planned.place.next->name : QString();
        return next == held.nextNodeDef && digestOf(planned) == held.digest;
    }

    void keep(const PlannedImplementation &planned, std::size_t held)
    {
        m_placeOf[planned.index] = {.created = {}, .held = held};
        const int position = m_union.entries()[planned.index].position;
        if (m_held[held].position != position)
            m_plan.moves.push_back({held, position});
    }

    void create(const PlannedFilter &filter, const PlannedImplementation &planned,
                FilterChange &change)
    {
        const LibraryUnion::Entry &entry = m_union.entries()[planned.index];
        CreatedAsset asset;
        asset.library = entry.library;
        // All heads of a filter are named alike, unless the filter was given a name of its own.
        const QString &node = entry.nodeDef.node;
        const bool isNamedAfterNode = node == filter.name || node.toLower() == filter.key;
        asset.assetName = isNamedAfterNode ? filter.name : node;
        asset.text = planned.text;
        asset.position = entry.position;
        asset.isHead = planned.place.isHead();
        asset.isDynamic = filter.isDynamic;
        const QString &name = entry.nodeDef.name;
        const int latest = m_facts.latestGeneration ? m_facts.latestGeneration(name) : 0;
        asset.id = ImplementationId{name, digestOf(planned), latest + 1}.toBytes();

        const std::size_t index = m_plan.created.size();
        m_placeOf[planned.index] = {.created = index, .held = {}};
        if (planned.place.next != nullptr)
            m_nextOf.emplace_back(index, m_union.indexOf(*planned.place.next));
        (asset.isHead ? change.batch : change.superseded).push_back(index);
        m_plan.created.push_back(std::move(asset));
        m_entryOf.push_back(planned.index);
    }

    void addRemovedFilters()
    {
        if (m_heldByKey.empty())
            return;
        std::set<QString> planned;
        for (const FilterChange &each : m_plan.filters)
            planned.insert(each.key);
        for (const auto &[key, held] : m_heldByKey) {
            if (planned.contains(key))
                continue;
            FilterChange change;
            change.name = m_held[held.front()].filterName;
            change.key = key;
            change.state = FilterChange::State::Removed;
            change.wasDynamic = change.isDynamic = isAnyDynamic(held);
            change.replaced = held;
            m_plan.filters.push_back(std::move(change));
        }
        std::sort(m_plan.filters.begin(), m_plan.filters.end(),
                  [](const FilterChange &left, const FilterChange &right) {
                      return left.key < right.key;
                  });
    }

    void linkVersions()
    {
        for (const auto &[index, next] : m_nextOf)
            m_plan.created[index].next = m_placeOf[next];
    }

    void linkOldAssets()
    {
        if (m_held.empty())
            return;
        std::map<QString, std::size_t> createdOf; // of each nodedef that is made anew
        for (std::size_t i = 0; i < m_entryOf.size(); ++i)
            createdOf.insert_or_assign(m_union.entries()[m_entryOf[i]].nodeDef.name, i);
        for (const FilterChange &filter : m_plan.filters)
            linkOldAssets(filter, createdOf);
    }

    void linkOldAssets(const FilterChange &change, const std::map<QString, std::size_t> &createdOf)
    {
        bool isAnySurvivor = false;
        for (const std::size_t held : change.replaced) {
            const auto created = createdOf.find(m_held[held].nodeDef.name);
            if (created == createdOf.end())
                continue;
            isAnySurvivor = true;
            link(held, created->second);
        }
        if (isAnySurvivor || change.batch.empty())
            return;
        for (const std::size_t held : change.replaced)
            link(held, change.batch.front());
    }

    // What was static is found again by its name; a dynamic filter takes no static one's line.
    void link(std::size_t held, std::size_t created)
    {
        if (!m_held[held].isDynamic && m_plan.created[created].isDynamic)
            return;
        m_plan.successions.push_back({held, created});
        std::optional<std::size_t> last = created;
        while (last && !m_plan.created[*last].isHead)
            last = m_plan.created[*last].next.created;
        if (last)
            m_plan.created[*last].endsOldLine = true;
    }

    // Last of all: the definitions are large, and the planned filters point at them till here.
    void takeDefinitions()
    {
        for (std::size_t i = 0; i < m_entryOf.size(); ++i)
            m_plan.created[i].nodeDef = std::move(m_union.entries()[m_entryOf[i]].nodeDef);
    }

    // A persistent dynamic filter takes nothing in before one that succeeds what it holds.
    void orderBatch(FilterChange &change)
    {
        std::stable_partition(change.batch.begin(), change.batch.end(),
                              [&](std::size_t index) { return m_plan.created[index].endsOldLine; });
    }

    const std::vector<HeldImplementation> &m_held;
    const CatalogueFacts &m_facts;
    LibraryUnion m_union;
    std::vector<QString> m_digests; // by the place in the union
    std::map<QString, Indices> m_heldByKey;
    std::vector<NextVersion> m_placeOf; // where each nodedef stands after the import
    std::vector<std::pair<std::size_t, std::size_t>>
            m_nextOf;                   // new asset, its next version's entry
    std::vector<std::size_t> m_entryOf; // of the union, of each new asset
    ImportPlan m_plan;
};

} // namespace

ImportPlan LibraryDiff::compare(const std::vector<HeldImplementation> &held,
                                std::vector<ReadLibrary> read, const CatalogueFacts &facts)
{
    return Comparison(held, std::move(read), facts).run();
}

} // namespace Tesk::NodeLibrary
