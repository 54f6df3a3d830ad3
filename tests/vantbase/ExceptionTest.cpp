#include <vantbase/Exception.h>

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tesk::Exception {

template<class Raised>
class HostExceptionTest : public testing::Test
{
};

using HostExceptions =
        testing::Types<BaseException, ParameterException, InvalidArgumentException,
                       InternalException, LogicErrorException, RuntimeErrorException,
                       ReadOnlyException, Data::SerializationException, Data::NotFoundException>;
TYPED_TEST_SUITE(HostExceptionTest, HostExceptions);

TYPED_TEST(HostExceptionTest, keepsTheTextOfEachConstructorForm)
{
    const std::string text = "Cannot read \"\u00e9\u4e2d\"";

    EXPECT_EQ(TypeParam(text.c_str()).what(), text);
    EXPECT_EQ(TypeParam(text).what(), text);
    EXPECT_EQ(TypeParam(QString::fromStdString(text)).what(), text);
}

TYPED_TEST(HostExceptionTest, isMadeFromATextOnlyOnPurpose)
{
    EXPECT_FALSE((std::is_convertible_v<const char *, TypeParam>));
    EXPECT_FALSE((std::is_convertible_v<const std::string &, TypeParam>));
    EXPECT_FALSE((std::is_convertible_v<const QString &, TypeParam>));
}

TYPED_TEST(HostExceptionTest, copiesWithoutThrowing)
{
    EXPECT_TRUE(std::is_nothrow_copy_constructible_v<TypeParam>);
    EXPECT_TRUE(std::is_nothrow_copy_assignable_v<TypeParam>);
}

TYPED_TEST(HostExceptionTest, addsNoMemberToTheBase)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(BaseException));
}

TYPED_TEST(HostExceptionTest, isCaughtAsTheBaseAndAsAStandardException)
{
    EXPECT_THROW(throw TypeParam(""), BaseException);
    EXPECT_THROW(throw TypeParam(""), std::exception);
}

template<class Raised, class... Bases>
constexpr bool derivesFrom = (std::is_base_of_v<Bases, Raised> && ...);

TEST(ExceptionTest, derivesEachClassFromItsFamily)
{
    EXPECT_TRUE((derivesFrom<InvalidArgumentException, Exception<1, ParameterException>,
                             ParameterException>));
    EXPECT_TRUE(
            (derivesFrom<LogicErrorException, Exception<0, InternalException>, InternalException>));
    EXPECT_TRUE((derivesFrom<RuntimeErrorException, Exception<1, InternalException>,
                             InternalException>));
    EXPECT_TRUE((derivesFrom<Data::NotFoundException, Exception<3, Data::SerializationException>,
                             Data::SerializationException>));
}

TEST(ExceptionTest, keepsTheReadOnlyErrorOutOfTheSerializationFamily)
{
    EXPECT_FALSE((std::is_base_of_v<Data::SerializationException, ReadOnlyException>));
    EXPECT_TRUE((std::is_base_of_v<BaseException, ReadOnlyException>));
}

TEST(ExceptionTest, numbersTheKindsOfAFamilyAndNothingElse)
{
    const auto subCode = [](const BaseException &exception) {
        return exception.errorSubCode();
    };
    EXPECT_EQ(subCode(InvalidArgumentException("")), 1);
    EXPECT_EQ(subCode(RuntimeErrorException("")), 1);
    EXPECT_EQ(subCode(LogicErrorException("")), 0);
    EXPECT_EQ(subCode(Data::NotFoundException("")), 3);
    EXPECT_EQ(subCode(BaseException("")), -1);
    EXPECT_EQ(subCode(ParameterException("")), -1);
    EXPECT_EQ(subCode(InternalException("")), -1);
    EXPECT_EQ(subCode(Data::SerializationException("")), -1);
    EXPECT_EQ(subCode(ReadOnlyException("")), -1);
}

TEST(ExceptionTest, givesTheSubCodeAsAnInt)
{
    static_assert(std::is_same_v<decltype(BaseException("").errorSubCode()), int>);
    static_assert(std::is_same_v<decltype(LogicErrorException("").errorSubCode()), int>);
}

TEST(ExceptionTest, tracesInTheOrderOfAdding)
{
    RuntimeErrorException exception("message");
    EXPECT_TRUE(exception.trace().empty());

    exception.addTrace("inner");
    exception.addTrace("outer");

    EXPECT_EQ(exception.trace(), (std::vector<std::string>{"inner", "outer"}));
    EXPECT_STREQ(exception.what(), "message");
}

TEST(ExceptionTest, tracesACopyApartFromItsSource)
{
    RuntimeErrorException source("message");
    source.addTrace("common");

    RuntimeErrorException copy(source);
    copy.addTrace("copy");
    source.addTrace("source");

    EXPECT_EQ(copy.trace(), (std::vector<std::string>{"common", "copy"}));
    EXPECT_EQ(source.trace(), (std::vector<std::string>{"common", "source"}));
}

TEST(ExceptionTest, keepsItsTraceWhenItIsCaughtTracedAndRethrown)
{
    std::vector<std::string> trace;
    try {
        try {
            throw Data::NotFoundException("missing");
        } catch (BaseException &caught) {
            caught.addTrace("field");
            throw;
        }
    } catch (const Data::NotFoundException &caught) {
        trace = caught.trace();
    }

    EXPECT_EQ(trace, std::vector<std::string>{"field"});
}

TEST(ExceptionTest, keepsTheTextInPlaceWhileTracesAreAdded)
{
    BaseException exception("message");
    const char *text = exception.what();

    exception.addTrace("name");

    EXPECT_EQ(exception.what(), text);
}

TEST(ExceptionTest, leavesTheSourceOfAMoveWhole)
{
    BaseException source("message");
    source.addTrace("name");

    // NOLINTNEXTLINE(performance-move-const-arg): that the move copies is what is tested
    const BaseException moved(std::move(source));

    // NOLINTNEXTLINE(bugprone-use-after-move): that the source stays whole is what is tested
    EXPECT_STREQ(source.what(), "message");
    EXPECT_EQ(source.trace(), moved.trace());
}

TEST(ExceptionTest, takesANullTextAsAnEmptyOne)
{
    EXPECT_STREQ(BaseException(static_cast<const char *>(nullptr)).what(), "");
    EXPECT_STREQ(BaseException(QString()).what(), "");
}

} // namespace Tesk::Exception
