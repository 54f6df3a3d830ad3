#include <nodelibrary/ParameterUid.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

#include <unordered_map>

namespace Tesk::NodeLibrary {

static std::vector<NodePort> parameters(const QStringList &names)
{
    std::vector<NodePort> ports;
    for (const QString &name : names) {
        ports.emplace_back();
        ports.back().name = name;
    }
    return ports;
}

TEST(ParameterUidTest, hashesTheNamesOfNodeDefAndParameter)
{
    const std::vector<unsigned int> uids = ParameterUid::uidsOf(
            QStringLiteral("ND_add_color3"), parameters({QStringLiteral("in1")}));

    EXPECT_EQ(uids, std::vector<unsigned int>{3546855524U});
}

TEST(ParameterUidTest, hashesUtf8)
{
    // U+00E9 is the bytes C3 A9; computed by hand from the two definitions.
    quint32 expected = 2166136261U;
    for (const quint32 byte : {0xC3U, 0xA9U})
        expected = (expected ^ byte) * 16777619U;

    EXPECT_EQ(ParameterUid::hash(QString(QChar(0xE9))), expected);
}

TEST(ParameterUidTest, givesDifferentUidsToTheSameParameterOfTwoNodeDefs)
{
    const auto names = parameters({QStringLiteral("in")});

    EXPECT_NE(ParameterUid::uidsOf(QStringLiteral("A"), names),
              ParameterUid::uidsOf(QStringLiteral("B"), names));
}

TEST(ParameterUidTest, resolvesACollisionInFavourOfTheFirst)
{
    // Search for two names with one hash: 2^16 candidates usually hold several by chance.
    std::unordered_map<unsigned int, QString> seen;
    QString first;
    QString second;
    for (quint32 i = 0; second.isEmpty(); ++i) {
        const QString name = QString::number(i * 2654435761U, 36);
        const auto [entry, isNew] =
                seen.emplace(ParameterUid::hash(QStringLiteral("N.") + name), name);
        if (!isNew) {
            first = entry->second;
            second = name;
        }
    }

    const std::vector<unsigned int> uids =
            ParameterUid::uidsOf(QStringLiteral("N"), parameters({first, second}));

    EXPECT_EQ(uids[0], ParameterUid::hash(QStringLiteral("N.") + first));
    EXPECT_EQ(uids[1], ParameterUid::hash(QStringLiteral("N.") + second + QStringLiteral("#2")));
}

} // namespace Tesk::NodeLibrary
