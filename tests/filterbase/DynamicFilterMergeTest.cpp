#include <filterbase/DynamicFilterAsset.h>

#include "support/FilterDatabase.h"
#include "support/ObservedIODesc.h"
#include "support/Random.h"

#include <support/DeferredDeletes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::FakeFilter;
using FilterBaseTesting::ObservedIODesc;
using FilterBaseTesting::recordOf;
using RenderableBase::ParameterDesc;
using RenderableBase::RenderableIODesc;

namespace {

// The merge as one would tell it: plain lists, searched from the front each time.

struct Parameter
{
    std::string identifier;
    unsigned int uid = 0;

    friend bool operator==(const Parameter &, const Parameter &) = default;
};

using Parameters = std::vector<Parameter>;
using UidTable = std::map<unsigned int, unsigned int>;

struct Merged
{
    Parameters parameters;
    std::vector<UidTable> tables;
    ObservedIODesc::Events events;
};

Parameters::const_iterator find(const Parameters &list, const std::string &identifier)
{
    return std::find_if(list.begin(), list.end(), [&](const Parameter &parameter) {
        return parameter.identifier == identifier;
    });
}

Merged mergeNaively(const std::vector<Parameters> &descriptions, std::vector<UidTable> tables)
{
    Merged merged{descriptions.front(), std::move(tables), {}};
    Parameters &list = merged.parameters;
    for (std::size_t d = 0; d < descriptions.size(); ++d) {
        const Parameters &own = descriptions[d];
        for (std::size_t i = 0; i < own.size(); ++i) {
            if (find(list, own[i].identifier) != list.end())
                continue;
            std::ptrdiff_t index = 0;
            if (i > 0) {
                const auto predecessor = find(list, own[i - 1].identifier);
                index = predecessor == list.end() ? std::ssize(list)
                                                  : predecessor - list.begin() + 1;
            }
            merged.events.emplace_back(0, index);
            list.insert(list.begin() + index, own[i]);
            merged.events.emplace_back(1, index);
        }
        for (const Parameter &parameter : list) {
            const auto match = find(own, parameter.identifier);
            if (match != own.end())
                merged.tables[d][parameter.uid] = match->uid;
        }
    }
    return merged;
}

template<class Description>
std::shared_ptr<Description> describe(const Parameters &parameters)
{
    auto description = std::make_shared<Description>();
    for (const Parameter &parameter : parameters) {
        auto made = std::make_shared<ParameterDesc>();
        made->identifier.set(QString::fromStdString(parameter.identifier));
        made->uid.set(parameter.uid);
        description->parameters.append(made);
    }
    return description;
}

Parameters read(const RenderableIODesc &description)
{
    Parameters parameters;
    for (const auto &parameter : description.parameters)
        parameters.push_back({parameter->identifier.get().toStdString(), parameter->uid.get()});
    return parameters;
}

} // namespace

class DynamicFilterMergeTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    DynamicFilterMergeTest() { ObservedIODesc::registerClass(); }

    std::shared_ptr<FakeFilter> implementation(std::size_t number)
    {
        while (m_implementations.size() <= number)
            m_implementations.push_back(
                    filter(QByteArray::number(static_cast<int>(m_implementations.size()))));
        return m_implementations[number];
    }

    /// Merges the descriptions, those from \a firstUsage on filed as usages.
    template<class FirstDescription>
    Merged merge(const std::vector<Parameters> &descriptions, const std::vector<UidTable> &tables,
                 std::size_t firstUsage)
    {
        using Shared = SharedObject<Assets::Asset>;
        const auto dynamic = Shared::adopt(new DynamicFilterAsset(Shared::badge(), nullptr));
        std::vector<const ImplementationInfo *> records;
        for (std::size_t i = 0; i < descriptions.size(); ++i) {
            const auto asset = implementation(i);
            if (i == 0)
                asset->description = describe<FirstDescription>(descriptions[i]);
            else
                asset->description = describe<RenderableIODesc>(descriptions[i]);
            auto record = recordOf(asset->ownReference());
            for (const auto &[from, to] : tables[i])
                record->paramUidCorrespondance.insert(from, to);
            records.push_back(record.get());
            // Four digits: keys in the order of the numbers.
            const QString key = QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0'));
            (i < firstUsage ? dynamic->types : dynamic->usages).insert(key, std::move(record));
        }
        ObservedIODesc::events().clear();
        dynamic->generateIODesc();

        Merged merged{read(*dynamic->ioDesc.get()), {}, ObservedIODesc::events()};
        for (const ImplementationInfo *record : records) {
            merged.tables.emplace_back(record->paramUidCorrespondance.begin(),
                                       record->paramUidCorrespondance.end());
        }
        return merged;
    }

    void expectNaive(const std::vector<Parameters> &descriptions,
                     const std::vector<UidTable> &tables, std::size_t firstUsage)
    {
        const Merged expected = mergeNaively(descriptions, tables);
        const Merged plain = merge<RenderableIODesc>(descriptions, tables, firstUsage);
        ASSERT_EQ(plain.parameters, expected.parameters);
        ASSERT_EQ(plain.tables, expected.tables);
        const Merged observed = merge<ObservedIODesc>(descriptions, tables, firstUsage);
        ASSERT_EQ(observed.parameters, expected.parameters);
        ASSERT_EQ(observed.tables, expected.tables);
        ASSERT_EQ(observed.events, expected.events);
    }

