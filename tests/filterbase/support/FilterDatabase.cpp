#include "FilterDatabase.h"

#include <filterbase/SerializationRegistration.h>

#include <assets/MemoryStore.h>
#include <support/DeferredDeletes.h>
#include <vantbase/ServiceLocator.h>

namespace FilterBaseTesting {

using namespace Tesk;
using Assets::AssetDatabaseService;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;
using VantBase::ServiceLocator;

FilterDatabaseTest::FilterDatabaseTest()
    : database(AssetDatabaseService::open(std::make_unique<Assets::MemoryStore>()))
{
    FilterBase::Serialization::prepareSerialization();
    registerFakeAssets();
    ServiceLocator::instance().registerService(AssetDatabaseService::typeId(), database);
}

FilterDatabaseTest::~FilterDatabaseTest()
{
    ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    database->close();
    database.reset();
    TestSupport::drainDeferredDeletes();
}

std::shared_ptr<FakeFilter> FilterDatabaseTest::filter(const QByteArray &id, const Items &items)
{
    Assets::MetaData metaData;
    for (const auto &[key, value] : items)
        metaData.set(key, value, Assets::MetaDataItem::Text);
    auto made = FakeFilter::make();
    database->insertAsset(made, id, QString::fromUtf8(id), metaData);
    return made;
}

std::shared_ptr<PlainAsset> FilterDatabaseTest::plainAsset(const QByteArray &id)
{
    auto made = PlainAsset::make();
    database->insertAsset(made, id, QString::fromUtf8(id));
    return made;
}

Assets::AssetReference FilterDatabaseTest::dangling(const QByteArray &id)
{
    return database->referenceFromId(id);
}

std::shared_ptr<DynamicFilterAsset> FilterDatabaseTest::dynamicFilter(const QByteArray &id)
{
    return std::dynamic_pointer_cast<DynamicFilterAsset>(database->createInternalAsset(
            id, DynamicFilterAsset::sTypeName, QString::fromUtf8(id)));
}

std::shared_ptr<FilterDescAsset> FilterDatabaseTest::filterDesc(const QByteArray &id)
{
    return std::dynamic_pointer_cast<FilterDescAsset>(
            database->getOrCreateReferenceForInternalAsset(id, FilterDescAsset::sTypeName).asset());
}

std::shared_ptr<RenderableBase::RenderableIODesc>
descriptionOf(const std::vector<const char *> &identifiers, unsigned int firstUid)
{
    auto description = std::make_shared<RenderableBase::RenderableIODesc>();
    for (const char *identifier : identifiers) {
        auto parameter = std::make_shared<RenderableBase::ParameterDesc>();
        parameter->identifier.set(QString::fromUtf8(identifier));
        parameter->uid.set(firstUid++);
        description->parameters.append(parameter);
    }
    return description;
}

std::vector<std::string> identifiersOf(const RenderableBase::RenderableIODesc &description)
{
    std::vector<std::string> identifiers;
    for (const auto &parameter : description.parameters)
        identifiers.push_back(parameter->identifier.get().toStdString());
    return identifiers;
}

FilterBase::ImplementationInfoPtr recordOf(const Assets::AssetReference &reference)
{
    FilterBase::ImplementationInfoPtr record(new FilterBase::ImplementationInfo);
    record->implementationRef.set(reference);
    return record;
}

} // namespace FilterBaseTesting
