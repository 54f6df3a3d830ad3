#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QJsonArray>

namespace Tesk::Command {

using testing::HasSubstr;

namespace {

class ChangeCommandsTest : public CatalogueProcess
{
protected:
    void SetUp() override { importSamples(); }

    bool isHidden(const char *name) const
    {
        return run({QStringLiteral("show"), QString::fromLatin1(name), QStringLiteral("--json")})
                .json()[QStringLiteral("filter")][QStringLiteral("hidden")]
                .toBool();
    }
};

} // namespace

TEST_F(ChangeCommandsTest, hidesAFilterForGood)
{
    const Outcome outcome = ask("hide Velvet");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, QStringLiteral("\"velvet\" is now hidden\n"));
    EXPECT_TRUE(isHidden("velvet"));
    EXPECT_EQ(ask("hide velvet").output, QStringLiteral("\"velvet\" was hidden\n"));
}

TEST_F(ChangeCommandsTest, showsAHiddenFilterAgain)
{
    ask("hide velvet");

    const Outcome outcome = ask("unhide velvet");

    EXPECT_EQ(outcome.output, QStringLiteral("\"velvet\" is now shown\n"));
    EXPECT_FALSE(isHidden("velvet"));
}

TEST_F(ChangeCommandsTest, tellsThatARuleWillHideItAgain)
{
    const Outcome outcome = ask("unhide bake_curvature");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output.toStdString(),
                HasSubstr("note: it will be hidden again: its category is \"Mesh Tool\""));
    EXPECT_TRUE(isHidden("bake_curvature"));
}

TEST_F(ChangeCommandsTest, answersAsJson)
{
    const QJsonObject answer = ask("hide velvet --json").json();

    EXPECT_EQ(answer[QStringLiteral("name")].toString(), QStringLiteral("velvet"));
    EXPECT_TRUE(answer[QStringLiteral("hidden")].toBool());
    EXPECT_TRUE(answer[QStringLiteral("changed")].toBool());
    EXPECT_TRUE(answer[QStringLiteral("note")].isNull());
}

TEST_F(ChangeCommandsTest, removesADynamicFilterWithItsImplementations)
{
    const Outcome outcome = ask("remove weave");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, QStringLiteral("removed \"weave\" and 3 implementations\n"));
    EXPECT_EQ(ask("show weave").exitCode, 1);
    EXPECT_EQ(ask("check").exitCode, 0);
}

TEST_F(ChangeCommandsTest, removesSupersededVersionsToo)
{
    EXPECT_EQ(ask("remove scratches").output,
              QStringLiteral("removed \"scratches\" and 2 implementations\n"));
}

TEST_F(ChangeCommandsTest, letsALaterImportFileARemovedFilterAnew)
{
    const QString before = ask("export --json").output;
    ask("remove weave");
    ask("remove Fill");

    const Outcome outcome = run({QStringLiteral("import"), QStringLiteral(SAMPLES_FOLDER)});

    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("2 new, 0 updated, 21 unchanged"));
    EXPECT_EQ(ask("export --json").output, before);
}

TEST_F(ChangeCommandsTest, removesEarlierVersionsOfTheFilter)
{
    writeLibrary(QStringLiteral("more.mtlx"), overload("ND_weave_i", "weave", "integer"));
    run({QStringLiteral("import"), path(QStringLiteral("more.mtlx"))});

    const QJsonObject answer = ask("remove weave --json").json();

    EXPECT_EQ(answer[QStringLiteral("filters")].toArray().size(), 2);
    EXPECT_EQ(answer[QStringLiteral("implementations")].toArray().size(), 7);
    EXPECT_EQ(ask("check").exitCode, 0);
}

} // namespace Tesk::Command
