#include <filterbase/DynamicFilterAsset.h>

#include "support/FilterDatabase.h"

#include <filterbase/UserDataKeys.h>

#include <assets/MetaDataControl.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>
#include <vantbase/Exception.h>
#include <vantbase/Ownership.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QPointer>
#include <QThread>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Tesk::FilterBase {

using FilterBaseTesting::FakeFilter;
using RenderableBase::OutputDesc;
using RenderableBase::ValueType;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::isLogMessage;
using TestSupport::placeIs;

namespace {

std::vector<QString> keysOf(const ImplementationMap &map)
{
    std::vector<QString> keys;
    for (const auto &[key, info] : map)
        keys.push_back(key);
    return keys;
}

} // namespace

class DynamicFilterAssetTest : public FilterBaseTesting::FilterDatabaseTest
{
protected:
    std::shared_ptr<FakeFilter> variation(const char *id, const QVariant &text)
    {
        return filter(id, {{variationTypeUserDataKey, text}});
    }

    void registerVariation(const char *id, const char *text)
    {
        dynamic->registerImplementation(variation(id, QString::fromUtf8(text))->ownReference());
    }

    std::optional<QVariant> item(const QString &key) const
    {
        return Assets::MetaDataControl::getItem(dynamic->ownReference(), key);
    }

    QByteArray idOf(const ImplementationMap &map, const char *key) const
    {
        const auto entry = map.find(QString::fromUtf8(key));
        return entry == map.end() ? QByteArray() : entry->second->implementationRef.get().id();
    }

    /// What registering \a reference raises.
    std::string errorOf(const Assets::AssetReference &reference)
    {
        try {
            dynamic->registerImplementation(reference);
        } catch (const Exception::InvalidArgumentException &error) {
            return error.what();
        }
        return "no error";
    }

    std::shared_ptr<DynamicFilterAsset> dynamic = dynamicFilter();
};

TEST_F(DynamicFilterAssetTest, isEmptyAtFirst)
{
    EXPECT_TRUE(dynamic->types.empty());
    EXPECT_TRUE(dynamic->usages.empty());
    EXPECT_EQ(dynamic->ioDesc.get(), nullptr);
    EXPECT_EQ(&dynamic->typeName(), &DynamicFilterAsset::sTypeName);
}

TEST_F(DynamicFilterAssetTest, storesTypesUsagesAndDescriptionBehindTheFieldsOfItsBase)
{
    EXPECT_EQ(dynamic->getFieldNames(),
              (QStringList{QStringLiteral("nextVersion"), QStringLiteral("dependencies"),
                           QStringLiteral("types"), QStringLiteral("usages"),
                           QStringLiteral("ioDesc")}));
    const Data::SerializableFieldBase::Options notify = Data::SerializableFieldBase::NotifyChanges;
    EXPECT_EQ(dynamic->types.options(), notify);
    EXPECT_EQ(dynamic->usages.options(), notify);
    EXPECT_EQ(dynamic->ioDesc.options(), notify);
}

TEST_F(DynamicFilterAssetTest, hasNothingInItsMetaObjectButTheName)
{
    const QMetaObject &meta = DynamicFilterAsset::staticMetaObject;

    EXPECT_STREQ(meta.className(), "Tesk::FilterBase::DynamicFilterAsset");
    EXPECT_EQ(meta.superClass(), &RenderableBase::AssetWithIO::staticMetaObject);
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
}

TEST_F(DynamicFilterAssetTest, hasNoMetaDataOfItsOwn)
{
    Assets::MetaData metaData;

    EXPECT_FALSE(dynamic->initMetaData(metaData));
    EXPECT_TRUE(metaData.empty());
}

TEST_F(DynamicFilterAssetTest, filesOneImplementationUnderEachOfItsTypes)
{
    registerVariation("a", "default_float3,default_float4");

    EXPECT_THAT(keysOf(dynamic->types),
                ElementsAre(QStringLiteral("float3"), QStringLiteral("float4")));
    EXPECT_TRUE(dynamic->usages.empty());
    EXPECT_EQ(idOf(dynamic->types, "float3"), "a");
    EXPECT_EQ(idOf(dynamic->types, "float4"), "a");
    EXPECT_NE(dynamic->types.begin()->second.get(),
              std::next(dynamic->types.begin())->second.get());
    EXPECT_THAT(dynamic->dependencies.values(), ElementsAre(dangling("a")));
}

