#include "CatalogueProcess.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QJsonArray>

namespace Tesk::Command {

using testing::HasSubstr;

namespace {

class WholeCatalogueCommandsTest : public CatalogueProcess
{
protected:
    QJsonObject exported(const char *key) const
    {
        const QJsonArray filters = ask("export --json").json()[QStringLiteral("filters")].toArray();
        for (const QJsonValue &filter : filters) {
            if (filter[QStringLiteral("key")].toString() == QLatin1StringView(key))
                return filter.toObject();
        }
        return {};
    }
};

} // namespace

TEST_F(WholeCatalogueCommandsTest, exportsTheSameBytesForTheSameContent)
{
    importSamples();
    const QString first = ask("export --json").output;
    ASSERT_TRUE(QFile::remove(catalogue()));
    importSamples();

    EXPECT_EQ(ask("export --json").output, first);
    EXPECT_EQ(ask("export").output, ask("export").output);
}

TEST_F(WholeCatalogueCommandsTest, exportsTheSameBytesInWhateverOrderLibrariesCame)
{
    writeLibrary(QStringLiteral("one.mtlx"),
                 overload("ND_s", "sharpen", "float") + overload("ND_t", "sharpen", "color3"));
    writeLibrary(QStringLiteral("two.mtlx"),
                 overload("ND_b", "blur", "float") + overload("ND_c", "blur", "color3"));
    run({QStringLiteral("import"), path(QStringLiteral("one.mtlx"))});
    run({QStringLiteral("import"), path(QStringLiteral("two.mtlx"))});
    const QString first = ask("export --json").output;
    ASSERT_TRUE(QFile::remove(catalogue()));

    run({QStringLiteral("import"), path(QStringLiteral("two.mtlx")),
         path(QStringLiteral("one.mtlx"))});

    EXPECT_EQ(ask("export --json").output, first);
    EXPECT_THAT(first.toStdString(), HasSubstr("ND_t"));
}

TEST_F(WholeCatalogueCommandsTest, exportsFiltersByAscendingKey)
{
    importSamples();

    QStringList keys;
    const QJsonArray filters = ask("export --json").json()[QStringLiteral("filters")].toArray();
    for (const QJsonValue &filter : filters)
        keys.append(filter[QStringLiteral("key")].toString());

    EXPECT_EQ(keys.size(), 23);
    QStringList sorted = keys;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(keys, sorted);
}

TEST_F(WholeCatalogueCommandsTest, exportsAFilterWhole)
{
    writeLibrary(QStringLiteral("lib.mtlx"),
                 "<nodedef name=\"ND_add_float\" node=\"add\" nodegroup=\"math\">"
                 "<input name=\"in1\" type=\"float\" value=\"0.0\"/>"
                 "<output name=\"out\" type=\"float\" defaultinput=\"in1\"/></nodedef>"
                 "<nodedef name=\"ND_add_color3\" node=\"add\" nodegroup=\"math\">"
                 "<input name=\"in1\" type=\"color3\"/>"
                 "<output name=\"out\" type=\"color3\"/></nodedef>");
    run({QStringLiteral("import"), path(QStringLiteral("lib.mtlx"))});

    const QJsonObject filter = exported("add");

    EXPECT_EQ(filter[QStringLiteral("kind")].toString(), QStringLiteral("dynamic"));
    EXPECT_EQ(filter[QStringLiteral("types")].toObject(),
              (QJsonObject{{QStringLiteral("color"), QStringLiteral("ND_add_color3")},
                           {QStringLiteral("float"), QStringLiteral("ND_add_float")},
                           {QStringLiteral("grayscale"), QStringLiteral("ND_add_float")}}));
    EXPECT_TRUE(filter[QStringLiteral("usages")].toObject().isEmpty());
    const QJsonArray implementations = filter[QStringLiteral("implementations")].toArray();
    ASSERT_EQ(implementations.size(), 2);
    const QJsonObject first = implementations[0].toObject();
    EXPECT_EQ(first[QStringLiteral("nodedef")].toString(), QStringLiteral("ND_add_float"));
    EXPECT_EQ(first[QStringLiteral("variationType")].toString(),
              QStringLiteral("default_float,default_grayscale"));
    EXPECT_TRUE(first[QStringLiteral("uniqueOutput")].toBool());
    EXPECT_EQ(first[QStringLiteral("defaultActiveOutputs")].toString(), QStringLiteral("out"));
    EXPECT_EQ(first[QStringLiteral("variableUsage")].toString(), QStringLiteral("in1"));
    EXPECT_EQ(first[QStringLiteral("category")].toString(), QStringLiteral("math"));
    EXPECT_TRUE(first[QStringLiteral("next")].isNull());
    const QJsonObject parameter =
            implementations[1][QStringLiteral("parameters")].toArray()[0].toObject();
    EXPECT_EQ(parameter[QStringLiteral("identifier")].toString(), QStringLiteral("in1"));
    EXPECT_EQ(parameter[QStringLiteral("uid")].toInteger(), 3546855524LL);
    EXPECT_EQ(parameter[QStringLiteral("type")].toString(), QStringLiteral("color3"));
    EXPECT_TRUE(parameter[QStringLiteral("value")].isNull());
}

TEST_F(WholeCatalogueCommandsTest, exportsWhereMergedParametersComeFrom)
{
    importSamples();

    const QJsonObject filter = exported("weave");

    const QJsonArray parameters = filter[QStringLiteral("parameters")].toArray();
    ASSERT_EQ(parameters.size(), 4);
    EXPECT_EQ(parameters[0][QStringLiteral("identifier")].toString(), QStringLiteral("warp_color"));
    EXPECT_EQ(parameters[0][QStringLiteral("from")].toString(), QStringLiteral("ND_weave_color3"));
    const QJsonObject tables =
            filter[QStringLiteral("uidTables")][QStringLiteral("types")].toObject();
    EXPECT_EQ(tables.size(), 4);
    EXPECT_EQ(tables[QStringLiteral("color")].toObject().size(), 4);
    EXPECT_EQ(tables[QStringLiteral("float")].toObject().size(), 2);
}

TEST_F(WholeCatalogueCommandsTest, exportsReplacedImplementationsApart)
{
    importSamples();
    writeLibrary(QStringLiteral("more.mtlx"), overload("ND_weave_i", "weave", "integer"));
    run({QStringLiteral("import"), path(QStringLiteral("more.mtlx"))});

    const QJsonObject filter = exported("weave");

    EXPECT_EQ(filter[QStringLiteral("implementations")].toArray().size(), 4);
    const QJsonArray replaced = filter[QStringLiteral("replaced")].toArray();
    ASSERT_EQ(replaced.size(), 3);
    EXPECT_TRUE(replaced[0][QStringLiteral("next")].toString().endsWith(QStringLiteral("#2")));
}

TEST_F(WholeCatalogueCommandsTest, findsNoFaultInASoundCatalogue)
{
    importSamples();

    const Outcome outcome = ask("check");

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, QStringLiteral("23 filters checked, no damage\n"));
    EXPECT_EQ(ask("check --json").json()[QStringLiteral("findings")].toArray().size(), 0);
    EXPECT_EQ(ask("check --repair").exitCode, 0);
}

TEST_F(WholeCatalogueCommandsTest, countsWhatTheCatalogueHolds)
{
    importSamples();

    const QJsonObject answer = ask("stats --json").json();

    EXPECT_EQ(answer[QStringLiteral("filters")].toInt(), 23);
    EXPECT_EQ(answer[QStringLiteral("staticFilters")].toInt(), 10);
    EXPECT_EQ(answer[QStringLiteral("dynamicFilters")].toInt(), 13);
    EXPECT_EQ(answer[QStringLiteral("hiddenFilters")].toInt(), 2);
    EXPECT_EQ(answer[QStringLiteral("implementations")].toInt(), 41);
    EXPECT_EQ(answer[QStringLiteral("supersededImplementations")].toInt(), 2);
    EXPECT_EQ(answer[QStringLiteral("libraries")].toInt(), 1);
    EXPECT_GT(answer[QStringLiteral("fileBytes")].toInt(), 0);
    EXPECT_THAT(ask("stats").output.toStdString(), HasSubstr("dynamic filters             13\n"));
    EXPECT_THAT(ask("stats").output.toStdString(), HasSubstr("\nversion "));
}

} // namespace Tesk::Command
