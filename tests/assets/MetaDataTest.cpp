#include <assets/MetaData.h>

#include <QStringList>

#include <gtest/gtest.h>

namespace Tesk::Assets {

static QStringList keysOf(const MetaData &metaData)
{
    QStringList keys;
    for (const auto &[key, item] : metaData)
        keys.append(key);
    return keys;
}

static MetaData numbered(const QStringList &keys)
{
    MetaData metaData;
    for (const QString &key : keys)
        metaData.set(key, static_cast<int>(metaData.size()), MetaDataItem::Integer);
    return metaData;
}

TEST(MetaDataTest, isInTheOrderOfItsKeysWhateverTheOrderOfSetting)
{
    EXPECT_EQ(keysOf(numbered({"b", "d", "", "a", "c", "B"})),
              (QStringList{"", "B", "a", "b", "c", "d"}));
}

TEST(MetaDataTest, findsEachItemByItsExactKey)
{
    const MetaData metaData = numbered({"b", "d", "a"});

    EXPECT_EQ(metaData.value("a"), QVariant(2));
    EXPECT_EQ(metaData.value("b"), QVariant(0));
    EXPECT_EQ(metaData.value("d"), QVariant(1));
    for (const char *absent : {"", "A", "c", "e"}) {
        EXPECT_EQ(metaData.find(absent), nullptr) << absent;
        EXPECT_FALSE(metaData.value(absent).isValid()) << absent;
    }
}

TEST(MetaDataTest, setReplacesTheItemOfAKey)
{
    MetaData metaData = numbered({"b", "a", "c"});

    metaData.set("b", "text", MetaDataItem::Text, Accessibility::Private);

    EXPECT_EQ(metaData.size(), 3U);
    EXPECT_EQ(*metaData.find("b"),
              (MetaDataItem{QVariant("text"), MetaDataItem::Text, Accessibility::Private}));
}

TEST(MetaDataTest, removeTakesOneItemAndSaysWhetherItWasThere)
{
    MetaData metaData = numbered({"b", "a", "c"});

    EXPECT_TRUE(metaData.remove("b"));
    EXPECT_FALSE(metaData.remove("b"));
    EXPECT_FALSE(metaData.remove("d"));

    EXPECT_EQ(keysOf(metaData), (QStringList{"a", "c"}));
}

TEST(MetaDataTest, isEqualWhereKeysAndItemsAre)
{
    MetaData one;
    one.set("a", 1, MetaDataItem::Integer);
    one.set("b", 2, MetaDataItem::Integer);
    MetaData other;
    other.set("b", 2, MetaDataItem::Integer);
    EXPECT_NE(one, other);

    other.set("a", 1, MetaDataItem::Integer);
    EXPECT_EQ(one, other);
}

} // namespace Tesk::Assets
