#include "CollectionBatch.h"

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
                                 std::span<const AssetReference> items,
                                 std::span<const std::shared_ptr<Assets::Asset>> assets)
{
    std::vector<AssetReference> references;
    std::vector<const FilterDescAsset *> descriptors;
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (const auto *descriptor = qobject_cast<FilterDescAsset *>(assets[index].get())) {
            references.push_back(items[index]);
            descriptors.push_back(descriptor);
        }
    }
    database.prefetch(references);

    std::vector<AssetReference> implementations;
    std::vector<const FilterDescAsset *> listedBy;
    for (const FilterDescAsset *descriptor : descriptors) {
        if (!isReadable(*descriptor))
            continue;
        for (const AssetReference &implementation : descriptor->implementations) {
            implementations.push_back(implementation);
            listedBy.push_back(descriptor);
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
