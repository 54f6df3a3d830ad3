#include <filterbase/SerializationRegistration.h>

#include "support/FilterDatabase.h"
#include "support/Stored.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <data/ClassRegistry.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>
#include <vantbase/Ownership.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QMetaType>
#include <QPointer>

#include <memory>

namespace Tesk::FilterBase {

using Assets::AssetDatabaseService;
using Data::ClassRegistry;
using Data::Serialization::ArrayNode;
using Data::Serialization::Document;
using Data::Serialization::Node;
using testing::ElementsAre;

static const QString sOldName = QStringLiteral("Tesk::RenderableBase::FilterDescAsset");

class SerializationRegistrationTest : public FilterBaseTesting::FilterDatabaseTest
{
};

TEST_F(SerializationRegistrationTest, givesEachClassItsVersion)
{
    EXPECT_EQ(ClassRegistry::currentVersion(ImplementationInfo::sTypeName), 100);
    EXPECT_EQ(ClassRegistry::currentVersion(FilterDescAsset::sTypeName), 300);
    EXPECT_EQ(ClassRegistry::currentVersion(DynamicFilterAsset::sTypeName), 100);
}

TEST_F(SerializationRegistrationTest, writesTheVersionsThatAreCurrent)
{
    Document document;
    Node descriptor = document.root().addObject("descriptor");
    Node dynamic = document.root().addObject("dynamic");
    Node record = document.root().addObject("record");

    serializeToNode(descriptor, static_cast<const Data::SerializableData &>(*filterDesc()));
    serializeToNode(dynamic, static_cast<const Data::SerializableData &>(*dynamicFilter()));
    serializeToNode(record, ImplementationInfo());

    EXPECT_EQ(descriptor.className(), FilterDescAsset::sTypeName);
    EXPECT_EQ(descriptor.classVersion(), 300);
    EXPECT_EQ(dynamic.className(), DynamicFilterAsset::sTypeName);
    EXPECT_EQ(dynamic.classVersion(), 100);
    EXPECT_EQ(record.classVersion(), 100);
}

TEST_F(SerializationRegistrationTest, makesTheTypesKnownByTheirNames)
{
    EXPECT_EQ(QMetaType::fromName(ImplementationInfo::sTypeName.toUtf8()),
              QMetaType::fromType<ImplementationInfo>());
    EXPECT_EQ(QMetaType::fromName(FilterDescAsset::sTypeName.toUtf8()),
              QMetaType::fromType<FilterDescAsset>());
    EXPECT_EQ(QMetaType::fromName(DynamicFilterAsset::sTypeName.toUtf8()),
              QMetaType::fromType<DynamicFilterAsset>());
}

TEST_F(SerializationRegistrationTest, registersFactoriesForAssetsAlone)
{
    EXPECT_FALSE(ClassRegistry::hasFactory(ImplementationInfo::sTypeName));
    EXPECT_TRUE(ClassRegistry::hasFactory(FilterDescAsset::sTypeName));
    EXPECT_TRUE(ClassRegistry::hasFactory(DynamicFilterAsset::sTypeName));
    EXPECT_TRUE(ClassRegistry::hasFactory(sOldName));
    EXPECT_THROW(ClassRegistry::createShared(ImplementationInfo::sTypeName),
                 Exception::Data::SerializationException);
}

TEST_F(SerializationRegistrationTest, registersTheAssetsAsAssetTypes)
{
    EXPECT_TRUE(AssetDatabaseService::isAssetType(FilterDescAsset::sTypeName));
    EXPECT_TRUE(AssetDatabaseService::isAssetType(DynamicFilterAsset::sTypeName));
    EXPECT_FALSE(AssetDatabaseService::isAssetType(ImplementationInfo::sTypeName));
}

TEST_F(SerializationRegistrationTest, factoriesMakeEmptyAssetsThatCanShareThemselves)
{
    for (const QString &name : {FilterDescAsset::sTypeName, DynamicFilterAsset::sTypeName}) {
        const auto asset =
                std::dynamic_pointer_cast<Assets::Asset>(ClassRegistry::createShared(name));

        ASSERT_NE(asset, nullptr);
        EXPECT_EQ(asset->typeName(), name);
        EXPECT_EQ(asset->parent(), nullptr);
        EXPECT_EQ(asset->sharedFromThis(), asset);
        EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(asset.get()));
        EXPECT_NE(ClassRegistry::createShared(name), asset);
    }
}

