#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QJsonArray>

namespace Tesk::Command {

using testing::HasSubstr;
using testing::Not;

namespace {

class QuestionCommandsTest : public CatalogueProcess
{
protected:
    void SetUp() override { importSamples(); }
};

} // namespace

TEST_F(QuestionCommandsTest, listsFiltersInColumns)
{
    const Outcome outcome = ask("list rust");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, QStringLiteral("NAME  KIND     VARIATIONS  PARAMETERS  HIDDEN\n"
                                             "rust  dynamic  2           5           -\n"));
}

TEST_F(QuestionCommandsTest, listsByAPattern)
{
    EXPECT_EQ(ask("list --names edge*").output,
              QStringLiteral("edge_sharpen\nedge_wear\nedge_wear_metal\nedge_wear_paint\n"));
    EXPECT_EQ(ask("list --names STUDIO").output, QStringLiteral("studio:grade\nstudio:vignette\n"));
}

TEST_F(QuestionCommandsTest, marksHiddenFiltersInTheList)
{
    EXPECT_THAT(text("list sky*"), HasSubstr("hidden\n"));
}

TEST_F(QuestionCommandsTest, listsAsJson)
{
    const QJsonObject filter =
            ask("list weave --json").json()[QStringLiteral("filters")].toArray()[0].toObject();

    EXPECT_EQ(filter[QStringLiteral("name")].toString(), QStringLiteral("weave"));
    EXPECT_EQ(filter[QStringLiteral("kind")].toString(), QStringLiteral("dynamic"));
    EXPECT_EQ(filter[QStringLiteral("variations")].toInt(), 4);
    EXPECT_EQ(filter[QStringLiteral("parameters")].toInt(), 4);
    EXPECT_FALSE(filter[QStringLiteral("hidden")].toBool());
}

TEST_F(QuestionCommandsTest, endsNegativelyWhenNothingMatches)
{
    const Outcome outcome = ask("list waeve");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.output, QString());
    EXPECT_EQ(outcome.errors, QStringLiteral("filterbase: no filter matches \"waeve\". "
                                             "Did you mean \"weave\"?\n"));
}

TEST_F(QuestionCommandsTest, showsAFilterInFull)
{
    const std::string shown = text("show Weave");

    EXPECT_THAT(shown, HasSubstr("weave  dynamic filter\n"));
    EXPECT_THAT(shown, HasSubstr("generators/patterns.mtlx\n"));
    EXPECT_THAT(shown, HasSubstr("ND_weave_vector3"));
    EXPECT_THAT(shown, HasSubstr("grayscale  ND_weave_float\n"));
    EXPECT_THAT(shown, HasSubstr("24, 24"));
    EXPECT_THAT(shown, HasSubstr("vantrel::unique_output"));
}

TEST_F(QuestionCommandsTest, showsAStaticFilter)
{
    const std::string shown = text("show Fill");

    EXPECT_THAT(shown, HasSubstr("Fill  static filter\nfilterDesc://fill\n"));
    EXPECT_THAT(shown, HasSubstr("default_color,color4"));
}

TEST_F(QuestionCommandsTest, showsSupersededVersions)
{
    const std::string shown = text("show rust");

    EXPECT_THAT(shown, HasSubstr("ND_rust_color3_v1  1.0      superseded"));
    EXPECT_THAT(shown, HasSubstr("nodedef:ND_rust_color3_v3"));
}

TEST_F(QuestionCommandsTest, suggestsNamesForAnUnknownOne)
{
    for (const char *command : {"show", "pick", "versions", "hide", "unhide", "remove"}) {
        const Outcome outcome = run({QString::fromLatin1(command), QStringLiteral("scratch")});
        EXPECT_EQ(outcome.exitCode, 1) << command;
        EXPECT_EQ(outcome.errors, QStringLiteral("filterbase: there is no filter \"scratch\". "
                                                 "Did you mean \"scratches\"?\n"))
                << command;
        EXPECT_EQ(outcome.output, QString()) << command;
    }
}

TEST_F(QuestionCommandsTest, tellsWhereAllNamesAreWhenNoneIsNear)
{
    EXPECT_EQ(ask("show nonsense_name").errors,
              QStringLiteral("filterbase: there is no filter \"nonsense_name\". "
                             "\"filterbase list\" names those there are.\n"));
}

