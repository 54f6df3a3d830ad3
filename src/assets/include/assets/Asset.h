#pragma once

#include <assets/AssetReference.h>
#include <assets/assets_export.h>
#include <assets/MetaData.h>

#include <data/Field.h>
#include <data/SerializableData.h>
#include <data/Vector.h>
#include <futures/future.h>
#include <vantbase/SharedObject.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <atomic>
#include <memory>
#include <stop_token>
#include <unordered_map>
#include <vector>

namespace Tesk::Surfaces {
class Surface;
}

namespace Tesk::Assets {

class DatabaseCore;

/// What a database keeps: an object with an id, a name, fields, and a place in a line of versions.
///
/// An asset may be a shell: its id, class and name are known, its fields are read from the
/// database when one of them is first touched. The order of the virtual operations is fixed:
/// never add one here, never move one.
///
/// Ownership: the database it is filed in; made by factories, through the badge.
/// Threads: id, name and reference are safe anywhere, the fields belong to whoever works on
/// the asset. Lives on the main thread.
/// Errors: touching a shell whose body does not decode raises a SerializationException.
/// Persistence: field names and their order are part of the stored form.
class ASSETS_EXPORT Asset : public Data::SerializableData, public SharedObject<Asset>
{
    Q_OBJECT
public:
    Asset(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~Asset() override;

    /// Returns the class name under which the database files it.
    virtual const QString &typeName() const = 0;

    /// Returns the broad kind of asset, such as "filter" or "collection".
    virtual const QString &category() const = 0;

    /// Returns whether the asset can be used; true here.
    virtual bool isValid() const;

    /// Adds a file that the asset was made from; ignored by assets that stand for no file.
    virtual void addExternalFileUrl(const QUrl &url);

    /// Forgets a file unless it is the only one; ignored by assets that stand for no file.
    virtual void removeExternalSourceUrlIfNotLastOne(const QUrl &url);

    virtual QUrl getSourceFileUrl() const = 0;

    /// Returns all source files; here the one of getSourceFileUrl(), if there is one.
    virtual std::vector<QUrl> getSourceFileUrls() const;

    /// Fills in what the asset knows about itself; false when it has nothing to add.
    virtual bool initMetaData(Tesk::Assets::MetaData &metaData) const = 0;

    /// Returns the path of a picture to show when there is no thumbnail; empty here.
    virtual QString defaultThumbnailPath() const;

    /// Brings the dependency list in line with the content; nothing to do here.
    virtual void updateDependenciesList();

    /// Returns the id under which the asset is filed once persistent; its own id here.
    virtual QByteArray generateId() const;

    /// Returns a key for things computed from the content; generateId() here.
    virtual QByteArray generateIdForCache() const;

    virtual future<std::shared_ptr<Surfaces::Surface>>
    getEmbeddedThumbnail(std::stop_token stopToken) const = 0;

    /// Rewrites content of an older shape after loading; false when there was nothing to do.
    virtual bool upgradeFormat();

    /// Returns the newest asset of its line that resolves, itself when it is the newest.
    virtual std::shared_ptr<Asset> getUptodateAssetInDB() const;

    /// Forgets files that only exist inside the running application; nothing to do here.
    virtual void clearApplicationInternalFileUrls();

    /// Renews texts after a change of language; nothing to do here.
    virtual void translate();

    /// Prepares answers that are dear to compute; nothing to do here.
    virtual void cacheResults();

    /// Returns whether the asset may only be passed on signed; false here.
    virtual bool requiresVyrSignature() const;

    /// Reads the body now instead of at the first touch.
    virtual void load();

    /// Gives up what load() can bring back; nothing here.
    virtual void unload();

    /// Returns lines for people who look for a fault, which never change; none here.
    virtual QList<QString> specificStaticDebugInfo() const;

    /// Returns lines for people who look for a fault, which may change; none here.
    virtual QList<QString> specificDynamicDebugInfo() const;

    /// Returns the assets this one needs; the dependency list here.
    virtual std::vector<AssetReference> discoverChildren() const;

    /// Replaces the dependencies that are keys of \a replacements; true when one was.
    virtual bool mapChildrenToPreviousAndNextVersions(
            const std::unordered_map<AssetReference, AssetReference> &replacements);

    /// Returns the reference under which the asset is filed now, null for one that is not.
    AssetReference ownReference() const
    {
        return AssetReference(m_record.load(std::memory_order_acquire));
    }

    /// Returns class, name and id: \c{Tesk::X "Blur" [id]}.
    QString debugInfo() const;

    Data::Field<AssetReference> nextVersion; ///< null while the asset is the newest of its line
    Data::Vector<AssetReference> dependencies;

private:
    friend class DatabaseCore;
    friend struct AssetNames;

    std::atomic<const AssetRecord *> m_record = nullptr;
    QString m_name; // guarded by the name lock of Asset.cpp
};

} // namespace Tesk::Assets
