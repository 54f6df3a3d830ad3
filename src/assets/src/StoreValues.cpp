#include "StoreValues.h"

namespace Tesk::Assets::StoreValues {

static const QByteArray sNullItem = QByteArray(1, '\0');

MetaRow toRow(const QString &key, const MetaDataItem &item)
{
    return MetaRow{key, item.type, static_cast<int>(item.accessibility), item.value};
}

MetaDataItem toItem(const MetaRow &row)
{
    return MetaDataItem{row.value, static_cast<MetaDataItem::Type>(row.type),
                        static_cast<Accessibility>(row.accessibility)};
}

QByteArray itemId(const AssetReference &item)
{
    return item.isValid() ? item.id() : sNullItem;
}

bool isNullItem(const QByteArray &id)
{
    return id == sNullItem;
}

} // namespace Tesk::Assets::StoreValues
