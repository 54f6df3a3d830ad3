#include "SqliteFixture.h"

#include <gmock/gmock.h>

namespace Tesk::Assets {

using Code = StoreError::Code;
using Ids = std::vector<QByteArray>;

/// Files that somebody made to do harm, or that another program wrote to.
class SqliteHostileTest : public SqliteStoreTest
{
protected:
    SqliteHostileTest()
    {
        const auto store = open();
        putAsset(*store, "list");
        putAsset(*store, "a", QStringLiteral("Name"), QByteArray("body"));
        store->appendToCollection("list", Ids{"a"});
    }

    void expectRefusalOf(const char *name)
    {
        for (const auto mode : {SqliteStore::Mode::Open, SqliteStore::Mode::ReadOnly}) {
            const StoreError error = raisedBy([this, mode] { open(mode); });
            EXPECT_EQ(error.code(), Code::Damaged);
            EXPECT_EQ(QString::fromUtf8(error.what()),
                      QStringLiteral("Cannot open \"%1\": it holds \"%2\", which no version of the "
                                     "program made and which would run by itself; restore a backup")
                              .arg(filePath(), QString::fromLatin1(name)));
        }
    }
};

TEST_F(SqliteHostileTest, refusesAPlantedTrigger)
{
    raw("CREATE TRIGGER planted AFTER INSERT ON asset BEGIN DELETE FROM body; END");

    expectRefusalOf("planted");
    EXPECT_EQ(raw("SELECT COUNT(*) FROM body"), QStringLiteral("1"));
}

TEST_F(SqliteHostileTest, refusesATriggerThatBearsAKnownName)
{
    raw("DROP TRIGGER version_edge_insert; CREATE TRIGGER version_edge_insert "
        "AFTER INSERT ON asset BEGIN DELETE FROM body; END");

    expectRefusalOf("version_edge_insert");
}

TEST_F(SqliteHostileTest, refusesAViewInPlaceOfATable)
{
    raw("ALTER TABLE thumbnail RENAME TO other; CREATE VIEW thumbnail AS "
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) "
        "SELECT i AS asset_k, zeroblob(1000000) AS data FROM n");

    expectRefusalOf("thumbnail");
}

TEST_F(SqliteHostileTest, takesATableAndAnIndexOfSomebodyElse)
{
    raw("CREATE TABLE notes (x); CREATE INDEX asset_modified ON asset (modified); ANALYZE");

    const auto store = open();

    EXPECT_EQ(store->statistics().assets, 2);
    putAsset(*store, "b");
    EXPECT_TRUE(store->checkIntegrity().empty());
}

TEST_F(SqliteHostileTest, appendsAfterNegativePositionsInOrder)
{
    raw("UPDATE collection_item SET position = -9223372036854775807");
    const auto store = open();

    store->appendToCollection("list", Ids{"b", "c"});

    Ids ids;
    for (const CatalogueRow &row : store->scanCollection("list"))
        ids.push_back(row.id);
    EXPECT_EQ(ids, (Ids{"a", "b", "c"}));
}

TEST_F(SqliteHostileTest, refusesToAppendWhereThereIsNoPositionLeft)
{
    raw("UPDATE collection_item SET position = 9223372036854775807");
    const auto store = open();

    const StoreError error = raisedBy([&] { store->appendToCollection("list", Ids{"b"}); });

    EXPECT_EQ(error.code(), Code::Damaged);
    EXPECT_EQ(error.assetId(), QByteArray("list"));
    EXPECT_EQ(store->scanCollection("list").size(), 1U);
}

TEST_F(SqliteHostileTest, refusesToWriteWhereTheGenerationIsUsedUp)
{
    raw("UPDATE database SET generation = 9223372036854775807");
    const auto store = open();

    EXPECT_EQ(codeRaisedBy([&] { putAsset(*store, "b"); }), Code::Damaged);

    EXPECT_EQ(store->statistics().assets, 2);
}

TEST_F(SqliteHostileTest, givesNoClassToAnAssetWhoseClassIsUnknown)
{
    raw("UPDATE asset SET class_k = 12345");
    const auto store = open();
    const QByteArray id = "a";

    EXPECT_EQ(store->loadRows({&id, 1}).front()->className, QString());
    EXPECT_FALSE(store->checkIntegrity().empty());
}

} // namespace Tesk::Assets
