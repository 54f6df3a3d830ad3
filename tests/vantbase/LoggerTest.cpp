#include <vantbase/Logger.h>

#include <support/RecordedLog.h>

#include <gmock/gmock.h>

#include <QLoggingCategory>
#include <QString>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace Tesk::VantBase {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::isLogMessage;
using TestSupport::RecordedLog;

TEST(LoggerTest, handsARecordToTheSinkWhenItIsClosedAndNotBefore)
{
    const RecordedLog log;
    {
        LogRecord record = logger(LogService::Assets).record(LogLevel::Info, "File.cpp:1 f()");
        record << "opened";
        EXPECT_THAT(log.messages(), IsEmpty());
    }

    ASSERT_THAT(log.messages(),
                ElementsAre(isLogMessage(LogService::Assets, LogLevel::Info, "opened")));
    EXPECT_EQ(log.messages().front().place, "File.cpp:1 f()");
}

TEST(LoggerTest, joinsThePiecesOfARecordWithNoSeparator)
{
    const RecordedLog log;

    logger(LogService::Data).record(LogLevel::Warning, "")
            << "a" << std::string("b") << QStringLiteral("\u00e9") << QByteArray("d") << 'e' << -1
            << 18446744073709551615ULL << true << 0.1 << static_cast<const char *>(nullptr)
            << QStringView(u"z") << QString();

    EXPECT_THAT(log.texts(), ElementsAre("ab\u00e9de-118446744073709551615true0.1z"));
}

TEST(LoggerTest, writesARecordWithoutPieces)
{
    const RecordedLog log;

    logger(LogService::Data).record(LogLevel::Warning, "place");

    EXPECT_THAT(log.messages(), ElementsAre(isLogMessage(LogService::Data, LogLevel::Warning, "")));
}

TEST(LoggerTest, keepsTheNumbersByWhichServicesAndLevelsAreAddressed)
{
    const RecordedLog log;

    logger(static_cast<LogService>(2)).record(static_cast<LogLevel>(2), "") << "x";
    logger(static_cast<LogService>(1)).record(static_cast<LogLevel>(1), "") << "y";

    EXPECT_THAT(log.messages(),
                ElementsAre(isLogMessage(LogService::Filter, LogLevel::Error, "x"),
                            isLogMessage(LogService::Declaration, LogLevel::Warning, "y")));
}

TEST(LoggerTest, closesRecordsThatAreLeftByAnException)
{
    const RecordedLog log;
    try {
        LogRecord record = logger(LogService::Base).record(LogLevel::Warning, "");
        record << "begun";
        throw std::runtime_error("elsewhere");
    } catch (const std::runtime_error &) {
        EXPECT_THAT(log.texts(), ElementsAre("begun"));
    }
}

TEST(LoggerTest, dropsWhatASinkThrows)
{
    const LogSink previous =
            setLogSink([](const LogMessage &) { throw std::runtime_error("sink is full"); });

    EXPECT_NO_THROW(logger(LogService::Base).record(LogLevel::Info, "") << "text");

    setLogSink(previous);
}

TEST(LoggerTest, givesThePreviousSinkBackAndNullForTheDefaultOne)
{
    int first = 0;
    int second = 0;
    const LogSink original = setLogSink([&](const LogMessage &) { ++first; });
    EXPECT_FALSE(original);

    const LogSink previous = setLogSink([&](const LogMessage &) { ++second; });
    logger(LogService::Base).record(LogLevel::Info, "");
    setLogSink(previous);
    logger(LogService::Base).record(LogLevel::Info, "");
    logger(LogService::Base).record(LogLevel::Info, "");
    setLogSink(original);

    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 1);
}

