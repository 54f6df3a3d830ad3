#include "StoreFixture.h"

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

TEST_P(StoreTest, keepsTheOrderOfACollectionAndSkipsWhatIsThere)
{
    put("collection");
    EXPECT_EQ(store().appendToCollection("collection", Ids{"c", "a"}), 2);
    EXPECT_EQ(store().appendToCollection("collection", Ids{"a", "b", "b", "c"}), 1);

    EXPECT_EQ(itemsOf("collection"), (Ids{"c", "a", "b"}));
}

TEST_P(StoreTest, writesNothingForAnItemThatIsThere)
{
    put("collection");
    store().appendToCollection("collection", Ids{"a"});
    const qint64 generation = store().generation();

    EXPECT_EQ(store().appendToCollection("collection", Ids{"a"}), 0);
    EXPECT_EQ(store().removeFromCollection("collection", Ids{"b"}), 0);

    EXPECT_EQ(store().generation(), generation);
}

TEST_P(StoreTest, givesNameClassAndFlagsOfTheItems)
{
    put("collection");
    put("a", QStringLiteral("Filter"), QStringLiteral("Blur"));
    const QByteArray id = "a";
    store().setFlags({&id, 1}, ~0U, StoreFlags::sHidden);
    store().appendToCollection("collection", Ids{"a", "none"});

    EXPECT_EQ(store().scanCollection("collection"),
              (std::vector<CatalogueRow>{{id, true, QStringLiteral("Filter"),
                                          QStringLiteral("Blur"), StoreFlags::sHidden},
                                         {"none", false, {}, {}, 0}}));
}

TEST_P(StoreTest, showsWhatBecameOfTheItems)
{
    const QByteArray id = "a";
    const auto first = [this] {
        return store().scanCollection("collection").front();
    };
    put("collection");
    store().appendToCollection("collection", Ids{id});

    put(id, QStringLiteral("Filter"), QStringLiteral("Created"));
    EXPECT_EQ(first(),
              (CatalogueRow{id, true, QStringLiteral("Filter"), QStringLiteral("Created"), 0}));
    put(id, QStringLiteral("Other"), QStringLiteral("Written"));
    EXPECT_EQ(first(),
              (CatalogueRow{id, true, QStringLiteral("Other"), QStringLiteral("Written"), 0}));
    const NameWrite name{id, QStringLiteral("Renamed")};
    store().setNames({&name, 1});
    EXPECT_EQ(first(),
              (CatalogueRow{id, true, QStringLiteral("Other"), QStringLiteral("Renamed"), 0}));
    store().setFlags({&id, 1}, 2, 2);
    EXPECT_EQ(first(),
              (CatalogueRow{id, true, QStringLiteral("Other"), QStringLiteral("Renamed"), 2}));
    const AssetRemoval removal{id, {}};
    store().remove({&removal, 1});
    EXPECT_EQ(first(), (CatalogueRow{id, false, {}, {}, 0}));
    EXPECT_EQ(store().appendToCollection("collection", Ids{id}), 0); // it is listed already
    put(id, QStringLiteral("Filter"), QStringLiteral("Back"));
    EXPECT_EQ(first(),
              (CatalogueRow{id, true, QStringLiteral("Filter"), QStringLiteral("Back"), 0}));
    EXPECT_EQ(store().scanCollection("collection").size(), 1U);
}

TEST_P(StoreTest, removesItemsAndAppendsThemAgainAtTheEnd)
{
    put("collection");
    put("b");
    store().appendToCollection("collection", Ids{"a", "b", "c"});

    EXPECT_EQ(store().removeFromCollection("collection", Ids{"b", "none", "c"}), 2);
    EXPECT_EQ(itemsOf("collection"), (Ids{"a"}));

    EXPECT_EQ(store().appendToCollection("collection", Ids{"c", "b"}), 2);
    EXPECT_EQ(itemsOf("collection"), (Ids{"a", "c", "b"}));
}

TEST_P(StoreTest, keepsTheRevisionOfACollectionThatGrows)
{
    const qint64 revision = put("collection");
    store().appendToCollection("collection", Ids{"a"});

    EXPECT_EQ(row("collection")->revision, revision);
}

TEST_P(StoreTest, hasNoItemsForAnUnknownCollection)
{
    EXPECT_TRUE(store().scanCollection("none").empty());
    EXPECT_EQ(store().removeFromCollection("none", Ids{"a"}), 0);
    EXPECT_EQ(codeRaisedBy([&] { store().appendToCollection("none", Ids{"a"}); }),
              StoreError::Code::NoSuchAsset);
}

TEST_P(StoreTest, refusesAnItemWithoutAnIdAndKeepsTheRestOut)
{
    put("collection");

    EXPECT_EQ(codeRaisedBy([&] {
                  store().appendToCollection("collection", Ids{"a", ""});
              }),
              StoreError::Code::Misuse);

    EXPECT_TRUE(itemsOf("collection").empty());
}

TEST_P(StoreTest, namesTheCollectionsOfAnItem)
{
    for (const char *id : {"z", "a", "item"})
        put(id);
    store().appendToCollection("a", Ids{"item", "dangling"});
    store().appendToCollection("z", Ids{"item"});

    EXPECT_EQ(store().collectionsOf("item"), (Ids{"z", "a"}));
    EXPECT_EQ(store().collectionsOf("dangling"), (Ids{"a"}));
    EXPECT_EQ(store().collectionsOf("z"), Ids());
}

TEST_P(StoreTest, mayListACollectionInItself)
{
    put("collection", QStringLiteral("Collection"), QStringLiteral("All"));
    store().appendToCollection("collection", Ids{"collection"});

    EXPECT_EQ(store().scanCollection("collection"),
              (std::vector<CatalogueRow>{{"collection", true, QStringLiteral("Collection"),
                                          QStringLiteral("All"), 0}}));
    const AssetRemoval removal{"collection", {}};
    EXPECT_EQ(store().remove({&removal, 1}), 1);
    EXPECT_TRUE(store().scanCollection("collection").empty());
}

} // namespace Tesk::Assets
