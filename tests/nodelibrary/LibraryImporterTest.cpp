#include <nodelibrary/LibraryImporter.h>

#include "Catalogue.h"
#include "LibraryFolder.h"
#include "NodeDefs.h"

#include <nodelibrary/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <filterbase/UserDataKeys.h>
#include <support/RecordedLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

using Assets::AssetReference;
using State = FilterChange::State;
using testing::HasSubstr;

namespace {

const QString sMain = QStringLiteral("main.mtlx");
const QString sOther = QStringLiteral("other.mtlx");
const QString sBlur = QStringLiteral("blur");
const QString sSharpen = QStringLiteral("sharpen");

const QByteArray sTwoHeads = overload("ND_f", "blur", "float") + overload("ND_c", "blur", "color3");

class LibraryImporterTest : public testing::Test
{
protected:
    ImportSummary import(const QByteArray &body, const ImportOptions &options = {})
    {
        m_folder.write(sMain, body);
        return m_catalogue.import({m_folder.path(sMain)}, options);
    }

    ImportSummary importOther(const QByteArray &body)
    {
        m_folder.write(sOther, body);
        return m_catalogue.import({m_folder.path(sOther)});
    }

    QString logTexts() const
    {
        QStringList texts;
        for (const std::string &text : m_log.texts())
            texts.append(QString::fromStdString(text));
        return texts.join(u'\n');
    }

    static QVariant item(const std::shared_ptr<NodeDefAsset> &asset, const QString &key)
    {
        return Assets::AssetControl::getAssetMetadataItem(asset->ownReference(), key);
    }

    TestSupport::RecordedLog m_log;
    LibraryFolder m_folder;
    Catalogue m_catalogue;
};

} // namespace

TEST_F(LibraryImporterTest, filesOneHeadInADescriptor)
{
    const ImportSummary summary = import(overload("ND_s", "sharpen", "float"));

    EXPECT_EQ(summary.count(State::New), 1U);
    EXPECT_EQ(summary.nodeDefCount, 1);
    const auto descriptor = m_catalogue.descriptor(sSharpen);
    ASSERT_TRUE(descriptor);
    ASSERT_EQ(descriptor->implementations.size(), 1);
    EXPECT_EQ(*descriptor->implementations.begin(),
              m_catalogue.asset(QStringLiteral("ND_s"))->ownReference());
    EXPECT_EQ(m_catalogue.collection(), QStringList{QStringLiteral("filterDesc://sharpen")});
    EXPECT_EQ(logTexts(), QString());
}

TEST_F(LibraryImporterTest, filesSeveralHeadsInADynamicFilter)
{
    import(sTwoHeads);

    EXPECT_EQ(m_catalogue.keysOf(sBlur),
              (std::map<QString, QString>{
                      {QStringLiteral("types/color"), QStringLiteral("ND_c")},
                      {QStringLiteral("types/float"), QStringLiteral("ND_f")},
                      {QStringLiteral("types/grayscale"), QStringLiteral("ND_f")}}));
    EXPECT_FALSE(m_catalogue.descriptor(sBlur));
    EXPECT_EQ(m_catalogue.collection().size(), 1);
    EXPECT_EQ(logTexts(), QString());
}

TEST_F(LibraryImporterTest, givesImplementationsTheirUserData)
{
    import("<nodedef name=\"ND_f\" node=\"blur\" nodegroup=\"filter\"><output name=\"out\" "
           "type=\"float\" defaultinput=\"in\"/></nodedef>"
           + overload("ND_c", "blur", "color3"));

    const auto asset = m_catalogue.asset(QStringLiteral("ND_f"));
    EXPECT_EQ(Assets::AssetControl::getName(asset), sBlur);
    EXPECT_EQ(asset->getSourceFileUrl(), QUrl::fromLocalFile(m_folder.path(sMain)));
    EXPECT_EQ(item(asset, FilterBase::filterTypeUserDataKey), QStringLiteral("dynamic_filter"));
    EXPECT_EQ(item(asset, FilterBase::variationTypeUserDataKey),
              QStringLiteral("default_float,default_grayscale"));
    EXPECT_EQ(item(asset, FilterBase::uniqueOutputUserDataKey), QVariant(true));
    EXPECT_EQ(item(asset, FilterBase::defaultActiveOutputsUserDataKey), QStringLiteral("out"));
    EXPECT_EQ(item(asset, FilterBase::variableUsageUserDataKey), QStringLiteral("in"));
    EXPECT_EQ(item(asset, QStringLiteral("Category")), QStringLiteral("filter"));
    EXPECT_EQ(item(asset, libraryUserDataKey), QStringLiteral("main"));
}

