#include "StoreModel.h"
#include "StoreFixture.h"

#include <assets/MemoryStore.h>

#include <QUrl>

#include <gmock/gmock.h>

#include <random>

namespace Tesk::Assets {

namespace {

using Ids = std::vector<QByteArray>;

/// Makes random calls, the same for the same seed, and runs each on stores and model.
class RandomCalls
{
public:
    RandomCalls(unsigned int seed, std::vector<Store *> stores)
        : m_random(seed)
        , m_stores(std::move(stores))
    {
        for (int index = 0; index < 20; ++index)
            m_ids.push_back("id" + QByteArray::number(index));
        m_ids.emplace_back("\0\xff", 2);
    }

    void runOne();
    void compareAll() const;
    const StoreModel &model() const { return m_model; }

private:
    int number(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_random); }
    bool chance(int percent) { return number(100) < percent; }
    QByteArray id() { return m_ids[static_cast<std::size_t>(number(int(m_ids.size())))]; }
    Ids someIds();
    QString name() { return QStringLiteral("Name %1").arg(QChar(u'A' + number(6))); }
    MetaRow metaRow();
    AssetWrite assetWrite();
    std::optional<qint64> expectation(const QByteArray &id);

    /// Runs \a call, a generic one, on the model and on each store, and compares.
    template<class ModelCall, class StoreCall>
    void run(const char *what, ModelCall modelCall, StoreCall storeCall);

