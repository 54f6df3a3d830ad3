#include "CatalogueProcess.h"
#include "TerminalProcess.h"
#include "TextColumns.h"

#include <gmock/gmock.h>

#include <QFile>

#include <csignal>

namespace Tesk::Command {

using testing::HasSubstr;
using testing::Not;

namespace {

class OnTerminalTest : public CatalogueProcess
{
protected:
    QStringList onCatalogue(const char *line) const
    {
        return QStringList{QStringLiteral("--catalogue"), catalogue()}
               + QString::fromLatin1(line).split(u' ');
    }

    std::string shown(const QStringList &arguments, int columns,
                      const QStringList &variables = {}) const
    {
        TerminalProcess process(arguments, columns, variables);
        const std::string text = process.readToEnd().toStdString();
        EXPECT_EQ(process.wait(), 0);
        return text;
    }

    QString exported() const
    {
        const Outcome outcome = run({QStringLiteral("export"), QStringLiteral("--json")});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors.toStdString();
        return outcome.output;
    }

    // Takes the command many times as long to file as a signal takes to arrive.
    QStringList importOfALargeLibrary() const
    {
        QByteArray body;
        for (int i = 0; i < 20'000; ++i)
            body += overload("ND_" + QByteArray::number(i), "n" + QByteArray::number(i), "float");
        writeLibrary(QStringLiteral("samples.mtlx"), body);
        return onCatalogue("import") << path(QStringLiteral("samples.mtlx"));
    }
};

} // namespace

TEST_F(OnTerminalTest, showsHowFarTheImportIs)
{
    const std::string text = shown(onCatalogue("import " SAMPLES_FOLDER), 80);

    EXPECT_THAT(text, HasSubstr("\rfiles [------------------------] 0/8\033[K"));
    EXPECT_THAT(text, HasSubstr("\rfilters [------------------------] 0/23\033[K"));
    // The bar is gone before the summary begins.
    EXPECT_THAT(text, HasSubstr("\r\033[K8 files, 43 nodedefs\r\n"));
}

TEST_F(OnTerminalTest, keepsTheBarWithinANarrowTerminal)
{
    const std::string text = shown(onCatalogue("import " SAMPLES_FOLDER), 20);

    EXPECT_THAT(text, HasSubstr("\rfiles [------------\033[K"));
}

TEST_F(OnTerminalTest, showsNoBarOnADumbTerminal)
{
    const std::string text =
            shown(onCatalogue("import " SAMPLES_FOLDER), 80, {QStringLiteral("TERM=dumb")});

    EXPECT_THAT(text, Not(HasSubstr("[--")));
    EXPECT_THAT(text, testing::StartsWith("8 files, 43 nodedefs\r\n"));
}

TEST_F(OnTerminalTest, setsHeadingsInBoldUnlessColourIsUnwanted)
{
    importSamples();
    const std::string plain = "NAME  KIND     VARIATIONS  PARAMETERS  HIDDEN";

    EXPECT_THAT(shown(onCatalogue("list rust"), 80), HasSubstr("\033[1m" + plain + "\033[0m\r\n"));
    EXPECT_THAT(shown(onCatalogue("list rust"), 80, {QStringLiteral("NO_COLOR=1")}),
                testing::StartsWith(plain + "\r\n"));
    EXPECT_THAT(shown(onCatalogue("list rust"), 80, {QStringLiteral("TERM=dumb")}),
                testing::StartsWith(plain + "\r\n"));
}

TEST_F(OnTerminalTest, keepsTablesWithinTheTerminalAndLosesNothing)
{
    importSamples();
    for (const int columns : {60, 80, 120}) {
        const QString text = QString::fromStdString(
                shown(onCatalogue("show cells"), columns, {QStringLiteral("NO_COLOR=1")}));
        const QStringList lines = text.split(QStringLiteral("\r\n"));
        // Above the tables stand an identifier and a path, which are not broken.
        const QStringList tables = lines.sliced(lines.indexOf(QString()));
        EXPECT_GT(tables.size(), 15);
        for (const QString &line : tables)
            EXPECT_LE(TextColumns::widthOf(line), columns) << line.toStdString();
        // The uid of a parameter in an implementation, which stands in the widest column.
        EXPECT_TRUE(text.contains(QStringLiteral("1659037655"))) << columns;
    }
}

TEST_F(OnTerminalTest, takesAnotherWidthFromTheEnvironment)
{
    importSamples();

    const std::string text = shown(onCatalogue("list rust"), 120,
                                   {QStringLiteral("NO_COLOR=1"), QStringLiteral("COLUMNS=30")});

    EXPECT_THAT(text, Not(HasSubstr("PARAMETERS")));
}

TEST_F(OnTerminalTest, leavesTheCatalogueAsItWasWhenInterrupted)
{
    importSamples();
    const QString before = exported();
    TerminalProcess process(importOfALargeLibrary(), 80);
    ASSERT_TRUE(process.readUntil("filters ["));

    process.send(SIGINT);
    const QByteArray text = process.readToEnd();

    EXPECT_EQ(process.wait(), 130);
    EXPECT_THAT(text.toStdString(),
                HasSubstr("filterbase: interrupted; the catalogue is as it was\r\n"));
    EXPECT_EQ(exported(), before);
}

TEST_F(OnTerminalTest, leavesNoNewCatalogueWhenInterrupted)
{
    TerminalProcess process(importOfALargeLibrary(), 80);
    ASSERT_TRUE(process.readUntil("filters ["));

    process.send(SIGINT);
    process.readToEnd();

    EXPECT_EQ(process.wait(), 130);
    for (const char *ending : {"", "-wal", "-shm"})
        EXPECT_FALSE(QFile::exists(catalogue() + QString::fromLatin1(ending))) << ending;
}

TEST_F(OnTerminalTest, leavesTheCatalogueAsItWasWhenKilled)
{
    importSamples();
    const QString before = exported();
    TerminalProcess process(importOfALargeLibrary(), 80);
    ASSERT_TRUE(process.readUntil("filters ["));

    process.send(SIGKILL);

    EXPECT_EQ(process.wait(), -SIGKILL);
    EXPECT_EQ(exported(), before);
    EXPECT_EQ(run({QStringLiteral("check")}).output,
              QStringLiteral("23 filters checked, no damage\n"));
    EXPECT_EQ(run({QStringLiteral("hide"), QStringLiteral("weave")}).exitCode, 0);
}

} // namespace Tesk::Command