TEST_F(LibraryImporterTest, marksNoStaticImplementationAsDynamic)
{
    import(overload("ND_s", "sharpen", "float"));

    EXPECT_FALSE(item(m_catalogue.asset(QStringLiteral("ND_s")), FilterBase::filterTypeUserDataKey)
                         .isValid());
}

TEST_F(LibraryImporterTest, leadsASupersededVersionToItsHead)
{
    import(overload("ND_1", "blur", "float", "version=\"1\"")
           + overload("ND_2", "blur", "float", "version=\"2\""));

    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_1")), QStringLiteral("ND_2#1"));
    EXPECT_EQ(m_catalogue.descriptor(sBlur)->implementations.size(), 1);
}

TEST_F(LibraryImporterTest, findsEverythingAgainAfterReopening)
{
    import(sTwoHeads + overload("ND_s", "sharpen", "float"));
    const auto keys = m_catalogue.keysOf(sBlur);

    m_catalogue.reopen();

    EXPECT_EQ(m_catalogue.keysOf(sBlur), keys);
    EXPECT_TRUE(m_catalogue.descriptor(sSharpen));
    EXPECT_EQ(m_catalogue.collection().size(), 2);
}

TEST_F(LibraryImporterTest, changesNothingTheSecondTime)
{
    import(sTwoHeads + overload("ND_s", "sharpen", "float"));
    const AssetReference before = m_catalogue.manager().getDynamicFilter(sBlur);
    const QStringList collection = m_catalogue.collection();
    m_catalogue.reopen();

    const ImportSummary summary = import(sTwoHeads + overload("ND_s", "sharpen", "float"));

    EXPECT_EQ(summary.count(State::Unchanged), 2U);
    EXPECT_EQ(m_catalogue.manager().getDynamicFilter(sBlur).id(), before.id());
    EXPECT_EQ(m_catalogue.collection(), collection);
    EXPECT_FALSE(m_catalogue.asset(QStringLiteral("ND_f"), 2));
}

TEST_F(LibraryImporterTest, replacesADynamicFilterWhenAHeadChanged)
{
    import(sTwoHeads);
    const auto old = m_catalogue.dynamicFilter(sBlur);
    m_catalogue.reopen();

    const ImportSummary summary = import(overload("ND_f", "blur", "float", "doc=\"new\"")
                                         + overload("ND_c", "blur", "color3"));

    EXPECT_EQ(summary.count(State::Updated), 1U);
    const auto filter = m_catalogue.dynamicFilter(sBlur);
    EXPECT_EQ(filter->types.size(), 3);
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_f")), QStringLiteral("ND_f#2"));
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_c")), QStringLiteral("ND_c#2"));
    EXPECT_EQ(m_catalogue.collection(),
              QStringList{QString::fromUtf8(filter->ownReference().id())});
    const auto oldAgain = m_catalogue.database().getAssetFromId(old->generateId());
    EXPECT_EQ(oldAgain->nextVersion.get(), filter->ownReference());
    EXPECT_EQ(logTexts(), QString());
}

TEST_F(LibraryImporterTest, takesANewOverloadIntoAPersistentFilter)
{
    import(sTwoHeads);
    m_catalogue.reopen();

    import(overload("ND_v", "blur", "vector2") + sTwoHeads);

    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 4U);
    EXPECT_EQ(m_catalogue.keysOf(sBlur)[QStringLiteral("types/float2")], QStringLiteral("ND_v"));
}

TEST_F(LibraryImporterTest, takesARemovedOverloadOutOfTheFilter)
{
    import(sTwoHeads + overload("ND_i", "blur", "integer"));
    m_catalogue.reopen();

    import(sTwoHeads);

    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_i")), QString());
    EXPECT_TRUE(m_catalogue.asset(QStringLiteral("ND_i")));
}

TEST_F(LibraryImporterTest, leadsAllOldImplementationsToTheFirstHeadWhenNoneSurvives)
{
    import(sTwoHeads);
    m_catalogue.reopen();

    import(overload("ND_x", "blur", "float") + overload("ND_y", "blur", "color3"));

    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_f")), QStringLiteral("ND_x#1"));
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_c")), QStringLiteral("ND_x#1"));
    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
}

