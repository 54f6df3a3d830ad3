#include <filterbase/FilterDescAsset.h>

#include "support/FilterDatabase.h"

#include <data/Document.h>
#include <data/Serialization.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <set>
#include <string>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::FakeFilter;
using FilterBaseTesting::Tweaks;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using TestSupport::isLogMessage;
using TestSupport::placeIs;

class FilterDescAssetTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    void list(const Assets::AssetReference &reference)
    {
        descriptor->implementations.append(reference);
    }

    std::shared_ptr<FakeFilter> listed(const char *id, const char *url = "")
    {
        auto implementation = filter(id);
        implementation->answers.url = QUrl(QString::fromUtf8(url));
        list(implementation->ownReference());
        return implementation;
    }

    std::string textOf(const Assets::AssetReference &reference) const
    {
        return reference.debugInfo().toStdString();
    }

    /// What is logged for an entry that is skipped.
    std::string skipped(const Assets::AssetReference &reference) const
    {
        return "The implementation " + textOf(reference) + " of "
               + textOf(descriptor->ownReference()) + " is not an AssetWithIO";
    }

    std::shared_ptr<FilterDescAsset> descriptor = filterDesc();
};

TEST_F(FilterDescAssetTest, isEncodedAnywhereUnlessItsClassIsAClients)
{
    using Assets::AssetEncoding;
    class OwnAsset : public FilterDescAsset
    {
    public:
        using FilterDescAsset::FilterDescAsset;
    };
    using Shared = SharedObject<Assets::Asset>;
    const auto made = Shared::adopt(new FilterDescAsset(Shared::badge(), nullptr));
    const auto own = Shared::adopt(new OwnAsset(Shared::badge(), nullptr));

    EXPECT_EQ(FilterDescAsset::encodingOf(*made), AssetEncoding::Anywhere);
    EXPECT_EQ(FilterDescAsset::encodingOf(*own), AssetEncoding::ByCommitter);
}

TEST_F(FilterDescAssetTest, isEmptyAtFirstAndNotifiesOfChanges)
{
    EXPECT_TRUE(descriptor->implementations.empty());
    EXPECT_EQ(descriptor->implementations.options(),
              Data::SerializableFieldBase::Options(Data::SerializableFieldBase::NotifyChanges));
    EXPECT_EQ(descriptor->getFieldNames().last(), QStringLiteral("implementations"));
    EXPECT_EQ(descriptor->typeName(), FilterDescAsset::sTypeName);
    EXPECT_EQ(&descriptor->typeName(), &FilterDescAsset::sTypeName);
}

TEST_F(FilterDescAssetTest, hasNothingInItsMetaObjectButTheName)
{
    const QMetaObject &meta = FilterDescAsset::staticMetaObject;

    EXPECT_STREQ(meta.className(), "Tesk::FilterBase::FilterDescAsset");
    EXPECT_EQ(meta.superClass(), &RenderableBase::AssetWithIO::staticMetaObject);
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
}

TEST_F(FilterDescAssetTest, hasNoMetaDataAndNoDebugInfoOfItsOwn)
{
    Assets::MetaData metaData;

    EXPECT_FALSE(descriptor->initMetaData(metaData));
    EXPECT_TRUE(metaData.empty());
    EXPECT_TRUE(descriptor->specificDynamicDebugInfo().isEmpty());
}

TEST_F(FilterDescAssetTest, givesOneCategoryObjectToAllThreads)
{
    constexpr int threads = 8;
    std::vector<std::future<const QString *>> answers;
    for (int i = 0; i < threads; ++i) {
        answers.push_back(
                std::async(std::launch::async, [this] { return &descriptor->category(); }));
    }
    std::set<const QString *> objects;
    for (auto &answer : answers)
        objects.insert(answer.get());

    ASSERT_EQ(objects.size(), 1U);
    EXPECT_EQ(**objects.begin(), QStringLiteral("filter"));
}

