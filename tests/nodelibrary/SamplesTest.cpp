#include "NodeDefs.h"

#include <nodelibrary/LibraryDiff.h>

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

namespace {

ImportPlan planSamples()
{
    ReadLibrary library{QStringLiteral("samples"), {}};
    for (NodeDef &nodeDef : NodeLibraryReader::readPath(QStringLiteral(SAMPLES_FOLDER)).nodeDefs) {
        const QString node = nodeDef.node;
        library.nodeDefs.push_back({std::move(nodeDef), node});
    }
    return LibraryDiff::compare({}, {library}, {});
}

// "NODEDEF text" of each head of a filter, in canonical order.
QStringList textsOf(const ImportPlan &plan, const QString &key)
{
    QStringList texts;
    for (const FilterChange &filter : plan.filters) {
        if (filter.key != key)
            continue;
        for (const std::size_t index : filter.batch)
            texts.append(plan.created[index].nodeDef.name + u' ' + plan.created[index].text);
    }
    return texts;
}

} // namespace

TEST(SamplesTest, areReadWithoutAProblem)
{
    const NodeLibrary library = NodeLibraryReader::readPath(QStringLiteral(SAMPLES_FOLDER));

    EXPECT_EQ(library.fileCount, 8);
    EXPECT_EQ(library.nodeDefs.size(), 43U);
    EXPECT_TRUE(library.problems.empty());
    EXPECT_TRUE(planSamples().problems.empty());
}

TEST(SamplesTest, makeTheFiltersThatTheirPageTells)
{
    const ImportPlan plan = planSamples();

    QStringList names;
    for (const FilterChange &filter : plan.filters)
        names.append(filter.name + (filter.isDynamic ? QStringLiteral("*") : QString()));
    EXPECT_EQ(names.join(u' '),
              QStringLiteral("bake_curvature brick_wall cells* dust edge_sharpen* edge_wear "
                             "edge_wear_metal edge_wear_paint Fill gravel* Levels* motion_blur* "
                             "posterize* rust* scratches sky_exposure streaks* studio:grade* "
                             "studio:vignette tile_image* velvet* weave* wood_rings*"));
}

TEST(SamplesTest, showHowKeysAreShared)
{
    const ImportPlan plan = planSamples();

    EXPECT_EQ(textsOf(plan, QStringLiteral("brick_wall")),
              QStringList{QStringLiteral("ND_brick_wall default_color,default_float,"
                                         "default_grayscale")});
    EXPECT_EQ(textsOf(plan, QStringLiteral("posterize")),
              (QStringList{QStringLiteral("ND_posterize_color3 default_color"),
                           QStringLiteral("ND_posterize_color4 color4"),
                           QStringLiteral("ND_posterize_color3_masked "
                                          "nodedef:ND_posterize_color3_masked")}));
    EXPECT_EQ(textsOf(plan, QStringLiteral("rust")),
              (QStringList{QStringLiteral("ND_rust_color3_v2 default_color"),
                           QStringLiteral("ND_rust_color3_v3 nodedef:ND_rust_color3_v3")}));
}

TEST(SamplesTest, brokenFileIsReportedAtItsMistake)
{
    const NodeLibrary library =
            NodeLibraryReader::readPath(QStringLiteral(TEST_DATA_FOLDER "/broken.mtlx"));

    EXPECT_TRUE(library.nodeDefs.empty());
    ASSERT_EQ(library.problems.size(), 1U);
    EXPECT_EQ(library.problems.front().line, 6);
    EXPECT_EQ(library.problems.front().column, 66);
}

} // namespace Tesk::NodeLibrary