TEST_F(SerializationRegistrationTest, assetsOfAFactoryDieThroughTheEventLoop)
{
    for (const QString &name : {FilterDescAsset::sTypeName, DynamicFilterAsset::sTypeName}) {
        auto asset = std::dynamic_pointer_cast<Assets::Asset>(ClassRegistry::createShared(name));
        const QPointer<Assets::Asset> watch = asset.get();

        asset.reset();

        ASSERT_FALSE(watch.isNull());
        EXPECT_EQ(watch->sharedFromThis(), nullptr);
        TestSupport::drainDeferredDeletes();
        EXPECT_TRUE(watch.isNull());
    }
}

TEST_F(SerializationRegistrationTest, readsTheOldNameOfADescriptorAsTheCurrentOne)
{
    EXPECT_EQ(ClassRegistry::currentName(sOldName), FilterDescAsset::sTypeName);
    EXPECT_NE(std::dynamic_pointer_cast<FilterDescAsset>(ClassRegistry::createShared(sOldName)),
              nullptr);
}

// Each step needs what the one before it makes: source files end as URLs only in this order.
TEST_F(SerializationRegistrationTest, upgradesVersion100InTwoStepsInOrder)
{
    Document document;
    Node root = document.root();
    root.setClassInfo(sOldName, 100);
    ArrayNode files = root.addObject("AssetData").addArray("sourceFiles", "path");
    files.append().setValue("/tmp/a b.mtlx");

    ClassRegistry::upgrade(root);

    EXPECT_EQ(root.className(), FilterDescAsset::sTypeName);
    EXPECT_EQ(root.classVersion(), 300);
    const ArrayNode urls = root.findObject("Fields").findArray("externalFileUrls", "FieldArray");
    ASSERT_EQ(urls.size(), 1);
    EXPECT_EQ((*urls.begin()).toText(), QStringLiteral("file:///tmp/a%20b.mtlx"));
}

TEST_F(SerializationRegistrationTest, upgradesVersion200InTheSecondStepAlone)
{
    Document document;
    Node root = document.root();
    root.setClassInfo(FilterDescAsset::sTypeName, 200);
    // The first step refuses a body without "AssetData".
    ArrayNode files = root.addObject("Fields").addArray("externalFilePaths", "path");
    files.append().setValue("/tmp/a.mtlx");

    ClassRegistry::upgrade(root);

    EXPECT_EQ(root.classVersion(), 300);
    EXPECT_EQ(root.findObject("Fields").findArray("externalFileUrls", "FieldArray").size(), 1);
}

TEST_F(SerializationRegistrationTest, refusesAVersionNewerThanItsOwn)
{
    const auto descriptor = filterDesc();
    Document document;
    Node root = document.root();
    serializeToNode(root, static_cast<const Data::SerializableData &>(*descriptor));
    root.setClassInfo(FilterDescAsset::sTypeName, 301);

    EXPECT_THROW(deserializeFromNode(root, static_cast<Data::SerializableData &>(*descriptor)),
                 Exception::Data::SerializationException);
}

TEST_F(SerializationRegistrationTest, doesNothingTheSecondTime)
{
    ClassRegistry::setCurrentVersion(FilterDescAsset::sTypeName, 301);

    Serialization::prepareSerialization();

    EXPECT_EQ(ClassRegistry::currentVersion(FilterDescAsset::sTypeName), 301);
    ClassRegistry::setCurrentVersion(FilterDescAsset::sTypeName, 300);
}

} // namespace Tesk::FilterBase
