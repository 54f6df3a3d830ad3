#include <filterbase/DynamicFilterAsset.h>

#include "support/FilterDatabase.h"
#include "support/Random.h"

#include <filterbase/UserDataKeys.h>

#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <vantbase/FileUtils.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::recordOf;
using FilterBaseTesting::surfaceOf;
using FilterBaseTesting::Thumbnail;
using testing::ElementsAre;
using testing::IsEmpty;
using VantBase::FileUtils::dataToHash;

class DynamicFilterIdentityTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    std::shared_ptr<DynamicFilterAsset> dynamic = dynamicFilter();
};

TEST_F(DynamicFilterIdentityTest, hashesNoBytesForAnEmptyFilter)
{
    EXPECT_EQ(dynamic->generateId(), dataToHash({}));
}

TEST_F(DynamicFilterIdentityTest, hashesSortedKeysWithTheIdsOfTheirImplementations)
{
    dynamic->usages.insert(QStringLiteral("a"), recordOf(dangling("4")));
    dynamic->types.insert(QStringLiteral("b"), recordOf(dangling("1")));
    dynamic->types.insert(QStringLiteral("B"), recordOf(dangling("2")));
    dynamic->types.insert(QStringLiteral("é"), recordOf(dangling("3")));
    dynamic->types.insert(QStringLiteral("null"), recordOf({}));

    EXPECT_EQ(dynamic->generateId(), dataToHash("B2b1null\xc3\xa9"
                                                "3a4"));
}

// By code units a surrogate pair stands before U+FFFD; by code points it would stand behind.
TEST_F(DynamicFilterIdentityTest, sortsKeysByCodeUnits)
{
    const QString pair = QString::fromUtf8("\xf0\x9f\x8e\xa8");
    const QString replacement(QChar(0xfffd));
    dynamic->types.insert(replacement, recordOf(dangling("1")));
    dynamic->types.insert(pair, recordOf(dangling("2")));

    EXPECT_EQ(dynamic->generateId(), dataToHash(pair.toUtf8() + "2" + replacement.toUtf8() + "1"));
}

TEST_F(DynamicFilterIdentityTest, changesWithAUsage)
{
    dynamic->types.insert(QStringLiteral("color"), recordOf(dangling("1")));
    const QByteArray before = dynamic->generateId();

    dynamic->usages.insert(QStringLiteral("x"), recordOf(dangling("1")));

    EXPECT_NE(dynamic->generateId(), before);
}

TEST_F(DynamicFilterIdentityTest, doesNotTellATypeFromAUsageOfTheSameText)
{
    const auto other = dynamicFilter("other");
    dynamic->types.insert(QStringLiteral("x"), recordOf(dangling("1")));
    other->usages.insert(QStringLiteral("x"), recordOf(dangling("1")));

    EXPECT_EQ(dynamic->generateId(), other->generateId());
}

TEST_F(DynamicFilterIdentityTest, doesNotDependOnTheDescriptionOrTheUidTables)
{
    dynamic->types.insert(QStringLiteral("x"), recordOf(dangling("1")));
    const QByteArray before = dynamic->generateId();

    dynamic->ioDesc.set(FilterBaseTesting::descriptionOf({"a"}));
    dynamic->types.begin()->second->paramUidCorrespondance.insert(1, 2);

    EXPECT_EQ(dynamic->generateId(), before);
}

TEST_F(DynamicFilterIdentityTest, doesNotDependOnTheOrderOfRegistration)
{
    constexpr unsigned int seed = 4711;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    FilterBaseTesting::Random random(seed);
    // In the order in which they are iterated, types and usages each.
    const std::vector<std::string> parts = {"default_",
                                            "default_B",
                                            "default_a",
                                            "default_b",
                                            "default_é",
                                            "default_\xf0\x9f\x8e\xa8",
                                            "default_\xef\xbd\x9e" /* after a surrogate */,
                                            " e",
                                            "c",
                                            "d"};
    for (int round = 0; round < 4000; ++round) {
        std::vector<Assets::AssetReference> implementations;
        std::vector<std::string> left;
        std::vector<QString> expectedKeys;
        for (const std::string &part : parts) {
            if (random() % 4 == 0)
                continue;
            left.push_back(part);
            const QString text = QString::fromStdString(part);
            expectedKeys.push_back(text.startsWith("default_") ? text.mid(8) : text);
        }
        std::shuffle(left.begin(), left.end(), random);
        while (!left.empty()) {
            std::string text = left.back();
            left.pop_back();
            if (!left.empty() && random() % 2 == 0) {
                text += "," + left.back();
                left.pop_back();
            }
            const QByteArray id = "r" + QByteArray::number(round) + "-"
                                  + QByteArray::number(static_cast<int>(left.size()));
            implementations.push_back(
                    filter(id, {{variationTypeUserDataKey, QString::fromStdString(text)}})
                            ->ownReference());
        }
        QByteArray expected;
        for (int attempt = 0; attempt < 3; ++attempt) {
            const auto asset = dynamicFilter("d" + QByteArray::number(round) + "-"
                                             + QByteArray::number(attempt));
            for (const auto &implementation : implementations)
                asset->registerImplementation(implementation);
            std::vector<QString> keys;
            for (const auto *map : {&asset->types, &asset->usages}) {
                for (const auto &[key, info] : *map)
                    keys.push_back(key);
            }
            if (attempt == 0)
                expected = asset->generateId();
            ASSERT_EQ(asset->generateId(), expected) << "round " << round;
            ASSERT_EQ(keys, expectedKeys) << "round " << round;
            std::shuffle(implementations.begin(), implementations.end(), random);
        }
        if (round % 100 == 0)
            TestSupport::drainDeferredDeletes();
    }
}

