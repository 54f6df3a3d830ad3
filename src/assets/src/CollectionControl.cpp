#include <assets/CollectionControl.h>

#include "AssetRecord.h"
#include "AssetTable.h"
#include "DatabaseCore.h"

#include <assets/CollectionAsset.h>

namespace Tesk::Assets::CollectionControl {

void appendAssetFromRef(const std::shared_ptr<CollectionAsset> &collection,
                        const AssetReference &reference)
{
    if (!collection)
        return;
    if (const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(collection->ownReference()))
        core->appendItem(collection, reference);
}

void removeAsset(const std::shared_ptr<CollectionAsset> &collection,
                 const AssetReference &reference)
{
    if (!collection)
        return;
    if (const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(collection->ownReference()))
        core->removeItem(collection, reference);
}

void hideAsset(const AssetReference &reference)
{
    if (const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference))
        core->setHidden(*reference.record(), true);
}

void showAsset(const AssetReference &reference)
{
    if (const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference))
        core->setHidden(*reference.record(), false);
}

bool isHidden(const AssetReference &reference)
{
    const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference);
    return core && core->isHidden(*reference.record());
}

} // namespace Tesk::Assets::CollectionControl