TEST_F(QuestionCommandsTest, picksByType)
{
    const Outcome outcome = ask("pick weave --type color");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("ND_weave_color3 (found by type)\n"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("mtlx://ND_weave_color3@"));
}

TEST_F(QuestionCommandsTest, prefersAUsageToAType)
{
    EXPECT_THAT(text("pick posterize --usage color4 --type color"),
                HasSubstr("ND_posterize_color4 (found by usage)\n"));
    EXPECT_THAT(text("pick posterize --usage unheard --type color"),
                HasSubstr("ND_posterize_color3 (found by type)\n"));
}

TEST_F(QuestionCommandsTest, translatesValuesToThePickedImplementation)
{
    const QJsonObject answer = ask("pick weave --type float --set threads=9,9 "
                                   "--set warp_color=1,0,0 --json")
                                       .json();

    const QJsonArray values = answer[QStringLiteral("values")].toArray();
    ASSERT_EQ(values.size(), 2);
    const QJsonObject threads = values[0].toObject();
    EXPECT_EQ(threads[QStringLiteral("value")].toString(), QStringLiteral("9,9"));
    // FNV-1a of "ND_weave_color3.threads" and of "ND_weave_float.threads".
    EXPECT_NE(threads[QStringLiteral("filterUid")].toInteger(),
              threads[QStringLiteral("uid")].toInteger());
    EXPECT_GT(threads[QStringLiteral("uid")].toInteger(), 0);
    EXPECT_TRUE(values[1].toObject()[QStringLiteral("uid")].isNull());
}

TEST_F(QuestionCommandsTest, tellsWhatThereIsWhenATypeIsUnknown)
{
    const Outcome outcome = ask("pick weave --type colour");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors,
              QStringLiteral("filterbase: \"weave\" has no implementation for the type "
                             "\"colour\"; it has types: color, float, float3, grayscale; "
                             "usages: none. Did you mean \"color\"?\n"));
}

TEST_F(QuestionCommandsTest, suggestsAUsageForAnUnknownOne)
{
    EXPECT_EQ(ask("pick cells --usage bolean --type image").errors,
              QStringLiteral("filterbase: \"cells\" has no implementation for the usage "
                             "\"bolean\" or the type \"image\"; it has types: float, grayscale, "
                             "integer; usages: boolean. Did you mean \"boolean\"?\n"));
}

TEST_F(QuestionCommandsTest, asksForATypeOrUsageWhereThereAreSeveral)
{
    const Outcome outcome = ask("pick weave");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors,
              QStringLiteral("filterbase: \"weave\" has several implementations; pick one with "
                             "--type or --usage: it has types: color, float, float3, grayscale; "
                             "usages: none\n"));
}

TEST_F(QuestionCommandsTest, suggestsAParameterForAnUnknownOne)
{
    const Outcome outcome = ask("pick weave --type color --set thread=1");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, QStringLiteral("filterbase: \"weave\" has no parameter \"thread\". "
                                             "Did you mean \"threads\"?\n"));
}

TEST_F(QuestionCommandsTest, refusesASettingWithoutAValue)
{
    EXPECT_EQ(ask("pick weave --type color --set threads").exitCode, 2);
}

TEST_F(QuestionCommandsTest, picksTheOneImplementationOfAStaticFilter)
{
    EXPECT_THAT(text("pick Fill"), HasSubstr("ND_fill_color4 (the only one)\n"));
    EXPECT_THAT(text("pick Fill --type color"), HasSubstr("ND_fill_color4 (found by type)\n"));
    EXPECT_EQ(ask("pick Fill --type float").exitCode, 1);
}

TEST_F(QuestionCommandsTest, tellsWhyAnImplementationIsPicked)
{
    const Outcome outcome = ask("why posterize --usage matte --type color");

    EXPECT_EQ(outcome.exitCode, 0);
    const std::string steps = outcome.output.toStdString();
    EXPECT_THAT(steps, HasSubstr("usage \"matte\": not among the 2 usages of \"posterize\"\n"));
    EXPECT_THAT(steps, HasSubstr("type \"color\": ND_posterize_color3\n"));
    EXPECT_THAT(steps, HasSubstr("ND_posterize_color3_masked comes after ND_posterize_color3"));
    EXPECT_THAT(steps, HasSubstr("=> mtlx://ND_posterize_color3@"));
}

