#include <nodelibrary/LibraryDiff.h>

#include "NodeDefs.h"

#include <nodelibrary/ImplementationId.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <utility>

namespace Tesk::NodeLibrary {

namespace {

using State = FilterChange::State;

const QString sMain = QStringLiteral("main");
const QString sOther = QStringLiteral("other");

// A catalogue that only remembers: it applies plans as an importer would.
class LibraryDiffTest : public testing::Test
{
protected:
    ImportPlan compare(const QByteArray &body, const QString &library = sMain,
                       const QString &filterName = {})
    {
        ReadLibrary read{library, {}};
        for (NodeDef &nodeDef : readBody(body).nodeDefs) {
            const QString name = filterName.isEmpty() ? nodeDef.node : filterName;
            read.nodeDefs.push_back({std::move(nodeDef), name});
        }
        return compareAll({read});
    }

    ImportPlan compareAll(const std::vector<ReadLibrary> &read)
    {
        return LibraryDiff::compare(
                m_held, read,
                {.isDynamic = [this](const QString &key) { return isDynamic(key); },
                 .latestGeneration =
                         [this](const QString &name) {
                             return m_generations[name];
                         }});
    }

    ImportPlan import(const QByteArray &body, const QString &library = sMain)
    {
        ImportPlan plan = compare(body, library);
        apply(plan);
        return plan;
    }

    // The new assets' names in the order of the batch.
    static QString batchOf(const ImportPlan &plan, const FilterChange &filter)
    {
        QStringList names;
        for (const std::size_t index : filter.batch)
            names.append(plan.created[index].nodeDef.name);
        return names.join(u',');
    }

    // "OLD->NEW" with the generation of the new one, in order.
    QString successionsOf(const ImportPlan &plan) const
    {
        QStringList links;
        for (const Succession &each : plan.successions) {
            const CreatedAsset &created = plan.created[each.created];
            links.append(m_before[each.held].nodeDef.name + QStringLiteral("->")
                         + created.nodeDef.name);
        }
        return links.join(u' ');
    }

    static int generationOf(const CreatedAsset &asset)
    {
        return ImplementationId::fromBytes(asset.id)->generation;
    }

    std::vector<HeldImplementation> m_held;
    std::vector<HeldImplementation> m_before; // as they were when the last plan was made

private:
    bool isDynamic(const QString &key) const
    {
        return std::any_of(m_held.begin(), m_held.end(), [&](const HeldImplementation &each) {
            return each.isDynamic && each.filterName.toLower() == key;
        });
    }

    void apply(const ImportPlan &plan)
    {
        m_before = m_held;
        std::vector<bool> leaves(m_held.size(), false);
        for (const FilterChange &filter : plan.filters) {
            for (const std::size_t index : filter.replaced)
                leaves[index] = true;
        }
        std::vector<HeldImplementation> stay;
        for (std::size_t i = 0; i < m_held.size(); ++i) {
            if (!leaves[i])
                stay.push_back(m_held[i]);
        }
        m_held = std::move(stay);
        for (const FilterChange &filter : plan.filters) {
            for (const auto &indices : {filter.batch, filter.superseded}) {
                for (const std::size_t index : indices)
                    hold(plan, filter, plan.created[index]);
            }
        }
        sortHeld(plan.libraries);
    }

    void hold(const ImportPlan &plan, const FilterChange &filter, const CreatedAsset &asset)
    {
        const ImplementationId id = *ImplementationId::fromBytes(asset.id);
        m_generations[asset.nodeDef.name] = id.generation;
        QString next;
        if (asset.next.created)
            next = plan.created[*asset.next.created].nodeDef.name;
        else if (asset.next.held)
            next = m_before[*asset.next.held].nodeDef.name;
        m_held.push_back({asset.nodeDef, asset.library, filter.name, id.digest, next,
                          asset.position, asset.isHead, asset.isDynamic});
    }

