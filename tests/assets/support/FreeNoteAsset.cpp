#include "FreeNoteAsset.h"

#include <data/ClassRegistry.h>

#include <mutex>

namespace Tesk::Assets {

const QString FreeNoteAsset::sTypeName = QStringLiteral("Tesk::Assets::FreeNoteAsset");

void FreeNoteAsset::registerType()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Data::ClassRegistry::setCurrentVersion(sTypeName, 100);
        Data::ClassRegistry::registerFactory(QMetaType::fromType<FreeNoteAsset>().id(), make);
        AssetDatabaseService::registerAssetType(sTypeName, AssetEncoding::Anywhere);
    });
}

std::shared_ptr<NoteAsset> FreeNoteAsset::make()
{
    return SharedObject<Asset>::adopt(new FreeNoteAsset(SharedObject<Asset>::badge(), nullptr));
}

const QString &FreeNoteAsset::typeName() const
{
    return sTypeName;
}

} // namespace Tesk::Assets
