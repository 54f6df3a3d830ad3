#include <filterbase/FilterDescAsset.h>

#include "Answering.h"
#include "ResolveWithIO.h"
#include "ThumbnailChain.h"

#include <assets/Asset.h>
#include <futures/future.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>
#include <vantbase/Raise.h>

#include <QHash>

#include <typeinfo>
#include <unordered_set>
#include <utility>

namespace Tesk::FilterBase {

using RenderableBase::AssetWithIO;
using Question = Answering::Question;
using VantBase::logger;
using VantBase::LogLevel;
using VantBase::LogService;

// Stored in user files: never rename.
static const QString sImplementationsField = QStringLiteral("implementations");

const QString FilterDescAsset::sTypeName = QStringLiteral("Tesk::FilterBase::FilterDescAsset");

FilterDescAsset::FilterDescAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : RenderableBase::AssetWithIO(badge, parent)
    , implementations(*this, sImplementationsField, Data::SerializableFieldBase::NotifyChanges)
{
    registerField(implementations);
}

FilterDescAsset::~FilterDescAsset() = default;

Assets::AssetEncoding FilterDescAsset::encodingOf(const Assets::Asset &descriptor)
{
    using Assets::AssetEncoding;
    return typeid(descriptor) == typeid(FilterDescAsset) ? AssetEncoding::Anywhere
                                                         : AssetEncoding::ByCommitter;
}

const QString &FilterDescAsset::typeName() const
{
    return sTypeName;
}

const QString &FilterDescAsset::category() const
{
    static const QString sCategory = QStringLiteral("filter");
    return sCategory;
}

void FilterDescAsset::removeExternalSourceUrlIfNotLastOne(const QUrl &url)
{
    const Answering answering(ownReference(), Question::ForgetFile);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return;
    }
    for (const auto &reference : listed()) {
        if (const auto implementation = resolveWithIO(reference))
            implementation->removeExternalSourceUrlIfNotLastOne(url);
        else
            logNoIO(TESK_HERE, reference, ownReference());
    }
}

QUrl FilterDescAsset::getSourceFileUrl() const
{
    const Answering answering(ownReference(), Question::SourceFile);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return {};
    }
    QUrl expected;
    QUrl url;
    bool first = true;
    for (const auto &reference : listed()) {
        const auto implementation = resolveWithIO(reference);
        if (!implementation) {
            logNoIO(TESK_HERE, reference, ownReference());
            continue;
        }
        if (std::exchange(first, false))
            expected = implementation->getSourceFileUrl();
        url = implementation->getSourceFileUrl();
        if (url != expected) {
            logger(LogService::Filter).record(LogLevel::Warning, TESK_HERE)
                    << "implementations of " << ownReference().debugInfo()
                    << " point to different files";
            break;
        }
    }
    return url;
}

std::vector<QUrl> FilterDescAsset::getSourceFileUrls() const
{
    const Answering answering(ownReference(), Question::SourceFiles);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return {};
    }
    struct UrlHash
    {
        std::size_t operator()(const QUrl &url) const noexcept { return qHash(url); }
    };
    constexpr std::size_t buckets = 8;
    std::unordered_set<QUrl, UrlHash> urls(buckets);
    for (const auto &reference : listed()) {
        const auto implementation = resolveWithIO(reference);
        if (!implementation) {
            logNoIO(TESK_HERE, reference, ownReference());
            continue;
        }
        for (const QUrl &url : implementation->getSourceFileUrls())
            urls.insert(url);
    }
    return {urls.begin(), urls.end()};
}

bool FilterDescAsset::initMetaData(Tesk::Assets::MetaData &) const
{
    return false;
}

QString FilterDescAsset::defaultThumbnailPath() const
{
    const Answering answering(ownReference(), Question::ThumbnailPath);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return {};
    }
    for (const auto &reference : listed()) {
        const auto implementation = reference.asset();
        if (!implementation)
            continue;
        QString path = implementation->defaultThumbnailPath();
        if (!path.isEmpty())
            return path;
    }
    return {};
}

future<std::shared_ptr<Surfaces::Surface>>
FilterDescAsset::getEmbeddedThumbnail(std::stop_token stopToken) const
{
    const Answering answering(ownReference(), Question::Thumbnail);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return make_ready_future(std::shared_ptr<Surfaces::Surface>());
    }
    return firstThumbnail(implementations.values(), std::move(stopToken));
}

bool FilterDescAsset::requiresVyrSignature() const
{
    const Answering answering(ownReference(), Question::Signature);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return false;
    }
    for (const auto &reference : listed()) {
        const auto implementation = reference.asset();
        if (implementation && implementation->requiresVyrSignature())
            return true;
    }
    return false;
}

QList<QString> FilterDescAsset::specificDynamicDebugInfo() const
{
    return {};
}

std::shared_ptr<const RenderableBase::RenderableIODesc>
FilterDescAsset::getIODesc(const std::unordered_map<unsigned int, QVariant> &tweaks) const
{
    const Answering answering(ownReference(), Question::Description);
    if (answering.isRepeated()) {
        VantBase::raiseRuntimeError(TESK_HERE,
                                    QStringLiteral("The filter %1 is among its own implementations")
                                            .arg(ownReference().debugInfo()));
    }
    if (implementations.empty()) {
        VantBase::raiseRuntimeError(TESK_HERE,
                                    QStringLiteral("Asset with ref %1 has no implementations")
                                            .arg(ownReference().debugInfo()));
    }
    if (implementations.size() > 1) {
        VantBase::raiseRuntimeError(
                TESK_HERE, QStringLiteral("Asset with ref %1 has too many implementations.")
                                   .arg(ownReference().debugInfo()));
    }
    const Assets::AssetReference reference = *implementations.begin();
    const auto implementation = resolveWithIO(reference);
    if (!implementation) {
        VantBase::raiseRuntimeError(
                TESK_HERE, QStringLiteral("The implementation %1 of %2 is not an AssetWithIO")
                                   .arg(reference.debugInfo(), ownReference().debugInfo()));
    }
    return implementation->getIODesc(tweaks);
}

// A copy: whoever is asked may change the list, if only by being loaded and registering itself.
std::vector<Assets::AssetReference> FilterDescAsset::listed() const
{
    return implementations.values();
}

} // namespace Tesk::FilterBase