private:
    std::vector<std::shared_ptr<FakeFilter>> m_implementations;
};

// Small alphabets make collisions, repeated identifiers and shared uids common; the list grows
// past the size up to which it is searched without hashing.
TEST_F(DynamicFilterMergeTest, equalsTheNaiveMergeForAnyDescriptions)
{
    constexpr unsigned int seed = 987654321;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    FilterBaseTesting::Random random(seed);
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const unsigned int count = 1 + random() % 5;
        const unsigned int longest = 1 + random() % (round % 10 == 0 ? 60 : 12);
        const unsigned int names = 1 + random() % (2 * longest);
        const unsigned int uids = 1 + random() % (random() % 2 == 0 ? 4 : 1000000);
        std::vector<Parameters> descriptions(count);
        std::vector<UidTable> tables(count);
        for (unsigned int d = 0; d < count; ++d) {
            for (unsigned int i = random() % (longest + 1); i > 0; --i)
                descriptions[d].push_back({std::to_string(random() % names), random() % uids});
            for (unsigned int i = random() % 3; i > 0; --i)
                tables[d][random() % uids] = random() % uids;
        }
        expectNaive(descriptions, tables, random() % (count + 1));
        if (HasFatalFailure())
            return;
        if (round % 100 == 0)
            TestSupport::drainDeferredDeletes();
    }
}

TEST_F(DynamicFilterMergeTest, equalsTheNaiveMergeForLongDescriptionsThatOverlap)
{
    constexpr unsigned int seed = 13;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    FilterBaseTesting::Random random(seed);
    std::vector<Parameters> descriptions(12);
    unsigned int uid = 0;
    for (std::size_t d = 0; d < descriptions.size(); ++d) {
        for (int i = 0; i < 100; ++i) {
            const std::size_t owner = random() % 10 < 3 ? 0 : d;
            descriptions[d].push_back({std::to_string(owner) + "." + std::to_string(i), ++uid});
        }
    }

    expectNaive(descriptions, std::vector<UidTable>(descriptions.size()), 6);
}

// As where every implementation counts its uids from one: most uids meet in the merged list.
TEST_F(DynamicFilterMergeTest, equalsTheNaiveMergeWhereEveryDescriptionHasTheSameUids)
{
    constexpr unsigned int seed = 29;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    FilterBaseTesting::Random random(seed);
    std::vector<Parameters> descriptions(20);
    for (std::size_t d = 0; d < descriptions.size(); ++d) {
        Parameters &own = descriptions[d];
        for (int i = 0; i < 50; ++i) {
            const std::size_t owner = random() % 3 == 0 ? 0 : d;
            own.push_back({std::to_string(owner) + "." + std::to_string(i), 0});
        }
        std::shuffle(own.begin(), own.end(), random);
        for (std::size_t i = 0; i < own.size(); ++i)
            own[i].uid = static_cast<unsigned int>(i + 1);
    }

    expectNaive(descriptions, std::vector<UidTable>(descriptions.size()), 10);
}

TEST_F(DynamicFilterMergeTest, comesToTheSameResultWhenRepeated)
{
    const std::vector<Parameters> descriptions = {{{"a", 1}, {"b", 2}}, {{"c", 1}, {"b", 3}}};
    const Merged once = merge<RenderableIODesc>(descriptions, {{}, {}}, 1);

    const Merged again = merge<RenderableIODesc>(descriptions, once.tables, 1);

    EXPECT_EQ(again.parameters, once.parameters);
    EXPECT_EQ(again.tables, once.tables);
    EXPECT_EQ(once.tables, (std::vector<UidTable>{{{1, 1}, {2, 2}}, {{1, 1}, {2, 3}}}));
}

} // namespace Tesk::FilterBase
