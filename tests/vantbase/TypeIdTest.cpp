#include <vantbase/TypeId.h>

#include <vantbase/DefaultAsyncRecovery.h>

#include <gtest/gtest.h>

namespace Tesk::VantBase {

TEST(TypeIdTest, isTheFowlerNollVoHashOfTheName)
{
    // The published test values of the 64-bit FNV-1a.
    EXPECT_EQ(typeIdOf(""), 0xcbf29ce484222325ULL);
    EXPECT_EQ(typeIdOf("a"), 0xaf63dc4c8601ec8cULL);
    EXPECT_EQ(typeIdOf("foobar"), 0x85944171f73967e8ULL);
}

TEST(TypeIdTest, keepsTheIdByWhichTheFilterManagerIsFound)
{
    EXPECT_EQ(typeIdOf("Tesk::FilterBase::FilterManager"), 480583719868753644ULL);
}

TEST(TypeIdTest, takesBytesAboveAsciiAsUnsigned)
{
    EXPECT_EQ(typeIdOf("\x80"), (0xcbf29ce484222325ULL ^ 0x80U) * 0x100000001b3ULL);
}

TEST(TypeIdTest, isAConstantExpression)
{
    static_assert(typeIdOf("a") == 0xaf63dc4c8601ec8cULL);
    EXPECT_EQ(DefaultAsyncRecovery::typeId(), typeIdOf("Tesk::VantBase::DefaultAsyncRecovery"));
}

} // namespace Tesk::VantBase
