#include "OlderFiles.h"

#include <QFile>
#include <QUrl>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

void OlderFileTest::makeFile(int schema)
{
    for (const char *name : {"assets.db", "assets.db-wal", "assets.db-shm"})
        QFile::remove(filePath(name));
    raw(contentOf(QStringLiteral(ASSETS_GOLDEN_DIR "/catalogue-schema-2.sql")).constData());
    if (schema == 1) // which lacked the triggers
        raw("DROP TRIGGER version_edge_insert; DROP TRIGGER version_edge_update; "
            "DELETE FROM migration WHERE version = 2; PRAGMA user_version = 1");
}

static const QVariantList &valuesOfA()
{
    static const QVariantList values{
            true,
            false,
            -5,
            5U,
            std::numeric_limits<qlonglong>::min(),
            std::numeric_limits<qulonglong>::max(),
            0.1,
            -0.0,
            std::numeric_limits<double>::infinity(),
            std::nan(""),
            QString::fromUtf8("Text \U0001F308"),
            QStringLiteral(""),
            QByteArray("\0\xff", 2),
            QByteArray(),
            QUrl(QStringLiteral("file:///a%20b?c#d")),
            QStringList{QStringLiteral("a"), QString(), QStringLiteral("c")},
            QVariantList{1, QStringLiteral("x"), QVariantList{2.5, QVariant(), QByteArray("y")}},
            QVariantList(),
            QVariant(),
    };
    return values;
}

static void expectValue(const QVariant &found, const QVariant &expected)
{
    EXPECT_EQ(found.metaType(), expected.metaType());
    if (expected.typeId() == QMetaType::Double) // by bits: the sign of zero counts
        EXPECT_EQ(std::bit_cast<quint64>(found.toDouble()),
                  std::bit_cast<quint64>(expected.toDouble()));
    else
        EXPECT_EQ(found, expected);
}

void OlderFileTest::expectMetaData(const Store &store)
{
    const Ids ids{"old", "other", "none", "a"};
    const auto all = store.metaData(ids);
    EXPECT_TRUE(all[0].empty());
    EXPECT_EQ(all[1], (std::vector<MetaRow>{
                              MetaRow{QStringLiteral("alone"), -1, -2, 70000},
                              MetaRow{QStringLiteral("key 3"), 3, 0, QStringLiteral("of other")}}));
    EXPECT_TRUE(all[2].empty());
    const QVariantList &values = valuesOfA();
    ASSERT_EQ(all[3].size(), std::size_t(values.size()));
    EXPECT_TRUE(
            std::is_sorted(all[3].begin(), all[3].end(), [](const auto &left, const auto &right) {
                return left.key < right.key;
            }));
    for (int number = 0; number < values.size(); ++number) {
        const QString key = QStringLiteral("key %1").arg(number);
        const std::optional<MetaRow> item = store.metaDataItems({&ids[3], 1}, key).front();
        ASSERT_TRUE(item) << number;
        EXPECT_EQ(item->key, key);
        EXPECT_EQ(item->type, number);
        EXPECT_EQ(item->accessibility, number % 2);
        expectValue(item->value, values[number]);
        const auto same = std::find_if(all[3].begin(), all[3].end(),
                                       [&](const MetaRow &row) { return row.key == key; });
        ASSERT_NE(same, all[3].end());
        expectValue(same->value, values[number]);
    }
    const auto third = store.metaDataItems(ids, QStringLiteral("key 3"));
    EXPECT_FALSE(third[0]);
    EXPECT_EQ(third[1]->value, QVariant(QStringLiteral("of other")));
    EXPECT_FALSE(third[2]);
    EXPECT_EQ(third[3]->value, QVariant(5U));
    EXPECT_EQ(store.statistics().metaDataItems, values.size() + 2);
    const std::vector<StoreFinding> findings = store.checkIntegrity();
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings.front().code, StoreFinding::Code::DanglingItem); // as it is meant
}

} // namespace Tesk::Assets
