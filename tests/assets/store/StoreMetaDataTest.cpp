#include "StoreFixture.h"

#include <QUrl>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

static const QString sKey = QStringLiteral("key");

static QVariant storedForm(Store &store, const QVariant &value)
{
    const MetaWrite write{"a", MetaRow{sKey, 3, 0, value}};
    store.setMetaData({&write, 1});
    return store.metaDataItems({&write.id, 1}, sKey).front()->value;
}

static QVariantList valuesOfEveryType()
{
    return {
            true,
            false,
            -5,
            5U,
            std::numeric_limits<qlonglong>::min(),
            std::numeric_limits<qulonglong>::max(),
            0.1,
            -0.0,
            std::numeric_limits<double>::infinity(),
            QString::fromUtf8("Text \U0001F308"),
            QStringLiteral(""),
            QString(QChar(0)) + QStringLiteral("b"),
            QByteArray("\0\xff", 2),
            QUrl(QStringLiteral("file:///a%20b?c#d")),
            QStringList{QStringLiteral("a"), QString(), QStringLiteral("c")},
            QVariantList{1, QStringLiteral("x"), QVariantList{2.5, QVariant(), QByteArray("y")}},
            QVariantList(),
            QVariant(),
    };
}

TEST_P(StoreTest, keepsAMetaDataValueWithItsType)
{
    put("a");
    for (const QVariant &value : valuesOfEveryType()) {
        const QVariant found = storedForm(store(), value);
        EXPECT_EQ(found.metaType().id(), value.metaType().id()) << value.typeName();
        EXPECT_EQ(found, value) << value.typeName();
    }
}

TEST_P(StoreTest, keepsTheSignOfZeroAndWhatIsNoNumber)
{
    put("a");

    EXPECT_TRUE(std::signbit(storedForm(store(), -0.0).toDouble()));
    EXPECT_TRUE(std::isnan(storedForm(store(), std::nan("")).toDouble()));
}

TEST_P(StoreTest, keepsTheMetaDataThatAnAssetIsMadeWith)
{
    const QVariantList values = valuesOfEveryType() << std::nan("");
    std::vector<AssetWrite> writes(200); // more rows than the store gathers
    for (std::size_t at = 0; at < writes.size(); ++at) {
        writes[at] = assetWrite("a" + QByteArray::number(at));
        std::vector<MetaRow> &rows = writes[at].metaData.emplace();
        for (qsizetype number = 0; number < values.size(); ++number)
            rows.push_back(
                    {QStringLiteral("key %1").arg(number), int(number), int(at), values[number]});
    }

    store().write(writes);

    for (const AssetWrite &write : writes) {
        const std::vector<MetaRow> found = store().metaData({&write.row.id, 1}).front();
        ASSERT_EQ(found.size(), write.metaData->size()) << write.row.id.constData();
        for (const MetaRow &row : *write.metaData) {
            const auto same = std::find_if(found.begin(), found.end(), [&](const MetaRow &each) {
                return each.key == row.key;
            });
            ASSERT_NE(same, found.end());
            EXPECT_EQ(same->type, row.type);
            EXPECT_EQ(same->accessibility, row.accessibility);
            EXPECT_EQ(same->value.metaType(), row.value.metaType());
            if (same->value.metaType() == QMetaType::fromType<double>())
                EXPECT_EQ(std::isnan(same->value.toDouble()), std::isnan(row.value.toDouble()));
            else
                EXPECT_EQ(same->value, row.value);
        }
    }
}

TEST_P(StoreTest, replacesTheMetaDataOfAnAssetThatOneCallMakesAndWritesAgain)
{
    std::vector<AssetWrite> writes{assetWrite("a"), assetWrite("a")};
    writes[0].metaData = {MetaRow{QStringLiteral("first"), 3, 0, 1},
                          MetaRow{QStringLiteral("both"), 3, 0, 1}};
    writes[1].metaData = {MetaRow{QStringLiteral("both"), 3, 0, 2}};

    store().write(writes);

    const QByteArray id = "a";
    const std::vector<MetaRow> found = store().metaData({&id, 1}).front();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().key, QStringLiteral("both"));
    EXPECT_EQ(found.front().value, QVariant(2));
}

