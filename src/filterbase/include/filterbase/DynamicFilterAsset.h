#pragma once

#include <filterbase/filterbase_export.h>
#include <filterbase/ImplementationInfo.h>

#include <assets/AssetEncoding.h>
#include <assets/AssetReference.h>
#include <data/Field.h>
#include <data/HashMap.h>
#include <renderablebase/AssetWithIO.h>
#include <renderablebase/OutputDesc.h>
#include <renderablebase/RenderableIODesc.h>
#include <renderablebase/ResolutionPolicy.h>
#include <renderablebase/Usage.h>
#include <vantbase/QObjectDeleteLater.h>

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <memory>
#include <stop_token>
#include <unordered_map>

namespace Tesk::FilterBase {

/// Owns a record and deletes it through the event loop.
using ImplementationInfoPtr = std::unique_ptr<ImplementationInfo, QObjectDeleteLater>;

/// Implementations by key, in ascending order of the keys.
using ImplementationMap = Data::HashMap<QString, ImplementationInfoPtr>;

/// Stands for all variations of one filter at once.
///
/// Callers see one parameter list, merged from those of the implementations. For a usage and an
/// output type they get a record that names the implementation and translates their parameter
/// values for it.
///
/// "First implementation" means the first of the types, or of the usages when there are no types.
///
/// Ownership: made and owned by the asset database. Owns its records, shares its description
/// with whoever asked for it.
/// Threads: used on its own thread only; getEmbeddedThumbnail() from any.
/// Errors: a read-only field that would be written raises the read-only error. What an
/// implementation raises passes. Where the filter leads back to itself it answers there as an
/// empty one, with a warning.
/// Persistence: both maps and the description as it was generated; it is not generated anew on
/// loading, unless none was stored.
class FILTERBASE_EXPORT DynamicFilterAsset : public RenderableBase::AssetWithIO
{
    Q_OBJECT
public:
    static const QString sTypeName;

    /// The usage by which client modules mark a dynamic filter.
    static const RenderableBase::Usage sDynamicUsage;

    DynamicFilterAsset(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~DynamicFilterAsset() override;

    /// Returns the key in types for an output: "float3", "color", "string"; a null text for an
    /// output whose value type is none of those known.
    static QString typeKeyFromOutputDesc(const RenderableBase::OutputDesc &output);

    void onLoadedFromDisk() override;

    const QString &typeName() const override;
    const QString &category() const override; ///< "filter", always the same object

    /// Returns the first implementation's file; empty when there is none.
    QUrl getSourceFileUrl() const override;

    bool initMetaData(Tesk::Assets::MetaData &metaData) const override; ///< false: nothing to add

    /// Returns an id made of the keys and the ids of their implementations alone.
    QByteArray generateId() const override;

    /// Returns the first implementation's thumbnail; null when there is none.
    future<std::shared_ptr<Surfaces::Surface>>
    getEmbeddedThumbnail(std::stop_token stopToken) const override;

    /// Returns the merged description, whatever the tweaks; a new empty one each time when there
    /// is none.
    std::shared_ptr<const RenderableBase::RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &tweaks) const override;

    /// Returns the record filed under the usage, else under the type.
    ///
    /// Where there is neither: a record with a null reference, which translates every value to
    /// nothing. The result is valid as long as the entry; inserts nothing. Cost: two look-ups in
    /// ordered maps; the database is not read.
    const ImplementationInfo &getImplementationForUsageAndType(const QString &usage,
                                                               const QString &type) const;

    /// The same for the type of an output.
    const ImplementationInfo &
    getImplementationForUsageAndType(const QString &usage,
                                     const RenderableBase::OutputDesc &output) const;

    /// Returns the first answer, of types and then usages, that differs from \a requested.
    RenderableBase::ResolutionPolicy
    actualResolutionPolicy(RenderableBase::ResolutionPolicy requested) const;

    /// Returns whether there is no implementation for the usage "output_size".
    bool resolutionPolicyIsCustomizable() const;

    /// Returns whether \a candidate is a newer version of one of the implementations.
    bool containsPreviousVersion(const Assets::AssetReference &candidate) const;

    /// Files an implementation under each of its variation types, and takes over its metadata.
    ///
    /// Does *not* renew the description. Raises an InvalidArgumentException when the
    /// implementation has no variation type or one that is taken; what was filed before that
    /// stays. Reads the database.
    void registerImplementation(Assets::AssetReference implementation);

    /// Merges the descriptions of the implementations into a new one, and renews the records'
    /// uid tables.
    ///
    /// Outputs are those of the first implementation. Parameters that a later one adds are its
    /// own objects, uid included. An implementation without a description is passed over with a
    /// warning; where it is the first, everything stays as it is. Entries of a uid table are
    /// added and corrected, never removed.
    ///
    /// Where an implementation raises, or has a first description that cannot be copied, the old
    /// description stays; uid tables may be renewed in part.
    ///
    /// Cost: linear in the parameters of all implementations, times the logarithm of a uid
    /// table's size. On a stored asset each corrected entry is a write: use a batch scope.
    void generateIODesc();

    /// Tells which thread may encode \a filter: any, unless it is of a client's own class, or its
    /// description or any of its records, parameters or outputs is.
    static Assets::AssetEncoding encodingOf(const Assets::Asset &filter);

    ImplementationMap types;  ///< by the type of the output
    ImplementationMap usages; ///< by a named role, which wins over the type
    Data::Field<std::shared_ptr<RenderableBase::RenderableIODesc>> ioDesc; ///< null at first

private:
    const ImplementationInfo *firstImplementation() const;
    void copyMetaData(const Assets::AssetReference &implementation);

    template<class Visitor>
    void forEachImplementation(Visitor visit) const;
};

} // namespace Tesk::FilterBase
