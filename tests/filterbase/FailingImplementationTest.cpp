#include "support/FilterDatabase.h"
#include "support/ObservedIODesc.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/UserDataKeys.h>

#include <data/FieldEvent.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QUrl>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::descriptionOf;
using FilterBaseTesting::FakeFilter;
using FilterBaseTesting::identifiersOf;
using FilterBaseTesting::ObservedIODesc;
using FilterBaseTesting::recordOf;
using FilterBaseTesting::UncopyableIODesc;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct Question
{
    const char *name;
    std::function<void(FilterDescAsset &)> ask;
};

/// What a descriptor asks all its implementations.
const std::vector<Question> &questions()
{
    static const std::vector<Question> sQuestions = {
            {"getSourceFileUrl",
             [](FilterDescAsset &asset) {
                 asset.getSourceFileUrl();
             }},
            {"getSourceFileUrls",
             [](FilterDescAsset &asset) {
                 asset.getSourceFileUrls();
             }},
            {"defaultThumbnailPath",
             [](FilterDescAsset &asset) {
                 asset.defaultThumbnailPath();
             }},
            {"requiresVyrSignature",
             [](FilterDescAsset &asset) {
                 asset.requiresVyrSignature();
             }},
            {"getEmbeddedThumbnail",
             [](FilterDescAsset &asset) {
                 asset.getEmbeddedThumbnail({}).get();
             }},
            {"removeExternalSourceUrlIfNotLastOne",
             [](FilterDescAsset &asset) {
                 asset.removeExternalSourceUrlIfNotLastOne(QUrl(QStringLiteral("file:///x")));
             }},
    };
    return sQuestions;
}

/// A dynamic filter that refuses a change of one field, as a read-only one would.
class RefusingFilter : public DynamicFilterAsset
{
public:
    using DynamicFilterAsset::DynamicFilterAsset;

    static std::shared_ptr<RefusingFilter> make()
    {
        using Shared = SharedObject<Assets::Asset>;
        return Shared::adopt(new RefusingFilter(Shared::badge(), nullptr));
    }

    void modelHasChanged(const Data::FieldEvent &event) override
    {
        if (event.fieldName == refusedField)
            getField(refusedField)->throwReadOnlyError();
    }

    QString refusedField;
};

} // namespace

class FailingImplementationTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    std::shared_ptr<FakeFilter> listed(const char *id)
    {
        auto implementation = filter(id);
        descriptor->implementations.append(implementation->ownReference());
        return implementation;
    }

    std::shared_ptr<FakeFilter>
    type(const char *key, std::shared_ptr<const RenderableBase::RenderableIODesc> description)
    {
        auto implementation = filter(QByteArray("impl-") + key);
        implementation->description = std::move(description);
        dynamic->types.insert(QString::fromUtf8(key), recordOf(implementation->ownReference()));
        return implementation;
    }

    qsizetype tableSize(const char *key) const
    {
        return dynamic->types.find(QString::fromUtf8(key))->second->paramUidCorrespondance.size();
    }

    static void fail() { throw std::domain_error("broken"); }

    std::shared_ptr<FilterDescAsset> descriptor = filterDesc();
    std::shared_ptr<DynamicFilterAsset> dynamic = dynamicFilter();
};

TEST_F(FailingImplementationTest, passesItsErrorThroughTheDescriptorAndEndsTheQuestion)
{
    const auto first = listed("a");
    const auto second = listed("b");
    const auto third = listed("c");
    second->answers.onAsked = fail;
    for (const Question &question : questions()) {
        SCOPED_TRACE(question.name);
        first->answers.calls.clear();
        EXPECT_THROW(question.ask(*descriptor), std::domain_error);
        EXPECT_THAT(first->answers.calls, testing::Not(IsEmpty()));
        EXPECT_THAT(third->answers.calls, IsEmpty());
    }
    EXPECT_EQ(descriptor->implementations.size(), 3);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FailingImplementationTest, isAskedAgainTheNextTime)
{
    const auto only = listed("a");
    for (const Question &question : questions()) {
        SCOPED_TRACE(question.name);
        only->answers.onAsked = fail;
        EXPECT_THROW(question.ask(*descriptor), std::domain_error);
        only->answers.onAsked = {};
        EXPECT_NO_THROW(question.ask(*descriptor));
    }
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FailingImplementationTest, passesItsErrorThroughTheDescriptionOfADescriptor)
{
    listed("a")->answers.onAsked = fail;

    EXPECT_THROW(descriptor->getIODesc({}), std::domain_error);
    EXPECT_THAT(log.messages(), IsEmpty());
}

// As when an asset registers itself on being loaded.
TEST_F(FailingImplementationTest, mayChangeTheListThatIsBeingAsked)
{
    const auto first = listed("a");
    const auto second = listed("b");
    const auto list = descriptor->implementations.values();
    first->answers.onAsked = [this] {
        descriptor->implementations.clear();
    };
    for (const Question &question : questions()) {
        SCOPED_TRACE(question.name);
        descriptor->implementations.assign(list);
        second->answers.calls.clear();

        question.ask(*descriptor);

        EXPECT_THAT(second->answers.calls, SizeIs(1));
        EXPECT_TRUE(descriptor->implementations.empty());
    }
}

