#include "CatalogueView.h"

#include "Answer.h"
#include "CommandError.h"
#include "NearNames.h"
#include "Terminal.h"

#include <assets/AssetControl.h>
#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <filterbase/ImplementationInfo.h>
#include <nodelibrary/ImplementationId.h>
#include <renderablebase/ParameterDesc.h>
#include <vantbase/Exception.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace Tesk::Command {

using Assets::AssetReference;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;
using FilterBase::ImplementationMap;
using NodeLibrary::ImplementationId;
using NodeLibrary::NodeDefAsset;

static constexpr int sLongestVersionLine = 10'000;

static QString nodeDefOf(const AssetReference &reference)
{
    const auto id = ImplementationId::fromBytes(reference.id());
    return id ? id->nodeDef : QString::fromUtf8(reference.id());
}

static std::vector<KeyView> keysOf(const ImplementationMap &map)
{
    std::vector<KeyView> keys;
    for (const auto &[key, record] : map)
        keys.push_back({key, record.get(), nodeDefOf(record->implementationRef.get())});
    return keys;
}

std::vector<KeyView> FilterView::types() const
{
    return dynamic ? keysOf(dynamic->types) : std::vector<KeyView>();
}

std::vector<KeyView> FilterView::usages() const
{
    return dynamic ? keysOf(dynamic->usages) : std::vector<KeyView>();
}

QStringList FilterView::placesOf(const ImplementationView &implementation) const
{
    QStringList places;
    const auto add = [&](const std::vector<KeyView> &keys, const QString &map) {
        for (const KeyView &each : keys) {
            if (each.info->implementationRef.get() == implementation.reference)
                places.append(map + each.key);
        }
    };
    add(types(), QStringLiteral("types/"));
    add(usages(), QStringLiteral("usages/"));
    return places;
}

std::shared_ptr<const RenderableBase::RenderableIODesc> FilterView::description() const
{
    if (!dynamic && descriptor->implementations.size() != 1)
        return nullptr;
    try {
        return dynamic ? dynamic->getIODesc({}) : descriptor->getIODesc({});
    } catch (const Exception::BaseException &) {
        return nullptr;
    }
}

QString FilterView::originOf(unsigned int uid) const
{
    for (const ImplementationView &each : implementations) {
        if (each.isHead && each.asset && each.asset->getIODesc({})->parameterByUid(uid))
            return each.nodeDef;
    }
    return {};
}

const ImplementationView *FilterView::onlyHead() const
{
    const ImplementationView *head = nullptr;
    for (const ImplementationView &each : implementations) {
        if (!each.isHead)
            continue;
        if (head != nullptr)
            return nullptr;
        head = &each;
    }
    return head;
}

CatalogueView::CatalogueView(Session &session, bool isWarning)
    : m_held(NodeLibrary::HeldCatalogue::read(session.database(), session.manager()))
{
    readCollection(session);
    addImplementations();
    addReplaced();
    if (isWarning && !m_unreadable.empty())
        Terminal::printError(
                QStringLiteral("filterbase: warning: %1 of the catalogue cannot be read; "
                               "\"filterbase check\" tells more\n")
                        .arg(Answer::counted(static_cast<qint64>(m_unreadable.size()),
                                             QStringLiteral("asset"))));
}

// An asset is read when its first field is.
bool CatalogueView::isReadable(const AssetReference &reference)
{
    const std::shared_ptr<Assets::Asset> asset = reference.asset();
    if (!asset)
        return false;
    try {
        (void)asset->nextVersion.get();
        return true;
    } catch (const Exception::BaseException &) {
        m_unreadable.insert(reference);
        return false;
    }
}

ImplementationView CatalogueView::viewOf(const AssetReference &reference, bool isHead)
{
    auto asset = isReadable(reference) ? std::dynamic_pointer_cast<NodeDefAsset>(reference.asset())
                                       : nullptr;
    return {reference, std::move(asset), nodeDefOf(reference), isHead};
}

