#include "CatalogueWriter.h"

#include <nodelibrary/NodeDefAsset.h>
#include <nodelibrary/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <assets/MetaData.h>
#include <assets/MetaDataControl.h>
#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/FilterManager.h>
#include <filterbase/UserDataKeys.h>

#include <algorithm>
#include <future>
#include <unordered_set>
#include <utility>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

using Assets::AssetDatabaseService;
using Assets::AssetReference;
using Assets::MetaDataItem;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;
using State = FilterChange::State;

CatalogueWriter::CatalogueWriter(Assets::AssetDatabaseService &database,
                                 FilterBase::FilterManager &manager, const HeldCatalogue &held,
                                 ImportPlan plan)
    : m_database(database)
    , m_manager(manager)
    , m_held(held)
    , m_plan(std::move(plan))
{
    int next = held.nextLibraryOrder();
    for (const QString &library : m_plan.libraries)
        m_libraryOrders.insert_or_assign(library, held.libraryOrder(library).value_or(next++));
}

bool CatalogueWriter::write(const ImportOptions &options)
{
    m_created.reserve(m_plan.created.size());
    std::vector<AssetDatabaseService::NewAsset> assets;
    assets.reserve(m_plan.created.size());
    for (CreatedAsset &planned : m_plan.created) {
        if (options.stopToken.stop_requested())
            return false;
        assets.push_back(createAsset(planned));
    }
    std::future<void> described = std::async(std::launch::async, [this] { describeMerged(); });
    m_database.insertAssets(assets);
    linkVersions();
    markReplaced();
    noteMoves();
    described.get();
    const int total = static_cast<int>(m_plan.filters.size());
    for (int done = 0; done < total; ++done) {
        if (options.progress)
            options.progress({ImportOptions::Progress::Stage::Filing, done, total});
        if (options.stopToken.stop_requested())
            return false;
        const FilterChange &filter = m_plan.filters[static_cast<std::size_t>(done)];
        if (filter.state == State::Removed)
            removeFilter(filter);
        else if (!filter.batch.empty())
            fileFilter(filter);
    }
    if (options.progress)
        options.progress({ImportOptions::Progress::Stage::Filing, total, total});
    return !options.stopToken.stop_requested();
}

AssetDatabaseService::NewAsset CatalogueWriter::createAsset(CreatedAsset &planned)
{
    const std::shared_ptr<NodeDefAsset> asset = NodeDefAsset::create();
    asset->sourceFile.set(urlOf(planned.nodeDef.filePath));
    asset->definition.set(std::move(planned.nodeDef));
    asset->variationText.set(planned.text);
    if (planned.next.held)
        asset->nextVersion.set(m_held.assets()[*planned.next.held]->ownReference());

    Assets::MetaData metaData;
    if (planned.isDynamic && planned.isHead)
        metaData.set(FilterBase::filterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData,
                     MetaDataItem::Text);
    metaData.set(libraryUserDataKey, planned.library, MetaDataItem::Text);
    metaData.set(libraryOrderUserDataKey, m_libraryOrders.at(planned.library),
                 MetaDataItem::Integer);
    metaData.set(positionUserDataKey, planned.position, MetaDataItem::Integer);
    m_created.push_back(asset);
    return {asset, planned.id, planned.assetName, std::move(metaData)};
}

// Nodedefs come file by file.
// A dynamic filter asks every implementation for its description to merge them. They are made
// beside the filing of the assets, which reads nothing of it.
void CatalogueWriter::describeMerged() const
{
    for (std::size_t i = 0; i < m_created.size(); ++i) {
        if (m_plan.created[i].isDynamic && m_plan.created[i].isHead)
            m_created[i]->describe();
    }
}

const QUrl &CatalogueWriter::urlOf(const QString &filePath)
{
    if (m_lastFile.first != filePath)
        m_lastFile = {filePath, QUrl::fromLocalFile(filePath)};
    return m_lastFile.second;
}

// The links that could not be made while the assets were: to new ones, and from old ones.
void CatalogueWriter::linkVersions()
{
    for (std::size_t i = 0; i < m_created.size(); ++i) {
        if (const auto next = m_plan.created[i].next.created)
            m_created[i]->nextVersion.set(m_created[*next]->ownReference());
    }
    for (const Succession &each : m_plan.successions)
        m_held.assets()[each.held]->nextVersion.set(m_created[each.created]->ownReference());
}

void CatalogueWriter::markReplaced()
{
    for (const FilterChange &filter : m_plan.filters) {
        for (const std::size_t index : filter.replaced)
            Assets::MetaDataControl::setMetaDataValue(m_held.assets()[index]->ownReference(),
                                                      replacedUserDataKey, true,
                                                      Accessibility::Public, MetaDataItem::Boolean);
    }
}

