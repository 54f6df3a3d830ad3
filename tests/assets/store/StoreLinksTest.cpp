#include "StoreFixture.h"

#include <algorithm>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

static AssetWrite linked(const QByteArray &id, const QByteArray &nextVersion)
{
    AssetWrite write = assetWrite(id);
    write.nextVersion = nextVersion;
    return write;
}

static void link(Store &store, const QByteArray &id, const QByteArray &nextVersion)
{
    const AssetWrite write = linked(id, nextVersion);
    store.write({&write, 1});
}

TEST_P(StoreTest, keepsNextVersionsInBothDirections)
{
    link(store(), "z", "c");
    link(store(), "b", "c");
    link(store(), "c", "later");

    const Ids ids{"z", "c", "later", "none"};
    EXPECT_EQ(store().nextVersions(ids), (Ids{"c", "later", QByteArray(), QByteArray()}));
    EXPECT_EQ(store().previousVersions("c"), (Ids{"z", "b"}));
    EXPECT_EQ(store().previousVersions("later"), (Ids{"c"}));
    EXPECT_EQ(store().previousVersions(""), Ids());
}

TEST_P(StoreTest, replacesAndEndsANextVersion)
{
    const QByteArray id = "a";
    link(store(), id, "b");
    link(store(), id, "c");
    EXPECT_EQ(store().nextVersions({&id, 1}).front(), QByteArray("c"));

    link(store(), id, "");
    EXPECT_EQ(store().nextVersions({&id, 1}).front(), QByteArray());
    EXPECT_EQ(store().previousVersions("c"), Ids());
}

TEST_P(StoreTest, refusesANextVersionThatLeadsBack)
{
    link(store(), "a", "b");
    link(store(), "b", "c");

    const AssetWrite write = linked("c", "a");
    const StoreError error = raisedBy([&] { store().write({&write, 1}); });

    EXPECT_EQ(error.code(), StoreError::Code::VersionCycle);
    EXPECT_EQ(error.assetId(), QByteArray("c"));
    EXPECT_STREQ(error.what(), "Cannot store \"a\" as the next version of asset \"c\": the "
                               "versions after it lead back to that asset");
    EXPECT_FALSE(row("c"));
}

TEST_P(StoreTest, refusesAnAssetAsItsOwnNextVersion)
{
    const AssetWrite write = linked("a", "a");
    EXPECT_EQ(codeRaisedBy([&] { store().write({&write, 1}); }), StoreError::Code::VersionCycle);
    EXPECT_FALSE(row("a"));
}

TEST_P(StoreTest, refusesACycleWithinOneBatch)
{
    const std::vector<AssetWrite> writes{linked("a", "b"), linked("b", "a")};

    EXPECT_EQ(codeRaisedBy([&] { store().write(writes); }), StoreError::Code::VersionCycle);

    EXPECT_FALSE(row("a"));
}

TEST_P(StoreTest, turnsAChainRoundInOneBatch)
{
    link(store(), "a", "b");

    const std::vector<AssetWrite> writes{linked("a", ""), linked("b", "a")};
    store().write(writes);

    const Ids ids{"a", "b"};
    EXPECT_EQ(store().nextVersions(ids), (Ids{QByteArray(), "a"}));
}

TEST_P(StoreTest, forgetsTheNextVersionOfWhatIsRemoved)
{
    link(store(), "a", "b");
    link(store(), "b", "c");
    const AssetRemoval removal{"b", {}};
    store().remove({&removal, 1});

    // The chain is cut, so its end may lead to its beginning.
    link(store(), "c", "a");

    const Ids ids{"a", "b", "c"};
    EXPECT_EQ(store().nextVersions(ids), (Ids{"b", QByteArray(), "a"}));
    const AssetWrite closing = linked("b", "c");
    EXPECT_EQ(codeRaisedBy([&] { store().write({&closing, 1}); }), StoreError::Code::VersionCycle);
}

TEST_P(StoreTest, keepsDependenciesInOrderAndBothDirections)
{
    AssetWrite first = assetWrite("z");
    first.dependencies = {DependencyRow{"x", QStringLiteral("late")}, DependencyRow{"w", {}},
                          DependencyRow{"x", QStringLiteral("again")}};
    AssetWrite second = assetWrite("b");
    second.dependencies = {DependencyRow{"x", {}}};
    const std::vector<AssetWrite> writes{first, second, assetWrite("x")};
    store().write(writes);

    const Ids ids{"z", "none", "b"};
    const auto found = store().dependencies(ids);
    EXPECT_EQ(found[0], *first.dependencies);
    EXPECT_TRUE(found[1].empty());
    EXPECT_EQ(found[2], *second.dependencies);
    EXPECT_EQ(store().dependents("x"), (Ids{"z", "b"}));
    EXPECT_EQ(store().dependents("b"), Ids());

    first.dependencies->clear();
    store().write({&first, 1});
    EXPECT_EQ(store().dependents("x"), (Ids{"b"}));
}

TEST_P(StoreTest, reportsWhatDanglesAndNothingElse)
{
    AssetWrite write = assetWrite("a");
    write.nextVersion = QByteArray("gone-next");
    write.dependencies = {DependencyRow{"gone-dependency", {}}, DependencyRow{"b", {}}};
    const std::vector<AssetWrite> writes{write, assetWrite("b")};
    store().write(writes);
    store().appendToCollection("b", Ids{"a", "gone-item"});

    std::vector<StoreFinding> found = store().checkIntegrity();

    ASSERT_EQ(found.size(), 3U);
    std::sort(found.begin(), found.end(), [](const StoreFinding &left, const StoreFinding &right) {
        return left.code < right.code;
    });
    EXPECT_EQ(found[0], (StoreFinding{StoreFinding::Code::DanglingItem, "b", "gone-item",
                                      QStringLiteral("Collection \"b\" lists \"gone-item\", which "
                                                     "does not exist")}));
    EXPECT_EQ(found[1],
              (StoreFinding{StoreFinding::Code::DanglingDependency, "a", "gone-dependency",
                            QStringLiteral("Asset \"a\" depends on \"gone-dependency\", "
                                           "which does not exist")}));
    EXPECT_EQ(found[2], (StoreFinding{StoreFinding::Code::DanglingNextVersion, "a", "gone-next",
                                      QStringLiteral("The next version \"gone-next\" of asset "
                                                     "\"a\" does not exist")}));
}

} // namespace Tesk::Assets