TEST_F(FailingImplementationTest, passesItsErrorThroughTheDynamicFilter)
{
    const auto first = type("a", descriptionOf({"x"}));
    first->answers.onAsked = fail;

    EXPECT_THROW(dynamic->getSourceFileUrl(), std::domain_error);
    EXPECT_THROW(dynamic->getEmbeddedThumbnail({}), std::domain_error);
    EXPECT_THROW(dynamic->actualResolutionPolicy({}), std::domain_error);
    EXPECT_THROW(dynamic->generateIODesc(), std::domain_error);
    first->answers.onAsked = {};
    EXPECT_EQ(dynamic->getSourceFileUrl(), QUrl());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FailingImplementationTest, leavesTheOldDescriptionWhenItFailsInTheMiddleOfAMerge)
{
    const auto before = descriptionOf({"old"});
    dynamic->ioDesc.set(before);
    type("a", descriptionOf({"x"}));
    const auto second = type("b", descriptionOf({"y"}));
    second->answers.onAsked = fail;

    EXPECT_THROW(dynamic->generateIODesc(), std::domain_error);
    EXPECT_EQ(dynamic->ioDesc.get(), before);
    EXPECT_EQ(tableSize("b"), 0);

    second->answers.onAsked = {};
    dynamic->generateIODesc();
    EXPECT_THAT(identifiersOf(*dynamic->ioDesc.get()), ElementsAre("y", "x"));
    EXPECT_EQ(tableSize("a"), 1);
    EXPECT_EQ(tableSize("b"), 1);
}

TEST_F(FailingImplementationTest, leavesTheOldDescriptionWhereTheNewOneBecomesReadOnly)
{
    ObservedIODesc::registerClass();
    const auto before = descriptionOf({"old"});
    dynamic->ioDesc.set(before);
    const auto observed = std::make_shared<ObservedIODesc>();
    observed->parameters.assign(descriptionOf({"a"})->parameters.values());
    type("1", observed);
    type("2", descriptionOf({"a", "b", "c"}));
    ObservedIODesc::events().clear();
    ObservedIODesc::readOnlyFrom() = 3; // before the second insertion

    EXPECT_THROW(dynamic->generateIODesc(), Exception::ReadOnlyException);
    EXPECT_EQ(dynamic->ioDesc.get(), before);
    EXPECT_THAT(identifiersOf(*observed), ElementsAre("a"));
    EXPECT_EQ(log.messages().size(), 1U);

    ObservedIODesc::readOnlyFrom() = 0;
    dynamic->generateIODesc();
    EXPECT_THAT(identifiersOf(*dynamic->ioDesc.get()), ElementsAre("a", "b", "c"));
}

TEST_F(FailingImplementationTest, leavesTheOldDescriptionWhereTheFilterRefusesTheNewOne)
{
    const auto refusing = RefusingFilter::make();
    const auto implementation = filter("a");
    implementation->description = descriptionOf({"x"});
    refusing->types.insert(QStringLiteral("a"), recordOf(implementation->ownReference()));
    refusing->refusedField = QStringLiteral("ioDesc");

    EXPECT_THROW(refusing->generateIODesc(), Exception::ReadOnlyException);
    EXPECT_EQ(refusing->ioDesc.get(), nullptr);
}

TEST_F(FailingImplementationTest, isNoDependencyWhereTheTableRefusesIt)
{
    const auto refusing = RefusingFilter::make();
    const auto implementation =
            filter("a", {{variationTypeUserDataKey, QStringLiteral("default_x")}});
    refusing->refusedField = QStringLiteral("types");

    EXPECT_THROW(refusing->registerImplementation(implementation->ownReference()),
                 Exception::ReadOnlyException);
    EXPECT_TRUE(refusing->types.empty());
    EXPECT_TRUE(refusing->dependencies.empty());
}

TEST_F(FailingImplementationTest, leavesTheOldDescriptionWhereTheFirstOneCannotBeCopied)
{
    const auto before = descriptionOf({"old"});
    dynamic->ioDesc.set(before);
    type("a", std::make_shared<UncopyableIODesc>(1));

    EXPECT_THROW(dynamic->generateIODesc(), Exception::Data::SerializationException);
    EXPECT_EQ(dynamic->ioDesc.get(), before);
}

TEST_F(FailingImplementationTest, countsAsWithoutParametersWhereItsDescriptionIsNull)
{
    type("a", nullptr);
    type("b", descriptionOf({"x"}, 7));
    type("c", nullptr);

    dynamic->generateIODesc();

    ASSERT_NE(dynamic->ioDesc.get(), nullptr);
    EXPECT_THAT(identifiersOf(*dynamic->ioDesc.get()), ElementsAre("x"));
    EXPECT_EQ(tableSize("a"), 0);
    EXPECT_EQ(tableSize("b"), 1);
    EXPECT_EQ(tableSize("c"), 0);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FailingImplementationTest, passesTheNullDescriptionOfADescriptorOn)
{
    listed("a");

    EXPECT_EQ(descriptor->getIODesc({}), nullptr);
}

} // namespace Tesk::FilterBase
