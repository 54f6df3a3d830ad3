// The part of the model that is the registry.

#include "RegistryModel.h"

#include <filterbase/UserDataKeys.h>
#include <vantbase/FileUtils.h>

#include <QStringList>

#include <algorithm>
#include <set>

namespace FilterBaseTesting {

using namespace Tesk::FilterBase;
using Kind = ModelAsset::Kind;

static const std::string sManager = "FilterManager::";

static void addOnce(std::vector<QByteArray> &list, const QByteArray &id)
{
    if (std::find(list.begin(), list.end(), id) == list.end())
        list.push_back(id);
}

void RegistryModel::start(Manager &manager)
{
    for (const QByteArray &item : m_items) {
        if (item.isEmpty()) {
            log(sManager + "FilterManager",
                "invalid asset reference found in the filter collection");
            continue;
        }
        const AssetPtr asset = resolve(item);
        if (asset && asset->kind == Kind::Descriptor) {
            manager.descriptors.try_emplace(asset->name.toLower(), asset);
            for (const QByteArray &entry : asset->list) {
                const AssetPtr listed = resolve(entry);
                const auto category = listed ? listed->items.find("Category") : asset->items.end();
                const bool hasOne = listed && category != listed->items.end();
                if (hasOne && (category->second == "HDRI Tools" || category->second == "Mesh Tool"))
                    hide(item);
            }
        }
        if (asset && asset->kind == Kind::Dynamic)
            manager.dynamicFilters.try_emplace(asset->name.toLower(), asset);
    }
}

void RegistryModel::declare(const AssetPtr &asset)
{
    const std::string function = sManager + "declareFilterDesc";
    if (!asset) {
        log(function, "Declaring a null asset to the FilterManager.", 1);
        return;
    }
    const QString key = asset->name.toLower();
    const auto known = manager().descriptors.find(key);
    const std::string beginning = "Declaring pre-existing FilterDescAsset " + describe(asset->id);
    if (known == manager().descriptors.end()) {
        if (asset->list.empty())
            log(function, beginning + ", but it has no implementations.");
        manager().descriptors.emplace(key, asset);
    } else if (known->second->id != asset->id) {
        log(function, beginning + " with name \"" + key.toStdString() + "\" but asset "
                              + describe(known->second->id)
                              + " with the same name is already declared to the FilterManager.");
    }
}

RegistryModel::AssetPtr RegistryModel::getOrCreateFilterDesc(const QString &name)
{
    const QByteArray id = "filterDesc://" + name.toLower().toUtf8();
    if (const AssetPtr known = resolve(id))
        return known;
    return insert(Kind::Descriptor, id, name);
}

QByteArray RegistryModel::registerFilterDesc(const QString &name, const QByteArray &reference)
{
    const std::string function = sManager + "registerFilterDescImpl";
    const AssetPtr fetched = getOrCreateFilterDesc(name);
    const QString key = name.toLower();
    if (!manager().descriptors.contains(key)) {
        if (fetched->kind != Kind::Descriptor) {
            log(function, "The asset " + fetched->debugInfo()
                                  + " that has the identifier of the filter desc "
                                  + name.toStdString() + " is not a FilterDescAsset.");
            return {};
        }
        manager().descriptors.emplace(key, fetched);
        if (manager().dynamicFilters.contains(key))
            hide(fetched->id);
    }
    ModelAsset &descriptor = *manager().descriptors.at(key);

    if (!resolve(reference)) {
        log(function, "cannot find asset from ref " + describe(reference));
        return {};
    }
    const AssetPtr implementation = newestVersion(resolve(reference), "registerFilterDescImpl");
    purge(descriptor, name, implementation->id);
    if (std::count(descriptor.list.begin(), descriptor.list.end(), implementation->id) > 0)
        return descriptor.id;

    if (implementation->kind != Kind::Filter) {
        log(function, "The asset " + implementation->debugInfo()
                              + " cannot be registered in the filter desc " + name.toStdString()
                              + ": it is not a StaticFilter and has no variation type.");
        return {};
    }
    ask(implementation, Operation::VariationType);
    for (const QByteArray &entry : descriptor.list) {
        const AssetPtr listed = resolve(entry);
        if (!listed || listed->kind != Kind::Filter)
            continue;
        ask(listed, Operation::VariationType);
        if (listed->variation == implementation->variation) {
            log(function, "The filter " + name.toStdString() + ", with variation "
                                  + implementation->variation.toStdString()
                                  + " cannot be registered. A similar filter already exists.");
            return descriptor.id;
        }
    }
    if (implementation->variation == "dynamic") {
        for (const QByteArray &entry : descriptor.list) {
            if (const AssetPtr listed = resolve(entry)) {
                if (listed->next != implementation->id)
                    ask(listed, Operation::Changing);
                setNext(*listed, implementation->id);
            }
        }
        setList(descriptor, {});
    }
    std::vector<QByteArray> longer = descriptor.list;
    longer.push_back(implementation->id);
    setList(descriptor, longer);
    return descriptor.id;
}

void RegistryModel::purge(ModelAsset &descriptor, const QString &name,
                          const QByteArray &implementation)
{
    const std::string function = sManager + "registerFilterDescImpl";
    std::vector<QByteArray> kept;
    for (auto entry = descriptor.list.rbegin(); entry != descriptor.list.rend(); ++entry) {
        if (entry->isEmpty()) {
            log(function,
                "an invalid asset reference was found in the filter desc " + name.toStdString());
        } else if (!resolve(*entry)) {
            log(function,
                "cannot get asset " + describe(*entry) + " in filter desc " + name.toStdString());
        } else if (!isNewVersion(resolve(*entry), implementation)) {
            kept.insert(kept.begin(), *entry);
        }
    }
    setList(descriptor, kept);
}

// A chain that comes back ends at the last asset that was not met before.
RegistryModel::AssetPtr RegistryModel::newestVersion(AssetPtr asset, const char *function)
{
    std::set<AssetPtr> met{asset};
    while (!asset->next.isEmpty()) {
        const AssetPtr next = resolve(asset->next);
        if (!next) {
            log(sManager + function, "cannot find asset from ref " + describe(asset->next)
                                             + ", which is the next version for "
                                             + asset->debugInfo());
            break;
        }
        if (!met.insert(next).second) {
            log(sManager + function, "version chain comes back to " + next->debugInfo());
            break;
        }
        asset = next;
    }
    return asset;
}

QByteArray RegistryModel::findDynamicFor(const QByteArray &reference)
{
    const AssetPtr asset = resolve(reference);
    if (!asset || !isFilter(asset)) {
        log(sManager + "getDynamicFilterFromStaticFilter",
            "The provided reference " + describe(reference) + " is not a valid filter reference.");
        return {};
    }
    const auto type = asset->items.find(filterTypeUserDataKey);
    if (type != asset->items.end() && type->second == dynamicFilterTypeUserData)
        return {};
    if (asset->recordedName == "Fill")
        return {};
    const auto found = manager().dynamicFilters.find(asset->recordedName.toLower());
    return found == manager().dynamicFilters.end() ? QByteArray() : found->second->id;
}

bool RegistryModel::isFilter(const AssetPtr &asset)
{
    ask(asset, Operation::Category);
    return asset->isFilter();
}

// --- dynamic filters

QByteArray RegistryModel::registerDynamicFilter(const QString &name, const QByteArray &reference)
{
    const QString key = name.toLower();
    const auto known = manager().dynamicFilters.find(key);
    // What is listed may have been removed, and something else made under its id.
    const bool isListed = known != manager().dynamicFilters.end();
    AssetPtr filter = isListed ? resolve(known->second->id) : makeInternalDynamicFilter();
    if (filter && filter->kind != Kind::Dynamic)
        filter = nullptr;
    if (!isListed)
        manager().dynamicFilters.emplace(key, filter);
    const auto descriptor = manager().descriptors.find(key);
    if (descriptor != manager().descriptors.end())
        hide(descriptor->second->id, m_isOnWorker);

    const AssetPtr asset = resolve(reference);
    if (!asset) {
        log(sManager + "registerDynamicFilterImpl",
            "cannot find asset from ref " + describe(reference));
        return {};
    }
    const AssetPtr newest = newestVersion(asset, "registerDynamicFilterImpl");
    if (!filter) {
        log(sManager + "registerDynamicFilterImpl",
            "The asset database gave no DynamicFilterAsset for the filter " + name.toStdString());
        return {};
    }
    rename(*filter, name);
    registerImplementation(*filter, *newest);
    return filter->id;
}

void RegistryModel::registerImplementation(ModelAsset &filter, const ModelAsset &implementation)
{
    const std::string function = "DynamicFilterAsset::registerImplementation";
    const auto raise = [&](const std::string &what) {
        const std::string text = "The filter " + describe(implementation.id) + what;
        log(function, text, 2, 2);
        throw Raised{"InvalidArgumentException: " + text};
    };
    auto item = implementation.items.find(variationTypeUserDataKey);
    if (item == implementation.items.end())
        item = implementation.items.find(altVariationTypeUserDataKey);
    if (item == implementation.items.end())
        raise(" has no variation type");
    for (const QString &part : item->second.split(',')) {
        if (part.isEmpty())
            continue;
        const bool isType = part.startsWith("default_");
        auto &target = isType ? filter.types : filter.usages;
        if (!target.try_emplace(isType ? part.mid(8) : part, implementation.id).second)
            raise(" already has an implementation for this variation type");
    }
}

bool RegistryModel::containsPreviousVersion(const ModelAsset &filter,
                                            const QByteArray &candidate) const
{
    const auto isOlder = [&](const auto &entry) {
        return isNewVersion(resolve(entry.second), candidate);
    };
    return std::any_of(filter.types.begin(), filter.types.end(), isOlder)
           || std::any_of(filter.usages.begin(), filter.usages.end(), isOlder);
}

// Dynamic filters have a description themselves, descriptors too; bare and plain assets have none.
void RegistryModel::describeFilter(ModelAsset &filter)
{
    std::vector<QByteArray> implementations;
    for (const auto &[key, implementation] : filter.types)
        implementations.push_back(implementation);
    for (const auto &[key, implementation] : filter.usages)
        implementations.push_back(implementation);
    if (implementations.empty())
        return;
    const auto hasDescription = [&](const QByteArray &id) {
        const AssetPtr asset = resolve(id);
        if (asset && asset->kind != Kind::Bare && asset->kind != Kind::Plain)
            return true;
        log("DynamicFilterAsset::generateIODesc",
            "The implementation " + describe(id)
                    + " is not an AssetWithIO, cannot generate IODesc for dynamic filter "
                    + describe(filter.id));
        return false;
    };
    if (!hasDescription(implementations.front()))
        return;
    ask(resolve(implementations.front()), Operation::Description);
    for (const QByteArray &id : implementations) {
        if (hasDescription(id))
            ask(resolve(id), Operation::Description);
    }
    filter.isDescribed = true;
}

// --- batches

QByteArray RegistryModel::createOrUpdateFilter(const QByteArray &reference,
                                               const QString &nameOverride)
{
    const AssetPtr asset = resolve(reference);
    if (!asset) {
        log(sManager + "createOrUpdateFilter",
            "Failed to get asset with reference: " + describe(reference));
        return reference;
    }
    if (!isFilter(asset))
        return reference;
    const QString name = nameOverride.isEmpty() ? asset->name : nameOverride;
    const auto type = asset->items.find(filterTypeUserDataKey);
    if (type != asset->items.end() && type->second == dynamicFilterTypeUserData)
        return registerDynamicFilter(name, reference);
    return registerFilterDesc(name, reference);
}

std::vector<QByteArray>
RegistryModel::createOrUpdateFilters(const std::vector<QByteArray> &references,
                                     const QString &nameOverride)
{
    std::vector<QByteArray> result;
    std::vector<QByteArray> pending;
    std::vector<VersionPair> pairs;
    for (const QByteArray &reference : references) {
        const AssetPtr asset = resolve(reference);
        if (!asset) {
            log(sManager + "createOrUpdateFilters",
                "Failed to get asset with reference: " + describe(reference));
            continue;
        }
        pending.push_back(reference);
        if (!isFilter(asset))
            continue;
        const QString key = (nameOverride.isEmpty() ? asset->name : nameOverride).toLower();
        const auto type = asset->items.find(filterTypeUserDataKey);
        const auto known = manager().dynamicFilters.find(key);
        if (type == asset->items.end() || type->second != dynamicFilterTypeUserData
            || known == manager().dynamicFilters.end())
            continue;
        const AssetPtr filter = known->second;
        if (containsPreviousVersion(*filter, asset->id)) {
            const AssetPtr renewed = makeInternalDynamicFilter();
            pairs.push_back({filter, renewed});
            known->second = renewed;
        } else if (!filter->isInternal) {
            pending.pop_back();
            addOnce(result, filter->id);
        }
    }

    for (const QByteArray &reference : pending)
        addOnce(result, createOrUpdateFilter(reference, nameOverride));

    settle(result, nameOverride);

    for (const VersionPair &pair : pairs) {
        if (!pair.older->isInternal && !pair.newer->isInternal)
            setNext(*pair.older, pair.newer->id);
    }
    return result;
}

void RegistryModel::settle(std::vector<QByteArray> &result, const QString &nameOverride)
{
    std::vector<QByteArray> settled;
    for (const QByteArray &element : result) {
        const AssetPtr filter = resolve(element);
        if (!filter || filter->kind != Kind::Dynamic || !filter->isInternal) {
            addOnce(settled, element);
            continue;
        }
        const QString name = nameOverride.isEmpty() ? filter->name : nameOverride;
        QByteArray bytes;
        for (const auto &[key, implementation] : filter->types)
            bytes += key.toUtf8() + implementation;
        for (const auto &[key, implementation] : filter->usages)
            bytes += key.toUtf8() + implementation;
        const QByteArray id = Tesk::VantBase::FileUtils::dataToHash(bytes);
        if (const AssetPtr existing = resolve(id)) {
            addOnce(settled, existing->id);
            manager().dynamicFilters[name.toLower()] = existing;
            continue;
        }
        describeFilter(*filter);
        makePersistent(filter, id);
        rename(*filter, name);
        addOnce(settled, id);
    }
    result = settled;
}

} // namespace FilterBaseTesting