void CatalogueView::readCollection(Session &session)
{
    const auto collection = std::dynamic_pointer_cast<Assets::CollectionAsset>(
            session.manager().getFilterBaseReference().asset());
    for (const AssetReference &item : collection->items()) {
        const std::shared_ptr<Assets::Asset> asset = item.asset();
        FilterView filter;
        filter.dynamic = std::dynamic_pointer_cast<DynamicFilterAsset>(asset);
        filter.descriptor = std::dynamic_pointer_cast<FilterDescAsset>(asset);
        if ((!filter.dynamic && !filter.descriptor) || !isReadable(item))
            continue;
        filter.name = Assets::AssetControl::getName(asset);
        filter.key = filter.name.toLower();
        filter.reference = item;
        filter.isHidden = Assets::CollectionControl::isHidden(item);
        m_filters.push_back(std::move(filter));
    }
    std::stable_sort(m_filters.begin(), m_filters.end(),
                     [](const FilterView &left, const FilterView &right) {
                         return std::make_tuple(left.key, !left.isDynamic())
                                < std::make_tuple(right.key, !right.isDynamic());
                     });
}

static std::vector<AssetReference> referencesOf(const FilterView &filter)
{
    std::vector<AssetReference> references;
    for (const KeyView &each : filter.types())
        references.push_back(each.info->implementationRef.get());
    for (const KeyView &each : filter.usages())
        references.push_back(each.info->implementationRef.get());
    if (filter.descriptor)
        references = filter.descriptor->implementations.values();
    return references;
}

void CatalogueView::addImplementations()
{
    for (std::size_t i = 0; i < m_filters.size(); ++i) {
        for (const AssetReference &reference : referencesOf(m_filters[i]))
            m_homes.try_emplace(reference, i);
    }
    for (std::size_t i = 0; i < m_held.assets().size(); ++i) {
        const AssetReference reference = m_held.assets()[i]->ownReference();
        if (FilterView *home = homeOf(reference))
            home->implementations.push_back(viewOf(reference, m_held.implementations()[i].isHead));
    }
    for (FilterView &filter : m_filters)
        addForeign(filter);
}

// Implementations of other clients, and those that an import replaced under a static filter that
// has become dynamic: only the latter are no longer alive.
void CatalogueView::addForeign(FilterView &filter)
{
    std::set<AssetReference> known;
    for (const ImplementationView &each : filter.implementations)
        known.insert(each.reference);
    for (const AssetReference &reference : m_held.replaced())
        known.insert(reference);
    for (const AssetReference &reference : referencesOf(filter)) {
        if (known.insert(reference).second)
            filter.implementations.push_back(viewOf(reference, true));
    }
}

// The filter that files the asset, or the head at the end of its versions.
FilterView *CatalogueView::homeOf(const AssetReference &reference)
{
    AssetReference current = reference;
    for (int steps = 0; current.isValid() && steps < sLongestVersionLine; ++steps) {
        const auto home = m_homes.find(current);
        if (home != m_homes.end())
            return &m_filters[home->second];
        current = isReadable(current) ? current.asset()->nextVersion.get() : AssetReference();
    }
    return nullptr;
}

void CatalogueView::addReplaced()
{
    std::vector<AssetReference> replaced = m_held.replaced();
    std::sort(replaced.begin(), replaced.end());
    for (const AssetReference &reference : replaced) {
        FilterView *home = homeOf(reference);
        if (home == nullptr) {
            const QString key = Assets::AssetControl::getName(reference.asset()).toLower();
            const auto same = std::find_if(m_filters.begin(), m_filters.end(),
                                           [&](const FilterView &each) { return each.key == key; });
            home = same == m_filters.end() ? nullptr : &*same;
        }
        (home != nullptr ? home->replaced : m_homeless).push_back(viewOf(reference, false));
    }
}

QStringList CatalogueView::names() const
{
    QStringList names;
    for (const FilterView &filter : m_filters)
        names.append(filter.name);
    return names;
}

const FilterView *CatalogueView::find(const QString &name) const
{
    const QString key = name.toLower();
    const auto found = std::find_if(m_filters.begin(), m_filters.end(),
                                    [&](const FilterView &each) { return each.key == key; });
    return found == m_filters.end() ? nullptr : &*found;
}

const FilterView &CatalogueView::get(const QString &name) const
{
    if (const FilterView *filter = find(name))
        return *filter;
    const QString hint = NearNames::hint(name, names());
    throw CommandError(Negative,
                       QStringLiteral("there is no filter \"%1\".%2")
                               .arg(name, hint.isEmpty() ? QStringLiteral(" \"filterbase list\" "
                                                                          "names those there are.")
                                                         : hint));
}

} // namespace Tesk::Command
