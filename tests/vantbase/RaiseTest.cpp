#include <vantbase/Raise.h>

#include <vantbase/Exception.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <support/RecordedLog.h>

#include <gmock/gmock.h>

#include <exception>
#include <string>
#include <typeinfo>
#include <vector>

namespace Tesk::VantBase {

using testing::ElementsAre;
using TestSupport::isLogMessage;
using TestSupport::placeIs;
using TestSupport::RecordedLog;

using Raise = void (*)(const std::string &, const QString &);

/// Raises with \a raise, expects exactly \a Raised, and returns its message.
template<class Raised>
std::string messageOf(Raise raise, const QString &message)
{
    try {
        raise("File.cpp:1 f()", message);
    } catch (const Raised &caught) {
        EXPECT_EQ(typeid(caught), typeid(Raised));
        EXPECT_TRUE(caught.trace().empty());
        return caught.what();
    }
    return "returned";
}

TEST(RaiseTest, throwsTheExceptionOfItsNameWithTheMessage)
{
    const RecordedLog log;
    const QString message = QStringLiteral("Cannot use \"\u00e9\"");
    const std::string text = message.toStdString();

    EXPECT_EQ(messageOf<Exception::InvalidArgumentException>(raiseInvalidArgument, message), text);
    EXPECT_EQ(messageOf<Exception::Data::NotFoundException>(raiseNotFound, message), text);
    EXPECT_EQ(messageOf<Exception::RuntimeErrorException>(raiseRuntimeError, message), text);
}

TEST(RaiseTest, logsExactlyOneErrorOfTheFilterServiceEach)
{
    const RecordedLog log;

    EXPECT_ANY_THROW(raiseInvalidArgument("File.cpp:1 f()", QStringLiteral("first")));
    EXPECT_ANY_THROW(raiseNotFound("File.cpp:2 f()", QStringLiteral("second")));
    EXPECT_ANY_THROW(raiseRuntimeError("File.cpp:3 f()", QStringLiteral("third")));

    EXPECT_THAT(log.messages(),
                ElementsAre(isLogMessage(2, 2, "first"), isLogMessage(2, 2, "second"),
                            isLogMessage(2, 2, "third")));
    EXPECT_EQ(log.messages().at(1).place, "File.cpp:2 f()");
}

TEST(RaiseTest, logsBeforeItThrows)
{
    std::vector<std::string> events;
    const LogSink previous = setLogSink([&](const LogMessage &message) {
        events.push_back("logged " + message.text
                         + ", in flight: " + std::to_string(std::uncaught_exceptions()));
    });
    try {
        raiseRuntimeError(TESK_HERE, QStringLiteral("message"));
    } catch (const Exception::RuntimeErrorException &) {
        events.emplace_back("caught");
    }
    setLogSink(previous);

    EXPECT_THAT(events, ElementsAre("logged message, in flight: 0", "caught"));
}

TEST(RaiseTest, carriesThePlaceOfTheRaisingSiteIntoTheLog)
{
    const RecordedLog log;
    const auto raiseTwice = [] {
        EXPECT_ANY_THROW(raiseRuntimeError(TESK_HERE, QStringLiteral("a")));
        EXPECT_ANY_THROW(raiseRuntimeError(TESK_HERE, QStringLiteral("b")));
    };

    raiseTwice();

    ASSERT_EQ(log.messages().size(), 2U);
    const std::string first = log.messages().at(0).place;
    const std::string second = log.messages().at(1).place;
    EXPECT_THAT(first, placeIs("RaiseTest.cpp",
                               "Tesk::VantBase::RaiseTest_"
                               "carriesThePlaceOfTheRaisingSiteIntoTheLog_Test::TestBody::"
                               "<lambda>()"));
    EXPECT_EQ(TestSupport::lineOf(second), TestSupport::lineOf(first) + 1);
}

} // namespace Tesk::VantBase
