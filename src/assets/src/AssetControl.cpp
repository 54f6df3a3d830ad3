#include <assets/AssetControl.h>

#include "AssetNames.h"
#include "AssetRecord.h"
#include "AssetTable.h"
#include "DatabaseCore.h"
#include "VersionChain.h"

#include <unordered_map>

namespace Tesk::Assets::AssetControl {

QString getName(const std::shared_ptr<Asset> &asset)
{
    return asset ? AssetNames::get(*asset) : QString();
}

QString getName(const Asset &asset)
{
    return AssetNames::get(asset);
}

void setName(const std::shared_ptr<Asset> &asset, const QString &name)
{
    if (!asset)
        return;
    if (const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(asset->ownReference()))
        core->renameAsset(asset, name);
    else
        AssetNames::set(*asset, name);
}

bool isNewVersion(const std::shared_ptr<Asset> &asset, const AssetReference &reference)
{
    if (!asset || reference.isInvalid() || asset->ownReference() == reference)
        return false;
    bool reached = false;
    walkNextVersions(*asset, [&](const AssetReference &next) {
        reached = next == reference;
        return !reached;
    });
    return reached;
}

QVariant getAssetMetadataItem(const AssetReference &reference, const QString &key)
{
    const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference);
    if (!core)
        return {};
    std::optional<MetaDataItem> item = core->metaDataItem(*reference.record(), key);
    return item ? item->value : QVariant();
}

std::vector<QVariant> getAssetMetadataItems(const std::vector<AssetReference> &references,
                                            const QString &key)
{
    std::vector<QVariant> values(references.size());
    // References of several databases may meet in one list: one read for each database.
    std::unordered_map<AssetTable *, std::vector<std::size_t>> byTable;
    for (std::size_t at = 0; at < references.size(); ++at) {
        if (references[at].isValid())
            byTable[references[at].record()->table].push_back(at);
    }
    for (const auto &[table, places] : byTable) {
        const std::shared_ptr<DatabaseCore> core = table->core();
        if (!core)
            continue;
        std::vector<const AssetRecord *> records;
        records.reserve(places.size());
        for (const std::size_t at : places)
            records.push_back(references[at].record());
        std::vector<QVariant> found = core->metaDataValues(records, key);
        for (std::size_t at = 0; at < places.size(); ++at)
            values[places[at]] = std::move(found[at]);
    }
    return values;
}

} // namespace Tesk::Assets::AssetControl
