#include "NodeDefs.h"
#include "RealData.h"

#include <nodelibrary/LibraryDiff.h>
#include <nodelibrary/ParameterUid.h>

#include <gtest/gtest.h>

#include <QStringList>

#include <algorithm>
#include <set>

namespace Tesk::NodeLibrary {

namespace {

class RealLibrariesTest : public RealDataTest
{
protected:
    NodeLibrary read() const
    {
        return NodeLibraryReader::readPath(folder(QStringLiteral("libraries")));
    }

    ImportPlan plan(bool byGroup) const
    {
        ReadLibrary library;
        for (const NodeDef &nodeDef : read().nodeDefs) {
            const QString group =
                    nodeDef.nodeGroup.isEmpty() ? QStringLiteral("(none)") : nodeDef.nodeGroup;
            library.nodeDefs.push_back({nodeDef, byGroup ? group : nodeDef.node});
        }
        return LibraryDiff::compare({}, {library}, {});
    }
};

struct Counts
{
    qsizetype types = 0;
    qsizetype usages = 0;
};

Counts countKeys(const ImportPlan &plan)
{
    Counts counts;
    for (const CreatedAsset &asset : plan.created) {
        if (!asset.isDynamic || !asset.isHead)
            continue;
        const QStringList parts = asset.text.split(u',');
        for (const QString &part : parts)
            ++(part.startsWith(QStringLiteral("default_")) ? counts.types : counts.usages);
    }
    return counts;
}

qsizetype countDynamic(const ImportPlan &plan)
{
    return std::count_if(plan.filters.begin(), plan.filters.end(),
                         [](const FilterChange &each) { return each.isDynamic; });
}

} // namespace

TEST_F(RealLibrariesTest, readsAllFilesWithoutAProblem)
{
    const NodeLibrary library = read();

    EXPECT_EQ(library.fileCount, 30);
    EXPECT_EQ(library.nodeDefs.size(), 787U);
    for (const Problem &problem : library.problems)
        ADD_FAILURE() << problem.toString().toStdString();
}

TEST_F(RealLibrariesTest, makesOneFilterOfEachNode)
{
    const ImportPlan planned = plan(false);

    EXPECT_EQ(planned.filters.size(), 211U);
    EXPECT_EQ(countDynamic(planned), 97);
    for (const Problem &problem : planned.problems)
        ADD_FAILURE() << problem.toString().toStdString();
}

TEST_F(RealLibrariesTest, registersAllButTheSupersededVersions)
{
    const ImportPlan planned = plan(false);

    const auto heads = std::count_if(planned.created.begin(), planned.created.end(),
                                     [](const CreatedAsset &each) { return each.isHead; });
    EXPECT_EQ(heads, 785);
    EXPECT_EQ(planned.created.size(), 787U);
}

TEST_F(RealLibrariesTest, asksForTheKnownNumberOfKeys)
{
    const Counts counts = countKeys(plan(false));

    EXPECT_EQ(counts.types, 409);
    EXPECT_EQ(counts.usages, 338);
}

TEST_F(RealLibrariesTest, makesOneFilterOfEachGroup)
{
    const ImportPlan planned = plan(true);

    const Counts counts = countKeys(planned);
    EXPECT_EQ(planned.filters.size(), 21U);
    EXPECT_EQ(counts.types, 103);
    EXPECT_EQ(counts.usages, 700);
}

TEST_F(RealLibrariesTest, givesEveryParameterOfALibraryAUidOfItsOwn)
{
    const NodeLibrary library = read();

    // uids only have to differ within a nodedef; that the first choice always serves is a fact
    // of the names in use, and the identifiers stay those of other readers.
    for (const NodeDef &nodeDef : library.nodeDefs) {
        std::set<unsigned int> uids;
        for (const NodePort &parameter : nodeDef.parameters)
            uids.insert(ParameterUid::hash(nodeDef.name + u'.' + parameter.name));
        EXPECT_EQ(uids.size(), nodeDef.parameters.size()) << nodeDef.name.toStdString();
    }
}

} // namespace Tesk::NodeLibrary
