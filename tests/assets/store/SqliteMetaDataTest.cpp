#include "SqliteFixture.h"

#include <assets/AssetControl.h>
#include <assets/AssetDatabaseService.h>
#include <assets/MetaDataControl.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace Tesk::Assets {

using Code = StoreError::Code;
using Ids = std::vector<QByteArray>;

static const QString sKey = QStringLiteral("key");

/// The rows of metadata as they lie in the file, whoever wrote them.
class SqliteMetaDataTest : public SqliteStoreTest
{
protected:
    /// Makes "a" with the items "key", of the term that termOfKey() gives, and "other".
    SqliteMetaDataTest()
    {
        const auto store = open();
        AssetWrite write = assetWrite("a");
        write.metaData = {MetaRow{sKey, 3, 0, 7}, MetaRow{QStringLiteral("other"), 3, 0, true}};
        store->write({&write, 1});
    }

    /// Puts \a hex, in which T stands for the term of "key" and U for that of "other", into the row.
    void plant(std::string hex, int items)
    {
        for (const auto &[mark, text] : {std::pair('T', "key"), std::pair('U', "other")}) {
            const std::string find =
                    std::string("SELECT printf('%02x', k) FROM term WHERE text = '") + text + '\'';
            const std::string term = raw(find.c_str()).toStdString();
            for (auto at = hex.find(mark); at != std::string::npos; at = hex.find(mark))
                hex.replace(at, 1, term);
        }
        raw(("UPDATE metadata SET items = " + std::to_string(items) + ", data = X'" + hex + '\'')
                    .c_str());
    }
};

TEST_F(SqliteMetaDataTest, keepsEachItemAsAnArrayOfKeyTypeAccessibilityKindAndValue)
{
    const auto store = open();
    AssetWrite write = assetWrite("b");
    const QVariantList values{QVariant(),
                              true,
                              -5,
                              5U,
                              qlonglong(1) << 40,
                              qulonglong(1),
                              0.5,
                              QString::fromUtf8("\u00e4"),
                              QByteArray("\0\xff", 2)};
    for (int number = 0; number < values.size(); ++number) {
        write.metaData = {MetaRow{sKey, number, -number, values[number]}};
        write.row.id = "b" + QByteArray::number(number);
        store->write({&write, 1});
    }

    QStringList forms;
    for (int number = 0; number < values.size(); ++number) {
        const std::string find = "SELECT lower(hex(data)) FROM metadata JOIN asset ON k = asset_k "
                                 "WHERE id = CAST('b"
                                 + std::to_string(number) + "' AS BLOB)";
        forms << raw(find.c_str());
    }
    const QString term = raw("SELECT printf('%02x', k) FROM term WHERE text = 'key'");
    const char *const expected[]{"85T000000f6",
                                 "85T012001f5",
                                 "85T02210224",
                                 "85T03220305",
                                 "85T0423041b0000010000000000",
                                 "85T05240f5819"
                                 "a26540747970656a71756c6f6e676c6f6e676576616c756501",
                                 "85T062506fb3fe0000000000000",
                                 "85T07260762c3a4",
                                 "85T08270842"
                                 "00ff"};
    ASSERT_EQ(forms.size(), std::ssize(expected));
    for (qsizetype number = 0; number < forms.size(); ++number)
        EXPECT_EQ(forms[number],
                  QString::fromLatin1(expected[number]).replace(QLatin1Char('T'), term));
    EXPECT_EQ(raw("SELECT group_concat(DISTINCT encoding) FROM metadata"), QStringLiteral("1"));
    EXPECT_EQ(store->statistics().metaDataItems, 2 + values.size());
}

TEST_F(SqliteMetaDataTest, keepsNoRowWithoutItems)
{
    const auto store = open();
    const QByteArray id = "a";
    const MetaWrite again{id, MetaRow{sKey, 3, 0, 8}};

    store->removeMetaData({&id, 1}, sKey);
    EXPECT_EQ(raw("SELECT items FROM metadata"), QStringLiteral("1"));
    store->removeMetaData({&id, 1}, QStringLiteral("other"));
    EXPECT_EQ(raw("SELECT COUNT(*) FROM metadata"), QStringLiteral("0"));
    store->setMetaData({&again, 1});
    EXPECT_EQ(raw("SELECT items FROM metadata"), QStringLiteral("1"));
    const AssetRemoval removal{id, {}};
    store->remove({&removal, 1});
    EXPECT_EQ(raw("SELECT COUNT(*) FROM metadata"), QStringLiteral("0"));
}

