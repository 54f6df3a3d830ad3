#include <renderablebase/RenderableIODesc.h>

#include "RoundTrip.h"

#include <data/ClassRegistry.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <thread>

namespace Tesk::RenderableBase {

using RenderableBaseTesting::readStored;
using RenderableBaseTesting::stored;

static std::shared_ptr<ParameterDesc> parameter(const QString &identifier, unsigned int uid)
{
    auto made = std::make_shared<ParameterDesc>();
    made->identifier.set(identifier);
    made->uid.set(uid);
    return made;
}

TEST(RenderableIODescTest, storesParametersBeforeOutputs)
{
    EXPECT_EQ(RenderableIODesc().getFieldNames(),
              (QStringList{QStringLiteral("parameters"), QStringLiteral("outputs")}));
}

namespace {

template<class Desc>
class Derived : public Desc
{
};

} // namespace

TEST(RenderableIODescTest, isOfOwnClassesUnlessAPartIsOfADerivedOne)
{
    RenderableIODesc description;
    EXPECT_TRUE(description.isOfOwnClasses());
    description.parameters.append(parameter(QStringLiteral("a"), 1));
    description.parameters.append(nullptr);
    description.outputs.append(std::make_shared<OutputDesc>());
    EXPECT_TRUE(description.isOfOwnClasses());

    description.outputs.append(std::make_shared<Derived<OutputDesc>>());
    EXPECT_FALSE(description.isOfOwnClasses());
    description.outputs.clear();
    description.parameters.append(std::make_shared<Derived<ParameterDesc>>());
    EXPECT_FALSE(description.isOfOwnClasses());
    EXPECT_FALSE(Derived<RenderableIODesc>().isOfOwnClasses());
}

TEST(RenderableIODescTest, findsParametersByIdentifierAndUid)
{
    RenderableIODesc description;
    description.parameters.append(parameter(QStringLiteral("a"), 1));
    description.parameters.append(parameter(QStringLiteral("b"), 2));

    for (const bool cached : {false, true}) {
        if (cached)
            description.updateCache();
        EXPECT_EQ(description.parameterByIdentifier(QStringLiteral("b")),
                  description.parameters.at(1));
        EXPECT_EQ(description.parameterByUid(1), description.parameters.at(0));
        EXPECT_EQ(description.parameterByIdentifier(QStringLiteral("B")), nullptr);
        EXPECT_EQ(description.parameterByUid(3), nullptr);
    }
}

TEST(RenderableIODescTest, findsTheFirstOfTwoParametersThatShareIdentifierOrUid)
{
    RenderableIODesc description;
    description.parameters.append(parameter(QStringLiteral("a"), 1));
    description.parameters.append(parameter(QStringLiteral("a"), 2));
    description.parameters.append(parameter(QStringLiteral("b"), 1));

    for (const bool cached : {false, true}) {
        if (cached)
            description.updateCache();
        EXPECT_EQ(description.parameterByIdentifier(QStringLiteral("a"))->uid.get(), 1U);
        EXPECT_EQ(description.parameterByUid(1)->identifier.get(), QStringLiteral("a"));
    }
}

TEST(RenderableIODescTest, passesOverANullParameter)
{
    RenderableIODesc description;
    description.parameters.append(nullptr);
    description.parameters.append(parameter(QStringLiteral("a"), 1));

    EXPECT_EQ(description.parameterByIdentifier({}), nullptr);
    EXPECT_EQ(description.parameterByUid(1), description.parameters.at(1));
    description.updateCache();
    EXPECT_EQ(description.parameterByIdentifier({}), nullptr);
    EXPECT_EQ(description.parameterByUid(1), description.parameters.at(1));
}

TEST(RenderableIODescTest, findsWhatWasInsertedAfterTheLookUpWasBuilt)
{
    RenderableIODesc description;
    description.parameters.append(parameter(QStringLiteral("a"), 1));
    description.updateCache();

    description.parameters.insert(0, parameter(QStringLiteral("b"), 2));

    EXPECT_EQ(description.parameterByIdentifier(QStringLiteral("a")), description.parameters.at(1));
    EXPECT_EQ(description.parameterByUid(2), description.parameters.at(0));
}

TEST(RenderableIODescTest, findsARenamedParameterOnceTheLookUpIsRenewed)
{
    RenderableIODesc description;
    description.parameters.append(parameter(QStringLiteral("a"), 1));
    description.updateCache();
    description.parameters.at(0)->identifier.set(QStringLiteral("b"));

    description.updateCache();

    EXPECT_EQ(description.parameterByIdentifier(QStringLiteral("a")), nullptr);
    EXPECT_NE(description.parameterByIdentifier(QStringLiteral("b")), nullptr);
}

TEST(RenderableIODescTest, comesBackFromItsStoredFormWhateverItsSize)
{
    constexpr unsigned int seed = 20250517;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (const unsigned int count : {0U, 1U, 31U, 32U, 33U, 200U}) {
        RenderableIODesc description;
        for (unsigned int i = 0; i < count; ++i)
            description.parameters.append(
                    parameter(QString::number(i), static_cast<unsigned int>(random())));
        description.outputs.append(std::make_shared<OutputDesc>());
        description.outputs.at(0)->identifier.set(QStringLiteral("out"));
        RenderableIODesc read;

        readStored(stored(description), read);

        EXPECT_EQ(stored(read), stored(description));
        ASSERT_EQ(read.parameters.size(), description.parameters.size());
        for (const auto &expected : description.parameters) {
            const auto found = read.parameterByIdentifier(expected->identifier.get());
            ASSERT_NE(found, nullptr);
            EXPECT_EQ(found->uid.get(), expected->uid.get());
        }
    }
    TestSupport::drainDeferredDeletes();
}

TEST(RenderableIODescTest, forgetsItsLookUpWhenItIsReadAgain)
{
    RenderableIODesc other;
    other.parameters.append(parameter(QStringLiteral("b"), 2));
    RenderableIODesc description;
    description.parameters.append(parameter(QStringLiteral("a"), 1));
    description.updateCache();

    readStored(stored(other), description);

    EXPECT_EQ(description.parameterByIdentifier(QStringLiteral("a")), nullptr);
    EXPECT_EQ(description.parameterByUid(2), description.parameters.at(0));
}

TEST(RenderableIODescTest, sharesNoParameterWithItsClone)
{
    const auto description = std::make_shared<RenderableIODesc>();
    description->parameters.append(parameter(QStringLiteral("a"), 1));
    description->outputs.append(std::make_shared<OutputDesc>());
    description->updateCache();

    const auto copy = std::dynamic_pointer_cast<RenderableIODesc>(description->clone());

    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->parent(), nullptr);
    EXPECT_EQ(stored(*copy), stored(*description));
    EXPECT_NE(copy->parameters.at(0), description->parameters.at(0));
    EXPECT_NE(copy->outputs.at(0), description->outputs.at(0));
    EXPECT_EQ(copy->parameterByUid(1), copy->parameters.at(0));
}

