#include "FoldedName.h"

#include <QHashFunctions>

#include <gtest/gtest.h>

#include <random>

namespace Tesk::FilterBase {

static QString everyLength(qsizetype length)
{
    QString name;
    for (qsizetype i = 0; i < length; ++i)
        name += QChar(static_cast<char16_t>(u'@' + i % 60));
    return name;
}

TEST(FoldedNameTest, foldsEveryLengthUpToTwiceTheBufferAsToLowerDoes)
{
    for (qsizetype length = 0; length <= 130; ++length) {
        const QString name = everyLength(length);
        EXPECT_EQ(FoldedName(name).key(), name.toLower()) << length;
    }
}

TEST(FoldedNameTest, foldsEveryUnitOfTheBasicPlaneAsToLowerDoes)
{
    int differences = 0;
    for (unsigned int unit = 0; unit <= 0xffff; ++unit) {
        const QString name = QStringLiteral("Ab") + QChar(static_cast<char16_t>(unit));
        differences += FoldedName(name).key() == name.toLower() ? 0 : 1;
    }
    EXPECT_EQ(differences, 0);
}

TEST(FoldedNameTest, foldsRandomNamesAsToLowerDoes)
{
    const unsigned int seed = 20261121;
    std::mt19937 random(seed);
    const QString alphabet = QStringLiteral("aAzZ@[`{09 _-\u00c4\u00e4\u0130\u01c5\u03a3\u1e9e");
    for (int round = 0; round < 20000; ++round) {
        QString name;
        for (auto length = random() % 80; length > 0; --length)
            name += alphabet[static_cast<qsizetype>(random()
                                                    % static_cast<unsigned int>(alphabet.size()))];
        ASSERT_EQ(FoldedName(name).key(), name.toLower()) << "seed " << seed << " round " << round;
    }
}

TEST(FoldedNameTest, leavesTheNameItFoldsAsItIs)
{
    const QString name = QStringLiteral("Gaussian Blur");
    const FoldedName folded(name);
    EXPECT_EQ(name, QStringLiteral("Gaussian Blur"));
    EXPECT_EQ(folded.key(), QStringLiteral("gaussian blur"));
}

TEST(FoldedNameTest, givesAnOwnedKeyThatOutlivesIt)
{
    QString key;
    {
        const FoldedName folded(QStringLiteral("Blur"));
        key = folded.ownedKey();
        EXPECT_NE(key.constData(), folded.key().constData());
    }
    EXPECT_EQ(key, QStringLiteral("blur"));
}

TEST(FoldedNameTest, hashesLikeTheLoweredName)
{
    const QString name = QStringLiteral("Slope_Blur 2");
    EXPECT_EQ(std::hash<QString>()(FoldedName(name).key()), std::hash<QString>()(name.toLower()));
}

} // namespace Tesk::FilterBase