TEST_P(StoreTest, keepsNoMetaDataOfAWriteThatFailed)
{
    put("taken");
    std::vector<AssetWrite> writes{assetWrite("a"), assetWrite("taken")};
    writes[0].metaData = {MetaRow{sKey, 3, 0, 1}};
    writes[1].expectedRevision = 0;
    EXPECT_EQ(codeRaisedBy([&] { store().write(writes); }), StoreError::Code::Changed);

    put("a");

    const QByteArray id = "a";
    EXPECT_TRUE(store().metaData({&id, 1}).front().empty());
}

TEST_P(StoreTest, refusesAMetaDataValueOfAnUnknownType)
{
    put("a");
    const MetaWrite write{"a", MetaRow{sKey, 3, 0, QVariant(QChar(u'x'))}};

    const StoreError error = raisedBy([&] { store().setMetaData({&write, 1}); });

    EXPECT_EQ(error.code(), StoreError::Code::Misuse);
    EXPECT_STREQ(error.what(), "Cannot store metadata \"key\" of asset \"a\": a value of type "
                               "\"QChar\" has no stored form");
}

TEST_P(StoreTest, tellsAnEmptyMetaDataValueFromNone)
{
    put("a");
    put("b");
    const MetaWrite write{"a", MetaRow{sKey, 3, 0, QString()}};
    store().setMetaData({&write, 1});

    const Ids ids{"a", "b", "none"};
    const auto found = store().metaDataItems(ids, sKey);

    ASSERT_TRUE(found[0]);
    EXPECT_EQ(found[0]->value, QVariant(QString()));
    EXPECT_FALSE(found[1]);
    EXPECT_FALSE(found[2]);
    EXPECT_FALSE(store().metaDataItems(ids, QStringLiteral("other"))[0]);
}

TEST_P(StoreTest, givesAllMetaDataOrderedByKey)
{
    AssetWrite write = assetWrite("a");
    write.metaData = {MetaRow{QStringLiteral("z"), 3, 0, 1},
                      MetaRow{QStringLiteral("Z"), 12, 1, true},
                      MetaRow{QString::fromUtf8("\U0001F308"), 3, 0, 3},
                      MetaRow{QString(QChar(0xfffd)), 3, 0, 4}};
    store().write({&write, 1});

    const Ids ids{"none", "a"};
    const auto found = store().metaData(ids);

    ASSERT_EQ(found.size(), 2U);
    EXPECT_TRUE(found[0].empty());
    // By UTF-16 unit, as QString compares: the surrogates of the rainbow come before U+FFFD.
    EXPECT_EQ(found[1], (std::vector<MetaRow>{(*write.metaData)[1], (*write.metaData)[0],
                                              (*write.metaData)[2], (*write.metaData)[3]}));
}

TEST_P(StoreTest, replacesAllMetaDataWithAWriteThatBringsSome)
{
    AssetWrite write = assetWrite("a");
    write.metaData = {MetaRow{QStringLiteral("old"), 3, 0, 1},
                      MetaRow{QStringLiteral("both"), 3, 0, 2}};
    store().write({&write, 1});

    write.metaData = {MetaRow{QStringLiteral("both"), 12, 1, true}};
    store().write({&write, 1});

    EXPECT_EQ(store().metaData({&write.row.id, 1}).front(), *write.metaData);
    write.metaData->clear();
    store().write({&write, 1});
    EXPECT_TRUE(store().metaData({&write.row.id, 1}).front().empty());
}