TEST_F(FilterDescAssetTest, passesTheTweaksOnAndTheDescriptionBack)
{
    const auto only = listed("only");
    only->description = descriptionOf({"a"});
    const Tweaks tweaks{{3, 0.5}};

    EXPECT_EQ(descriptor->getIODesc(tweaks), only->description);
    EXPECT_EQ(only->lastTweaks, tweaks);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescAssetTest, raisesForADescriptionWithoutImplementations)
{
    const std::string message =
            "Asset with ref " + textOf(descriptor->ownReference()) + " has no implementations";
    try {
        descriptor->getIODesc({});
        FAIL() << "nothing was thrown";
    } catch (const Exception::RuntimeErrorException &error) {
        EXPECT_EQ(error.what(), message);
    }
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, message)));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp", "Tesk::FilterBase::FilterDescAsset::getIODesc()"));
}

TEST_F(FilterDescAssetTest, raisesForADescriptionWithTwoImplementationsWhateverTheyAre)
{
    list(dangling());
    list({});
    const std::string message = "Asset with ref " + textOf(descriptor->ownReference())
                                + " has too many implementations.";
    try {
        descriptor->getIODesc({});
        FAIL() << "nothing was thrown";
    } catch (const Exception::RuntimeErrorException &error) {
        EXPECT_EQ(error.what(), message);
    }
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, message)));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp", "Tesk::FilterBase::FilterDescAsset::getIODesc()"));
}

TEST_F(FilterDescAssetTest, raisesTheTwoCountErrorsFromTwoLines)
{
    EXPECT_THROW(descriptor->getIODesc({}), Exception::RuntimeErrorException);
    list(dangling());
    list(dangling());
    EXPECT_THROW(descriptor->getIODesc({}), Exception::RuntimeErrorException);

    const auto messages = log.messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_NE(TestSupport::lineOf(messages[0].place), TestSupport::lineOf(messages[1].place));
}

TEST_F(FilterDescAssetTest, raisesWhereTheOneImplementationHasNoDescription)
{
    for (const auto &reference : {dangling(), plainAsset("plain")->ownReference()}) {
        descriptor->implementations.clear();
        list(reference);
        log.clear();
        const std::string message = "The implementation " + textOf(reference) + " of "
                                    + textOf(descriptor->ownReference()) + " is not an AssetWithIO";
        try {
            descriptor->getIODesc({});
            FAIL() << "nothing was thrown";
        } catch (const Exception::RuntimeErrorException &error) {
            EXPECT_EQ(error.what(), message);
        }
        ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, message)));
        EXPECT_THAT(
                log.messages()[0].place,
                placeIs("FilterDescAsset.cpp", "Tesk::FilterBase::FilterDescAsset::getIODesc()"));
    }
}

TEST_F(FilterDescAssetTest, hasNoSourceFileWithoutImplementations)
{
    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl());
    EXPECT_THAT(descriptor->getSourceFileUrls(), IsEmpty());
    EXPECT_EQ(descriptor->defaultThumbnailPath(), QString());
    EXPECT_FALSE(descriptor->requiresVyrSignature());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescAssetTest, returnsTheSourceFileOnWhichAllAgreeWithoutARecord)
{
    listed("a", "file:///x");
    listed("b", "file:///x");

    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl(QStringLiteral("file:///x")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescAssetTest, returnsTheFirstSourceFileThatDiffersWithOneRecord)
{
    listed("a", "file:///x");
    listed("b", "file:///y");
    const auto third = listed("c", "file:///z");

    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl(QStringLiteral("file:///y")));
    ASSERT_THAT(log.messages(),
                ElementsAre(isLogMessage(2, 1,
                                         "implementations of " + textOf(descriptor->ownReference())
                                                 + " point to different files")));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp",
                        "Tesk::FilterBase::FilterDescAsset::getSourceFileUrl()"));
    EXPECT_THAT(third->answers.calls, IsEmpty());
}

TEST_F(FilterDescAssetTest, returnsTheSecondSourceFileWhereFirstAndThirdAgree)
{
    listed("a", "file:///x");
    listed("b", "file:///y");
    listed("c", "file:///x");

    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl(QStringLiteral("file:///y")));
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(FilterDescAssetTest, returnsTheFirstSourceFileThatDiffersEvenIfItIsEmpty)
{
    listed("a", "file:///x");
    listed("b");

    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl());
    EXPECT_EQ(log.messages().size(), 1U);
}

