#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <support/RecordedLog.h>

#include <vantbase/Logger.h>
#include <vantbase/QObjectDeleteLater.h>

#include <gmock/gmock.h>

#include <QObject>

#include <memory>

namespace Tesk::TestSupport {

using testing::ElementsAre;
using testing::Not;
using testing::PrintToString;
using VantBase::logger;
using VantBase::LogLevel;
using VantBase::LogService;

TEST(RecordedLogTest, recordsInOrderUntilItIsCleared)
{
    RecordedLog log;
    logger(LogService::Data).record(LogLevel::Info, "") << "first";
    logger(LogService::Data).record(LogLevel::Error, "") << "second";
    EXPECT_THAT(log.texts(), ElementsAre("first", "second"));

    log.clear();
    logger(LogService::Data).record(LogLevel::Info, "") << "third";

    EXPECT_THAT(log.messages(),
                ElementsAre(isLogMessage(LogService::Data, LogLevel::Info, "third")));
}

TEST(RecordedLogTest, nestsAndGivesTheLogBack)
{
    const RecordedLog outer;
    {
        const RecordedLog inner;
        logger(LogService::Data).record(LogLevel::Info, "") << "inside";
        EXPECT_THAT(inner.texts(), ElementsAre("inside"));
    }
    logger(LogService::Data).record(LogLevel::Info, "") << "outside";

    EXPECT_THAT(outer.texts(), ElementsAre("outside"));
}

TEST(RecordedLogTest, comparesServiceLevelAndText)
{
    const VantBase::LogMessage message{LogService::Filter, LogLevel::Warning, "", "text"};

    EXPECT_THAT(message, isLogMessage(2, 1, "text"));
    EXPECT_THAT(message, Not(isLogMessage(1, 1, "text")));
    EXPECT_THAT(message, Not(isLogMessage(2, 2, "text")));
    EXPECT_THAT(message, Not(isLogMessage(2, 1, "other")));
}

TEST(RecordedLogTest, comparesPlacesWhateverTheLine)
{
    const std::string place = "File.cpp:12 Tesk::f()";

    EXPECT_THAT(place, placeIs("File.cpp", "Tesk::f()"));
    EXPECT_THAT(place, Not(placeIs("OtherFile.cpp", "Tesk::f()")));
    EXPECT_THAT(place, Not(placeIs("File.cpp", "f()")));
    EXPECT_THAT("File.cpp: Tesk::f()", Not(placeIs("File.cpp", "Tesk::f()")));
    EXPECT_EQ(lineOf(place), 12);
}

TEST(DeferredDeletesTest, reachesWhatDyingObjectsRelease)
{
    struct Owner : QObject
    {
        std::unique_ptr<Owner, QObjectDeleteLater> part;
    };
    auto whole = std::make_unique<Owner>();
    whole->part.reset(new Owner);
    whole->part->part.reset(new Owner);

    whole.release()->deleteLater();

    EXPECT_EQ(drainDeferredDeletes(), 3);
    EXPECT_EQ(drainDeferredDeletes(), 0);
}

TEST(PrintersTest, showTextsAsTexts)
{
    EXPECT_EQ(PrintToString(QStringLiteral("a\u00e9")), "\"a\u00e9\"");
    EXPECT_EQ(PrintToString(QString()), "null QString");
    EXPECT_EQ(PrintToString(QByteArray("a\xff")), "b\"a%FF\"");
    EXPECT_EQ(PrintToString(QUrl(QStringLiteral("file:///a b"))), "url file:///a%20b");
}

} // namespace Tesk::TestSupport
