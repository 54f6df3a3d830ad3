#include "RegistryModel.h"
#include "RealRegistry.h"
#include "StepGenerator.h"

#include <QtGlobal>

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <string>
#include <vector>

namespace FilterBaseTesting {

static constexpr unsigned int sFirstSeed = 20261121;
static constexpr int sEnoughFailures = 3;

// How many times fewer sequences are run where each costs so much more.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static constexpr int sSlowness = 10;
#else
static constexpr int sSlowness = 1;
#endif

/// Counts what the sequences did, so that a test shows that it tested something.
struct Tally
{
    int sequences = 0;
    int steps = 0;
    int results = 0;
    int exceptions = 0;
    int records = 0;
    int hides = 0;
    int stored = 0; ///< batch scopes
    int left = 0;
    std::map<std::string, int> messages; ///< by a piece of the text

    void count(const Step &step, const Outcome &outcome);
};

// Each occurs in the sequences, or they prove less than they seem to.
static const std::vector<std::string> sMessages{
        "2/1 FilterManager::FilterManager: invalid asset reference found in the filter collection",
        "1/1 FilterManager::declareFilterDesc: Declaring a null asset to the FilterManager.",
        ", but it has no implementations.",
        " with the same name is already declared to the FilterManager.",
        " that has the identifier of the filter desc ",
        "2/1 FilterManager::registerFilterDescImpl: cannot find asset from ref ",
        "2/1 FilterManager::registerFilterDescImpl: version chain comes back to ",
        "2/1 FilterManager::registerDynamicFilterImpl: version chain comes back to ",
        ", which is the next version for ",
        "an invalid asset reference was found in the filter desc ",
        "2/1 FilterManager::registerFilterDescImpl: cannot get asset ",
        ": it is not a StaticFilter and has no variation type.",
        " cannot be registered. A similar filter already exists.",
        "2/1 FilterManager::createOrUpdateFilters: Failed to get asset with reference: ",
        " is not a valid filter reference.",
        " is not an AssetWithIO, cannot generate IODesc for dynamic filter ",
        " has no variation type",
        " already has an implementation for this variation type",
        "The asset database gave no DynamicFilterAsset for the filter ",
        "InjectedFault: ",
        "StoreError: The disk is full",
        "RuntimeErrorException: Cannot commit the batch: a scope inside it was left without "
        "commit"};

void Tally::count(const Step &step, const Outcome &outcome)
{
    const bool isStored = step.kind == Step::Kind::CommitScope && outcome.exception.empty();
    stored += isStored ? 1 : 0;
    left += !isStored
            && (step.kind == Step::Kind::CommitScope || step.kind == Step::Kind::LeaveScope);
    ++steps;
    results += static_cast<int>(outcome.results.size());
    exceptions += outcome.exception.empty() ? 0 : 1;
    records += static_cast<int>(outcome.records.size());
    hides += static_cast<int>(outcome.hides.size());
    for (const std::string &line : outcome.lines()) {
        for (const std::string &message : sMessages)
            messages[message] += line.find(message) == std::string::npos ? 0 : 1;
    }
}

static std::string join(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += "    " + line + '\n';
    return text;
}

/// One catalogue, one model, and the same steps for both.
class Sequence
{
public:
    Sequence(unsigned int seed, RealRegistry::Storage storage)
        : m_real(storage)
        , m_generator(seed, m_model, [this](const QByteArray &id) { return m_real.knows(id); })
    {}

    /// False, and an explanation, at the first difference.
    bool run(Tally &tally)
    {
        const int count = 12 + (m_generator.chance(50) ? 10 : 0);
        for (int i = 0; i < count; ++i) {
            if (!take(m_generator.next(), tally))
                return false;
            // Not after every step: looking at a body reads it.
            if (m_generator.chance(80) && !haveSameLookUps())
                return false;
            if (m_generator.chance(60) && !haveSameContent())
                return false;
        }
        if (m_model.isInScope() && !take(m_generator.last(), tally))
            return false;
        ++tally.sequences;
        return haveSameLookUps() && haveSameContent() && haveSameNumberOfAssets();
    }

