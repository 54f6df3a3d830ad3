#include "Catalogue.h"
#include "RealData.h"

#include <renderablebase/ParameterDesc.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

namespace Tesk::NodeLibrary {

using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;
using FilterBase::ImplementationMap;
using State = FilterChange::State;

namespace {

struct Counts
{
    qsizetype descriptors = 0;
    qsizetype dynamicFilters = 0;
    qsizetype types = 0;
    qsizetype usages = 0;
    qsizetype parameters = 0;
    qsizetype uids = 0;
    qsizetype changedUids = 0;

    bool operator==(const Counts &) const = default;
};

void PrintTo(const Counts &counts, std::ostream *stream)
{
    *stream << counts.descriptors << " descriptors, " << counts.dynamicFilters << " dynamic, "
            << counts.types << " types, " << counts.usages << " usages, " << counts.parameters
            << " parameters, " << counts.uids << " uids, " << counts.changedUids << " changed";
}

class RealCatalogueTest : public RealDataTest
{
protected:
    ImportSummary import(bool byGroup = false)
    {
        ImportOptions options;
        options.groupByNodeGroup = byGroup;
        return m_catalogue.import({folder(QStringLiteral("libraries"))}, options);
    }

    Counts count()
    {
        Counts counts;
        for (const QString &id : m_catalogue.collection()) {
            const auto asset = m_catalogue.database().getAssetFromId(id.toUtf8());
            if (const auto filter = std::dynamic_pointer_cast<DynamicFilterAsset>(asset))
                add(*filter, counts);
            else if (std::dynamic_pointer_cast<FilterDescAsset>(asset))
                ++counts.descriptors;
        }
        return counts;
    }

    TestSupport::RecordedLog m_log;
    Catalogue m_catalogue;

private:
    static void addTables(const ImplementationMap &map, Counts &counts)
    {
        for (const auto &[key, record] : map) {
            for (const auto &[merged, own] : record->paramUidCorrespondance) {
                ++counts.uids;
                counts.changedUids += merged != own ? 1 : 0;
            }
        }
    }

    static void add(const DynamicFilterAsset &filter, Counts &counts)
    {
        ++counts.dynamicFilters;
        counts.types += filter.types.size();
        counts.usages += filter.usages.size();
        counts.parameters += filter.getIODesc({})->parameters.size();
        addTables(filter.types, counts);
        addTables(filter.usages, counts);
    }
};

constexpr Counts sByNode{.descriptors = 114,
                         .dynamicFilters = 97,
                         .types = 409,
                         .usages = 338,
                         .parameters = 299,
                         .uids = 2295,
                         .changedUids = 1958};

} // namespace

TEST_F(RealCatalogueTest, importsAllLibrariesWithoutARecord)
{
    const ImportSummary summary = import();

    EXPECT_EQ(summary.fileCount, 30);
    EXPECT_EQ(summary.nodeDefCount, 787);
    EXPECT_EQ(summary.count(State::New), 211U);
    EXPECT_TRUE(summary.problems.empty());
    EXPECT_TRUE(m_log.texts().empty());
    EXPECT_EQ(count(), sByNode);
}

TEST_F(RealCatalogueTest, holdsTheSameAfterASecondImportAndAfterReopening)
{
    import();
    const QStringList collection = m_catalogue.collection();
    m_catalogue.reopen();

    const ImportSummary summary = import();

    EXPECT_EQ(summary.count(State::Unchanged), 211U);
    EXPECT_EQ(m_catalogue.collection(), collection);
    EXPECT_EQ(count(), sByNode);
    EXPECT_TRUE(m_log.texts().empty());
}

TEST_F(RealCatalogueTest, importsGroupsAsFilters)
{
    const ImportSummary summary = import(true);

    EXPECT_EQ(summary.count(State::New), 21U);
    const Counts counts = count();
    EXPECT_EQ(counts.descriptors + counts.dynamicFilters, 21);
    EXPECT_EQ(counts.types, 103);
    EXPECT_EQ(counts.usages, 700);
    EXPECT_EQ(counts.parameters, 539);
    EXPECT_TRUE(m_log.texts().empty());
}

TEST_F(RealCatalogueTest, importsTheSmallDocumentsOfRareFeatures)
{
    const ImportSummary summary = m_catalogue.import(
            {folder(QStringLiteral("features")), folder(QStringLiteral("examples"))});

    EXPECT_EQ(summary.nodeDefCount, 8);
    EXPECT_FALSE(summary.hasRefusals());
    EXPECT_TRUE(m_log.texts().empty());
}

} // namespace Tesk::NodeLibrary