TEST_F(DynamicFilterAssetTest, filesOneImplementationUnderTypeAndUsage)
{
    registerVariation("a", "output_size,default_color");

    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QStringLiteral("color")));
    EXPECT_THAT(keysOf(dynamic->usages), ElementsAre(QStringLiteral("output_size")));
}

TEST_F(DynamicFilterAssetTest, filesATypeAndAUsageOfOneNameBesideEachOther)
{
    registerVariation("a", "default_x,x");

    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QStringLiteral("x")));
    EXPECT_THAT(keysOf(dynamic->usages), ElementsAre(QStringLiteral("x")));
}

TEST_F(DynamicFilterAssetTest, makesRecordsThatBelongToNobodyElse)
{
    registerVariation("a", "default_float3");

    const ImplementationInfo &info = *dynamic->types.begin()->second;
    EXPECT_EQ(info.parent(), nullptr);
    EXPECT_TRUE(VantBase::isStealingOwnershipForbidden(&info));
    EXPECT_TRUE(info.paramUidCorrespondance.empty());
}

TEST_F(DynamicFilterAssetTest, makesRecordsThatLiveOnItsOwnThreadWhoeverRegisters)
{
    const auto implementation = variation("a", QStringLiteral("default_float3"));
    std::thread([&] { dynamic->registerImplementation(implementation->ownReference()); }).join();

    EXPECT_EQ(dynamic->types.begin()->second->thread(), QThread::currentThread());
}

TEST_F(DynamicFilterAssetTest, releasesRecordsThroughTheEventLoop)
{
    registerVariation("a", "default_float3");
    const QPointer<ImplementationInfo> info = dynamic->types.begin()->second.get();

    dynamic->types.clear();

    EXPECT_FALSE(info.isNull());
    TestSupport::drainDeferredDeletes();
    EXPECT_TRUE(info.isNull());
}

TEST_F(DynamicFilterAssetTest, keepsBlanksAsPartOfTheKey)
{
    registerVariation("a", "default_float, default_color");

    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QStringLiteral("float")));
    EXPECT_THAT(keysOf(dynamic->usages), ElementsAre(QStringLiteral(" default_color")));
}

TEST_F(DynamicFilterAssetTest, skipsEmptyPartsOfTheText)
{
    registerVariation("a", ",default_float,,default_color,");

    EXPECT_THAT(keysOf(dynamic->types),
                ElementsAre(QStringLiteral("color"), QStringLiteral("float")));
    EXPECT_TRUE(dynamic->usages.empty());
}

TEST_F(DynamicFilterAssetTest, filesThePrefixAloneUnderTheEmptyType)
{
    registerVariation("a", "default_");

    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QString()));
}

TEST_F(DynamicFilterAssetTest, readsThePrefixCaseByCase)
{
    registerVariation("a", "Default_float,my_default_float");

    EXPECT_TRUE(dynamic->types.empty());
    EXPECT_THAT(keysOf(dynamic->usages),
                ElementsAre(QStringLiteral("Default_float"), QStringLiteral("my_default_float")));
}

TEST_F(DynamicFilterAssetTest, filesNothingForAnEmptyTextButTakesTheMetaDataOver)
{
    const auto implementation = filter("a", {{variationTypeUserDataKey, QString()},
                                             {variableUsageUserDataKey, QStringLiteral("in")}});

    dynamic->registerImplementation(implementation->ownReference());

    EXPECT_TRUE(dynamic->types.empty());
    EXPECT_TRUE(dynamic->usages.empty());
    EXPECT_TRUE(dynamic->dependencies.empty());
    EXPECT_EQ(item(variableUsageUserDataKey), QVariant(QStringLiteral("in")));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(DynamicFilterAssetTest, readsTheOtherKeyWhereTheFirstIsAbsent)
{
    const auto implementation =
            filter("a", {{altVariationTypeUserDataKey, QStringLiteral("default_float")}});

    dynamic->registerImplementation(implementation->ownReference());

    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QStringLiteral("float")));
}