TEST(RenderableIODescTest, takesItsPartsAlongToAnotherThread)
{
    std::shared_ptr<RenderableIODesc> description;
    std::thread([&description] {
        description = std::make_shared<RenderableIODesc>();
        description->parameters.append(parameter(QStringLiteral("a"), 1));
        description->outputs.append(std::make_shared<OutputDesc>());
        description->moveWholeTo(QCoreApplication::instance()->thread());
    }).join();

    EXPECT_EQ(description->thread(), QThread::currentThread());
    EXPECT_EQ(description->parameters.at(0)->thread(), QThread::currentThread());
    EXPECT_EQ(description->outputs.at(0)->thread(), QThread::currentThread());
}

TEST(RenderableIODescTest, leavesPartsThatLiveElsewhereWhereTheyAre)
{
    const auto foreign = parameter(QStringLiteral("a"), 1); // lives on this thread
    std::shared_ptr<RenderableIODesc> description;
    std::thread([&] {
        description = std::make_shared<RenderableIODesc>();
        description->parameters.append(foreign);
        description->parameters.append(nullptr);
        description->moveWholeTo(QCoreApplication::instance()->thread());
    }).join();

    EXPECT_EQ(description->thread(), QThread::currentThread());
    EXPECT_EQ(foreign->thread(), QThread::currentThread());
}

TEST(RenderableIODescTest, comesBackWithUidsOfAllBitsAndTextsThatAreEmptyOrNearlyAlike)
{
    RenderableIODesc description;
    description.parameters.append(parameter(QString(), 0));
    description.parameters.append(parameter(QStringLiteral("Scale"), 0x80000000U));
    description.parameters.append(parameter(QStringLiteral("scale"), 0xffffffffU));
    description.parameters.append(parameter(QStringLiteral("scale "), 0x7fffffffU));
    description.parameters.append(nullptr);
    RenderableIODesc read;

    readStored(stored(description), read);

    for (const bool cached : {false, true}) {
        if (cached)
            read.updateCache();
        EXPECT_EQ(read.parameterByIdentifier(QString()), read.parameters.at(0));
        EXPECT_EQ(read.parameterByIdentifier(QStringLiteral("Scale")), read.parameters.at(1));
        EXPECT_EQ(read.parameterByUid(0xffffffffU), read.parameters.at(2));
        EXPECT_EQ(read.parameterByUid(0x80000000U), read.parameters.at(1));
    }
    EXPECT_EQ(read.parameters.at(4), nullptr);
}

TEST(RenderableIODescTest, canBeMadeByNameAsSoonAsTheLibraryIsLoaded)
{
    const std::unique_ptr<Data::SerializableData> made(
            Data::ClassRegistry::newInstance(RenderableIODesc::sTypeName));

    EXPECT_NE(qobject_cast<RenderableIODesc *>(made.get()), nullptr);
    EXPECT_EQ(Data::ClassRegistry::currentVersion(RenderableIODesc::sTypeName), 100);
}

} // namespace Tesk::RenderableBase
