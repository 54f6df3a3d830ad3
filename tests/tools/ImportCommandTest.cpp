#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

namespace Tesk::Command {

using testing::HasSubstr;

namespace {

class ImportCommandTest : public CatalogueProcess
{
};

const QString sImport = QStringLiteral("import");

} // namespace

TEST_F(ImportCommandTest, importsTheSamples)
{
    const Outcome outcome = run({sImport, QStringLiteral(SAMPLES_FOLDER)});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output,
              QStringLiteral("8 files, 43 nodedefs\n"
                             "filters: 23 new, 0 updated, 0 unchanged, 0 removed; 0 refused\n"));
    EXPECT_EQ(outcome.errors, QString());
    EXPECT_TRUE(QFileInfo::exists(catalogue()));
}

TEST_F(ImportCommandTest, changesNothingTheSecondTime)
{
    importSamples();
    const QString before = run({QStringLiteral("export"), QStringLiteral("--json")}).output;

    const Outcome outcome = run({sImport, QStringLiteral(SAMPLES_FOLDER)});

    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("0 new, 0 updated, 23 unchanged"));
    EXPECT_EQ(run({QStringLiteral("export"), QStringLiteral("--json")}).output, before);
}

TEST_F(ImportCommandTest, reportsABrokenFileAndTakesTheRest)
{
    writeLibrary(QStringLiteral("good.mtlx"), overload("ND_s", "sharpen", "float"));

    const Outcome outcome =
            run({sImport, path(QStringLiteral("good.mtlx")), QStringLiteral(BROKEN_FILE)});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("broken.mtlx:6:66: not well-formed"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("1 new"));
    EXPECT_EQ(run({QStringLiteral("list"), QStringLiteral("--names")}).output,
              QStringLiteral("sharpen\n"));
}

TEST_F(ImportCommandTest, reportsAMissingPath)
{
    const Outcome outcome = run({sImport, path(QStringLiteral("nowhere"))});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors.toStdString(),
                HasSubstr("nowhere: cannot be read: No such file or directory"));
}

TEST_F(ImportCommandTest, makesNoCatalogueInADryRun)
{
    const Outcome outcome =
            run({sImport, QStringLiteral(SAMPLES_FOLDER), QStringLiteral("--dry-run")});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("a dry run, nothing was changed"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("  new weave\n"));
    EXPECT_FALSE(QFileInfo::exists(catalogue()));
}

TEST_F(ImportCommandTest, changesNoCatalogueInADryRun)
{
    importSamples();
    writeLibrary(QStringLiteral("samples.mtlx"), overload("ND_s", "sharpen", "float"));
    const QByteArray before = catalogueBytes();

    const Outcome outcome =
            run({sImport, path(QStringLiteral("samples.mtlx")), QStringLiteral("--dry-run")});

    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("1 new, 0 updated, 0 unchanged, 23 rem"));
    EXPECT_EQ(catalogueBytes(), before);
}

TEST_F(ImportCommandTest, answersAsJson)
{
    const QJsonObject answer = run({sImport, QStringLiteral(SAMPLES_FOLDER),
                                    QStringLiteral(BROKEN_FILE), QStringLiteral("--json")})
                                       .json();

    EXPECT_EQ(answer[QStringLiteral("schema")].toInt(), 1);
    EXPECT_EQ(answer[QStringLiteral("files")].toInt(), 9);
    EXPECT_EQ(answer[QStringLiteral("nodedefs")].toInt(), 43);
    EXPECT_EQ(answer[QStringLiteral("counts")][QStringLiteral("new")].toInt(), 23);
    EXPECT_EQ(answer[QStringLiteral("filters")].toArray().size(), 23);
    const QJsonObject problem = answer[QStringLiteral("problems")].toArray()[0].toObject();
    EXPECT_EQ(problem[QStringLiteral("line")].toInt(), 6);
    EXPECT_EQ(problem[QStringLiteral("severity")].toString(), QStringLiteral("file refused"));
}

TEST_F(ImportCommandTest, replacesTheLibraryOfTheSameName)
{
    writeLibrary(QStringLiteral("one.mtlx"), overload("ND_s", "sharpen", "float"));
    writeLibrary(QStringLiteral("two.mtlx"), overload("ND_b", "blur", "float"));
    const QString library = QStringLiteral("--library");
    run({sImport, path(QStringLiteral("one.mtlx")), library, QStringLiteral("mine")});

    run({sImport, path(QStringLiteral("two.mtlx")), library, QStringLiteral("mine")});

    EXPECT_EQ(run({QStringLiteral("list"), QStringLiteral("--names")}).output,
              QStringLiteral("blur\n"));
}

TEST_F(ImportCommandTest, keepsALibraryOfAnotherName)
{
    writeLibrary(QStringLiteral("one.mtlx"), overload("ND_s", "sharpen", "float"));
    writeLibrary(QStringLiteral("two.mtlx"), overload("ND_b", "blur", "float"));
    run({sImport, path(QStringLiteral("one.mtlx"))});

    run({sImport, path(QStringLiteral("two.mtlx"))});

    EXPECT_EQ(run({QStringLiteral("list"), QStringLiteral("--names")}).output,
              QStringLiteral("blur\nsharpen\n"));
}

TEST_F(ImportCommandTest, filesEverythingUnderAGivenName)
{
    run({sImport, QStringLiteral(SAMPLES_FOLDER), QStringLiteral("--name"),
         QStringLiteral("Everything")});

    EXPECT_EQ(run({QStringLiteral("list"), QStringLiteral("--names")}).output,
              QStringLiteral("Everything\n"));
}

TEST_F(ImportCommandTest, filesEachGroupUnderItsName)
{
    run({sImport, QStringLiteral(SAMPLES_FOLDER), QStringLiteral("--group"),
         QStringLiteral("nodegroup")});

    EXPECT_EQ(run({QStringLiteral("list"), QStringLiteral("--names")}).output,
              QStringLiteral("adjustment\nfilter\nHDRI Tools\nmask\nMesh Tool\npbr\n"
                             "procedural2d\nprocedural3d\ntexture2d\n"));
}

TEST_F(ImportCommandTest, refusesAnUnknownGrouping)
{
    EXPECT_EQ(run({sImport, QStringLiteral(SAMPLES_FOLDER), QStringLiteral("--group"),
                   QStringLiteral("colour")})
                      .exitCode,
              2);
}

TEST_F(ImportCommandTest, refusesANameTogetherWithGroups)
{
    EXPECT_EQ(run({sImport, QStringLiteral(SAMPLES_FOLDER), QStringLiteral("--group"),
                   QStringLiteral("nodegroup"), QStringLiteral("--name"), QStringLiteral("x")})
                      .exitCode,
              2);
}

} // namespace Tesk::Command