TEST_F(DynamicFilterAssetTest, prefersTheFirstKeyEvenWhenItIsEmpty)
{
    dynamic->registerImplementation(
            filter("a", {{variationTypeUserDataKey, QStringLiteral("default_color")},
                         {altVariationTypeUserDataKey, QStringLiteral("default_float")}})
                    ->ownReference());
    dynamic->registerImplementation(
            filter("b", {{variationTypeUserDataKey, QString()},
                         {altVariationTypeUserDataKey, QStringLiteral("default_float")}})
                    ->ownReference());

    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QStringLiteral("color")));
}

TEST_F(DynamicFilterAssetTest, refusesAnImplementationWithoutVariationType)
{
    const auto implementation =
            filter("a", {{filterTypeUserDataKey, QStringLiteral("dynamic_filter")},
                         {altFilterTypeUserDataKey, QStringLiteral("default_float")},
                         {variableUsageUserDataKey, QStringLiteral("in")}});
    const std::string message = "The filter "
                                + implementation->ownReference().debugInfo().toStdString()
                                + " has no variation type";

    EXPECT_EQ(errorOf(implementation->ownReference()), message);

    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, message)));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("DynamicFilterAsset.cpp",
                        "Tesk::FilterBase::DynamicFilterAsset::registerImplementation()"));
    EXPECT_TRUE(dynamic->types.empty());
    EXPECT_TRUE(dynamic->dependencies.empty());
    EXPECT_EQ(item(variableUsageUserDataKey), std::nullopt);
}

TEST_F(DynamicFilterAssetTest, refusesAnImplementationThatDoesNotExist)
{
    EXPECT_EQ(errorOf(dangling()),
              "The filter " + dangling().debugInfo().toStdString() + " has no variation type");
    EXPECT_EQ(errorOf({}), "The filter " + Assets::AssetReference().debugInfo().toStdString()
                                   + " has no variation type");
}

TEST_F(DynamicFilterAssetTest, refusesASecondImplementationOfAType)
{
    registerVariation("a", "default_color");
    const auto second = filter("b", {{variationTypeUserDataKey, QStringLiteral("default_color")},
                                     {variableUsageUserDataKey, QStringLiteral("in")}});
    const std::string message = "The filter " + second->ownReference().debugInfo().toStdString()
                                + " already has an implementation for this variation type";

    EXPECT_EQ(errorOf(second->ownReference()), message);

    ASSERT_THAT(log.messages(), ElementsAre(isLogMessage(2, 2, message)));
    EXPECT_THAT(log.messages()[0].place,
                placeIs("DynamicFilterAsset.cpp",
                        "Tesk::FilterBase::DynamicFilterAsset::registerImplementation()"));
    EXPECT_EQ(idOf(dynamic->types, "color"), "a");
    EXPECT_THAT(dynamic->dependencies.values(), ElementsAre(dangling("a")));
    EXPECT_EQ(item(variableUsageUserDataKey), std::nullopt);
}

TEST_F(DynamicFilterAssetTest, keepsWhatItFiledBeforeTheTypeThatIsTaken)
{
    registerVariation("a", "default_color");
    const auto second = variation("b", QStringLiteral("output_size,default_color,late"));

    EXPECT_NE(errorOf(second->ownReference()), "no error");

    EXPECT_THAT(keysOf(dynamic->usages), ElementsAre(QStringLiteral("output_size")));
    EXPECT_EQ(idOf(dynamic->usages, "output_size"), "b");
    EXPECT_THAT(dynamic->dependencies.values(), ElementsAre(dangling("a"), dangling("b")));
}

TEST_F(DynamicFilterAssetTest, refusesATextThatNamesATypeTwice)
{
    EXPECT_NE(
            errorOf(variation("a", QStringLiteral("default_color,default_color"))->ownReference()),
            "no error");
    EXPECT_THAT(keysOf(dynamic->types), ElementsAre(QStringLiteral("color")));
}

TEST_F(DynamicFilterAssetTest, listsEachImplementationOnceAsADependency)
{
    registerVariation("b", "default_float,default_color,x");
    registerVariation("a", "y");

    EXPECT_THAT(dynamic->dependencies.values(), ElementsAre(dangling("b"), dangling("a")));
}

TEST_F(DynamicFilterAssetTest, doesNotMakeADescriptionWhenItRegisters)
{
    variation("a", {})->description = FilterBaseTesting::descriptionOf({"x"});
    registerVariation("b", "default_color");

    EXPECT_EQ(dynamic->ioDesc.get(), nullptr);
}