TEST_F(QuestionCommandsTest, tellsWhyNothingIsPicked)
{
    const Outcome outcome = ask("why gravel --type float");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("=> the empty fallback"));
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("made for the target \"preview\""));
}

TEST_F(QuestionCommandsTest, tellsOnWhatTheChoiceDependsWhenNothingWasAsked)
{
    const Outcome outcome = ask("why weave");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output.toStdString(),
                HasSubstr("=> it depends on the usage and the type; there are types: color, "
                          "float, float3, grayscale; usages: none\n"));
}

TEST_F(QuestionCommandsTest, tellsWhyANameIsHidden)
{
    EXPECT_THAT(text("why sky_exposure"), HasSubstr("its category is \"HDRI Tools\""));
}

TEST_F(QuestionCommandsTest, tellsWhyANameIsMissing)
{
    const Outcome outcome = ask("why ND_weave_float");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output.toStdString(), HasSubstr("it is a nodedef of the filter \"weave\""));
}

TEST_F(QuestionCommandsTest, tellsWhyAsJson)
{
    const QJsonObject answer = ask("why rust --type color --json").json();

    EXPECT_GE(answer[QStringLiteral("steps")].toArray().size(), 3);
    EXPECT_THAT(answer[QStringLiteral("result")].toString().toStdString(),
                HasSubstr("mtlx://ND_rust_color3_v2@"));
}

TEST_F(QuestionCommandsTest, resolvesAStaticFilterThatBecameDynamic)
{
    writeLibrary(QStringLiteral("more.mtlx"), overload("ND_dust_c", "dust", "color3"));
    run({QStringLiteral("import"), path(QStringLiteral("more.mtlx"))});

    const Outcome outcome = ask("resolve dust");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output.toStdString(), testing::StartsWith("dust "));
}

TEST_F(QuestionCommandsTest, tellsWhyNothingStandsForAFilter)
{
    EXPECT_THAT(ask("resolve Fill").errors.toStdString(), HasSubstr("\"Fill\" is never replaced"));
    EXPECT_THAT(ask("resolve dust").errors.toStdString(),
                HasSubstr("no dynamic filter is called \"dust\""));
    EXPECT_EQ(ask("resolve dust").exitCode, 1);
}

TEST_F(QuestionCommandsTest, resolvesADynamicFilterToItself)
{
    EXPECT_THAT(text("resolve Weave"), testing::StartsWith("weave "));
}

TEST_F(QuestionCommandsTest, resolvesAnImplementationOfADynamicFilterToNothing)
{
    const QString id = ask("pick weave --type color --json")
                               .json()[QStringLiteral("implementation")]
                               .toString();

    const Outcome outcome = run({QStringLiteral("resolve"), id});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("it is an implementation of a dynamic"));
}

TEST_F(QuestionCommandsTest, suggestsANameToResolve)
{
    EXPECT_EQ(ask("resolve dsut").errors,
              QStringLiteral("filterbase: there is no asset \"dsut\". Did you mean \"dust\"?\n"));
}

TEST_F(QuestionCommandsTest, showsVersionLines)
{
    const std::string shown = text("versions rust");

    EXPECT_THAT(shown, HasSubstr("mtlx://ND_rust_color3_v1@"));
    EXPECT_THAT(shown, HasSubstr("(version 1.0)\n    -> mtlx://ND_rust_color3_v2@"));
}

TEST_F(QuestionCommandsTest, showsTheVersionsOfTheFilterItself)
{
    writeLibrary(QStringLiteral("more.mtlx"), overload("ND_weave_i", "weave", "integer"));
    run({QStringLiteral("import"), path(QStringLiteral("more.mtlx"))});

    const QJsonArray lines =
            ask("versions weave --json").json()[QStringLiteral("filter")].toArray();

    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(lines[0].toArray().size(), 2);
}

TEST_F(QuestionCommandsTest, writesNothingWhileAnswering)
{
    const QByteArray before = catalogueBytes();
    for (const char *line : {"list", "show weave", "pick weave --type color", "why weave",
                             "resolve Fill", "versions rust", "check", "export", "stats"})
        ask(line);

    EXPECT_EQ(catalogueBytes(), before);
}

} // namespace Tesk::Command
