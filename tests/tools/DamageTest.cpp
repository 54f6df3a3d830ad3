#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QJsonArray>

namespace Tesk::Command {

using testing::HasSubstr;
using testing::Not;

namespace {

class DamageTest : public CatalogueProcess
{
protected:
    void SetUp() override { importSamples(); }

    // Writes nonsense over the body of the one asset whose identifier is like \a pattern.
    void breakBody(const char *pattern) const
    {
        execute((std::string("UPDATE body SET data = x'00' WHERE asset_k = (SELECT k FROM asset "
                             "WHERE CAST(id AS TEXT) LIKE '")
                 + pattern + "')")
                        .c_str());
    }

    void removeRow(const char *pattern) const
    {
        execute((std::string("PRAGMA foreign_keys = ON; DELETE FROM asset WHERE CAST(id AS TEXT) "
                             "LIKE '")
                 + pattern + "'")
                        .c_str());
    }

    std::string idOf(const char *filter) const
    {
        return run({QStringLiteral("show"), QString::fromLatin1(filter), QStringLiteral("--json")})
                .json()[QStringLiteral("filter")][QStringLiteral("id")]
                .toString()
                .toStdString();
    }

    // After an import of the library everything must be as it was.
    void expectTheImportToMendIt(const char *summary) const
    {
        const Outcome outcome = run({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors.toStdString();
        EXPECT_THAT(outcome.output.toStdString(), HasSubstr(summary));
        EXPECT_EQ(ask("check").output, QStringLiteral("23 filters checked, no damage\n"));
        EXPECT_EQ(ask("list --names").output.count(u'\n'), 23);
    }
};

} // namespace

TEST_F(DamageTest, findsABrokenBodyAndChangesNothing)
{
    breakBody("mtlx://ND_weave_float@%");
    const QByteArray before = catalogueBytes();

    const Outcome outcome = ask("check");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("damage 9 mtlx://ND_weave_float@"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("damage 2 mtlx://ND_weave_float@"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("23 filters checked, 2 faults\n"));
    EXPECT_EQ(catalogueBytes(), before);
}

TEST_F(DamageTest, answersWhatItCanFromADamagedCatalogue)
{
    breakBody("mtlx://ND_weave_float@%");
    breakBody("filterDesc://dust");

    const Outcome outcome = ask("list --names");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.count(u'\n'), 22);
    EXPECT_EQ(outcome.errors,
              QStringLiteral("filterbase: warning: 2 assets of the catalogue cannot be read; "
                             "\"filterbase check\" tells more\n"));
    for (const char *line : {"show weave", "pick weave --type color", "why weave --type float",
                             "versions weave", "export --json", "stats", "hide weave"})
        EXPECT_EQ(ask(line).exitCode, 0) << line;
}

TEST_F(DamageTest, tellsWhatToDoWhenTheAnswerItselfIsDamaged)
{
    breakBody("mtlx://ND_weave_float@%");

    const Outcome outcome = ask("pick weave --type float");

    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("filterbase: Cannot read the body of "));
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("\"filterbase check --repair\" mends"));
}

TEST_F(DamageTest, takesABrokenImplementationOutForTheImportToBringBack)
{
    breakBody("mtlx://ND_weave_float@%");

    const Outcome outcome = ask("check --repair");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("repaired 9 mtlx://ND_weave_float@"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("repaired 2 mtlx://ND_weave_float@"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("import its library again"));
    expectTheImportToMendIt("0 new, 1 updated, 22 unchanged, 0 removed");
    EXPECT_THAT(text("pick weave --type float"), HasSubstr("ND_weave_float (found by type)"));
}

TEST_F(DamageTest, takesABrokenDescriptorOutForTheImportToBringBack)
{
    breakBody("filterDesc://dust");

    EXPECT_THAT(text("check --repair"), HasSubstr("repaired 2 filterDesc://dust"));

    expectTheImportToMendIt("1 new, 0 updated, 22 unchanged, 0 removed");
}

TEST_F(DamageTest, takesABrokenDynamicFilterOutForTheImportToBringBack)
{
    breakBody(idOf("weave").c_str());

    EXPECT_THAT(text("check --repair"), HasSubstr("repaired 2 "));

    expectTheImportToMendIt("1 new, 0 updated, 22 unchanged, 0 removed");
    EXPECT_THAT(text("pick weave --type color"), HasSubstr("ND_weave_color3 (found by type)"));
}

TEST_F(DamageTest, stopsAnImportThatMeetsABrokenDynamicFilterAndChangesNothing)
{
    breakBody(idOf("weave").c_str());
    const QString before = ask("check").output;

    const Outcome outcome = run({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)});

    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("filterbase: Cannot read the body of "));
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("\"filterbase check --repair\" mends"));
    EXPECT_EQ(ask("check").output, before);
    EXPECT_THAT(before.toStdString(), HasSubstr("2 faults"));
}