TEST_F(DynamicFilterAssetTest, takesThreeItemsOverFromAnImplementation)
{
    dynamic->registerImplementation(
            filter("a", {{variationTypeUserDataKey, QStringLiteral("default_float")},
                         {variableUsageUserDataKey, QStringLiteral("in")},
                         {uniqueOutputUserDataKey, true},
                         {defaultActiveOutputsUserDataKey, 12},
                         {QStringLiteral("Category"), QStringLiteral("math")}})
                    ->ownReference());

    const Assets::MetaData items = Assets::MetaDataControl::getMetaData(dynamic->ownReference());
    EXPECT_EQ(items.size(), 3U);
    for (const auto &[key, value, type] :
         {std::tuple(variableUsageUserDataKey, QVariant(QStringLiteral("in")), 3),
          std::tuple(uniqueOutputUserDataKey, QVariant(true), 12),
          std::tuple(defaultActiveOutputsUserDataKey, QVariant(QStringLiteral("12")), 3)}) {
        const Assets::MetaDataItem *const found = items.find(key);
        ASSERT_NE(found, nullptr) << key.toStdString();
        EXPECT_EQ(found->value, value);
        EXPECT_EQ(found->value.typeId(), value.typeId());
        EXPECT_EQ(found->type, type);
        EXPECT_EQ(found->accessibility, Accessibility::Public);
    }
}

TEST_F(DynamicFilterAssetTest, keepsTheLastItemOfSeveralImplementationsAndClearsNone)
{
    dynamic->registerImplementation(filter("a", {{variationTypeUserDataKey, QStringLiteral("x")},
                                                 {variableUsageUserDataKey, QStringLiteral("one")},
                                                 {uniqueOutputUserDataKey, true}})
                                            ->ownReference());
    dynamic->registerImplementation(filter("b", {{variationTypeUserDataKey, QStringLiteral("y")},
                                                 {variableUsageUserDataKey, QStringLiteral("two")}})
                                            ->ownReference());

    EXPECT_EQ(item(variableUsageUserDataKey), QVariant(QStringLiteral("two")));
    EXPECT_EQ(item(uniqueOutputUserDataKey), QVariant(true));
    EXPECT_EQ(item(defaultActiveOutputsUserDataKey), std::nullopt);
}

TEST_F(DynamicFilterAssetTest, makesABooleanOfAnyUniqueOutputItem)
{
    const std::vector<std::pair<QVariant, bool>> cases = {
            {true, true},
            {false, false},
            {1, true},
            {0, false},
            {0.5, true},
            {QStringLiteral("true"), true},
            {QStringLiteral("no"), true},
            {QStringLiteral("false"), false},
            {QStringLiteral("FALSE"), false},
            {QStringLiteral("0"), false},
            {QString(), false},
            {QUrl(QStringLiteral("file:///x")), false}, // cannot be converted
    };
    int number = 0;
    for (const auto &[stored, expected] : cases) {
        const QByteArray id = QByteArray::number(number++);
        dynamic->registerImplementation(
                filter(id, {{variationTypeUserDataKey, QString::fromUtf8(id)},
                            {uniqueOutputUserDataKey, stored}})
                        ->ownReference());
        EXPECT_EQ(item(uniqueOutputUserDataKey), QVariant(expected)) << "case " << number - 1;
    }
}

TEST_F(DynamicFilterAssetTest, prefersTheUsageToTheType)
{
    registerVariation("type", "default_float");
    registerVariation("usage", "output_size");

    EXPECT_EQ(dynamic->getImplementationForUsageAndType(QStringLiteral("output_size"),
                                                        QStringLiteral("float"))
                      .implementationRef.get()
                      .id(),
              "usage");
    EXPECT_EQ(dynamic->getImplementationForUsageAndType(QStringLiteral("other"),
                                                        QStringLiteral("float"))
                      .implementationRef.get()
                      .id(),
              "type");
    EXPECT_EQ(dynamic->getImplementationForUsageAndType({}, QStringLiteral("float"))
                      .implementationRef.get()
                      .id(),
              "type");
}