    std::mt19937 m_random;
    std::vector<Store *> m_stores;
    StoreModel m_model;
    Ids m_ids;
};

Ids RandomCalls::someIds()
{
    Ids ids(static_cast<std::size_t>(number(4)) + 1);
    for (QByteArray &each : ids)
        each = id();
    return ids;
}

MetaRow RandomCalls::metaRow()
{
    const QVariantList values{true,
                              1,
                              1.5,
                              QStringLiteral("text"),
                              QString(),
                              QByteArray("bytes"),
                              QUrl(QStringLiteral("file:///a")),
                              QVariant(),
                              qlonglong(1)};
    return {QStringLiteral("key%1").arg(number(4)), chance(50) ? 3 : 12, number(2),
            values[number(int(values.size()))]};
}

std::optional<qint64> RandomCalls::expectation(const QByteArray &id)
{
    if (chance(40))
        return std::nullopt;
    return chance(85) ? m_model.revisionOf(id) : number(3);
}

AssetWrite RandomCalls::assetWrite()
{
    AssetWrite write;
    write.row.id = id();
    write.row.className = QStringLiteral("Class%1").arg(number(3));
    write.row.classVersion = number(5);
    write.row.name = chance(20) ? QString() : name();
    write.row.category = chance(50) ? QStringLiteral("filter") : QString();
    write.row.flags = static_cast<quint32>(number(4));
    write.expectedRevision = expectation(write.row.id);
    if (chance(60))
        write.body = BodyRow{1 + number(2), QByteArray(number(40), char('a' + number(26)))};
    if (chance(30)) {
        std::map<QString, MetaRow> rows;
        for (int count = number(4); count > 0; --count) {
            const MetaRow row = metaRow();
            rows.emplace(row.key, row);
        }
        write.metaData.emplace();
        for (const auto &[key, row] : rows)
            write.metaData->push_back(row);
    }
    if (chance(40))
        write.nextVersion = chance(25) ? QByteArray() : id();
    if (chance(30)) {
        write.dependencies.emplace();
        for (int count = number(4); count > 0; --count)
            write.dependencies->push_back({id(), chance(50) ? QStringLiteral("role") : QString()});
    }
    return write;
}

template<class ModelCall, class StoreCall>
void RandomCalls::run(const char *what, ModelCall modelCall, StoreCall storeCall)
{
    const Outcome expected = m_model.run(modelCall);
    for (Store *const store : m_stores) {
        Outcome found;
        try {
            found.numbers = storeCall(*store);
        } catch (const StoreError &error) {
            found.error = error.code();
        }
        ASSERT_EQ(found, expected) << what << " on " << store->location().toStdString();
    }
}

void RandomCalls::runOne()
{
    using Numbers = std::vector<qint64>;
    const int kind = number(100);
    if (kind < 40) {
        std::vector<AssetWrite> writes(static_cast<std::size_t>(number(3)) + 1);
        for (AssetWrite &write : writes)
            write = assetWrite();
        run(
                "write", [&](StoreModel &model) { return model.write(writes); },
                [&](Store &store) { return store.write(writes); });
    } else if (kind < 47) {
        std::vector<AssetRemoval> removals;
        for (const QByteArray &each : someIds())
            removals.push_back({each, expectation(each)});
        run(
                "remove", [&](StoreModel &model) { return Numbers{model.remove(removals)}; },
                [&](Store &store) { return Numbers{store.remove(removals)}; });
    } else if (kind < 53) {
        std::vector<NameWrite> names;
        for (const QByteArray &each : someIds())
            names.push_back({each, name()});
        run(
                "setNames", [&](StoreModel &model) { return model.setNames(names); },
                [&](Store &store) { return store.setNames(names); });
    } else if (kind < 58) {
        const Ids ids = someIds();
        const auto mask = static_cast<quint32>(number(8));
        const auto flags = static_cast<quint32>(number(8));
        run(
                "setFlags",
                [&](StoreModel &model) { return Numbers{model.setFlags(ids, mask, flags)}; },
                [&](Store &store) { return Numbers{store.setFlags(ids, mask, flags)}; });
    } else if (kind < 66) {
        std::vector<MetaWrite> items;
        for (const QByteArray &each : someIds())
            items.push_back({each, metaRow()});
        run(
                "setMetaData", [&](StoreModel &model) { return Numbers{model.setMetaData(items)}; },
                [&](Store &store) { return Numbers{store.setMetaData(items)}; });
    } else if (kind < 70) {
        const Ids ids = someIds();
        const QString key = metaRow().key;
        run(
                "removeMetaData",
                [&](StoreModel &model) { return Numbers{model.removeMetaData(ids, key)}; },
                [&](Store &store) { return Numbers{store.removeMetaData(ids, key)}; });
    } else if (kind < 80) {
        const QByteArray collection = id();
        const Ids ids = someIds();
        run(
                "append", [&](StoreModel &model) { return Numbers{model.append(collection, ids)}; },
                [&](Store &store) { return Numbers{store.appendToCollection(collection, ids)}; });
    } else if (kind < 84) {
        const QByteArray collection = id();
        const Ids ids = someIds();
        run(
                "removeItems",
                [&](StoreModel &model) { return Numbers{model.removeItems(collection, ids)}; },
                [&](Store &store) { return Numbers{store.removeFromCollection(collection, ids)}; });
    } else if (kind < 88) {
        std::vector<ThumbnailWrite> thumbnails;
        for (const QByteArray &each : someIds())
            thumbnails.push_back({each, QByteArray(number(3), 'p')});
        const auto call = [&](auto &target) {
            target.setThumbnails(thumbnails);
            return Numbers();
        };
        run(
                "setThumbnails", [&](StoreModel &model) { return call(model); },
                [&](Store &store) { return call(store); });
    } else if (kind < 93) {
        const SyncLevel level = chance(10) ? SyncLevel::Disk : SyncLevel::Process;
        run(
                "begin",
                [&](StoreModel &model) {
                    model.begin();
                    return Numbers();
                },
                [&](Store &store) {
                    store.begin(level);
                    return Numbers();
                });
    } else if (kind < 97) {
        run(
                "commit",
                [&](StoreModel &model) {
                    model.commit();
                    return Numbers();
                },
                [&](Store &store) {
                    store.commit();
                    return Numbers();
                });
    } else {
        run(
                "rollback",
                [&](StoreModel &model) {
                    model.rollback();
                    return Numbers();
                },
                [&](Store &store) {
                    store.rollback();
                    return Numbers();
                });
    }
}

void RandomCalls::compareAll() const
{
    const std::vector<std::string> expected = m_model.dump(m_ids);
    for (const Store *const store : m_stores)
        ASSERT_THAT(dump(*store, m_ids), testing::ElementsAreArray(expected))
                << store->location().toStdString();
}

constexpr int sOperations = 10000;

unsigned int freshSeed()
{
    const unsigned int seed = std::random_device()();
    std::cout << "seed " << seed << '\n';
    return seed;
}

void runAll(unsigned int seed, const std::vector<Store *> &stores)
{
    RandomCalls calls(seed, stores);
    for (int operation = 0; operation < sOperations; ++operation) {
        calls.runOne();
        if (operation % 50 == 49)
            calls.compareAll();
        if (testing::Test::HasFatalFailure())
            FAIL() << "seed " << seed << ", operation " << operation;
    }
    calls.compareAll();
    if (calls.model().inTransaction()) {
        for (Store *const store : stores)
            store->rollback();
    }
    for (Store *const store : stores) {
        for (const StoreFinding &finding : store->checkIntegrity())
            EXPECT_TRUE(finding.code == StoreFinding::Code::DanglingItem
                        || finding.code == StoreFinding::Code::DanglingDependency
                        || finding.code == StoreFinding::Code::DanglingNextVersion)
                    << finding.text.toStdString();
    }
}

} // namespace

TEST_P(StoreTest, behavesAsTheModelUnderRandomCalls)
{
    runAll(freshSeed(), {&store()});
}

TEST_P(StoreTest, behavesAsAStoreInMemoryUnderRandomCalls)
{
    MemoryStore memory;
    runAll(freshSeed(), {&memory, &store()});

    Ids ids;
    for (int index = 0; index < 20; ++index)
        ids.push_back("id" + QByteArray::number(index));
    EXPECT_EQ(dump(store(), ids), dump(memory, ids));
}

TEST_P(StoreTest, keepsAfterClosingWhatRandomCallsLeft)
{
    RandomCalls calls(freshSeed(), {&store()});
    for (int operation = 0; operation < 500; ++operation)
        calls.runOne();
    if (store().inTransaction())
        store().rollback();
    const Ids ids{"id0", "id1", "id2", "id3", "id4", "id5"};
    const std::vector<std::string> before = dump(store(), ids);

    m_store.reset();
    m_store = m_source->open();

    EXPECT_EQ(dump(store(), ids), before);
}

} // namespace Tesk::Assets