TEST_F(SqliteMetaDataTest, namesAnItemThatCannotBeReadAndLetsItBeSetAnew)
{
    plant("85T03000f42ffff"
          "85U030001f5",
          2);
    const auto store = open();
    const QByteArray id = "a";

    const StoreError error = raisedBy([&] { store->metaDataItems({&id, 1}, sKey); });

    EXPECT_EQ(error.code(), Code::Damaged);
    EXPECT_EQ(error.assetId(), id);
    EXPECT_THAT(error.what(), testing::StartsWith("Cannot read the metadata \"key\" of asset "
                                                  "\"a\": "));
    EXPECT_EQ(codeRaisedBy([&] { store->metaData({&id, 1}); }), Code::Damaged);
    EXPECT_EQ(store->metaDataItems({&id, 1}, QStringLiteral("other")).front()->value,
              QVariant(true));
    const std::vector<StoreFinding> findings = store->checkIntegrity();
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings.front().code, StoreFinding::Code::StoreDamaged);
    EXPECT_EQ(findings.front().id, id);
    EXPECT_TRUE(findings.front().text.startsWith(
            QStringLiteral("The metadata \"key\" of asset \"a\" cannot be read: ")));

    const MetaWrite anew{"a", MetaRow{sKey, 3, 0, 7}};
    EXPECT_EQ(store->setMetaData({&anew, 1}), 1);
    EXPECT_EQ(store->metaDataItems({&id, 1}, sKey).front()->value, QVariant(7));
    EXPECT_EQ(store->metaDataItems({&id, 1}, QStringLiteral("other")).front()->value,
              QVariant(true));
    EXPECT_TRUE(store->checkIntegrity().empty());
}

TEST_F(SqliteMetaDataTest, removesAnItemThatCannotBeRead)
{
    plant("85T0300186300"
          "85U030001f5",
          2);
    const auto store = open();
    const QByteArray id = "a";

    EXPECT_EQ(store->removeMetaData({&id, 1}, sKey), 1);

    EXPECT_EQ(store->metaData({&id, 1}).front(),
              (std::vector<MetaRow>{MetaRow{QStringLiteral("other"), 3, 0, true}}));
}

TEST_F(SqliteMetaDataTest, namesAnItemOfAnUnknownKind)
{
    plant("85T0300186300", 1);
    const auto store = open();
    const QByteArray id = "a";

    EXPECT_STREQ(raisedBy([&] {
                     store->metaDataItems({&id, 1}, sKey);
                 }).what(),
                 "Cannot read the metadata \"key\" of asset \"a\": kind 99 is unknown; set it "
                 "anew, or restore a backup");
    EXPECT_EQ(store->checkIntegrity().size(), 1U);
}

TEST_F(SqliteMetaDataTest, refusesAValueThatIsNotOfItsKind)
{
    const QByteArray id = "a";
    for (const char *value : {"00f5", "0100", "02f5", "021b0000000100000000", "0320", "046161",
                              "0600", "074161", "086161", "0f6161", "06f93c00"}) {
        plant(std::string("85T0300") + value, 1);
        EXPECT_STREQ(raisedBy([&] {
                         open()->metaData({&id, 1});
                     }).what(),
                     "Cannot read the metadata \"key\" of asset \"a\": the value is not of its "
                     "kind; set it anew, or restore a backup")
                << value;
    }
}

