#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QFile>

namespace Tesk::Command {

using testing::HasSubstr;

namespace {

class CommandLineTest : public CatalogueProcess
{
protected:
    void expectRefusal(const char *line, const QString &complaint) const
    {
        const Outcome outcome = ask(line);
        EXPECT_EQ(outcome.exitCode, 2) << line;
        EXPECT_EQ(outcome.output, QString()) << line;
        EXPECT_EQ(outcome.errors, complaint);
        EXPECT_FALSE(QFile::exists(catalogue())) << line;
    }
};

} // namespace

TEST_F(CommandLineTest, givesHelpWithAnExampleForEveryCommand)
{
    for (const char *command : {"import", "list", "show", "pick", "why", "resolve", "versions",
                                "hide", "unhide", "remove", "check", "export", "stats"}) {
        const Outcome outcome = run({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_THAT(outcome.output.toStdString(),
                    HasSubstr(std::string("Example:\n  filterbase ") + command));
        EXPECT_THAT(outcome.output.toStdString(), HasSubstr("--json"));
    }
    EXPECT_EQ(ask("--help").exitCode, 0);
    EXPECT_EQ(ask("--version").exitCode, 0);
}

TEST_F(CommandLineTest, suggestsACommandForAnUnknownOne)
{
    expectRefusal("improt samples", QStringLiteral("filterbase: there is no command \"improt\". "
                                                   "Did you mean \"import\"?\n"
                                                   "See \"filterbase --help\".\n"));
}

TEST_F(CommandLineTest, suggestsAnOptionForAnUnknownOne)
{
    const QString see = QStringLiteral("See \"filterbase import --help\".\n");
    expectRefusal("import samples --dry-rnu",
                  QStringLiteral("filterbase import: there is no option \"--dry-rnu\". "
                                 "Did you mean \"--dry-run\"?\n")
                          + see);
    expectRefusal("import samples --jsn=1",
                  QStringLiteral("filterbase import: there is no option \"--jsn=1\". "
                                 "Did you mean \"--json\"?\n")
                          + see);
}

TEST_F(CommandLineTest, tellsWhatIsMissing)
{
    expectRefusal("show", QStringLiteral("filterbase show: NAME is required\n"
                                         "See \"filterbase show --help\".\n"));
    expectRefusal("--json", QStringLiteral("filterbase: a command is missing, such as \"list\" or "
                                           "\"import\"\nSee \"filterbase --help\".\n"));
}

TEST_F(CommandLineTest, tellsWhatIsTooMuch)
{
    expectRefusal("show rust dust",
                  QStringLiteral("filterbase show: \"dust\" is one argument too many\n"
                                 "See \"filterbase show --help\".\n"));
}

TEST_F(CommandLineTest, refusesAnEmptyNameOfACatalogue)
{
    const Outcome outcome =
            runPlain({QStringLiteral("--catalogue"), QString(), QStringLiteral("list")});

    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("the name of the file is empty"));
}

TEST_F(CommandLineTest, tellsThatAnAnswerCouldNotBeWritten)
{
    importSamples();
    for (const char *line : {"list", "export --json"}) {
        const Outcome outcome =
                runInto(QStringLiteral("/dev/full"), QString::fromLatin1(line).split(u' '));
        EXPECT_EQ(outcome.exitCode, 1) << line;
        EXPECT_EQ(outcome.errors, QStringLiteral("filterbase: the answer could not be written: "
                                                 "No space left on device\n"));
    }
}

} // namespace Tesk::Command
