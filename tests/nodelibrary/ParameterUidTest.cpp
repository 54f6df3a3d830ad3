#include <nodelibrary/ParameterUid.h>

#include "NodeDefs.h"

#include <gtest/gtest.h>

#include <set>
#include <unordered_map>
#include <utility>

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

static quint32 fnv1a(const QByteArray &bytes)
{
    quint32 value = 2166136261U;
    for (const char byte : bytes)
        value = (value ^ static_cast<quint8>(byte)) * 16777619U;
    return value;
}

// Two parameters of the nodedef "N" with one hash: 2^16 candidates usually hold several by chance.
static std::pair<QString, QString> collidingNames()
{
    std::unordered_map<unsigned int, QString> seen;
    for (quint32 i = 0;; ++i) {
        const QString name = QString::number(i * 2654435761U, 36);
        const auto [entry, isNew] =
                seen.emplace(ParameterUid::hash(QStringLiteral("N.") + name), name);
        if (!isNew)
            return {entry->second, name};
    }
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
    const auto [first, second] = collidingNames();

    const std::vector<unsigned int> uids =
            ParameterUid::uidsOf(QStringLiteral("N"), parameters({first, second}));

    EXPECT_EQ(uids[0], ParameterUid::hash(QStringLiteral("N.") + first));
    EXPECT_EQ(uids[1], ParameterUid::hash(QStringLiteral("N.") + second + QStringLiteral("#2")));
}

TEST(ParameterUidTest, resolvesACollisionAmongManyParameters)
{
    const auto [first, second] = collidingNames();
    QStringList names{first};
    while (names.size() < 100)
        names.append(QStringLiteral("filler%1").arg(names.size()));
    names.append(second);

    const std::vector<unsigned int> uids =
            ParameterUid::uidsOf(QStringLiteral("N"), parameters(names));

    EXPECT_EQ(std::set(uids.begin(), uids.end()).size(), 101U);
    EXPECT_EQ(uids[0], ParameterUid::hash(QStringLiteral("N.") + first));
    EXPECT_EQ(uids[50], ParameterUid::hash(QStringLiteral("N.filler50")));
    EXPECT_EQ(uids[100], ParameterUid::hash(QStringLiteral("N.") + second + QStringLiteral("#2")));
}

TEST(ParameterUidTest, hashesTheSameWhereverTextStopsBeingAscii)
{
    const QString nodeDef = QStringLiteral("N\u00E9");
    const QString name = QStringLiteral("a\u00E9b");

    EXPECT_EQ(ParameterUid::uidsOf(nodeDef, parameters({name})),
              std::vector<unsigned int>{fnv1a((nodeDef + u'.' + name).toUtf8())});
}

} // namespace Tesk::NodeLibrary
