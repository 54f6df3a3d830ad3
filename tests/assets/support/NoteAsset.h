#pragma once

#include <assets/Asset.h>
#include <assets/AssetDatabaseService.h>

#include <atomic>
#include <functional>
#include <memory>

namespace Tesk::Assets {

/// An asset with a text, for tests; files itself by its content like assets that are computed.
class NoteAsset : public Asset
{
    Q_OBJECT
public:
    static const QString sTypeName;

    /// Makes the class known; the first call does it.
    static void registerType();
    static std::shared_ptr<NoteAsset> make();

    NoteAsset(const SharedObjectBadge &badge, Data::SerializableData *parent);

    void onLoadedFromDisk() override;
    const QString &typeName() const override;
    const QString &category() const override;
    QUrl getSourceFileUrl() const override;
    bool initMetaData(Tesk::Assets::MetaData &metaData) const override;
    QByteArray generateId() const override;
    future<std::shared_ptr<Surfaces::Surface>>
    getEmbeddedThumbnail(std::stop_token stopToken) const override;

    Data::Field<QString> text;
    Data::Field<AssetReference> friendReference;

    QByteArray contentId;       ///< what generateId() gives, unless empty
    MetaData initial;           ///< what initMetaData() gives
    std::atomic<int> loads = 0; ///< how often onLoadedFromDisk() ran

    /// Runs in onLoadedFromDisk() of every note.
    static std::function<void(NoteAsset &)> sOnLoaded;

    /// Runs in category() of every note, for which the database asks when it encodes it.
    static std::function<void(const NoteAsset &)> sOnEncoded;
};

} // namespace Tesk::Assets
