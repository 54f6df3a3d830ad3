#include <filterbase/StaticFilter.h>

#include <assets/Asset.h>
#include <clientmodule/ClientModule.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace Tesk::FilterBase {

namespace {

class Named : public StaticFilter
{
public:
    explicit Named(const char *name)
        : m_name(QString::fromUtf8(name))
    {}
    QString variationType() const override { return m_name; }

private:
    QString m_name;
};

} // namespace

TEST(StaticFilterTest, isFoundFromAnAssetOfAnotherSharedObject)
{
    const auto asset = ClientModule::makeFilter();

    const auto *filter = dynamic_cast<const StaticFilter *>(asset.get());

    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->variationType(), QStringLiteral("client"));
}

TEST(StaticFilterTest, hasOneTypeInformationForAllSharedObjects)
{
    EXPECT_EQ(ClientModule::staticFilterType(), &typeid(StaticFilter));
}

TEST(StaticFilterTest, holdsNothingButItsType)
{
    EXPECT_EQ(sizeof(StaticFilter), sizeof(void *));
    EXPECT_TRUE(std::is_copy_constructible_v<Named>);
    EXPECT_TRUE(std::has_virtual_destructor_v<StaticFilter>);
}

TEST(StaticFilterTest, assignsToItselfAndReturnsTheObject)
{
    Named a("a");
    const Named b("b");

    const StaticFilter &result = (static_cast<StaticFilter &>(a) = b);

    EXPECT_EQ(&result, &a);
    EXPECT_EQ(a.variationType(), QStringLiteral("a")); // the interface has nothing to copy
}

} // namespace Tesk::FilterBase