TEST_F(DamageTest, dropsAnItemThatNamesNothing)
{
    removeRow("filterDesc://dust");
    execute("UPDATE collection_item SET item_k = NULL "
            "WHERE CAST(item_id AS TEXT) = 'filterDesc://dust'");
    EXPECT_THAT(text("check"), HasSubstr("note 7 "));

    EXPECT_THAT(text("check --repair"), HasSubstr("repaired 7 "));

    EXPECT_EQ(ask("check").output, QStringLiteral("22 filters checked, no damage\n"));
    expectTheImportToMendIt("1 new, 0 updated, 22 unchanged, 0 removed");
}

TEST_F(DamageTest, dropsTheImplementationThatADescriptorMisses)
{
    removeRow("mtlx://ND_dust_float@%");
    EXPECT_EQ(ask("check").exitCode, 1);

    EXPECT_THAT(text("check --repair"), HasSubstr("repaired 102 filterDesc://dust"));

    EXPECT_EQ(ask("check").output, QStringLiteral("23 filters checked, no damage\n"));
    expectTheImportToMendIt("1 new, 0 updated, 22 unchanged, 0 removed");
}

TEST_F(DamageTest, leavesToTheImportWhatADynamicFilterMisses)
{
    removeRow("mtlx://ND_weave_float@%");

    const Outcome outcome = ask("check --repair");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("damage 102 "));
    EXPECT_THAT(outcome.output.toStdString(), Not(HasSubstr("repaired")));
    expectTheImportToMendIt("0 new, 1 updated, 22 unchanged, 0 removed");
}

TEST_F(DamageTest, notesTwoFiltersOfOneName)
{
    execute("UPDATE asset SET name = 'Fill', name_key = 'fill' "
            "WHERE CAST(id AS TEXT) = 'filterDesc://dust';"
            "UPDATE collection_item SET name = 'Fill' "
            "WHERE CAST(item_id AS TEXT) = 'filterDesc://dust'");

    const Outcome outcome = ask("check --json");

    EXPECT_EQ(outcome.exitCode, 0);
    const QJsonArray findings = outcome.json()[QStringLiteral("findings")].toArray();
    ASSERT_EQ(findings.size(), 1);
    EXPECT_EQ(findings[0][QStringLiteral("code")].toInt(), 101);
    EXPECT_FALSE(findings[0][QStringLiteral("damage")].toBool());
    EXPECT_EQ(ask("list --names fill").output, QStringLiteral("Fill\nFill\n"));
}

TEST_F(DamageTest, refusesHalfAFile)
{
    QFile file(catalogue());
    ASSERT_TRUE(file.resize(file.size() / 2));

    for (const char *line : {"check", "list", "check --repair"}) {
        const Outcome outcome = ask(line);
        EXPECT_TRUE(outcome.exitCode == 1 || outcome.exitCode == 3) << line;
        EXPECT_FALSE(outcome.output.isEmpty() && outcome.errors.isEmpty()) << line;
    }
}

} // namespace Tesk::Command
