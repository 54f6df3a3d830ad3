#include "support/FilterDatabase.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <futures/promise.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QUrl>

#include <memory>
#include <string>
#include <thread>

namespace Tesk::FilterBase {

using FilterBaseTesting::FakeFilter;
using FilterBaseTesting::recordOf;
using FilterBaseTesting::surfaceOf;
using FilterBaseTesting::Thumbnail;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::isLogMessage;
using TestSupport::placeIs;

// Nothing stops a stored filter from naming itself, or a filter that names it.
class SelfReferenceTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    SelfReferenceTest()
    {
        implementation->answers.url = QUrl(QStringLiteral("file:///x"));
        implementation->answers.urls = {implementation->answers.url};
        implementation->answers.thumbnailPath = QStringLiteral("/x.png");
        implementation->answers.requiresSignature = true;
        implementation->answers.thumbnail = [this](const std::stop_token &) {
            return make_ready_future(surface);
        };
    }

    /// Has the descriptor list itself, then an implementation.
    void listItself()
    {
        descriptor->implementations.append(descriptor->ownReference());
        descriptor->implementations.append(implementation->ownReference());
    }

    /// Has the dynamic filter and the descriptor name each other.
    void nameEachOther()
    {
        dynamic->types.insert(QStringLiteral("a"), recordOf(descriptor->ownReference()));
        descriptor->implementations.append(dynamic->ownReference());
    }

    static std::string repeated(const Assets::Asset &filter)
    {
        return "The filter " + filter.ownReference().debugInfo().toStdString()
               + " is among its own implementations";
    }

    /// Expects one warning of that operation of the descriptor.
    void expectRepeated(const char *operation) const
    {
        ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, repeated(*descriptor))));
        EXPECT_THAT(log.messages()[0].place,
                    placeIs("FilterDescAsset.cpp",
                            std::string("Tesk::FilterBase::FilterDescAsset::") + operation + "()"));
    }

    const Thumbnail surface = surfaceOf('s');
    std::shared_ptr<FakeFilter> implementation = filter("a");
    std::shared_ptr<DynamicFilterAsset> dynamic = dynamicFilter();
    std::shared_ptr<FilterDescAsset> descriptor = filterDesc();
};

TEST_F(SelfReferenceTest, aDescriptorFindsTheFilesOfItsOtherImplementations)
{
    listItself();

    EXPECT_THAT(descriptor->getSourceFileUrls(), ElementsAre(implementation->answers.url));
    expectRepeated("getSourceFileUrls");
}

TEST_F(SelfReferenceTest, aDescriptorCountsAsOneWithoutFileAmongItsImplementations)
{
    listItself();

    EXPECT_EQ(descriptor->getSourceFileUrl(), implementation->answers.url);
    EXPECT_THAT(log.messages(), Contains(isLogMessage(2, 1, repeated(*descriptor))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp",
                        "Tesk::FilterBase::FilterDescAsset::getSourceFileUrl()"));
}

TEST_F(SelfReferenceTest, aDescriptorFindsTheThumbnailPathOfItsOtherImplementations)
{
    listItself();

    EXPECT_EQ(descriptor->defaultThumbnailPath(), QStringLiteral("/x.png"));
    expectRepeated("defaultThumbnailPath");
}

TEST_F(SelfReferenceTest, aDescriptorFindsTheThumbnailOfItsOtherImplementations)
{
    listItself();

    EXPECT_EQ(descriptor->getEmbeddedThumbnail({}).get(), surface);
    expectRepeated("getEmbeddedThumbnail");
}

TEST_F(SelfReferenceTest, aDescriptorFindsTheSignatureOfItsOtherImplementations)
{
    listItself();

    EXPECT_TRUE(descriptor->requiresVyrSignature());
    expectRepeated("requiresVyrSignature");
}

TEST_F(SelfReferenceTest, aDescriptorPassesOnWhatIsToBeForgottenOnce)
{
    listItself();

    descriptor->removeExternalSourceUrlIfNotLastOne(implementation->answers.url);

    EXPECT_THAT(implementation->answers.removedUrls, ElementsAre(implementation->answers.url));
    expectRepeated("removeExternalSourceUrlIfNotLastOne");
}

