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

FakeFilter::FakeFilter(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : FakeAsset(badge, parent)
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

std::shared_ptr<const RenderableBase::RenderableIODesc>
FakeFilter::getIODesc(const Tweaks &tweaks) const
{
    answers.note("getIODesc");
    lastTweaks = tweaks;
    return description;
}

RenderableBase::ResolutionPolicy
FakeFilter::actualResolutionPolicy(RenderableBase::ResolutionPolicy requested) const
{
    answers.note("actualResolutionPolicy");
    return policy ? policy(requested) : requested;
}

PlainAsset::PlainAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : FakeAsset(badge, parent)
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

Thumbnail surfaceOf(char shade)
{
    return std::make_shared<Surfaces::Surface>(QSize(1, 1), Surfaces::PixelFormat::Gray8,
                                               QByteArray(1, shade));
}

} // namespace FilterBaseTesting