    std::string explanation() const { return m_explanation + "after\n" + join(m_trace); }

private:
    bool take(const Step &step, Tally &tally)
    {
        m_trace.push_back(step.describe());
        const Outcome expected = m_model.run(step);
        const Outcome actual = m_real.run(step);
        tally.count(step, expected);
        return isSame("the outcome", expected.lines(), actual.lines());
    }

    bool haveSameLookUps()
    {
        std::vector<std::string> expected;
        std::vector<std::string> actual;
        for (int manager = 0; manager < 2; ++manager) {
            if (!m_model.hasManager(manager))
                continue;
            for (const QString &name : m_generator.names()) {
                const QString cased = m_generator.inAnyCase(name);
                expected.push_back(m_model.lookUp(manager, cased));
                actual.push_back(m_real.lookUp(manager, cased));
            }
        }
        return isSame("a look-up", expected, actual);
    }

    bool haveSameContent()
    {
        std::vector<std::string> expected{m_model.collection()};
        std::vector<std::string> actual{m_real.collection()};
        for (const auto &[id, asset] : m_model.assets()) {
            if (!m_real.knows(id))
                continue;
            expected.push_back(m_model.content(id));
            actual.push_back(m_real.content(id));
        }
        return isSame("the content", expected, actual);
    }

    bool haveSameNumberOfAssets()
    {
        std::size_t stored = 1; // the collection
        for (const auto &[id, asset] : m_model.assets())
            stored += asset->isInternal ? 0 : 1;
        return isSame("the number of stored assets", {std::to_string(stored)},
                      {std::to_string(m_real.assetCount())});
    }

    bool isSame(const char *what, const std::vector<std::string> &expected,
                const std::vector<std::string> &actual)
    {
        if (m_real.isSame(expected, actual))
            return true;
        m_explanation = std::string(what) + " differs; expected\n" + join(expected) + "but found\n"
                        + join(actual);
        return false;
    }

    RegistryModel m_model;
    RealRegistry m_real;
    StepGenerator m_generator;
    std::vector<std::string> m_trace;
    std::string m_explanation;
};

/// Runs sequences of consecutive seeds, or the one of REGISTRY_MODEL_SEED alone.
///
/// REGISTRY_MODEL_FACTOR multiplies their number.
static Tally runSequences(int count, RealRegistry::Storage storage)
{
    Tally tally;
    unsigned int seed = sFirstSeed;
    if (qEnvironmentVariableIsSet("REGISTRY_MODEL_SEED")) {
        seed = qEnvironmentVariable("REGISTRY_MODEL_SEED").toUInt();
        count = 1;
    } else if (qEnvironmentVariableIsSet("REGISTRY_MODEL_FACTOR")) {
        count *= qMax(1, qEnvironmentVariableIntValue("REGISTRY_MODEL_FACTOR"));
    }
    for (int i = 0, failures = 0; i < count && failures < sEnoughFailures; ++i, ++seed) {
        Sequence sequence(seed, storage);
        if (!sequence.run(tally)) {
            ADD_FAILURE() << "REGISTRY_MODEL_SEED=" << seed << ": " << sequence.explanation();
            ++failures;
        }
    }
    std::cout << tally.sequences << " sequences up to seed " << seed - 1 << ", " << tally.steps
              << " steps, " << tally.results << " results, " << tally.exceptions << " exceptions, "
              << tally.records << " log records, " << tally.hides << " hides, " << tally.stored
              << " scopes stored, " << tally.left << " not\n";
    return tally;
}

TEST(RegistryModelTest, doesInMemoryWhatTheModelDoes)
{
    const Tally tally = runSequences(3000 / sSlowness, RealRegistry::Storage::Memory);
    if (tally.sequences < 3000)
        return; // too few for what is rare
    for (const auto &[message, count] : tally.messages)
        EXPECT_GT(count, 0) << message;
    EXPECT_GT(tally.stored, 0);
    EXPECT_GT(tally.left, 0);
}

TEST(RegistryModelTest, doesInAFileWhatTheModelDoes)
{
    runSequences(150 / sSlowness, RealRegistry::Storage::File);
}

} // namespace FilterBaseTesting