TEST_F(SelfReferenceTest, aDescriptorWithoutOtherImplementationsRaisesForItsDescription)
{
    descriptor->implementations.append(descriptor->ownReference());
    try {
        descriptor->getIODesc({});
        FAIL() << "nothing was thrown";
    } catch (const Exception::RuntimeErrorException &error) {
        EXPECT_EQ(error.what(), repeated(*descriptor));
    }
    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, repeated(*descriptor))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("FilterDescAsset.cpp", "Tesk::FilterBase::FilterDescAsset::getIODesc()"));
}

TEST_F(SelfReferenceTest, aDynamicFilterAnswersAsAnEmptyOne)
{
    dynamic->types.insert(QStringLiteral("a"), recordOf(dynamic->ownReference()));

    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl());
    EXPECT_EQ(dynamic->getEmbeddedThumbnail({}).get(), nullptr);

    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, repeated(*dynamic)),
                                            isLogMessage(2, 1, repeated(*dynamic))));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("DynamicFilterAsset.cpp",
                        "Tesk::FilterBase::DynamicFilterAsset::getSourceFileUrl()"));
    EXPECT_THAT(log.messages()[1].place,
                placeIs("DynamicFilterAsset.cpp",
                        "Tesk::FilterBase::DynamicFilterAsset::getEmbeddedThumbnail()"));
}

TEST_F(SelfReferenceTest, aDynamicFilterMergesItsOwnDescriptionAsAnyOther)
{
    dynamic->types.insert(QStringLiteral("a"), recordOf(dynamic->ownReference()));
    dynamic->types.insert(QStringLiteral("b"), recordOf(implementation->ownReference()));
    implementation->description = FilterBaseTesting::descriptionOf({"x"});

    dynamic->generateIODesc();
    dynamic->generateIODesc();

    EXPECT_THAT(FilterBaseTesting::identifiersOf(*dynamic->getIODesc({})), ElementsAre("x"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SelfReferenceTest, twoFiltersThatNameEachOtherAnswerAsEmptyOnes)
{
    nameEachOther();

    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl());
    EXPECT_EQ(descriptor->getSourceFileUrl(), QUrl());
    EXPECT_EQ(dynamic->getEmbeddedThumbnail({}).get(), nullptr);
    EXPECT_EQ(descriptor->getEmbeddedThumbnail({}).get(), nullptr);
}

TEST_F(SelfReferenceTest, aThumbnailThatHadToWaitEndsWhereItComesBack)
{
    promise<Thumbnail> pending;
    int asked = 0;
    implementation->answers.thumbnail = [&](const std::stop_token &) {
        ++asked;
        return pending.get_future();
    };
    descriptor->implementations.append(implementation->ownReference());
    nameEachOther();

    const auto result = descriptor->getEmbeddedThumbnail({});
    std::thread([&pending] { pending.set_value(Thumbnail()); }).join();

    ASSERT_TRUE(result.is_ready());
    EXPECT_EQ(result.get(), nullptr);
    EXPECT_EQ(asked, 1);
    EXPECT_THAT(log.messages(), ElementsAre(isLogMessage(2, 1, repeated(*descriptor))));
}

// Both are honest: the question has been answered when it is asked again.
TEST_F(SelfReferenceTest, whoeverGetsAThumbnailMayAskForItAgain)
{
    promise<Thumbnail> pending;
    const auto late = filter("late");
    late->answers.thumbnail = [&](const std::stop_token &) {
        return pending.get_future();
    };
    descriptor->implementations.append(late->ownReference());
    descriptor->implementations.append(implementation->ownReference());

    const auto again = descriptor->getEmbeddedThumbnail({}).then(
            [this](const Thumbnail &) { return descriptor->getEmbeddedThumbnail({}); });
    pending.set_value(Thumbnail());

    EXPECT_EQ(again.get(), surface);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(SelfReferenceTest, anImplementationMayAskItsFilterAnotherQuestion)
{
    descriptor->implementations.append(implementation->ownReference());
    QString path;
    implementation->answers.thumbnail = [&](const std::stop_token &) {
        path = descriptor->defaultThumbnailPath();
        return make_ready_future(surface);
    };

    EXPECT_EQ(descriptor->getEmbeddedThumbnail({}).get(), surface);
    EXPECT_EQ(path, QStringLiteral("/x.png"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

} // namespace Tesk::FilterBase
