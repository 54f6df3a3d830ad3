#pragma once

#include <filterbase/filterbase_export.h>

#include <assets/AssetEncoding.h>
#include <assets/AssetReference.h>
#include <data/Vector.h>
#include <renderablebase/AssetWithIO.h>

#include <QList>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <memory>
#include <stop_token>
#include <unordered_map>
#include <vector>

namespace Tesk::FilterBase {

/// Stands for one filter name and lists the assets that implement it.
///
/// It has no content of its own: whatever it is asked, it asks its implementations in the order
/// of the list, anew each time. The answers combine by rules that each operation states.
///
/// An implementation that does not resolve, or that is no AssetWithIO where one is needed, is
/// passed over; the operations that need an AssetWithIO log a warning for it. Where a filter leads
/// back to itself it answers there as one without implementations, with a warning. What an
/// implementation raises passes; those behind it are then not asked.
///
/// Cost: every operation resolves the implementations one by one, which reads the database for
/// those that are not loaded.
///
/// Ownership: made and owned by the asset database.
/// Threads: used on its own thread only; the future of a thumbnail may be used anywhere.
/// Persistence: the list, in order.
class FILTERBASE_EXPORT FilterDescAsset : public RenderableBase::AssetWithIO
{
    Q_OBJECT
public:
    static const QString sTypeName;

    FilterDescAsset(const SharedObjectBadge &badge, Data::SerializableData *parent);
    ~FilterDescAsset() override;

    const QString &typeName() const override;
    const QString &category() const override; ///< "filter", always the same object

    /// Asks every implementation to forget the file.
    void removeExternalSourceUrlIfNotLastOne(const QUrl &url) override;

    /// Returns the file that the implementations stand for; empty when there are none.
    ///
    /// Where they disagree the answer is the *first one that differs* from the first
    /// implementation's, and one warning is logged: callers that care see the dissenter.
    QUrl getSourceFileUrl() const override;

    /// Returns every file of every implementation once, in no special order.
    std::vector<QUrl> getSourceFileUrls() const override;

    bool initMetaData(Tesk::Assets::MetaData &metaData) const override; ///< false: nothing to add

    /// Returns the first path that is not empty.
    QString defaultThumbnailPath() const override;

    /// Returns the first thumbnail there is; null when no implementation has one.
    ///
    /// The implementations are those listed now. They are asked one after the other, each only
    /// when the one before had nothing; each is kept alive while it is asked. An error, or a
    /// cancellation, of one ends the search and is the result.
    future<std::shared_ptr<Surfaces::Surface>>
    getEmbeddedThumbnail(std::stop_token stopToken) const override;

    bool requiresVyrSignature() const override; ///< true when one implementation says so

    QList<QString> specificDynamicDebugInfo() const override; ///< empty

    /// Returns the description of the one implementation.
    ///
    /// Raises a RuntimeErrorException when there is none, more than one, or when the one is no
    /// asset with a description or leads back here.
    std::shared_ptr<const RenderableBase::RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &tweaks) const override;

    /// Tells which thread may encode \a descriptor: any, unless it is of a client's own class.
    static Assets::AssetEncoding encodingOf(const Assets::Asset &descriptor);

    Data::Vector<Assets::AssetReference> implementations; ///< earlier ones win

private:
    std::vector<Assets::AssetReference> listed() const;
};

} // namespace Tesk::FilterBase