    void sortHeld(const QStringList &libraries)
    {
        std::sort(m_held.begin(), m_held.end(),
                  [&](const HeldImplementation &left, const HeldImplementation &right) {
                      return std::pair(libraries.indexOf(left.library), left.position)
                             < std::pair(libraries.indexOf(right.library), right.position);
                  });
    }

    std::map<QString, int> m_generations;
};

const QByteArray sBlur = overload("ND_f", "blur", "float") + overload("ND_c", "blur", "color3");

} // namespace

TEST_F(LibraryDiffTest, bringsAllFiltersIntoAnEmptyCatalogue)
{
    const ImportPlan plan = compare(sBlur + overload("ND_s", "sharpen", "float"));

    ASSERT_EQ(plan.filters.size(), 2U);
    EXPECT_EQ(plan.count(State::New), 2U);
    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_f,ND_c"));
    EXPECT_TRUE(plan.created[0].isDynamic);
    EXPECT_EQ(plan.created[0].assetName, QStringLiteral("blur"));
    EXPECT_EQ(plan.created[0].text, QStringLiteral("default_float,default_grayscale"));
    EXPECT_EQ(generationOf(plan.created[0]), 1);
    EXPECT_FALSE(plan.filters[1].isDynamic);
    EXPECT_EQ(plan.libraries, QStringList{sMain});
}

TEST_F(LibraryDiffTest, changesNothingWhenNothingChanged)
{
    import(sBlur + overload("ND_s", "sharpen", "float"));

    const ImportPlan plan = compare(sBlur + overload("ND_s", "sharpen", "float"));

    EXPECT_EQ(plan.count(State::Unchanged), 2U);
    EXPECT_TRUE(plan.created.empty());
    EXPECT_TRUE(plan.successions.empty());
    EXPECT_TRUE(plan.moves.empty());
}

TEST_F(LibraryDiffTest, makesAllHeadsAnewWhenOneChanged)
{
    import(sBlur);

    const ImportPlan plan = import(overload("ND_f", "blur", "float", "doc=\"new\"")
                                   + overload("ND_c", "blur", "color3"));

    ASSERT_EQ(plan.count(State::Updated), 1U);
    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_f,ND_c"));
    EXPECT_EQ(generationOf(plan.created[1]), 2);
    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_f->ND_f ND_c->ND_c"));
    EXPECT_EQ(plan.filters[0].replaced.size(), 2U);
}

TEST_F(LibraryDiffTest, leavesOtherFiltersOutOfAnUpdate)
{
    import(sBlur + overload("ND_s", "sharpen", "float"));

    const ImportPlan plan = compare(sBlur + overload("ND_s", "sharpen", "float", "doc=\"new\""));

    EXPECT_EQ(plan.filters[0].state, State::Unchanged);
    EXPECT_EQ(plan.filters[1].state, State::Updated);
    EXPECT_EQ(plan.created.size(), 1U);
}

TEST_F(LibraryDiffTest, registersThoseWithAPredecessorFirst)
{
    import(sBlur);

    const ImportPlan plan = compare(overload("ND_new", "blur", "vector2") + sBlur);

    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_f,ND_c,ND_new"));
    EXPECT_FALSE(plan.created[0].endsOldLine);
}

TEST_F(LibraryDiffTest, leavesTheAssetOfARemovedNodeDefWithoutASuccessor)
{
    import(sBlur + overload("ND_i", "blur", "integer"));

    const ImportPlan plan = import(sBlur);

    EXPECT_EQ(plan.filters[0].state, State::Updated);
    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_f->ND_f ND_c->ND_c"));
    EXPECT_EQ(plan.filters[0].replaced.size(), 3U);
}

TEST_F(LibraryDiffTest, leadsAllOldAssetsToTheFirstHeadWhenNoneSurvives)
{
    import(sBlur);

    const ImportPlan plan =
            import(overload("ND_x", "blur", "float") + overload("ND_y", "blur", "color3"));

    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_f->ND_x ND_c->ND_x"));
    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_x,ND_y"));
}

TEST_F(LibraryDiffTest, keepsADynamicFilterDynamicWithOneHeadLeft)
{
    import(sBlur);

    const ImportPlan plan = import(overload("ND_f", "blur", "float"));

    EXPECT_TRUE(plan.filters[0].isDynamic);
    EXPECT_TRUE(plan.created[0].isDynamic);
}

TEST_F(LibraryDiffTest, givesAStaticAssetNoSuccessorWhenTheFilterTurnsDynamic)
{
    import(overload("ND_f", "blur", "float"));

    const ImportPlan plan = import(sBlur);

    EXPECT_EQ(plan.filters[0].state, State::Updated);
    EXPECT_FALSE(plan.filters[0].wasDynamic);
    EXPECT_TRUE(plan.filters[0].isDynamic);
    EXPECT_EQ(successionsOf(plan), QString());
    EXPECT_EQ(generationOf(plan.created[0]), 2);
}

TEST_F(LibraryDiffTest, givesAStaticAssetItsSuccessorWhenTheFilterStaysStatic)
{
    import(overload("ND_f", "blur", "float"));

    const ImportPlan plan = import(overload("ND_f", "blur", "float", "doc=\"new\""));

    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_f->ND_f"));
}

TEST_F(LibraryDiffTest, removesAFilterThatLostAllItsNodeDefs)
{
    import(sBlur + overload("ND_s", "sharpen", "float"));

    const ImportPlan plan = import(overload("ND_s", "sharpen", "float"));

    EXPECT_EQ(plan.filters[0].state, State::Removed);
    EXPECT_EQ(plan.filters[0].name, QStringLiteral("blur"));
    EXPECT_EQ(plan.filters[0].replaced.size(), 2U);
    EXPECT_TRUE(plan.successions.empty());
    EXPECT_TRUE(plan.created.empty());
}

TEST_F(LibraryDiffTest, leadsASupersededVersionToTheNext)
{
    const ImportPlan plan = compare(overload("ND_1", "blur", "float", "version=\"1\"")
                                    + overload("ND_2", "blur", "float", "version=\"2\""));

    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_2"));
    ASSERT_EQ(plan.filters[0].superseded.size(), 1U);
    const CreatedAsset &superseded = plan.created[plan.filters[0].superseded[0]];
    EXPECT_EQ(superseded.nodeDef.name, QStringLiteral("ND_1"));
    EXPECT_EQ(plan.created[*superseded.next.created].nodeDef.name, QStringLiteral("ND_2"));
}

TEST_F(LibraryDiffTest, leadsAnOldHeadThroughItsSupersededSelfToTheNewHead)
{
    import(overload("ND_1", "blur", "float", "version=\"1\"") + overload("ND_c", "blur", "color3"));

    const ImportPlan plan = import(overload("ND_new", "blur", "integer")
                                   + overload("ND_1", "blur", "float", "version=\"1\"")
                                   + overload("ND_2", "blur", "float", "version=\"2\""));

    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_1->ND_1"));
    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_2,ND_new"));
}

TEST_F(LibraryDiffTest, leavesTheFilterAloneWhenOnlyASupersededVersionChanged)
{
    const QByteArray head = overload("ND_2", "blur", "float", "version=\"2\"");
    import(overload("ND_1", "blur", "float", "version=\"1\"") + head);

    const ImportPlan plan =
            import(overload("ND_1", "blur", "float", "version=\"1\" doc=\"new\"") + head);

    EXPECT_TRUE(plan.filters[0].batch.empty());
    EXPECT_EQ(plan.filters[0].superseded.size(), 1U);
    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_1->ND_1"));
    EXPECT_EQ(m_before[*plan.created[0].next.held].nodeDef.name, QStringLiteral("ND_2"));
}

TEST_F(LibraryDiffTest, changesNothingWhenVersionsStay)
{
    const QByteArray body = overload("ND_1", "blur", "float", "version=\"1\"")
                            + overload("ND_2", "blur", "float", "version=\"2\"");
    import(body);

    EXPECT_EQ(compare(body).count(State::Unchanged), 1U);
}

TEST_F(LibraryDiffTest, seesAChangeInABase)
{
    const QByteArray derived = overload("ND_d", "blur", "float", "inherit=\"ND_b\"");
    import(derived + overload("ND_b", "base", "float"));

    const ImportPlan plan = compare(derived
                                    + "<nodedef name=\"ND_b\" node=\"base\"><input name=\"in\" "
                                      "type=\"float\"/><input name=\"more\" type=\"float\"/>"
                                      "<output name=\"out\" type=\"float\"/></nodedef>");

    EXPECT_EQ(plan.count(State::Updated), 2U);
}

TEST_F(LibraryDiffTest, keepsTheNodeDefsOfOtherLibraries)
{
    import(sBlur);

    const ImportPlan plan = import(overload("ND_s", "sharpen", "float"), sOther);

    EXPECT_EQ(plan.count(State::Unchanged), 1U);
    EXPECT_EQ(plan.count(State::New), 1U);
    EXPECT_EQ(plan.libraries, (QStringList{sMain, sOther}));
}

TEST_F(LibraryDiffTest, joinsTheHeadsOfTwoLibrariesInTheOrderInWhichTheyCame)
{
    import(sBlur);

    const ImportPlan plan = import(overload("ND_i", "blur", "integer"), sOther);

    EXPECT_EQ(plan.filters[0].state, State::Updated);
    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_f,ND_c,ND_i"));
    EXPECT_EQ(plan.created[0].library, sMain);
    EXPECT_EQ(plan.created[2].library, sOther);
}

TEST_F(LibraryDiffTest, removesOnlyWhatTheLibraryItselfBrought)
{
    import(sBlur);
    import(overload("ND_i", "blur", "integer"), sOther);

    const ImportPlan plan = import(QByteArray(), sOther);

    EXPECT_EQ(plan.filters[0].state, State::Updated);
    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_f,ND_c"));
}

TEST_F(LibraryDiffTest, leavesANameWithTheLibraryThatHoldsIt)
{
    import(overload("ND_x", "sharpen", "float"), sMain);
    import(sBlur, sOther);

    const ImportPlan plan =
            import(overload("ND_x", "sharpen", "float") + overload("ND_f", "mine", "float"), sMain);

    EXPECT_EQ(plan.count(State::Unchanged), 2U);
    ASSERT_EQ(plan.problems.size(), 1U);
    EXPECT_EQ(plan.problems.front().severity, Problem::Severity::NodeDefRefused);
    EXPECT_EQ(plan.problems.front().text,
              QStringLiteral("the nodedef \"ND_f\" is left out; the library \"other\" holds it "
                             "already"));
}

TEST_F(LibraryDiffTest, passesANameOnWhenItsLibraryLetsItGo)
{
    import(overload("ND_x", "blur", "float"), sMain);
    const auto read = [](const QString &name, const QByteArray &body) {
        ReadLibrary library{name, {}};
        for (const NodeDef &nodeDef : readBody(body).nodeDefs)
            library.nodeDefs.push_back({nodeDef, nodeDef.node});
        return library;
    };

    const ImportPlan plan =
            compareAll({read(sMain, ""), read(sOther, overload("ND_x", "blur", "float"))});

    EXPECT_TRUE(plan.problems.empty());
    EXPECT_EQ(plan.libraries, (QStringList{sMain, sOther}));
}

TEST_F(LibraryDiffTest, joinsTwoPartsOfOneLibrary)
{
    const auto part = [](const QByteArray &body) {
        ReadLibrary library{sMain, {}};
        for (const NodeDef &nodeDef : readBody(body).nodeDefs)
            library.nodeDefs.push_back({nodeDef, nodeDef.node});
        return library;
    };

    const ImportPlan plan = compareAll(
            {part(overload("ND_f", "blur", "float")),
             part(overload("ND_f", "blur", "float") + overload("ND_c", "blur", "color3"))});

    EXPECT_EQ(batchOf(plan, plan.filters[0]), QStringLiteral("ND_f,ND_c"));
    EXPECT_EQ(plan.created[1].position, 1);
    ASSERT_EQ(plan.problems.size(), 1U);
    EXPECT_EQ(plan.problems.front().text,
              QStringLiteral("the nodedef \"ND_f\" is left out; an earlier path of the library "
                             "defines it first"));
}

TEST_F(LibraryDiffTest, tellsWhatIsWrongWithNodeDefsOfNoFile)
{
    ReadLibrary read{sMain, {}};
    for (NodeDef &nodeDef : readBody(overload("ND_d", "n", "float", "inherit=\"ND_b\"")).nodeDefs) {
        nodeDef.filePath.clear();
        read.nodeDefs.push_back({std::move(nodeDef), QStringLiteral("n")});
    }

    const ImportPlan plan = compareAll({read});

    ASSERT_EQ(plan.problems.size(), 1U);
    EXPECT_EQ(plan.problems.front().text,
              QStringLiteral("\"ND_d\" inherits from \"ND_b\", which no file defines"));
}

TEST_F(LibraryDiffTest, inheritsFromALibraryThatIsHeld)
{
    import(overload("ND_base", "base", "float"));

    const ImportPlan plan =
            import("<nodedef name=\"ND_d\" node=\"derived\" inherit=\"ND_base\"/>", sOther);

    EXPECT_TRUE(plan.problems.empty());
    EXPECT_EQ(namesOf(plan.created[0].nodeDef.parameters), QStringLiteral("in"));
}

TEST_F(LibraryDiffTest, tellsWhatMovedWithoutCallingItAChange)
{
    import(sBlur + overload("ND_s", "sharpen", "float"));

    const ImportPlan plan = compare(overload("ND_0", "first", "float") + sBlur
                                    + overload("ND_s", "sharpen", "float"));

    EXPECT_EQ(plan.count(State::Unchanged), 2U);
    EXPECT_EQ(plan.moves, (std::vector<ImportPlan::Move>{{0, 1}, {1, 2}, {2, 3}}));
}

TEST_F(LibraryDiffTest, namesTheAssetsOfAGivenFilterAfterTheirNodes)
{
    const ImportPlan plan = compare(sBlur + overload("ND_s", "sharpen", "float"), sMain,
                                    QStringLiteral("Softness"));

    ASSERT_EQ(plan.filters.size(), 1U);
    EXPECT_EQ(plan.filters[0].name, QStringLiteral("Softness"));
    EXPECT_EQ(plan.created[0].assetName, QStringLiteral("blur"));
    EXPECT_EQ(plan.created[2].assetName, QStringLiteral("sharpen"));
}

TEST_F(LibraryDiffTest, leadsAnAssetToItsSuccessorInAnotherFilter)
{
    import(sBlur);
    m_before = m_held;

    const ImportPlan plan = compare(sBlur, sMain, QStringLiteral("Softness"));

    ASSERT_EQ(plan.filters.size(), 2U);
    EXPECT_EQ(plan.filters[0].state, State::Removed);
    EXPECT_EQ(plan.filters[1].state, State::New);
    EXPECT_EQ(successionsOf(plan), QStringLiteral("ND_f->ND_f ND_c->ND_c"));
}

TEST_F(LibraryDiffTest, namesAllHeadsAlikeWhereNodesDifferOnlyInCase)
{
    const ImportPlan plan =
            compare(overload("A", "Blur", "float") + overload("B", "blur", "color3"));

    EXPECT_EQ(plan.created[1].assetName, QStringLiteral("Blur"));
}

TEST_F(LibraryDiffTest, countsGenerationsOnAcrossARemoval)
{
    import(sBlur);
    import(QByteArray());

    const ImportPlan plan = compare(sBlur);

    EXPECT_EQ(plan.filters[0].state, State::New);
    EXPECT_EQ(generationOf(plan.created[0]), 2);
}

} // namespace Tesk::NodeLibrary