TEST_F(LibraryImporterTest, replacesTheImplementationOfAStaticFilter)
{
    import(overload("ND_s", "sharpen", "float"));
    m_catalogue.reopen();

    import(overload("ND_s", "sharpen", "float", "doc=\"new\""));

    const auto descriptor = m_catalogue.descriptor(sSharpen);
    ASSERT_EQ(descriptor->implementations.size(), 1);
    EXPECT_EQ(*descriptor->implementations.begin(),
              m_catalogue.asset(QStringLiteral("ND_s"), 2)->ownReference());
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_s")), QStringLiteral("ND_s#2"));
    EXPECT_EQ(logTexts(), QString());
}

TEST_F(LibraryImporterTest, replacesARenamedImplementationOfAStaticFilter)
{
    import(overload("ND_s", "sharpen", "float"));
    m_catalogue.reopen();

    import(overload("ND_t", "sharpen", "float"));

    EXPECT_EQ(m_catalogue.descriptor(sSharpen)->implementations.size(), 1);
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_s")), QStringLiteral("ND_t#1"));
}

TEST_F(LibraryImporterTest, turnsAStaticFilterDynamicAndHidesItsDescriptor)
{
    import(overload("ND_f", "blur", "float"));
    m_catalogue.reopen();

    import(sTwoHeads);

    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
    EXPECT_TRUE(Assets::CollectionControl::isHidden(m_catalogue.manager().getFilterDesc(sBlur)));
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_f")), QString());
    EXPECT_EQ(m_catalogue.manager().getDynamicFilterFromStaticFilter(
                      m_catalogue.asset(QStringLiteral("ND_f"))->ownReference()),
              m_catalogue.manager().getDynamicFilter(sBlur));
    m_catalogue.reopen();
    EXPECT_EQ(import(sTwoHeads).count(State::Unchanged), 1U);
}

TEST_F(LibraryImporterTest, keepsADynamicFilterDynamicWithOneHeadLeft)
{
    import(sTwoHeads);
    m_catalogue.reopen();

    import(overload("ND_f", "blur", "float"));

    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 2U);
    EXPECT_FALSE(m_catalogue.descriptor(sBlur));
}

TEST_F(LibraryImporterTest, takesAFilterOutThatLostAllItsNodeDefs)
{
    import(sTwoHeads + overload("ND_s", "sharpen", "float"));
    m_catalogue.reopen();

    const ImportSummary summary = import(QByteArray());

    EXPECT_EQ(summary.count(State::Removed), 2U);
    EXPECT_TRUE(m_catalogue.collection().isEmpty());
    EXPECT_TRUE(m_catalogue.asset(QStringLiteral("ND_f")));
}

TEST_F(LibraryImporterTest, bringsARemovedStaticFilterBack)
{
    import(overload("ND_s", "sharpen", "float"));
    import(QByteArray());

    import(overload("ND_s", "sharpen", "float"));

    const auto descriptor = m_catalogue.descriptor(sSharpen);
    ASSERT_EQ(descriptor->implementations.size(), 1);
    EXPECT_EQ(*descriptor->implementations.begin(),
              m_catalogue.asset(QStringLiteral("ND_s"), 2)->ownReference());
    EXPECT_EQ(logTexts(), QString());
}

TEST_F(LibraryImporterTest, bringsARemovedDynamicFilterBackInTheSameSession)
{
    import(sTwoHeads);
    import(QByteArray());

    const ImportSummary summary = import(sTwoHeads);

    EXPECT_TRUE(summary.problems.empty());
    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
    EXPECT_EQ(m_catalogue.collection().size(), 1);
}

TEST_F(LibraryImporterTest, bringsARemovedDynamicFilterBackInALaterSession)
{
    import(sTwoHeads);
    import(QByteArray());
    m_catalogue.reopen();

    const ImportSummary summary = import(sTwoHeads);

    EXPECT_TRUE(summary.problems.empty());
    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
}

