#pragma once

#include <filterbase/StaticFilter.h>

#include <assets/Asset.h>
#include <data/Field.h>
#include <futures/future.h>
#include <renderablebase/RenderableAsset.h>
#include <surfaces/Surface.h>

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

namespace FilterBaseTesting {

using Thumbnail = std::shared_ptr<Tesk::Surfaces::Surface>;
using Tweaks = std::unordered_map<unsigned int, QVariant>;

/// What a fake asset answers, and what it was asked.
struct FakeAnswers
{
    QUrl url;
    std::vector<QUrl> urls;
    QString thumbnailPath;
    bool requiresSignature = false;
    /// Called for each thumbnail; a ready null one when it is empty.
    std::function<Tesk::future<Thumbnail>(const std::stop_token &)> thumbnail;
    /// Called, unless it is empty, before each answer; may throw.
    std::function<void()> onAsked;

    mutable std::vector<std::string> calls; ///< the names of the operations, in order
    std::vector<QUrl> removedUrls;

    void note(const char *operation) const
    {
        calls.emplace_back(operation);
        if (onAsked)
            onAsked();
    }
};

/// The operations that every fake answers alike.
template<class Base>
class FakeAsset : public Base
{
public:
    using Base::Base;

    void removeExternalSourceUrlIfNotLastOne(const QUrl &url) override
    {
        answers.note("removeExternalSourceUrlIfNotLastOne");
        answers.removedUrls.push_back(url);
    }
    QUrl getSourceFileUrl() const override
    {
        answers.note("getSourceFileUrl");
        return answers.url;
    }
    std::vector<QUrl> getSourceFileUrls() const override
    {
        answers.note("getSourceFileUrls");
        return answers.urls;
    }
    bool initMetaData(Tesk::Assets::MetaData &) const override { return false; }
    QString defaultThumbnailPath() const override
    {
        answers.note("defaultThumbnailPath");
        return answers.thumbnailPath;
    }
    Tesk::future<Thumbnail> getEmbeddedThumbnail(std::stop_token stopToken) const override
    {
        answers.note("getEmbeddedThumbnail");
        return answers.thumbnail ? answers.thumbnail(stopToken)
                                 : Tesk::make_ready_future(Thumbnail());
    }
    bool requiresVyrSignature() const override
    {
        answers.note("requiresVyrSignature");
        return answers.requiresSignature;
    }

    FakeAnswers answers;
};

/// A concrete filter as a client module would bring it.
class FakeFilter : public FakeAsset<Tesk::RenderableBase::RenderableAsset>,
                   public Tesk::FilterBase::StaticFilter
{
    Q_OBJECT
public:
    static const QString sTypeName;

    FakeFilter(const Tesk::SharedObjectBadge &badge, Tesk::Data::SerializableData *parent);
    static std::shared_ptr<FakeFilter> make();

    const QString &typeName() const override { return sTypeName; }
    const QString &category() const override;
    std::shared_ptr<const Tesk::RenderableBase::RenderableIODesc>
    getIODesc(const Tweaks &tweaks) const override;
    Tesk::RenderableBase::ResolutionPolicy
    actualResolutionPolicy(Tesk::RenderableBase::ResolutionPolicy requested) const override;
    QString variationType() const override { return variation.get(); }

    std::shared_ptr<const Tesk::RenderableBase::RenderableIODesc> description;
    std::function<Tesk::RenderableBase::ResolutionPolicy(Tesk::RenderableBase::ResolutionPolicy)>
            policy;
    Tesk::Data::Field<QString> variation;
    mutable Tweaks lastTweaks;
};

/// An asset that is neither a filter nor has inputs and outputs.
class PlainAsset : public FakeAsset<Tesk::Assets::Asset>
{
    Q_OBJECT
public:
    static const QString sTypeName;

    PlainAsset(const Tesk::SharedObjectBadge &badge, Tesk::Data::SerializableData *parent);
    static std::shared_ptr<PlainAsset> make();

    const QString &typeName() const override { return sTypeName; }
    const QString &category() const override;
};

/// Makes both classes known to the class registry and the database.
void registerFakeAssets();

/// A surface of one pixel of that shade.
Thumbnail surfaceOf(char shade);

} // namespace FilterBaseTesting
