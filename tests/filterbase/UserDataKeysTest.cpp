#include <filterbase/UserDataKeys.h>

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/ImplementationInfo.h>

#include <clientmodule/ClientModule.h>
#include <clientmodule/Constants.h>
#include <support/Printers.h>

#include <gtest/gtest.h>

namespace Tesk::FilterBase {

TEST(UserDataKeysTest, haveTheTextsThatAreStoredWithAssets)
{
    EXPECT_EQ(filterTypeUserDataKey, QLatin1String("vantrel::type"));
    EXPECT_EQ(variationTypeUserDataKey, QLatin1String("vantrel::variation::type"));
    EXPECT_EQ(altFilterTypeUserDataKey, QLatin1String("lorimet::type"));
    EXPECT_EQ(altVariationTypeUserDataKey, QLatin1String("lorimet::variation::type"));
    EXPECT_EQ(variableUsageUserDataKey, QLatin1String("vantrel::variable_usage"));
    EXPECT_EQ(uniqueOutputUserDataKey, QLatin1String("vantrel::unique_output"));
    EXPECT_EQ(defaultActiveOutputsUserDataKey, QLatin1String("vantrel::defaultActiveOutputs"));
    EXPECT_EQ(dynamicFilterTypeUserData, QLatin1String("dynamic_filter"));
}

TEST(UserDataKeysTest, typeNamesAreTheQualifiedClassNames)
{
    EXPECT_EQ(DynamicFilterAsset::sTypeName,
              QLatin1String(DynamicFilterAsset::staticMetaObject.className()));
    EXPECT_EQ(FilterDescAsset::sTypeName,
              QLatin1String(FilterDescAsset::staticMetaObject.className()));
    EXPECT_EQ(ImplementationInfo::sTypeName,
              QLatin1String(ImplementationInfo::staticMetaObject.className()));
    EXPECT_EQ(DynamicFilterAsset::sTypeName, QLatin1String("Tesk::FilterBase::DynamicFilterAsset"));
    EXPECT_EQ(FilterDescAsset::sTypeName, QLatin1String("Tesk::FilterBase::FilterDescAsset"));
    EXPECT_EQ(ImplementationInfo::sTypeName, QLatin1String("Tesk::FilterBase::ImplementationInfo"));
}

TEST(UserDataKeysTest, theDynamicUsageIsBuiltFromLabelAndIdentifier)
{
    EXPECT_EQ(DynamicFilterAsset::sDynamicUsage.first(), QLatin1String("Dynamic"));
    EXPECT_EQ(DynamicFilterAsset::sDynamicUsage.second(), QLatin1String("dynamic"));
}

TEST(UserDataKeysTest, areTheSameObjectsInASharedObjectOfItsOwn)
{
    EXPECT_EQ(ClientModule::constants(), FilterBaseTesting::constantsHere());
}

} // namespace Tesk::FilterBase