TEST_F(LibraryImporterTest, updatesTwiceInOneSession)
{
    import(sTwoHeads);
    import(overload("ND_f", "blur", "float", "doc=\"2\"") + overload("ND_c", "blur", "color3"));

    import(overload("ND_f", "blur", "float", "doc=\"3\"") + overload("ND_c", "blur", "color3"));

    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_f")), QStringLiteral("ND_f#2"));
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_f"), 2), QStringLiteral("ND_f#3"));
    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
    EXPECT_EQ(m_catalogue.collection().size(), 1);
}

TEST_F(LibraryImporterTest, leadsAHeadThatWasSupersededThroughItsNewSelf)
{
    import(overload("ND_1", "blur", "float", "version=\"1\"") + overload("ND_c", "blur", "color3"));
    m_catalogue.reopen();

    import(overload("ND_1", "blur", "float", "version=\"1\"")
           + overload("ND_2", "blur", "float", "version=\"2\"")
           + overload("ND_c", "blur", "color3"));

    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_1")), QStringLiteral("ND_1#2"));
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_1"), 2), QStringLiteral("ND_2#1"));
    EXPECT_EQ(m_catalogue.keysOf(sBlur)[QStringLiteral("types/float")], QStringLiteral("ND_2"));
    EXPECT_EQ(logTexts(), QString());
}

TEST_F(LibraryImporterTest, joinsTheHeadsOfTwoLibraries)
{
    import(overload("ND_f", "blur", "float"));
    m_catalogue.reopen();

    const ImportSummary summary = importOther(overload("ND_c", "blur", "color3"));

    EXPECT_EQ(summary.count(State::Updated), 1U);
    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
    EXPECT_EQ(item(m_catalogue.asset(QStringLiteral("ND_f"), 2), libraryUserDataKey),
              QStringLiteral("main"));
    EXPECT_EQ(item(m_catalogue.asset(QStringLiteral("ND_c")), libraryUserDataKey),
              QStringLiteral("other"));
}

TEST_F(LibraryImporterTest, leavesOtherLibrariesAloneWhenOneShrinks)
{
    import(sTwoHeads);
    importOther(overload("ND_s", "sharpen", "float"));
    m_catalogue.reopen();

    const ImportSummary summary = importOther(QByteArray());

    EXPECT_EQ(summary.count(State::Removed), 1U);
    EXPECT_EQ(summary.count(State::Unchanged), 1U);
}

TEST_F(LibraryImporterTest, doesNotTakeAMissingPathForAnEmptyLibrary)
{
    import(sTwoHeads);
    m_folder.remove(sMain);

    const ImportSummary summary = m_catalogue.import({m_folder.path(sMain)});

    EXPECT_TRUE(summary.hasRefusals());
    EXPECT_EQ(m_catalogue.collection().size(), 1);
}

TEST_F(LibraryImporterTest, reportsABrokenFileAndFilesTheRest)
{
    m_folder.write(QStringLiteral("lib/a.mtlx"), overload("ND_s", "sharpen", "float"));
    m_folder.writeRaw(QStringLiteral("lib/b.mtlx"), "<materialx>\n<nodedef");

    const ImportSummary summary = m_catalogue.import({m_folder.path(QStringLiteral("lib"))});

    EXPECT_TRUE(summary.hasRefusals());
    ASSERT_EQ(summary.problems.size(), 1U);
    EXPECT_EQ(summary.problems.front().line, 2);
    EXPECT_EQ(summary.fileCount, 2);
    EXPECT_EQ(summary.count(State::New), 1U);
    EXPECT_TRUE(m_catalogue.descriptor(sSharpen));
}

TEST_F(LibraryImporterTest, tellsWhatLeavesWithAFileThatHasBecomeBroken)
{
    m_folder.write(QStringLiteral("lib/good.mtlx"), overload("ND_s", "sharpen", "float"));
    m_folder.write(QStringLiteral("lib/bad.mtlx"), sTwoHeads);
    m_catalogue.import({m_folder.path(QStringLiteral("lib"))});
    m_folder.writeRaw(QStringLiteral("lib/bad.mtlx"), "<materialx>");

    const ImportSummary summary = m_catalogue.import({m_folder.path(QStringLiteral("lib"))});

    EXPECT_EQ(summary.count(State::Removed), 1U);
    ASSERT_EQ(summary.problems.size(), 2U);
    EXPECT_EQ(summary.problems[1].severity, Problem::Severity::Remark);
    EXPECT_EQ(summary.problems[1].file, m_folder.path(QStringLiteral("lib/bad.mtlx")));
    EXPECT_EQ(summary.problems[1].text,
              QStringLiteral("2 nodedefs that it brought before leave the catalogue; mend it and "
                             "import the library again to have them back"));
}

