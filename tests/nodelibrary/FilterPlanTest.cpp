#include <nodelibrary/FilterPlan.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

namespace {

class FilterPlanTest : public testing::Test
{
protected:
    const std::vector<PlannedFilter> &plan(const QByteArray &body, const QString &filterName = {})
    {
        m_nodeDefs = completedBody(body);
        std::vector<FilterPlan::Item> items;
        for (const NodeDef &nodeDef : m_nodeDefs)
            items.push_back({&nodeDef, filterName.isEmpty() ? nodeDef.node : filterName});
        m_filters =
                FilterPlan::plan(items, [this](const QString &key) { return key == m_dynamicKey; });
        return m_filters;
    }

    QString m_dynamicKey;

private:
    std::vector<NodeDef> m_nodeDefs;
    std::vector<PlannedFilter> m_filters;
};

} // namespace

TEST_F(FilterPlanTest, makesAFilterOfOneHeadStatic)
{
    const auto &filters = plan(overload("A", "blur", "float"));

    ASSERT_EQ(filters.size(), 1U);
    EXPECT_EQ(filters[0].name, QStringLiteral("blur"));
    EXPECT_FALSE(filters[0].isDynamic);
}

TEST_F(FilterPlanTest, makesAFilterOfSeveralHeadsDynamic)
{
    const auto &filters = plan(overload("A", "blur", "float") + overload("B", "blur", "color3"));

    ASSERT_EQ(filters.size(), 1U);
    EXPECT_TRUE(filters[0].isDynamic);
    EXPECT_EQ(filters[0].headCount(), 2U);
}

TEST_F(FilterPlanTest, countsNoSupersededVersionAsAHead)
{
    const auto &filters = plan(overload("A", "blur", "float", "version=\"1\"")
                               + overload("B", "blur", "float", "version=\"2\""));

    EXPECT_FALSE(filters[0].isDynamic);
    EXPECT_EQ(filters[0].headCount(), 1U);
    ASSERT_EQ(filters[0].implementations.size(), 2U);
    EXPECT_EQ(filters[0].implementations[0].text, QString());
}

TEST_F(FilterPlanTest, keepsADynamicFilterDynamic)
{
    m_dynamicKey = QStringLiteral("blur");

    EXPECT_TRUE(plan(overload("A", "Blur", "float"))[0].isDynamic);
}

TEST_F(FilterPlanTest, joinsNodesThatDifferOnlyInCaseUnderTheFirstSpelling)
{
    const auto &filters = plan(overload("A", "Blur", "float") + overload("B", "blur", "color3"));

    ASSERT_EQ(filters.size(), 1U);
    EXPECT_EQ(filters[0].name, QStringLiteral("Blur"));
    EXPECT_EQ(filters[0].key, QStringLiteral("blur"));
}

TEST_F(FilterPlanTest, takesTheSpellingOfTheFirstHead)
{
    const auto &filters = plan(overload("A", "Blur", "float", "version=\"1\"")
                               + overload("B", "blur", "float", "version=\"2\""));

    EXPECT_EQ(filters[0].name, QStringLiteral("blur"));
}

TEST_F(FilterPlanTest, ordersTheFiltersByKey)
{
    const auto &filters = plan(overload("A", "b", "float") + overload("B", "C", "float")
                               + overload("C", "a", "float"));

    ASSERT_EQ(filters.size(), 3U);
    EXPECT_EQ(filters[0].name, QStringLiteral("a"));
    EXPECT_EQ(filters[1].name, QStringLiteral("b"));
    EXPECT_EQ(filters[2].name, QStringLiteral("C"));
}

TEST_F(FilterPlanTest, settlesVersionsPerNodeAndTextsPerFilter)
{
    const auto &filters = plan(overload("A", "one", "float", "version=\"1\"")
                                       + overload("B", "two", "float", "version=\"2\""),
                               QStringLiteral("group"));

    ASSERT_EQ(filters.size(), 1U);
    EXPECT_EQ(filters[0].headCount(), 2U);
    EXPECT_EQ(filters[0].implementations[0].text,
              QStringLiteral("default_float,default_grayscale"));
    EXPECT_EQ(filters[0].implementations[1].text, QStringLiteral("nodedef:B"));
}

} // namespace Tesk::NodeLibrary
