#include "NoteAsset.h"

#include <data/ClassRegistry.h>
#include <surfaces/Surface.h>

#include <mutex>

namespace Tesk::Assets {

const QString NoteAsset::sTypeName = QStringLiteral("Tesk::Assets::NoteAsset");
std::function<void(NoteAsset &)> NoteAsset::sOnLoaded;
std::function<void(const NoteAsset &)> NoteAsset::sOnEncoded;

void NoteAsset::registerType()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Data::ClassRegistry::setCurrentVersion(sTypeName, 100);
        Data::ClassRegistry::registerFactory(QMetaType::fromType<NoteAsset>().id(), make);
        AssetDatabaseService::registerAssetType(sTypeName);
    });
}

std::shared_ptr<NoteAsset> NoteAsset::make()
{
    return SharedObject<Asset>::adopt(new NoteAsset(SharedObject<Asset>::badge(), nullptr));
}

NoteAsset::NoteAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : Asset(badge, parent)
    , text(*this, QStringLiteral("text"), Data::SerializableFieldBase::NotifyChanges)
    , friendReference(*this, QStringLiteral("friend"), {})
{
    registerField(text);
    registerField(friendReference);
}

void NoteAsset::onLoadedFromDisk()
{
    ++loads;
    if (sOnLoaded)
        sOnLoaded(*this);
}

const QString &NoteAsset::typeName() const
{
    return sTypeName;
}

const QString &NoteAsset::category() const
{
    static const QString category = QStringLiteral("note");
    if (sOnEncoded)
        sOnEncoded(*this);
    return category;
}

QUrl NoteAsset::getSourceFileUrl() const
{
    return QUrl(QStringLiteral("file:///notes.txt"));
}

bool NoteAsset::initMetaData(Tesk::Assets::MetaData &metaData) const
{
    for (const auto &[key, item] : initial)
        metaData.set(key, item);
    return !initial.empty();
}

QByteArray NoteAsset::generateId() const
{
    return contentId.isEmpty() ? Asset::generateId() : contentId;
}

future<std::shared_ptr<Surfaces::Surface>>
NoteAsset::getEmbeddedThumbnail(std::stop_token /*stopToken*/) const
{
    return make_ready_future(std::shared_ptr<Surfaces::Surface>());
}

} // namespace Tesk::Assets