TEST_F(FilterDescAssetTest, hasNoSourceFileWhereNoImplementationHasOne)
{
    list(dangling());
    list({});

    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl());
    EXPECT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, skipped(dangling())),
                                            isLogMessage(2, 1, skipped({}))));
}

TEST_F(FilterDescAssetTest, skipsWhatHasNoSourceFileWithOneRecordEach)
{
    const auto gone = dangling();
    const auto plain = plainAsset("plain");
    plain->answers.url = QUrl(QStringLiteral("file:///plain"));
    list(gone);
    listed("a", "file:///x");
    list(plain->ownReference());

    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl(QStringLiteral("file:///x")));
    EXPECT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, skipped(gone)),
                                            isLogMessage(2, 1, skipped(plain->ownReference()))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp",
                        "Tesk::FilterBase::FilterDescAsset::getSourceFileUrl()"));
    EXPECT_THAT(plain->answers.calls, IsEmpty());
}

TEST_F(FilterDescAssetTest, returnsEachSourceFileOnce)
{
    const QUrl x(QStringLiteral("file:///x"));
    const QUrl y(QStringLiteral("file:///y"));
    listed("a")->answers.urls = {x, y, x};
    listed("b")->answers.urls = {x};

    EXPECT_THAT(descriptor->getSourceFileUrls(), UnorderedElementsAre(x, y));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescAssetTest, skipsWhatHasNoSourceFilesWithOneRecordEach)
{
    const auto gone = dangling();
    const QUrl x(QStringLiteral("file:///x"));
    list(gone);
    listed("a")->answers.urls = {x};

    EXPECT_THAT(descriptor->getSourceFileUrls(), ElementsAre(x));
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, skipped(gone))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp",
                        "Tesk::FilterBase::FilterDescAsset::getSourceFileUrls()"));
}

TEST_F(FilterDescAssetTest, asksEveryImplementationToForgetAFile)
{
    const QUrl x(QStringLiteral("file:///x"));
    const auto gone = dangling();
    const auto plain = plainAsset("plain");
    const auto first = listed("a");
    list(gone);
    list(plain->ownReference());
    const auto second = listed("b");

    descriptor->removeExternalSourceUrlIfNotLastOne(x);

    EXPECT_THAT(first->answers.removedUrls, ElementsAre(x));
    EXPECT_THAT(second->answers.removedUrls, ElementsAre(x));
    EXPECT_THAT(plain->answers.removedUrls, IsEmpty());
    EXPECT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, skipped(gone)),
                                            isLogMessage(2, 1, skipped(plain->ownReference()))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp", "Tesk::FilterBase::FilterDescAsset::"
                                               "removeExternalSourceUrlIfNotLastOne()"));
}

TEST_F(FilterDescAssetTest, returnsTheFirstThumbnailPathThatIsNotEmpty)
{
    listed("a");
    const auto plain = plainAsset("plain");
    plain->answers.thumbnailPath = QStringLiteral("/plain.png");
    list(dangling());
    list({});
    list(plain->ownReference());
    const auto last = listed("b");
    last->answers.thumbnailPath = QStringLiteral("/b.png");

    EXPECT_EQ(descriptor->defaultThumbnailPath(), QStringLiteral("/plain.png"));
    EXPECT_THAT(last->answers.calls, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescAssetTest, requiresASignatureAsSoonAsOneImplementationDoes)
{
    const auto plain = plainAsset("plain");
    listed("a");
    list(dangling());
    list(plain->ownReference());
    const auto last = listed("b");

    EXPECT_FALSE(descriptor->requiresVyrSignature());
    plain->answers.requiresSignature = true;
    last->answers.calls.clear();
    EXPECT_TRUE(descriptor->requiresVyrSignature());
    EXPECT_THAT(last->answers.calls, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterDescAssetTest, keepsTheOrderOfItsListWhenStored)
{
    listed("b");
    listed("a");
    list(dangling());
    list({});
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();
    serializeToNode(root, static_cast<const Data::SerializableData &>(*descriptor));

    const auto read = filterDesc("filterDesc://other");
    deserializeFromNode(root, static_cast<Data::SerializableData &>(*read));

    EXPECT_EQ(read->implementations.values(), descriptor->implementations.values());
    EXPECT_EQ(root.classVersion(), 300);
}

} // namespace Tesk::FilterBase
