#include "RegistryTest.h"

#include "../support/FilterDatabase.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/SerializationRegistration.h>
#include <filterbase/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <support/DeferredDeletes.h>
#include <vantbase/DefaultAsyncRecovery.h>
#include <vantbase/ServiceLocator.h>

namespace FilterBaseTesting {

using namespace Tesk;
using Assets::AssetDatabaseService;
using VantBase::DefaultAsyncRecovery;
using VantBase::ServiceLocator;

static const QByteArray sCollectionId = "collection://lorimetFilters";

RegistryTest::RegistryTest()
{
    FilterBase::Serialization::prepareSerialization();
    registerFakeAssets();
    ServiceLocator::instance().registerService(DefaultAsyncRecovery::typeId(),
                                               std::make_shared<DefaultAsyncRecovery>());
    ServiceLocator::instance().setStarted(true);
    openDatabase();
}

RegistryTest::~RegistryTest()
{
    m_manager.reset();
    closeDatabase();
    ServiceLocator::instance().setStarted(false);
    ServiceLocator::instance().unregisterService(DefaultAsyncRecovery::typeId());
    TestSupport::drainDeferredDeletes();
}

void RegistryTest::openDatabase()
{
    database = AssetDatabaseService::open(store.openAnother());
    ServiceLocator::instance().registerService(AssetDatabaseService::typeId(), database);
}

void RegistryTest::closeDatabase()
{
    ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    if (database)
        database->close();
    database.reset();
}

FilterManager &RegistryTest::startManager()
{
    m_manager.reset();
    m_manager = std::make_unique<FilterManager>();
    return *m_manager;
}

void RegistryTest::restart()
{
    m_manager.reset();
    closeDatabase();
    TestSupport::drainDeferredDeletes();
    openDatabase();
}

AssetReference RegistryTest::staticFilter(const QByteArray &id, const QString &name,
                                          const QString &variation)
{
    auto made = FakeFilter::make();
    made->variation.set(variation);
    return database->insertAsset(made, id, name);
}

AssetReference RegistryTest::implementation(const QByteArray &id, const QString &name,
                                            const QString &variations)
{
    auto made = FakeFilter::make();
    made->description = descriptionOf({id.constData()});
    Assets::MetaData metaData;
    metaData.set(FilterBase::filterTypeUserDataKey, FilterBase::dynamicFilterTypeUserData,
                 Assets::MetaDataItem::Text);
    metaData.set(FilterBase::variationTypeUserDataKey, variations, Assets::MetaDataItem::Text);
    return database->insertAsset(made, id, name, metaData);
}

AssetReference RegistryTest::plainAsset(const QByteArray &id)
{
    return database->insertAsset(PlainAsset::make(), id, QString::fromUtf8(id));
}

AssetReference RegistryTest::dangling(const QByteArray &id)
{
    return database->referenceFromId(id);
}

std::shared_ptr<FilterDescAsset> RegistryTest::descriptor(const QByteArray &id, const QString &name,
                                                          const std::vector<AssetReference> &list)
{
    auto made = asDescriptor(
            database->getOrCreateReferenceForInternalAsset(id, FilterDescAsset::sTypeName));
    Assets::AssetControl::setName(made, name);
    for (const AssetReference &entry : list)
        made->implementations.append(entry);
    return made;
}

void RegistryTest::setNextVersion(const AssetReference &older, const AssetReference &newer)
{
    older.asset()->nextVersion.set(newer);
}

AssetReference RegistryTest::nextVersionOf(const AssetReference &reference)
{
    return reference.asset()->nextVersion.get();
}

void RegistryTest::setMetaData(const AssetReference &reference, const QString &key,
                               const QVariant &value)
{
    Assets::MetaDataControl::setMetaDataValue(reference, key, value);
}

std::shared_ptr<FilterDescAsset> RegistryTest::asDescriptor(const AssetReference &reference)
{
    return std::dynamic_pointer_cast<FilterDescAsset>(reference.asset());
}

std::shared_ptr<DynamicFilterAsset> RegistryTest::asDynamicFilter(const AssetReference &reference)
{
    return std::dynamic_pointer_cast<DynamicFilterAsset>(reference.asset());
}

QString RegistryTest::nameOf(const AssetReference &reference)
{
    return Assets::AssetControl::getName(reference.asset());
}

bool RegistryTest::isHidden(const AssetReference &reference)
{
    return Assets::CollectionControl::isHidden(reference);
}

std::shared_ptr<Assets::CollectionAsset> RegistryTest::collection()
{
    return std::dynamic_pointer_cast<Assets::CollectionAsset>(
            database->getOrCreateReferenceForInternalAsset(sCollectionId,
                                                           Assets::CollectionAsset::sTypeName)
                    .asset());
}

std::vector<std::string> RegistryTest::filed(const AssetReference &dynamicFilter)
{
    std::vector<std::string> entries;
    const auto filter = asDynamicFilter(dynamicFilter);
    for (const auto *map : {&filter->types, &filter->usages}) {
        for (const auto &[key, record] : *map)
            entries.push_back(key.toStdString() + '='
                              + record->implementationRef.get().id().toStdString());
    }
    return entries;
}

AssetReference RegistryTest::importOne(const AssetReference &reference, const QString &nameOverride)
{
    const auto result = manager().createOrUpdateFilters({reference}, nameOverride);
    return result.empty() ? AssetReference() : result.front();
}

testing::Matcher<const VantBase::LogMessage &> warnsIn(const std::string &operation,
                                                       const std::string &text)
{
    return testing::AllOf(TestSupport::isLogMessage(2, 1, text),
                          testing::Field(&VantBase::LogMessage::place,
                                         TestSupport::placeIs("FilterManager.cpp",
                                                              "Tesk::FilterBase::FilterManager::"
                                                                      + operation + "()")));
}

std::string describe(const AssetReference &reference)
{
    return reference.debugInfo().toStdString();
}

} // namespace FilterBaseTesting

void Tesk::Assets::PrintTo(const AssetReference &reference, std::ostream *stream)
{
    *stream << reference.debugInfo().toStdString();
}
