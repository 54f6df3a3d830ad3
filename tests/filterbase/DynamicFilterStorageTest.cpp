#include <filterbase/DynamicFilterAsset.h>

#include "support/FilterDatabase.h"
#include "support/Random.h"
#include "support/Stored.h"

#include <filterbase/UserDataKeys.h>

#include <assets/MemoryStore.h>
#include <data/Document.h>
#include <data/Serialization.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <vantbase/ServiceLocator.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Tesk::FilterBase {

using Assets::AssetDatabaseService;
using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::identifiersOf;
using FilterBaseTesting::readStored;
using FilterBaseTesting::recordOf;
using FilterBaseTesting::stored;
using testing::ElementsAre;
using testing::IsEmpty;

class DynamicFilterStorageTest : public FilterBaseTesting::FilterDatabaseTest
{
};

TEST_F(DynamicFilterStorageTest, isEncodedAnywhereUnlessAPartIsOfAClientsClass)
{
    using Assets::AssetEncoding;
    class OwnRecord : public ImplementationInfo
    {
    };
    class OwnDescription : public RenderableBase::RenderableIODesc
    {
    };
    const auto dynamic = dynamicFilter("d");
    dynamic->types.insert("color", recordOf(dangling("a")));
    dynamic->usages.insert("none", nullptr);
    EXPECT_EQ(DynamicFilterAsset::encodingOf(*dynamic), AssetEncoding::Anywhere);
    dynamic->ioDesc.set(std::make_shared<RenderableBase::RenderableIODesc>());
    EXPECT_EQ(DynamicFilterAsset::encodingOf(*dynamic), AssetEncoding::Anywhere);

    dynamic->ioDesc.set(std::make_shared<OwnDescription>());
    EXPECT_EQ(DynamicFilterAsset::encodingOf(*dynamic), AssetEncoding::ByCommitter);
    dynamic->ioDesc.set(nullptr);
    dynamic->usages.insert("own", ImplementationInfoPtr(new OwnRecord));
    EXPECT_EQ(DynamicFilterAsset::encodingOf(*dynamic), AssetEncoding::ByCommitter);
}

TEST_F(DynamicFilterStorageTest, isEncodedByTheCommitterWhereItsClassIsAClients)
{
    class OwnFilter : public DynamicFilterAsset
    {
    public:
        using DynamicFilterAsset::DynamicFilterAsset;
    };
    using Shared = SharedObject<Assets::Asset>;
    const auto own = Shared::adopt(new OwnFilter(Shared::badge(), nullptr));
    ASSERT_EQ(own->typeName(), DynamicFilterAsset::sTypeName);

    EXPECT_EQ(DynamicFilterAsset::encodingOf(*own), Assets::AssetEncoding::ByCommitter);
}

TEST_F(DynamicFilterStorageTest, comesBackWithMapsTablesAndDescriptionWhateverTheyAre)
{
    constexpr unsigned int seed = 20010101;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    FilterBaseTesting::Random random(seed);
    const auto name = [&random] {
        const std::vector<const char *> pieces = {"a", "B", "é", " ", ",", "0", "\xf0\x9f\x8e\xa8"};
        QString text;
        for (unsigned int i = random() % 4; i > 0; --i)
            text += QString::fromUtf8(pieces[random() % pieces.size()]);
        return text;
    };
    for (int round = 0; round < 4000; ++round) {
        const auto dynamic = dynamicFilter("r" + QByteArray::number(round));
        for (ImplementationMap *map : {&dynamic->types, &dynamic->usages}) {
            for (unsigned int i = random() % 5; i > 0; --i) {
                auto record = random() % 8 == 0
                                      ? nullptr
                                      : recordOf(dangling(QByteArray::number(random() % 9)));
                for (unsigned int j = random() % 6; record && j > 0; --j)
                    record->paramUidCorrespondance.overwrite(random(), random());
                map->overwrite(name(), std::move(record));
            }
        }
        const std::vector<const char *> identifiers(random() % 6, "");
        dynamic->ioDesc.set(descriptionOf(identifiers));
        for (const auto &parameter : dynamic->ioDesc.get()->parameters) {
            parameter->identifier.set(name());
            parameter->uid.set(random());
        }
        const QByteArray bytes = stored(*dynamic);

        const auto read = dynamicFilter("w" + QByteArray::number(round));
        readStored(bytes, *read);

        ASSERT_EQ(stored(*read), bytes) << "round " << round;
        ASSERT_EQ(read->generateId(), dynamic->generateId());
        for (const auto &[original, copy] : {std::pair(&dynamic->types, &read->types),
                                             std::pair(&dynamic->usages, &read->usages)}) {
            ASSERT_EQ(copy->size(), original->size());
            for (auto a = original->begin(), b = copy->begin(); a != original->end(); ++a, ++b) {
                ASSERT_EQ(b->first, a->first);
                ASSERT_EQ(b->second == nullptr, a->second == nullptr);
                if (!a->second)
                    continue;
                ASSERT_EQ(b->second->implementationRef.get(), a->second->implementationRef.get());
                ASSERT_TRUE(b->second->paramUidCorrespondance.isEqual(
                        a->second->paramUidCorrespondance));
            }
        }
        const auto &parameters = dynamic->ioDesc.get()->parameters;
        const auto &readParameters = read->ioDesc.get()->parameters;
        ASSERT_EQ(readParameters.size(), parameters.size());
        for (auto a = parameters.begin(), b = readParameters.begin(); a != parameters.end();
             ++a, ++b) {
            ASSERT_EQ((*b)->identifier.get(), (*a)->identifier.get());
            ASSERT_EQ((*b)->uid.get(), (*a)->uid.get());
        }
        if (round % 100 == 0)
            TestSupport::drainDeferredDeletes();
    }
}