TEST_F(LibraryImporterTest, tellsNothingOfABrokenFileWhoseNodeDefsStandElsewhereNow)
{
    m_folder.write(QStringLiteral("lib/a.mtlx"), sTwoHeads);
    m_folder.write(QStringLiteral("lib/b.mtlx"), {});
    m_catalogue.import({m_folder.path(QStringLiteral("lib"))});
    m_folder.writeRaw(QStringLiteral("lib/a.mtlx"), "<materialx>");
    m_folder.write(QStringLiteral("lib/b.mtlx"), sTwoHeads);

    const ImportSummary summary = m_catalogue.import({m_folder.path(QStringLiteral("lib"))});

    EXPECT_EQ(summary.problems.size(), 1U);
    EXPECT_EQ(summary.count(State::Unchanged), 1U);
}

TEST_F(LibraryImporterTest, keepsALibraryOfWhichNothingCanBeRead)
{
    import(sTwoHeads);
    m_folder.writeRaw(sMain, "<materialx>");

    const ImportSummary summary = m_catalogue.import({m_folder.path(sMain)});

    EXPECT_TRUE(summary.hasRefusals());
    EXPECT_TRUE(m_catalogue.dynamicFilter(sBlur));
}

TEST_F(LibraryImporterTest, remarksThatAFolderHasNoLibraryFiles)
{
    m_folder.writeRaw(QStringLiteral("empty/notes.txt"), "nothing");

    const ImportSummary summary = m_catalogue.import({m_folder.path(QStringLiteral("empty"))});

    ASSERT_EQ(summary.problems.size(), 1U);
    EXPECT_EQ(summary.problems[0].text,
              QStringLiteral("no file below it has a name that ends in .mtlx"));
    EXPECT_FALSE(summary.hasRefusals());
}

TEST_F(LibraryImporterTest, refusesANodeDefThatIsTooLargeToKeepAndTakesTheRest)
{
    const QByteArray text(9 * 1024 * 1024, 'x');

    const ImportSummary summary = import(overload("ND_s", "sharpen", "float")
                                         + "<nodedef name=\"ND_big\" node=\"big\" doc=\"" + text
                                         + "\"><output name=\"out\" type=\"float\"/></nodedef>");

    EXPECT_EQ(summary.count(State::New), 1U);
    ASSERT_EQ(summary.problems.size(), 1U);
    EXPECT_EQ(summary.problems[0].severity, Problem::Severity::NodeDefRefused);
    EXPECT_EQ(summary.problems[0].text,
              QStringLiteral("the nodedef \"ND_big\" is left out; with what it inherits it has "
                             "more than 8388608 characters"));
}

TEST_F(LibraryImporterTest, writesNothingInADryRun)
{
    const ImportSummary summary = import(sTwoHeads, {.dryRun = true});

    EXPECT_EQ(summary.count(State::New), 1U);
    EXPECT_TRUE(m_catalogue.collection().isEmpty());
    EXPECT_FALSE(m_catalogue.asset(QStringLiteral("ND_f")));
}

TEST_F(LibraryImporterTest, leavesTheCatalogueAsItWasWhenStoppedWhileFiling)
{
    import(overload("ND_s", "sharpen", "float"));
    std::stop_source stop;
    ImportOptions options;
    options.stopToken = stop.get_token();
    options.progress = [&](const ImportOptions::Progress &progress) {
        if (progress.stage == ImportOptions::Progress::Stage::Filing && progress.done == 1)
            stop.request_stop();
    };

    const ImportSummary summary =
            import(sTwoHeads + overload("ND_s", "sharpen", "float", "doc=\"new\""), options);

    EXPECT_TRUE(summary.isCancelled);
    m_catalogue.reopen();
    EXPECT_EQ(m_catalogue.collection(), QStringList{QStringLiteral("filterDesc://sharpen")});
    EXPECT_FALSE(m_catalogue.asset(QStringLiteral("ND_f")));
    EXPECT_EQ(m_catalogue.nextOf(QStringLiteral("ND_s")), QString());
}

