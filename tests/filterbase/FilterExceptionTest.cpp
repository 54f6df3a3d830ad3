#include <filterbase/FilterException.h>

#include <clientmodule/ClientModule.h>
#include <clientmodule/ExceptionTypes.h>

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace Tesk::Exception::FilterBase {

using Unresolved = ::Tesk::Exception::Exception<0, FilterException>;
using Unloaded = ::Tesk::Exception::Exception<1, FilterException>;

template<class Published>
class PublishedExceptionTest : public testing::Test
{
};

using PublishedExceptions = testing::Types<FilterException, Unresolved, Unloaded,
                                           UnresolvedFilterException, UnloadedException>;
TYPED_TEST_SUITE(PublishedExceptionTest, PublishedExceptions);

TYPED_TEST(PublishedExceptionTest, isExactlyAsLargeAsItsBase)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(BaseException));
}

TYPED_TEST(PublishedExceptionTest, keepsTheTextOfEachConstructorForm)
{
    const std::string text = "Cannot load \"\u00e9\"";

    EXPECT_EQ(TypeParam(text.c_str()).what(), text);
    EXPECT_EQ(TypeParam(text).what(), text);
    EXPECT_EQ(TypeParam(QString::fromStdString(text)).what(), text);
    EXPECT_STREQ(TypeParam("").what(), "");
}

TYPED_TEST(PublishedExceptionTest, copiesMessageAndTrace)
{
    TypeParam source("message");
    source.addTrace("first");
    TypeParam assigned("other");

    const TypeParam copied(source);
    assigned = source;

    for (const TypeParam &copy : {copied, assigned}) {
        EXPECT_STREQ(copy.what(), "message");
        EXPECT_EQ(copy.trace(), std::vector<std::string>{"first"});
    }
}

TYPED_TEST(PublishedExceptionTest, leavesTheSourceOfAMoveWhole)
{
    TypeParam source("message");
    source.addTrace("first");
    TypeParam assigned("other");

    assigned = std::move(source);

    // That the source stays whole is what is tested.
    for (const TypeParam *each : {&assigned, &source}) {
        EXPECT_STREQ(each->what(), "message");
        EXPECT_EQ(each->trace(), std::vector<std::string>{"first"});
    }
}

TEST(FilterExceptionTest, isDerivedAsPublished)
{
    EXPECT_TRUE((std::is_base_of_v<BaseException, FilterException>));
    EXPECT_TRUE((std::is_base_of_v<FilterException, Unresolved>));
    EXPECT_TRUE((std::is_base_of_v<FilterException, Unloaded>));
    EXPECT_TRUE((std::is_base_of_v<Unresolved, UnresolvedFilterException>));
    EXPECT_TRUE((std::is_base_of_v<Unloaded, UnloadedException>));
}

TEST(FilterExceptionTest, numbersItsKinds)
{
    EXPECT_EQ(FilterException("").errorSubCode(), BaseException("").errorSubCode());
    EXPECT_EQ(Unresolved("").errorSubCode(), 0);
    EXPECT_EQ(Unloaded("").errorSubCode(), 1);
    EXPECT_EQ(UnresolvedFilterException("").errorSubCode(), 0);
    EXPECT_EQ(UnloadedException("").errorSubCode(), 1);
}

TEST(FilterExceptionTest, isCaughtAsItsFamilyAndAsAStandardException)
{
    try {
        throw UnloadedException("not loaded");
    } catch (const FilterException &caught) {
        EXPECT_EQ(caught.errorSubCode(), 1);
    }
    try {
        throw UnresolvedFilterException("nowhere");
    } catch (const std::exception &caught) {
        EXPECT_STREQ(caught.what(), "nowhere");
    }
}

// Catching proves little here, because the runtime may compare names; one object does.
TEST(FilterExceptionTest, sharesEveryTypeInfoObjectWithAClientModule)
{
    const auto here = FilterBaseTesting::exceptionTypesHere();
    const auto there = ClientModule::exceptionTypes();

    ASSERT_EQ(there.size(), here.size());
    for (std::size_t index = 0; index < here.size(); ++index) {
        EXPECT_EQ(here[index], there[index]) << here[index]->name();
        EXPECT_EQ(static_cast<const void *>(here[index]->name()),
                  static_cast<const void *>(there[index]->name()))
                << here[index]->name();
    }
}

TEST(FilterExceptionTest, isCaughtWhenAClientModuleThrows)
{
    EXPECT_THROW(ClientModule::throwUnloaded("x"), UnloadedException);
    EXPECT_THROW(ClientModule::throwUnloaded("x"), Unloaded);
    EXPECT_THROW(ClientModule::throwUnresolved("x"), FilterException);
    EXPECT_THROW(ClientModule::throwNotFound("x"), Data::SerializationException);
}

TEST(FilterExceptionTest, isCaughtByAClientModule)
{
    using ClientModule::caughtAs;
    EXPECT_STREQ(caughtAs([] { throw UnloadedException(""); }), "UnloadedException");
    EXPECT_STREQ(caughtAs([] { throw UnresolvedFilterException(""); }), "FilterException");
    EXPECT_STREQ(caughtAs([] { throw Unloaded(""); }), "FilterException");
    EXPECT_STREQ(caughtAs([] { throw Data::NotFoundException(""); }), "NotFoundException");
    EXPECT_STREQ(caughtAs([] { throw Data::SerializationException(""); }),
                 "SerializationException");
    EXPECT_STREQ(caughtAs([] { throw ReadOnlyException(""); }), "BaseException");
}

} // namespace Tesk::Exception::FilterBase