TEST_F(DynamicFilterAssetTest, fallsBackToOneEmptyRecordAndInsertsNothing)
{
    registerVariation("type", "default_float");

    const ImplementationInfo &none =
            dynamic->getImplementationForUsageAndType(QStringLiteral("u"), QStringLiteral("t"));

    EXPECT_TRUE(none.implementationRef.get().isInvalid());
    EXPECT_TRUE(none.paramUidCorrespondance.empty());
    EXPECT_EQ(none.getImplementationTweaks({{1, 2}, {3, 4}}), TweakMap());
    EXPECT_EQ(none.parent(), nullptr);
    EXPECT_EQ(&none, &dynamicFilter("another")->getImplementationForUsageAndType({}, QString()));
    EXPECT_EQ(dynamic->types.size(), 1);
    EXPECT_TRUE(dynamic->usages.empty());
}

TEST_F(DynamicFilterAssetTest, doesNotMixUpTypesAndUsages)
{
    registerVariation("type", "default_float");

    EXPECT_TRUE(dynamic->getImplementationForUsageAndType(QStringLiteral("float"),
                                                          QStringLiteral("output_size"))
                        .implementationRef.get()
                        .isInvalid());
}

TEST_F(DynamicFilterAssetTest, namesTheTypeOfAnOutput)
{
    const std::vector<std::pair<int, const char *>> keys = {
            {0, "float"},    {1, "float2"},   {2, "float3"},   {3, "float4"}, {4, "integer"},
            {5, "integer2"}, {6, "integer3"}, {7, "integer4"}, {9, "string"}};
    for (const bool color : {false, true}) {
        OutputDesc output;
        output.color.set(color);
        for (const auto &[code, key] : keys) {
            output.valueType.set(static_cast<ValueType>(code));
            EXPECT_EQ(DynamicFilterAsset::typeKeyFromOutputDesc(output), QLatin1String(key));
        }
        output.valueType.set(static_cast<ValueType>(8));
        EXPECT_EQ(DynamicFilterAsset::typeKeyFromOutputDesc(output),
                  QLatin1String(color ? "color" : "grayscale"));
        for (const int code : {-128, -2, -1, 10, 11, 127}) {
            output.valueType.set(static_cast<ValueType>(code));
            EXPECT_TRUE(DynamicFilterAsset::typeKeyFromOutputDesc(output).isNull()) << code;
        }
    }
}

TEST_F(DynamicFilterAssetTest, asksTheOutputItselfWhetherItIsInColor)
{
    class InColor : public OutputDesc
    {
    public:
        bool isColor() const override { return true; }
    };
    InColor output;
    output.valueType.set(ValueType::Image);

    EXPECT_EQ(DynamicFilterAsset::typeKeyFromOutputDesc(output), QStringLiteral("color"));
}

TEST_F(DynamicFilterAssetTest, findsTheImplementationForAnOutput)
{
    registerVariation("color", "default_color");
    registerVariation("usage", "output_size");
    OutputDesc output;
    output.valueType.set(ValueType::Image);
    output.color.set(true);

    EXPECT_EQ(dynamic->getImplementationForUsageAndType(QString(), output)
                      .implementationRef.get()
                      .id(),
              "color");
    EXPECT_EQ(dynamic->getImplementationForUsageAndType(QStringLiteral("output_size"), output)
                      .implementationRef.get()
                      .id(),
              "usage");
    output.color.set(false);
    EXPECT_TRUE(dynamic->getImplementationForUsageAndType(QString(), output)
                        .implementationRef.get()
                        .isInvalid());
}

TEST_F(DynamicFilterAssetTest, findsTheEmptyTypeForAnOutputOfUnknownType)
{
    registerVariation("empty", "default_");
    const OutputDesc output;

    EXPECT_EQ(dynamic->getImplementationForUsageAndType(QString(), output)
                      .implementationRef.get()
                      .id(),
              "empty");
}

TEST_F(DynamicFilterAssetTest, passesOverANullRecord)
{
    dynamic->usages.insert(QStringLiteral("u"), nullptr);
    registerVariation("a", "default_float");

    EXPECT_EQ(
            dynamic->getImplementationForUsageAndType(QStringLiteral("u"), QStringLiteral("float"))
                    .implementationRef.get()
                    .id(),
            "a");
}

} // namespace Tesk::FilterBase