TEST_F(DynamicFilterStorageTest, mergesOnLoadingWhereNoDescriptionWasStored)
{
    filter("impl")->description = descriptionOf({"x"}, 4);
    const auto dynamic = dynamicFilter();
    dynamic->types.insert(QStringLiteral("float"), recordOf(dangling("impl")));

    const auto read = dynamicFilter("read");
    readStored(stored(*dynamic), *read);

    ASSERT_NE(read->ioDesc.get(), nullptr);
    EXPECT_THAT(identifiersOf(*read->ioDesc.get()), ElementsAre("x"));
    EXPECT_EQ(read->types.begin()->second->paramUidCorrespondance.size(), 1);
}

TEST_F(DynamicFilterStorageTest, keepsTheStoredDescriptionAndTables)
{
    const auto implementation = filter("impl");
    implementation->description = descriptionOf({"new"}, 4);
    const auto dynamic = dynamicFilter();
    dynamic->types.insert(QStringLiteral("float"), recordOf(dangling("impl")));
    dynamic->ioDesc.set(descriptionOf({"old"}));

    const auto read = dynamicFilter("read");
    readStored(stored(*dynamic), *read);

    EXPECT_THAT(identifiersOf(*read->ioDesc.get()), ElementsAre("old"));
    EXPECT_TRUE(read->types.begin()->second->paramUidCorrespondance.empty());
    EXPECT_THAT(implementation->answers.calls, IsEmpty());
}

// Closed and opened again, everything is where it was.
TEST_F(DynamicFilterStorageTest, survivesTheEndOfItsSession)
{
    auto store = std::make_unique<Assets::MemoryStore>();
    auto nextStore = store->openAnother();
    auto first = AssetDatabaseService::open(std::move(store));
    auto &locator = VantBase::ServiceLocator::instance();
    locator.unregisterService(AssetDatabaseService::typeId());
    locator.registerService(AssetDatabaseService::typeId(), first);
    const auto dynamic = std::dynamic_pointer_cast<DynamicFilterAsset>(first->createInternalAsset(
            "session", DynamicFilterAsset::sTypeName, QStringLiteral("Blur")));
    const auto implementation = FilterBaseTesting::FakeFilter::make();
    implementation->description = descriptionOf({"x", "y"}, 4);
    Assets::MetaData metaData;
    metaData.set(variationTypeUserDataKey, QStringLiteral("default_float,u"),
                 Assets::MetaDataItem::Text);
    first->insertAsset(implementation, "impl", QStringLiteral("Blur"), metaData);
    dynamic->registerImplementation(implementation->ownReference());
    dynamic->generateIODesc();
    first->makeAssetPersistent(dynamic, nullptr);
    const QByteArray id = dynamic->generateId();
    const QByteArray bytes = stored(*dynamic);
    EXPECT_EQ(dynamic->ownReference().id(), id);

    locator.unregisterService(AssetDatabaseService::typeId());
    first->close();
    const auto second = AssetDatabaseService::open(std::move(nextStore));
    locator.registerService(AssetDatabaseService::typeId(), second);
    const auto found = std::dynamic_pointer_cast<DynamicFilterAsset>(second->getAssetFromId(id));

    ASSERT_NE(found, nullptr);
    EXPECT_NE(found, dynamic);
    EXPECT_EQ(stored(*found), bytes);
    EXPECT_EQ(found->types.begin()->second->paramUidCorrespondance.size(), 2);
    EXPECT_EQ(found->getImplementationForUsageAndType(QStringLiteral("u"), QString())
                      .implementationRef.get()
                      .id(),
              "impl");
    locator.unregisterService(AssetDatabaseService::typeId());
    locator.registerService(AssetDatabaseService::typeId(), database);
    second->close();
}

} // namespace Tesk::FilterBase