TEST_F(LibraryImporterTest, stopsWhileReading)
{
    std::stop_source stop;
    stop.request_stop();

    EXPECT_TRUE(import(sTwoHeads, {.stopToken = stop.get_token()}).isCancelled);
    EXPECT_TRUE(m_catalogue.collection().isEmpty());
}

TEST_F(LibraryImporterTest, tellsItsProgress)
{
    QStringList calls;
    ImportOptions options;
    options.progress = [&](const ImportOptions::Progress &progress) {
        calls.append(QStringLiteral("%1 %2/%3")
                             .arg(QString::number(static_cast<int>(progress.stage)),
                                  QString::number(progress.done), QString::number(progress.total)));
    };

    import(sTwoHeads, options);

    EXPECT_EQ(calls.join(u','), QStringLiteral("0 0/1,0 1/1,1 0/1,1 1/1"));
}

TEST_F(LibraryImporterTest, filesEverythingUnderAGivenName)
{
    import(sTwoHeads + overload("ND_s", "sharpen", "float"),
           {.nameOverride = QStringLiteral("Softness")});

    EXPECT_EQ(m_catalogue.keysOf(QStringLiteral("softness")).size(), 4U);
    EXPECT_EQ(Assets::AssetControl::getName(*m_catalogue.dynamicFilter(QStringLiteral("softness"))),
              QStringLiteral("Softness"));
    EXPECT_EQ(Assets::AssetControl::getName(m_catalogue.asset(QStringLiteral("ND_s"))), sSharpen);
}

TEST_F(LibraryImporterTest, filesEachGroupUnderItsName)
{
    import(overload("ND_f", "blur", "float", "nodegroup=\"image\"")
                   + overload("ND_c", "sharpen", "color3", "nodegroup=\"image\"")
                   + overload("ND_x", "lost", "float"),
           {.groupByNodeGroup = true});

    EXPECT_EQ(m_catalogue.keysOf(QStringLiteral("image")).size(), 3U);
    EXPECT_TRUE(m_catalogue.descriptor(QStringLiteral("(none)")));
}

TEST_F(LibraryImporterTest, changesNothingTheSecondTimeWithGroups)
{
    const QByteArray body = overload("ND_f", "blur", "float", "nodegroup=\"image\"")
                            + overload("ND_c", "sharpen", "color3", "nodegroup=\"image\"");
    import(body, {.groupByNodeGroup = true});
    m_catalogue.reopen();

    EXPECT_EQ(import(body, {.groupByNodeGroup = true}).count(State::Unchanged), 1U);
}

TEST_F(LibraryImporterTest, readsOneLibraryFromSeveralPaths)
{
    m_folder.write(sMain, overload("ND_f", "blur", "float"));
    m_folder.write(sOther, overload("ND_c", "blur", "color3"));
    const QStringList paths{m_folder.path(sMain), m_folder.path(sOther)};

    m_catalogue.import(paths, {.library = QStringLiteral("both")});

    EXPECT_EQ(m_catalogue.keysOf(sBlur).size(), 3U);
    EXPECT_EQ(item(m_catalogue.asset(QStringLiteral("ND_c")), libraryUserDataKey),
              QStringLiteral("both"));
    EXPECT_EQ(
            m_catalogue.import(paths, {.library = QStringLiteral("both")}).count(State::Unchanged),
            1U);
}

TEST_F(LibraryImporterTest, remembersWhichLibraryCameFirst)
{
    import(overload("ND_c1", "blur", "color3") + overload("ND_f", "blur", "float"));
    importOther(overload("ND_c2", "blur", "color3"));
    m_catalogue.reopen();

    import(overload("ND_c1", "blur", "color3", "doc=\"new\"") + overload("ND_f", "blur", "float"));

    EXPECT_EQ(m_catalogue.keysOf(sBlur)[QStringLiteral("types/color")], QStringLiteral("ND_c1"));
}

TEST_F(LibraryImporterTest, namesALibraryAfterTheLastPartOfItsPath)
{
    EXPECT_EQ(LibraryImporter::libraryNameOf(QStringLiteral("/a/b/wear.mtlx")),
              QStringLiteral("wear"));
    EXPECT_EQ(LibraryImporter::libraryNameOf(QStringLiteral("/a/samples/")),
              QStringLiteral("samples"));
    EXPECT_EQ(LibraryImporter::libraryNameOf(QStringLiteral("/a/b/.")), QStringLiteral("b"));
}

} // namespace Tesk::NodeLibrary