TEST_P(StoreTest, writesNothingForAMetaDataItemThatIsSoAlready)
{
    put("a");
    const std::vector<MetaWrite> writes{{"a", MetaRow{sKey, 3, 0, 1}},
                                        {"a", MetaRow{QStringLiteral("other"), 3, 0, 1}}};
    store().setMetaData(writes);
    const qint64 generation = store().generation();

    EXPECT_EQ(store().setMetaData(writes), 0);
    EXPECT_EQ(store().generation(), generation);

    // The same number of another type, or another accessibility, is another value.
    const std::vector<MetaWrite> others{{"a", MetaRow{sKey, 3, 0, 1.0}},
                                        {"a", MetaRow{QStringLiteral("other"), 3, 1, 1}}};
    EXPECT_EQ(store().setMetaData(others), 2);
    EXPECT_EQ(store().generation(), generation + 1);
}

TEST_P(StoreTest, keepsTheRevisionWhenMetaDataChange)
{
    const qint64 revision = put("a");
    const MetaWrite write{"a", MetaRow{sKey, 3, 0, 1}};
    store().setMetaData({&write, 1});

    EXPECT_EQ(row("a")->revision, revision);
}

TEST_P(StoreTest, refusesMetaDataOfWhatIsNotThereAndKeepsTheRestOut)
{
    put("a");
    const std::vector<MetaWrite> writes{{"a", MetaRow{sKey, 3, 0, 1}},
                                        {"none", MetaRow{sKey, 3, 0, 1}}};

    EXPECT_EQ(codeRaisedBy([&] { store().setMetaData(writes); }), StoreError::Code::NoSuchAsset);

    const QByteArray id = "a";
    EXPECT_FALSE(store().metaDataItems({&id, 1}, sKey).front());
}

TEST_P(StoreTest, removesAMetaDataItemOfManyAssets)
{
    put("a");
    put("b");
    const std::vector<MetaWrite> writes{{"a", MetaRow{sKey, 3, 0, 1}},
                                        {"b", MetaRow{QStringLiteral("other"), 3, 0, 1}}};
    store().setMetaData(writes);

    const Ids ids{"a", "b", "none"};
    EXPECT_EQ(store().removeMetaData(ids, sKey), 1);

    EXPECT_FALSE(store().metaDataItems(ids, sKey)[0]);
    EXPECT_TRUE(store().metaDataItems(ids, QStringLiteral("other"))[1]);
    const qint64 generation = store().generation();
    EXPECT_EQ(store().removeMetaData(ids, sKey), 0);
    EXPECT_EQ(store().generation(), generation);
}

TEST_P(StoreTest, readsTheMetadataOfManyAssetsInTheOrderThatIsAskedFor)
{
    std::vector<QByteArray> ids;
    std::vector<MetaWrite> items;
    for (int number = 99; number >= 0; --number) {
        ids.push_back("asset " + QByteArray::number(number));
        if (number % 3 == 0)
            continue; // an id of no asset
        put(ids.back());
        items.push_back({ids.back(), MetaRow{"other", 3, 0, -number}});
        if (number % 3 == 1)
            items.push_back({ids.back(), MetaRow{sKey, 3, 0, number}});
    }
    store().setMetaData(items);

    const auto all = store().metaData(ids);
    const auto single = store().metaDataItems(ids, sKey);

    ASSERT_EQ(all.size(), ids.size());
    ASSERT_EQ(single.size(), ids.size());
    for (int at = 0; at < 100; ++at) {
        const int number = 99 - at;
        const auto &rows = all[static_cast<std::size_t>(at)];
        const auto &row = single[static_cast<std::size_t>(at)];
        ASSERT_EQ(rows.size(), static_cast<std::size_t>(number % 3 == 1 ? 2 : number % 3 / 2))
                << number;
        ASSERT_EQ(row.has_value(), number % 3 == 1) << number;
        if (row) {
            EXPECT_EQ(row->value, QVariant(number));
            EXPECT_EQ(rows.front().value, QVariant(number));
            EXPECT_EQ(rows.front().key, sKey);
        }
        if (!rows.empty()) {
            EXPECT_EQ(rows.back().value, QVariant(-number));
        }
    }
}

} // namespace Tesk::Assets
