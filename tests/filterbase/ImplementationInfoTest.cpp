#include <filterbase/ImplementationInfo.h>

#include "support/FilterDatabase.h"
#include "support/Random.h"

#include <data/Document.h>
#include <data/Serialization.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>

#include <gtest/gtest.h>

namespace Tesk::FilterBase {

class ImplementationInfoTest : public FilterBaseTesting::FilterDatabaseTest
{
};

TEST_F(ImplementationInfoTest, storesTheReferenceBeforeTheTable)
{
    EXPECT_EQ(ImplementationInfo().getFieldNames(),
              (QStringList{QStringLiteral("implementationRef"),
                           QStringLiteral("paramUidCorrespondance")}));
}

TEST_F(ImplementationInfoTest, isEmptyAtFirst)
{
    const ImplementationInfo info;

    EXPECT_EQ(info.parent(), nullptr);
    EXPECT_TRUE(info.implementationRef.get().isInvalid());
    EXPECT_TRUE(info.paramUidCorrespondance.empty());
    EXPECT_FALSE(info.implementationRef.options());
    EXPECT_FALSE(info.paramUidCorrespondance.options());
}

TEST_F(ImplementationInfoTest, takesAParent)
{
    ImplementationInfo parent;

    const auto *child = new ImplementationInfo(&parent);

    EXPECT_EQ(child->parent(), &parent);
}

TEST_F(ImplementationInfoTest, hasNothingInItsMetaObjectButTheName)
{
    const QMetaObject &meta = ImplementationInfo::staticMetaObject;

    EXPECT_STREQ(meta.className(), "Tesk::FilterBase::ImplementationInfo");
    EXPECT_EQ(meta.superClass(), &Data::SerializableData::staticMetaObject);
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
    EXPECT_EQ(meta.constructorCount(), 0);
}

TEST_F(ImplementationInfoTest, translatesNoTweaksToNoTweaks)
{
    ImplementationInfo info;
    info.paramUidCorrespondance.insert(5, 12);

    EXPECT_EQ(info.getImplementationTweaks({}), TweakMap());
}

TEST_F(ImplementationInfoTest, dropsATweakOfAnUnknownUidAndKeepsTheRest)
{
    ImplementationInfo info;
    info.paramUidCorrespondance.insert(5, 12);
    info.paramUidCorrespondance.insert(4000000000U, 3);

    const TweakMap translated = info.getImplementationTweaks(
            {{5, 0.25}, {6, true}, {4000000000U, QStringLiteral("x")}});

    EXPECT_EQ(translated, (TweakMap{{12, 0.25}, {3, QStringLiteral("x")}}));
}

TEST_F(ImplementationInfoTest, insertsNothingWhenItTranslates)
{
    ImplementationInfo info;
    info.paramUidCorrespondance.insert(5, 12);

    info.getImplementationTweaks({{6, true}});

    EXPECT_EQ(info.paramUidCorrespondance.size(), 1);
}

TEST_F(ImplementationInfoTest, keepsTheTweakVisitedLastWhereTwoUidsMeet)
{
    ImplementationInfo info;
    info.paramUidCorrespondance.insert(5, 12);
    info.paramUidCorrespondance.insert(7, 12);
    const TweakMap tweaks{{5, QStringLiteral("A")}, {7, QStringLiteral("B")}};
    QVariant last;
    for (const auto &[uid, value] : tweaks)
        last = value;

    EXPECT_EQ(info.getImplementationTweaks(tweaks), (TweakMap{{12, last}}));
}

TEST_F(ImplementationInfoTest, comesBackFromItsStoredFormUnderTheNamesInUse)
{
    const auto implementation = filter("blur-float");
    ImplementationInfo info;
    info.implementationRef.set(implementation->ownReference());
    info.paramUidCorrespondance.insert(1, 4294967295U);
    info.paramUidCorrespondance.insert(4294967295U, 2);
    Data::Serialization::Document document;
    Data::Serialization::Node root = document.root();

    serializeToNode(root, info);
    ImplementationInfo read;
    deserializeFromNode(root, read);

    EXPECT_FALSE(root.findObject("Fields").findObject("implementationRef").isNull());
    EXPECT_FALSE(
            root.findObject("Fields").findArray("paramUidCorrespondance", "FieldHashMap").isNull());
    EXPECT_EQ(read.implementationRef.get(), implementation->ownReference());
    EXPECT_TRUE(read.paramUidCorrespondance.isEqual(info.paramUidCorrespondance));
    EXPECT_EQ(root.className(), ImplementationInfo::sTypeName);
    EXPECT_EQ(root.classVersion(), 100);
}

TEST_F(ImplementationInfoTest, translatesAsTheTableSaysForAnyTableAndTweaks)
{
    constexpr unsigned int seed = 71993;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    FilterBaseTesting::Random random(seed);
    for (int round = 0; round < 2000; ++round) {
        ImplementationInfo info;
        std::map<unsigned int, unsigned int> table;
        TweakMap tweaks;
        for (unsigned int i = random() % 20; i > 0; --i) {
            const unsigned int from = random() % 30;
            const unsigned int to = random() % 30;
            info.paramUidCorrespondance.overwrite(from, to);
            table[from] = to;
        }
        for (unsigned int i = random() % 20; i > 0; --i)
            tweaks[random() % 30] = random();

        TweakMap expected;
        for (const auto &[uid, value] : tweaks) {
            if (table.contains(uid))
                expected[table[uid]] = value;
        }
        ASSERT_EQ(info.getImplementationTweaks(tweaks), expected) << "round " << round;
    }
}

} // namespace Tesk::FilterBase
