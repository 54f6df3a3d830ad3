#include "CollectionBatch.h"

#include "AssetCast.h"

#include <filterbase/FilterDescAsset.h>

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <vantbase/Exception.h>

#include <QVariant>

#include <memory>
#include <vector>

namespace Tesk::FilterBase {

using Assets::AssetReference;

static const QString sCategoryKey = QStringLiteral("Category");
static const QString sHdriTools = QStringLiteral("HDRI Tools");
static const QString sMeshTool = QStringLiteral("Mesh Tool");

static bool isToolCategory(const QVariant &category)
{
    if (!category.isValid())
        return false;
    const QString text = category.toString();
    return text == sHdriTools || text == sMeshTool;
}

bool isReadable(const FilterDescAsset &descriptor)
{
    try {
        descriptor.touch();
        return true;
    } catch (const Exception::Data::SerializationException &) {
        return false;
    }
}

CollectionBatch::CollectionBatch(Assets::AssetDatabaseService &database,
                                 std::span<const AssetReference> items)
{
    std::vector<AssetReference> references;
    std::vector<std::shared_ptr<FilterDescAsset>> descriptors;
    for (const AssetReference &item : items) {
        if (auto descriptor = assetCast<FilterDescAsset>(item.asset())) {
            references.push_back(item);
            descriptors.push_back(std::move(descriptor));
        }
    }
    database.prefetch(references);

    std::vector<AssetReference> implementations;
    std::vector<const FilterDescAsset *> listedBy;
    for (const auto &descriptor : descriptors) {
        if (!isReadable(*descriptor))
            continue;
        for (const AssetReference &implementation : descriptor->implementations) {
            implementations.push_back(implementation);
            listedBy.push_back(descriptor.get());
        }
    }
    const std::vector<QVariant> categories =
            Assets::AssetControl::getAssetMetadataItems(implementations, sCategoryKey);
    for (std::size_t index = 0; index < categories.size(); ++index) {
        if (isToolCategory(categories[index]))
            ++m_toolImplementations[listedBy[index]];
    }
}

int CollectionBatch::toolImplementations(const FilterDescAsset &descriptor) const
{
    const auto entry = m_toolImplementations.find(&descriptor);
    return entry == m_toolImplementations.end() ? 0 : entry->second;
}

} // namespace Tesk::FilterBase
