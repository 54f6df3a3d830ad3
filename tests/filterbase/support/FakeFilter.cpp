#include "FakeFilter.h"

#include <assets/AssetDatabaseService.h>
#include <data/ClassRegistry.h>

#include <QByteArray>
#include <QMetaType>
#include <QSize>

namespace FilterBaseTesting {

using namespace Tesk;

const QString FakeFilter::sTypeName = QStringLiteral("FilterBaseTesting::FakeFilter");
const QString PlainAsset::sTypeName = QStringLiteral("FilterBaseTesting::PlainAsset");

static const QString sVariationField = QStringLiteral("variation");

template<class T>
static void registerFake()
{
    Data::ClassRegistry::setCurrentVersion(T::sTypeName, 100);
    Data::ClassRegistry::registerFactory(QMetaType::fromType<T>().id(), [] { return T::make(); });
    Assets::AssetDatabaseService::registerAssetType(T::sTypeName);
}

void registerFakeAssets()
{
    registerFake<FakeFilter>();
    registerFake<PlainAsset>();
}

static future<Thumbnail> askForThumbnail(const FakeAnswers &answers, const std::stop_token &token)
{
    answers.calls.emplace_back("getEmbeddedThumbnail");
    return answers.thumbnail ? answers.thumbnail(token) : make_ready_future(Thumbnail());
}

FakeFilter::FakeFilter(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : RenderableBase::RenderableAsset(badge, parent)
    , variation(*this, sVariationField, Data::SerializableFieldBase::NotifyChanges)
{
    registerField(variation);
}

std::shared_ptr<FakeFilter> FakeFilter::make()
{
    using Shared = SharedObject<Assets::Asset>;
    return Shared::adopt(new FakeFilter(Shared::badge(), nullptr));
}

const QString &FakeFilter::category() const
{
    static const QString sCategory = QStringLiteral("filter");
    return sCategory;
}

void FakeFilter::removeExternalSourceUrlIfNotLastOne(const QUrl &url)
{
    answers.removedUrls.push_back(url);
}

QUrl FakeFilter::getSourceFileUrl() const
{
    answers.calls.emplace_back("getSourceFileUrl");
    return answers.url;
}

std::vector<QUrl> FakeFilter::getSourceFileUrls() const
{
    answers.calls.emplace_back("getSourceFileUrls");
    return answers.urls;
}

QString FakeFilter::defaultThumbnailPath() const
{
    answers.calls.emplace_back("defaultThumbnailPath");
    return answers.thumbnailPath;
}

future<Thumbnail> FakeFilter::getEmbeddedThumbnail(std::stop_token stopToken) const
{
    return askForThumbnail(answers, stopToken);
}

bool FakeFilter::requiresVyrSignature() const
{
    answers.calls.emplace_back("requiresVyrSignature");
    return answers.requiresSignature;
}

std::shared_ptr<const RenderableBase::RenderableIODesc>
FakeFilter::getIODesc(const Tweaks &tweaks) const
{
    answers.calls.emplace_back("getIODesc");
    lastTweaks = tweaks;
    return description;
}

RenderableBase::ResolutionPolicy
FakeFilter::actualResolutionPolicy(RenderableBase::ResolutionPolicy requested) const
{
    answers.calls.emplace_back("actualResolutionPolicy");
    return policy ? policy(requested) : requested;
}

PlainAsset::PlainAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : Assets::Asset(badge, parent)
{}

std::shared_ptr<PlainAsset> PlainAsset::make()
{
    using Shared = SharedObject<Assets::Asset>;
    return Shared::adopt(new PlainAsset(Shared::badge(), nullptr));
}

const QString &PlainAsset::category() const
{
    static const QString sCategory = QStringLiteral("plain");
    return sCategory;
}

void PlainAsset::removeExternalSourceUrlIfNotLastOne(const QUrl &url)
{
    answers.removedUrls.push_back(url);
}

QUrl PlainAsset::getSourceFileUrl() const
{
    answers.calls.emplace_back("getSourceFileUrl");
    return answers.url;
}

std::vector<QUrl> PlainAsset::getSourceFileUrls() const
{
    answers.calls.emplace_back("getSourceFileUrls");
    return answers.urls;
}

QString PlainAsset::defaultThumbnailPath() const
{
    answers.calls.emplace_back("defaultThumbnailPath");
    return answers.thumbnailPath;
}

future<Thumbnail> PlainAsset::getEmbeddedThumbnail(std::stop_token stopToken) const
{
    return askForThumbnail(answers, stopToken);
}

bool PlainAsset::requiresVyrSignature() const
{
    answers.calls.emplace_back("requiresVyrSignature");
    return answers.requiresSignature;
}

Thumbnail surfaceOf(char shade)
{
    return std::make_shared<Surfaces::Surface>(QSize(1, 1), Surfaces::PixelFormat::Gray8,
                                               QByteArray(1, shade));
}

} // namespace FilterBaseTesting
