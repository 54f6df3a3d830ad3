#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <map>

namespace Tesk::Command {

using testing::HasSubstr;

namespace {

class OpeningTest : public CatalogueProcess
{
protected:
    // Every subcommand that opens a catalogue, with the arguments it needs.
    static QList<QStringList> commands()
    {
        QList<QStringList> all;
        for (const char *line : {"list", "show weave", "pick weave --type color", "why weave",
                                 "resolve weave", "versions weave", "hide weave", "unhide weave",
                                 "remove weave", "check", "export", "stats"})
            all.append(QString::fromLatin1(line).split(u' '));
        return all;
    }

    void expectRefusal(const char *reason) const
    {
        const QByteArray before = catalogueBytes();
        for (const QStringList &command : commands()) {
            const Outcome outcome = run(command);
            EXPECT_EQ(outcome.exitCode, 3) << command.front().toStdString();
            EXPECT_EQ(outcome.output, QString()) << command.front().toStdString();
            EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(reason));
        }
        EXPECT_EQ(catalogueBytes(), before);
    }
};

} // namespace

TEST_F(OpeningTest, tellsHowToMakeAMissingCatalogue)
{
    expectRefusal("there is no catalogue");

    EXPECT_FALSE(QFileInfo::exists(catalogue()));
}

TEST_F(OpeningTest, refusesAFileThatIsNoCatalogue)
{
    writeFile(QStringLiteral("catalogue.db"), QByteArray("not a catalogue at all\n").repeated(99));

    expectRefusal("catalogue.db");
}

TEST_F(OpeningTest, refusesAnImportIntoAFileThatIsNoCatalogue)
{
    const QByteArray bytes = QByteArray("not a catalogue at all\n").repeated(99);
    writeFile(QStringLiteral("catalogue.db"), bytes);

    EXPECT_EQ(run({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)}).exitCode, 3);
    EXPECT_EQ(catalogueBytes(), bytes);
}

TEST_F(OpeningTest, refusesTheDatabaseOfAnotherProgram)
{
    execute("CREATE TABLE notes (text TEXT)");

    expectRefusal("catalogue.db");
}

TEST_F(OpeningTest, refusesANewerSchema)
{
    importSamples();
    execute("PRAGMA user_version = 4711");

    expectRefusal("4711");
}

TEST_F(OpeningTest, answersFromAReadOnlyFolder)
{
    importSamples();
    const QByteArray before = catalogueBytes();
    const QString folder = QFileInfo(catalogue()).path();
    ASSERT_TRUE(QFile::setPermissions(catalogue(), QFileDevice::ReadOwner));
    ASSERT_TRUE(QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner));

    std::map<QString, int> exitCodes;
    for (const char *line : {"list", "show weave", "pick weave --type color", "why weave",
                             "resolve weave", "versions weave", "check", "export", "stats"})
        exitCodes[QString::fromLatin1(line)] =
                runUnprivileged(QString::fromLatin1(line).split(u' ')).exitCode;
    const Outcome list = runUnprivileged({QStringLiteral("list"), QStringLiteral("sky*")});
    const Outcome hide = runUnprivileged({QStringLiteral("hide"), QStringLiteral("weave")});
    const Outcome import =
            runUnprivileged({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)});
    QFile::setPermissions(folder,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    for (const auto &[line, code] : exitCodes)
        EXPECT_EQ(code, 0) << line.toStdString();
    EXPECT_EQ(list.exitCode, 0) << list.errors.toStdString();
    EXPECT_THAT(list.output.toStdString(), HasSubstr("sky_exposure"));
    EXPECT_EQ(hide.exitCode, 3);
    EXPECT_EQ(import.exitCode, 3);
    EXPECT_THAT(hide.errors.toStdString(), HasSubstr("catalogue.db"));
    EXPECT_EQ(catalogueBytes(), before);
}

TEST_F(OpeningTest, takesTheCatalogueFromTheEnvironment)
{
    importSamples();

    const Outcome outcome = runPlain({QStringLiteral("list"), QStringLiteral("--names")},
                                     {QStringLiteral("FILTERBASE_CATALOGUE=") + catalogue()});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("weave\n"));
}

TEST_F(OpeningTest, prefersTheArgumentToTheEnvironment)
{
    importSamples();

    const Outcome outcome =
            runPlain({QStringLiteral("--catalogue"), catalogue(), QStringLiteral("list")},
                     {QStringLiteral("FILTERBASE_CATALOGUE=") + path(QStringLiteral("other.db"))});

    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(OpeningTest, usesTheUsersFolderByDefault)
{
    const QString home = path(QStringLiteral("home"));

    const Outcome outcome = runPlain({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)},
                                     {QStringLiteral("XDG_DATA_HOME=") + home});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors.toStdString();
    EXPECT_TRUE(QFileInfo::exists(home + QStringLiteral("/filterbase/catalogue.db")));
}

TEST_F(OpeningTest, refusesAFolder)
{
    const QString folder = QFileInfo(catalogue()).path();
    for (const QStringList &command : commands()) {
        const Outcome outcome =
                runPlain(QStringList{QStringLiteral("--catalogue"), folder} + command);
        EXPECT_EQ(outcome.exitCode, 3) << command.front().toStdString();
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("is a folder; name a file in it"));
    }
    EXPECT_EQ(runPlain({QStringLiteral("--catalogue"), folder, QStringLiteral("import"),
                        QStringLiteral(SAMPLES_FOLDER)})
                      .exitCode,
              3);
}

} // namespace Tesk::Command
