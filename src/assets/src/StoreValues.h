#pragma once

#include <assets/AssetReference.h>
#include <assets/MetaDataItem.h>
#include <assets/StoreRows.h>

namespace Tesk::Assets {

/// Between the values of the database and the rows of a store.
namespace StoreValues {

MetaRow toRow(const QString &key, const MetaDataItem &item);
MetaDataItem toItem(const MetaRow &row);

/// A store has no item without an id: a null reference gets one that no asset has.
QByteArray itemId(const AssetReference &item);
bool isNullItem(const QByteArray &id);

} // namespace StoreValues

} // namespace Tesk::Assets
