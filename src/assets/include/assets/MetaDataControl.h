#pragma once

#include <assets/AssetReference.h>
#include <assets/assets_export.h>
#include <assets/MetaData.h>

#include <QString>
#include <QVariant>

#include <optional>

/// Reads and writes the metadata that a database keeps for its assets.
///
/// Each call goes to the database that the reference belongs to. Metadata can be written
/// on internal assets too; they go along when the asset is made persistent.
///
/// Threads: any. Errors: store errors pass; a reference that names nothing holds nothing.
namespace Tesk::Assets::MetaDataControl {

/// Returns the value of the item; nothing when it is absent. Reads the database.
ASSETS_EXPORT std::optional<QVariant> getItem(const AssetReference &reference, const QString &key);

/// Returns all items; none for what is unknown. Reads the database.
ASSETS_EXPORT MetaData getMetaData(const AssetReference &reference);

/// Writes one item; false, and nothing written, when no such asset exists.
ASSETS_EXPORT bool setMetaDataValue(const AssetReference &reference, const QString &key,
                                    const QVariant &value,
                                    Accessibility accessibility = Accessibility::Public,
                                    MetaDataItem::Type type = MetaDataItem::Text);

/// Removes one item; false when it was absent.
ASSETS_EXPORT bool removeItem(const AssetReference &reference, const QString &key);

} // namespace Tesk::Assets::MetaDataControl