TEST_F(SqliteMetaDataTest, namesTheAssetOfARowThatIsNoRowOfItems)
{
    struct Damage
    {
        const char *hex;
        int items;
        const char *why;
    };
    const QByteArray id = "a";
    for (const Damage &damage :
         {Damage{"", 1, "no item at byte 0"}, Damage{"85T03000207", 2, "no item at byte 6"},
          Damage{"85T0300020785U03000207", 1, "not as many items as were counted at byte 6"},
          Damage{"85T03000207", -1, "not as many items as were counted at byte 0"},
          Damage{"84T030002", 1, "no item at byte 0"},
          Damage{"8561610300020785", 1, "no number where one must be at byte 0"},
          Damage{"85T1bffffffffffffffff000207", 1, "no number where one must be at byte 0"},
          Damage{"85T1b7fffffffffffffff000207", 1, "a number that is too large at byte 0"},
          Damage{"85T0300077b7fffffffffffffff61", 1, "an item that ends too early at byte 0"},
          Damage{"85T030007bbffffffffffffffff61", 1, "a value of no known form at byte 0"},
          Damage{"85T03000780", 1, "a value of no known form at byte 0"},
          Damage{"85T0300071b00", 1, "an item that ends too early at byte 0"},
          Damage{"85T0300071f", 1, "an item of no known form at byte 0"}}) {
        plant(damage.hex, damage.items);
        const auto store = open();
        const StoreError error = raisedBy([&] { store->metaData({&id, 1}); });
        EXPECT_EQ(error.code(), Code::Damaged);
        EXPECT_EQ(error.assetId(), id);
        EXPECT_EQ(
                QString::fromUtf8(error.what()),
                QStringLiteral("Cannot read the metadata of asset \"a\": %1; restore a backup, or "
                               "remove the asset and store it again")
                        .arg(QString::fromLatin1(damage.why)));
        const std::vector<StoreFinding> findings = store->checkIntegrity();
        ASSERT_EQ(findings.size(), 1U) << damage.hex;
        EXPECT_EQ(findings.front().id, id);
        EXPECT_EQ(findings.front().text,
                  QStringLiteral("The metadata of asset \"a\" cannot be read: %1")
                          .arg(QString::fromLatin1(damage.why)));
    }
}

TEST_F(SqliteMetaDataTest, letsTheServiceSetOrRemoveAnItemThatCannotBeRead)
{
    for (const bool isRemoval : {false, true}) {
        plant("85T03000f42ffff"
              "85U030001f5",
              2);
        const auto service = AssetDatabaseService::open(open());
        const AssetReference asset = service->referenceFromId("a");
        ASSERT_THROW(MetaDataControl::getItem(asset, sKey), StoreError);

        if (isRemoval)
            EXPECT_TRUE(MetaDataControl::removeItem(asset, sKey));
        else
            MetaDataControl::setMetaDataValue(asset, sKey, 7, Accessibility::Public,
                                              MetaDataItem::Integer);

        EXPECT_EQ(AssetControl::getAssetMetadataItem(asset, sKey),
                  isRemoval ? QVariant() : QVariant(7));
        service->close();
    }
}

TEST_F(SqliteMetaDataTest, refusesAnUnknownEncoding)
{
    raw("UPDATE metadata SET encoding = 2");
    const QByteArray id = "a";

    EXPECT_STREQ(
            raisedBy([&] {
                open()->metaData({&id, 1});
            }).what(),
            "Cannot read the metadata of asset \"a\": encoding 2 is unknown; restore a backup, "
            "or remove the asset and store it again");
}

TEST_F(SqliteMetaDataTest, changesNoRowThatCannotBeReadUntilAllOfItIsWritten)
{
    plant("85T0300020785", 2);
    const auto store = open();
    const QByteArray id = "a";
    const MetaWrite item{"a", MetaRow{sKey, 3, 0, 8}};

    EXPECT_EQ(codeRaisedBy([&] { store->setMetaData({&item, 1}); }), Code::Damaged);
    EXPECT_EQ(codeRaisedBy([&] { store->removeMetaData({&id, 1}, sKey); }), Code::Damaged);
    EXPECT_EQ(raw("SELECT substr(lower(hex(data)), -4) FROM metadata"), QStringLiteral("0785"));

    AssetWrite write = assetWrite("a");
    write.metaData = {item.item};
    store->write({&write, 1});
    EXPECT_EQ(store->metaData({&id, 1}).front(), *write.metaData);
    EXPECT_TRUE(store->checkIntegrity().empty());
}