TEST(LoggerTest, letsASinkLogAndReplaceItself)
{
    std::vector<std::string> texts;
    setLogSink([&](const LogMessage &message) {
        texts.push_back(message.text);
        setLogSink([&](const LogMessage &inner) { texts.push_back("inner " + inner.text); });
        logger(LogService::Base).record(LogLevel::Info, "") << "nested";
    });

    logger(LogService::Base).record(LogLevel::Info, "") << "outer";
    setLogSink({});

    EXPECT_THAT(texts, ElementsAre("outer", "inner nested"));
}

TEST(LoggerTest, losesNoRecordOfSeveralThreadsWhileSinksChange)
{
    static constexpr int sThreads = 4;
    static constexpr int sRecords = 500;
    std::atomic<int> received = 0;
    const LogSink counting = [&](const LogMessage &) {
        ++received;
    };
    const LogSink original = setLogSink(counting);
    {
        std::vector<std::jthread> writers;
        for (int thread = 0; thread < sThreads; ++thread) {
            writers.emplace_back([] {
                for (int record = 0; record < sRecords; ++record)
                    logger(LogService::Base).record(LogLevel::Info, "") << "record " << record;
            });
        }
        for (int change = 0; change < sRecords; ++change)
            setLogSink(counting);
    }
    setLogSink(original);

    EXPECT_EQ(received, sThreads * sRecords);
}

struct QtMessage
{
    QtMsgType type;
    std::string category;
    std::string text;

    bool operator==(const QtMessage &) const = default;
};

static std::vector<QtMessage> sQtMessages;

static void keepQtMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    sQtMessages.push_back({type, context.category, text.toStdString()});
}

TEST(LoggerTest, writesToQtsCategoriesByDefault)
{
    sQtMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(keepQtMessage);

    logger(LogService::Filter).record(LogLevel::Info, "File.cpp:3 f()") << "100 % read";
    logger(LogService::Assets).record(LogLevel::Warning, "File.cpp:4 g()") << "skipped";
    logger(LogService::Tool).record(LogLevel::Error, "") << "failed";
    logger(static_cast<LogService>(99)).record(LogLevel::Warning, "") << "from afar";
    logger(static_cast<LogService>(-1)).record(LogLevel::Warning, "") << "from below";
    qInstallMessageHandler(previous);

    EXPECT_THAT(sQtMessages,
                ElementsAre(QtMessage{QtInfoMsg, "tesk.filter", "File.cpp:3 f() 100 % read"},
                            QtMessage{QtWarningMsg, "tesk.assets", "File.cpp:4 g() skipped"},
                            QtMessage{QtCriticalMsg, "tesk.tool", "failed"},
                            QtMessage{QtWarningMsg, "tesk.general", "from afar"},
                            QtMessage{QtWarningMsg, "tesk.general", "from below"}));
}

TEST(LoggerTest, takesALevelThatItDoesNotKnowForAnErrorByDefault)
{
    sQtMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(keepQtMessage);

    logger(LogService::Tool).record(static_cast<LogLevel>(7), "") << "strange";
    qInstallMessageHandler(previous);

    EXPECT_THAT(sQtMessages, ElementsAre(QtMessage{QtCriticalMsg, "tesk.tool", "strange"}));
}

TEST(LoggerTest, obeysQtsRulesByDefault)
{
    sQtMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(keepQtMessage);
    QLoggingCategory::setFilterRules(QStringLiteral("tesk.data.warning=false"));

    logger(LogService::Data).record(LogLevel::Warning, "") << "silenced";
    logger(LogService::Assets).record(LogLevel::Warning, "") << "heard";
    QLoggingCategory::setFilterRules({});
    qInstallMessageHandler(previous);

    EXPECT_THAT(sQtMessages, ElementsAre(QtMessage{QtWarningMsg, "tesk.assets", "heard"}));
}

TEST(LoggerTest, formatsATextUnquotedInUtf8)
{
    EXPECT_EQ(logStr(QStringLiteral("Blur \"\u00e9\"")), "Blur \"\u00e9\"");
    EXPECT_EQ(logStr(QString()), "");
}

} // namespace Tesk::VantBase
