#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/NodeDefSerialization.h>

#include <assets/AssetEncoding.h>
#include <data/Field.h>
#include <filterbase/StaticFilter.h>
#include <renderablebase/RenderableAsset.h>
#include <renderablebase/RenderableIODesc.h>

#include <QString>
#include <QUrl>
#include <QVariant>

#include <memory>
#include <stop_token>
#include <unordered_map>

namespace Tesk::NodeLibrary {

/// A concrete filter: the implementation that one nodedef describes.
///
/// It keeps the completed nodedef; parameters and outputs are described from it when they are
/// first asked for, since most implementations of a catalogue are never looked into.
///
/// Ownership: made by the importer or by the database, owned by the database.
/// Threads: as every asset.
/// Persistence: field names and their order are part of the stored form.
class NODELIBRARY_EXPORT NodeDefAsset : public RenderableBase::RenderableAsset,
                                        public FilterBase::StaticFilter
{
    Q_OBJECT
public:
    static const QString sTypeName;

    NodeDefAsset(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~NodeDefAsset() override;

    /// Makes a shared asset that no database owns yet.
    static std::shared_ptr<NodeDefAsset> create();

    /// Makes the class known to the class registry and to the asset database.
    ///
    /// Call it once at start-up, before a database that may hold such assets is opened; later
    /// calls do nothing.
    static void registerClass();

    const QString &typeName() const override;
    const QString &category() const override; ///< "filter", always the same object
    QUrl getSourceFileUrl() const override;   ///< the library file

    /// Adds what the nodedef says of its outputs, its group, and the variation type.
    bool initMetaData(Tesk::Assets::MetaData &metaData) const override;

    /// Returns null: a node definition has no picture.
    future<std::shared_ptr<Surfaces::Surface>>
    getEmbeddedThumbnail(std::stop_token stopToken) const override;

    /// Returns one description, whatever the tweaks; made at the first call.
    std::shared_ptr<const RenderableBase::RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &tweaks) const override;

    QString variationType() const override;

    /// Makes the description that getIODesc() will return.
    ///
    /// Threads: any one, as long as nobody changes the definition or asks for the description.
    void describe() const;

    /// Tells which thread may encode \a asset: any, unless it is of a client's own class.
    static Assets::AssetEncoding encodingOf(const Assets::Asset &asset);

    Data::Field<NodeDef> definition;
    Data::Field<QString> variationText; ///< empty for a superseded version
    Data::Field<QUrl> sourceFile;

private:
    mutable std::shared_ptr<const RenderableBase::RenderableIODesc> m_ioDesc; // null until asked
};

} // namespace Tesk::NodeLibrary
