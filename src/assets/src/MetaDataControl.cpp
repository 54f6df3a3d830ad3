#include <assets/MetaDataControl.h>

#include "AssetRecord.h"
#include "AssetTable.h"
#include "DatabaseCore.h"

namespace Tesk::Assets::MetaDataControl {

std::optional<QVariant> getItem(const AssetReference &reference, const QString &key)
{
    const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference);
    if (!core)
        return std::nullopt;
    std::optional<MetaDataItem> item = core->metaDataItem(*reference.record(), key);
    if (!item)
        return std::nullopt;
    return std::move(item->value);
}

MetaData getMetaData(const AssetReference &reference)
{
    const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference);
    return core ? core->metaData(*reference.record()) : MetaData();
}

bool setMetaDataValue(const AssetReference &reference, const QString &key, const QVariant &value,
                      Accessibility accessibility, MetaDataItem::Type type)
{
    const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference);
    return core
           && core->setMetaDataItem(*reference.record(), key,
                                    MetaDataItem{value, type, accessibility});
}

bool removeItem(const AssetReference &reference, const QString &key)
{
    const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(reference);
    return core && core->setMetaDataItem(*reference.record(), key, std::nullopt);
}

} // namespace Tesk::Assets::MetaDataControl
