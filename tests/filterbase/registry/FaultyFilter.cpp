#include "FaultyFilter.h"

#include <assets/AssetDatabaseService.h>
#include <data/ClassRegistry.h>
#include <data/FieldEvent.h>

#include <QMetaType>

namespace FilterBaseTesting {

using namespace Tesk;
using Shared = SharedObject<Assets::Asset>;

const QString FaultyFilter::sTypeName = QStringLiteral("FilterBaseTesting::FaultyFilter");
const QString BareFilter::sTypeName = QStringLiteral("FilterBaseTesting::BareFilter");

std::function<void(const FaultyFilter &, Operation)> FaultyFilter::sBeforeAnswer;

template<class T>
static void registerAsset()
{
    Data::ClassRegistry::setCurrentVersion(T::sTypeName, 100);
    Data::ClassRegistry::registerFactory(QMetaType::fromType<T>().id(), [] { return T::make(); });
    Assets::AssetDatabaseService::registerAssetType(T::sTypeName);
}

static void announce(const FaultyFilter &asked, Operation operation)
{
    if (FaultyFilter::sBeforeAnswer)
        FaultyFilter::sBeforeAnswer(asked, operation);
}

FaultyFilter::FaultyFilter(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : FakeFilter(badge, parent)
{}

std::shared_ptr<FaultyFilter> FaultyFilter::make()
{
    return Shared::adopt(new FaultyFilter(Shared::badge(), nullptr));
}

void FaultyFilter::registerClass()
{
    registerAsset<FaultyFilter>();
}

const QString &FaultyFilter::category() const
{
    announce(*this, Operation::Category);
    return FakeFilter::category();
}

void FaultyFilter::modelHasChanged(const Data::FieldEvent &event)
{
    if (event.phase == Data::FieldEvent::Phase::AboutToChange)
        announce(*this, Operation::Changing);
    FakeFilter::modelHasChanged(event);
}

std::shared_ptr<const RenderableBase::RenderableIODesc>
FaultyFilter::getIODesc(const Tweaks &tweaks) const
{
    announce(*this, Operation::Description);
    return FakeFilter::getIODesc(tweaks);
}

QString FaultyFilter::variationType() const
{
    announce(*this, Operation::VariationType);
    return FakeFilter::variationType();
}

BareFilter::BareFilter(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : PlainAsset(badge, parent)
{}

std::shared_ptr<BareFilter> BareFilter::make()
{
    return Shared::adopt(new BareFilter(Shared::badge(), nullptr));
}

void BareFilter::registerClass()
{
    registerAsset<BareFilter>();
}

const QString &BareFilter::category() const
{
    static const QString sCategory = QStringLiteral("filter");
    return sCategory;
}

} // namespace FilterBaseTesting
