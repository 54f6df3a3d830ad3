#include "DatabaseFixture.h"

#include <support/DeferredDeletes.h>

namespace Tesk::Assets {

void PrintTo(const AssetReference &reference, std::ostream *stream)
{
    *stream << reference.debugInfo().toStdString();
}

DatabaseFixture::DatabaseFixture()
    : source(GetParam().make())
    , view(source->open())
{
    NoteAsset::registerType();
    NoteAsset::sOnLoaded = nullptr;
    service = openAnother();
}

DatabaseFixture::~DatabaseFixture()
{
    NoteAsset::sOnLoaded = nullptr;
    service.reset();
    TestSupport::drainDeferredDeletes();
}

std::shared_ptr<NoteAsset> DatabaseFixture::insertNote(const QByteArray &id, const QString &text,
                                                       const QString &name)
{
    const std::shared_ptr<NoteAsset> asset = NoteAsset::make();
    asset->text.set(text);
    service->insertAsset(asset, id, name);
    return asset;
}

std::shared_ptr<CollectionAsset> DatabaseFixture::collection(const QByteArray &id)
{
    return std::dynamic_pointer_cast<CollectionAsset>(
            service->getOrCreateReferenceForInternalAsset(id, CollectionAsset::sTypeName).asset());
}

void DatabaseFixture::reopen()
{
    service->close();
    service = openAnother();
}

std::shared_ptr<AssetDatabaseService> DatabaseFixture::openAnother() const
{
    return AssetDatabaseService::open(source->open());
}

std::shared_ptr<NoteAsset> DatabaseFixture::note(const QByteArray &id) const
{
    return std::dynamic_pointer_cast<NoteAsset>(service->getAssetFromId(id));
}

} // namespace Tesk::Assets