TEST_F(DynamicFilterIdentityTest, givesNothingWithoutImplementations)
{
    const auto thumbnail = dynamic->getEmbeddedThumbnail({});

    ASSERT_TRUE(thumbnail.is_ready());
    EXPECT_EQ(thumbnail.get(), nullptr);
    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl());
    EXPECT_FALSE(dynamic->containsPreviousVersion(dangling()));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DynamicFilterIdentityTest, givesNothingWhereTheFirstImplementationDoesNotResolve)
{
    const auto second = filter("second");
    second->answers.url = QUrl(QStringLiteral("file:///second"));
    dynamic->types.insert(QStringLiteral("a"), recordOf(dangling()));
    dynamic->types.insert(QStringLiteral("b"), recordOf(second->ownReference()));

    const auto thumbnail = dynamic->getEmbeddedThumbnail({});

    ASSERT_TRUE(thumbnail.is_ready());
    EXPECT_EQ(thumbnail.get(), nullptr);
    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl());
    EXPECT_THAT(second->answers.calls, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DynamicFilterIdentityTest, takesThumbnailAndFileFromTheFirstType)
{
    const auto usage = filter("usage");
    const auto late = filter("late");
    const auto first = plainAsset("first");
    first->answers.url = QUrl(QStringLiteral("file:///first"));
    const Thumbnail surface = surfaceOf('f');
    const std::stop_source source;
    std::stop_token received;
    first->answers.thumbnail = [&](const std::stop_token &token) {
        received = token;
        return make_ready_future(surface);
    };
    dynamic->usages.insert(QStringLiteral("a"), recordOf(usage->ownReference()));
    dynamic->types.insert(QStringLiteral("c"), recordOf(late->ownReference()));
    dynamic->types.insert(QStringLiteral("b"), recordOf(first->ownReference()));

    EXPECT_EQ(dynamic->getEmbeddedThumbnail(source.get_token()).get(), surface);
    EXPECT_EQ(received, source.get_token());
    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl(QStringLiteral("file:///first")));
    EXPECT_THAT(usage->answers.calls, IsEmpty());
    EXPECT_THAT(late->answers.calls, IsEmpty());
}

TEST_F(DynamicFilterIdentityTest, takesThumbnailAndFileFromTheFirstUsageWhereThereAreNoTypes)
{
    const auto first = filter("first");
    first->answers.url = QUrl(QStringLiteral("file:///first"));
    const Thumbnail surface = surfaceOf('f');
    first->answers.thumbnail = [&](const std::stop_token &) {
        return make_ready_future(surface);
    };
    dynamic->usages.insert(QStringLiteral("b"), recordOf(filter("late")->ownReference()));
    dynamic->usages.insert(QStringLiteral("a"), recordOf(first->ownReference()));

    EXPECT_EQ(dynamic->getEmbeddedThumbnail({}).get(), surface);
    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl(QStringLiteral("file:///first")));
}

// "DynamicFilterAsset" inherits these: a filter has the list that its base makes of its one file.
TEST_F(DynamicFilterIdentityTest, answersTheOtherQuestionsAsAnyAsset)
{
    const auto first = filter("first");
    first->answers.url = QUrl(QStringLiteral("file:///first"));
    first->answers.thumbnailPath = QStringLiteral("/first.png");
    first->answers.requiresSignature = true;
    dynamic->types.insert(QStringLiteral("a"), recordOf(first->ownReference()));

    EXPECT_THAT(dynamic->getSourceFileUrls(), ElementsAre(first->answers.url));
    EXPECT_EQ(dynamic->defaultThumbnailPath(), QString());
    EXPECT_FALSE(dynamic->requiresVyrSignature());
}

TEST_F(DynamicFilterIdentityTest, isOfTheCategoryFilterAndAlwaysTheSameObject)
{
    EXPECT_EQ(dynamic->category(), QStringLiteral("filter"));
    EXPECT_EQ(&dynamic->category(), &dynamicFilter("other")->category());
}

TEST_F(DynamicFilterIdentityTest, knowsANewerVersionOfAnyImplementation)
{
    const auto oldest = filter("oldest");
    const auto newer = filter("newer");
    const auto newest = filter("newest");
    oldest->nextVersion.set(newer->ownReference());
    newer->nextVersion.set(newest->ownReference());
    dynamic->types.insert(QStringLiteral("a"), recordOf(dangling()));
    dynamic->types.insert(QStringLiteral("b"), recordOf(filter("other")->ownReference()));
    dynamic->usages.insert(QStringLiteral("u"), recordOf(oldest->ownReference()));

    EXPECT_TRUE(dynamic->containsPreviousVersion(newer->ownReference()));
    EXPECT_TRUE(dynamic->containsPreviousVersion(newest->ownReference()));
    EXPECT_FALSE(dynamic->containsPreviousVersion(oldest->ownReference()));
    EXPECT_FALSE(dynamic->containsPreviousVersion(dangling("unknown")));
}

} // namespace Tesk::FilterBase