void CatalogueWriter::noteMoves()
{
    for (const ImportPlan::Move &move : m_plan.moves)
        Assets::MetaDataControl::setMetaDataValue(m_held.assets()[move.held]->ownReference(),
                                                  positionUserDataKey, move.position,
                                                  Accessibility::Public, MetaDataItem::Integer);
}

void CatalogueWriter::fileFilter(const FilterChange &filter)
{
    const AssetReference before = m_manager.getDynamicFilter(filter.name);
    std::vector<std::size_t> order = filter.batch;
    if (filter.state == State::New && filter.isDynamic) {
        if (const auto old = std::dynamic_pointer_cast<DynamicFilterAsset>(before.asset()))
            order = revive(filter, *old);
    }
    if (filter.state == State::New && !filter.isDynamic)
        dropStaleEntries(filter.name);

    std::vector<AssetReference> batch;
    bool isNamedAfterNodes = true;
    for (const std::size_t index : order) {
        batch.push_back(m_created[index]->ownReference());
        isNamedAfterNodes = isNamedAfterNodes && m_plan.created[index].assetName == filter.name;
    }
    const QString nameOverride = isNamedAfterNodes ? QString() : filter.name;
    for (const AssetReference &filed : m_manager.createOrUpdateFilters(batch, nameOverride)) {
        if (before.isValid() && before != filed && filter.isDynamic)
            m_manager.unregisterFilter(before);
        m_manager.registerFilter(filed);
        checkFiled(filter, filed);
    }
}

// A dynamic filter of the name that left the collection earlier in this session is still known
// to the manager; the new heads must follow its implementations to be taken in.
std::vector<std::size_t> CatalogueWriter::revive(const FilterChange &filter,
                                                 const DynamicFilterAsset &old)
{
    std::unordered_set<AssetReference> implementations;
    for (const auto &[key, record] : old.types)
        implementations.insert(record->implementationRef.get());
    for (const auto &[key, record] : old.usages)
        implementations.insert(record->implementationRef.get());

    std::unordered_set<std::size_t> followers;
    for (const AssetReference &reference : implementations) {
        const auto asset = std::dynamic_pointer_cast<NodeDefAsset>(reference.asset());
        if (!asset || asset->nextVersion.get().isValid())
            continue;
        const QString name = asset->definition.get().name;
        const auto same =
                std::find_if(filter.batch.begin(), filter.batch.end(), [&](std::size_t index) {
                    return m_created[index]->definition.get().name == name;
                });
        const std::size_t follower = same == filter.batch.end() ? filter.batch.front() : *same;
        asset->nextVersion.set(m_created[follower]->ownReference());
        followers.insert(follower);
    }
    std::vector<std::size_t> order = filter.batch;
    std::stable_partition(order.begin(), order.end(),
                          [&](std::size_t index) { return followers.contains(index); });
    return order;
}

// What left the collection with a filter still stands in its descriptor, where it would refuse
// or outnumber the one implementation that the filter has now.
void CatalogueWriter::dropStaleEntries(const QString &name)
{
    const auto descriptor =
            std::dynamic_pointer_cast<FilterDescAsset>(m_manager.getFilterDesc(name).asset());
    if (!descriptor)
        return;
    descriptor->implementations.removeIf([](const AssetReference &reference) {
        return Assets::AssetControl::getAssetMetadataItem(reference, replacedUserDataKey).toBool();
    });
}

void CatalogueWriter::removeFilter(const FilterChange &filter)
{
    m_manager.unregisterFilter(filter.wasDynamic ? m_manager.getDynamicFilter(filter.name)
                                                 : m_manager.getFilterDesc(filter.name));
}

// A filter that another client made keeps what it has; the catalogue says so by leaving ours out.
void CatalogueWriter::checkFiled(const FilterChange &filter, const AssetReference &filed)
{
    std::unordered_set<AssetReference> implementations;
    const std::shared_ptr<Assets::Asset> asset = filed.asset();
    if (const auto dynamic = std::dynamic_pointer_cast<DynamicFilterAsset>(asset)) {
        for (const auto &[key, record] : dynamic->types)
            implementations.insert(record->implementationRef.get());
        for (const auto &[key, record] : dynamic->usages)
            implementations.insert(record->implementationRef.get());
    } else if (const auto descriptor = std::dynamic_pointer_cast<FilterDescAsset>(asset)) {
        implementations.insert(descriptor->implementations.begin(),
                               descriptor->implementations.end());
    }
    for (const std::size_t index : filter.batch) {
        if (implementations.contains(m_created[index]->ownReference()))
            continue;
        const NodeDef &nodeDef = m_created[index]->definition.get();
        m_problems.push_back({.severity = Problem::Severity::NodeDefRefused,
                              .file = nodeDef.filePath,
                              .line = nodeDef.line,
                              .column = nodeDef.column,
                              .text = u"the filter \"%1\" did not take the nodedef \"%2\""_s.arg(
                                      filter.name, nodeDef.name)});
    }
}

} // namespace Tesk::NodeLibrary