TEST_F(SqliteMetaDataTest, readsDamagesOfEveryByteOrNamesTheAsset)
{
    // One asset for each cut and each other value of a byte of a row with all kinds of items.
    const auto store = open();
    AssetWrite write = assetWrite("good");
    write.metaData = {MetaRow{sKey, 3, 0, QStringLiteral("text")},
                      MetaRow{QStringLiteral("1"), 300, -1, 1U << 31U},
                      MetaRow{QStringLiteral("2"), 0, 0, 0.1},
                      MetaRow{QStringLiteral("3"), 0, 0, QByteArray(30, 'b')},
                      MetaRow{QStringLiteral("4"), 0, 0, false},
                      MetaRow{QStringLiteral("5"), 0, 0, QVariantList{1, QStringLiteral("x")}}};
    store->write({&write, 1});
    const QByteArray good = QByteArray::fromHex(
            raw("SELECT hex(data) FROM metadata ORDER BY asset_k DESC").toLatin1());
    std::vector<QByteArray> rows;
    for (qsizetype at = 0; at < good.size(); ++at) {
        rows.push_back(good.first(at));
        for (int value = 0; value < 256; value += at < 12 ? 1 : 15) {
            rows.push_back(good);
            rows.back()[at] = static_cast<char>(value);
        }
    }
    std::vector<AssetWrite> writes;
    Ids ids;
    QByteArray script = "BEGIN;";
    for (std::size_t at = 0; at < rows.size(); ++at) {
        ids.push_back("damaged " + QByteArray::number(qsizetype(at)));
        writes.push_back(assetWrite(ids.back()));
        script += "INSERT INTO metadata SELECT k, 1, 6, X'" + rows[at].toHex()
                  + "' FROM asset WHERE id = X'" + ids.back().toHex() + "';";
    }
    store->write(writes);
    raw((script + "COMMIT").constData());

    Ids damaged;
    std::size_t readable = 0;
    for (const QByteArray &id : ids) {
        try {
            readable += store->metaData({&id, 1}).front().size() == 6 ? 1 : 0;
        } catch (const StoreError &error) {
            EXPECT_EQ(error.code(), Code::Damaged);
            EXPECT_EQ(error.assetId(), id);
            damaged.push_back(id);
        }
    }
    EXPECT_EQ(damaged.size() + readable, ids.size());
    EXPECT_GT(damaged.size(), ids.size() / 4);
    EXPECT_GT(readable, ids.size() / 4);
    Ids found;
    for (const StoreFinding &finding : store->checkIntegrity())
        found.push_back(finding.id);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    EXPECT_EQ(found, damaged);
}

TEST_F(SqliteMetaDataTest, givesTheItemsOfAnyOrderByKey)
{
    plant("85U030001f585T03000207", 2);
    const QByteArray id = "a";

    EXPECT_EQ(open()->metaData({&id, 1}).front(),
              (std::vector<MetaRow>{MetaRow{sKey, 3, 0, 7},
                                    MetaRow{QStringLiteral("other"), 3, 0, true}}));
}

TEST_F(SqliteMetaDataTest, keepsWhatCannotBeReadFromSpoilingOthersAtHand)
{
    plant("85T03000f42ffff", 1);
    {
        AssetWrite write = assetWrite("b");
        write.metaData = {MetaRow{sKey, 3, 0, QStringLiteral("good")}};
        open()->write({&write, 1});
    }
    const auto service = AssetDatabaseService::open(open());
    const std::vector<AssetReference> references{service->referenceFromId("a"),
                                                 service->referenceFromId("b")};
    const AssetDatabaseService::MetaDataKeeper keeper(*service, references);

    EXPECT_EQ(AssetControl::getAssetMetadataItem(references[1], sKey),
              QVariant(QStringLiteral("good")));
    EXPECT_EQ(codeRaisedBy([&] { AssetControl::getAssetMetadataItem(references[0], sKey); }),
              Code::Damaged);
    service->close();
}

} // namespace Tesk::Assets
