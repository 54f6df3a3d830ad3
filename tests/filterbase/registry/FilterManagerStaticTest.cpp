#include "RegistryTest.h"

#include <filterbase/UserDataKeys.h>

#include <assets/AssetControl.h>
#include <support/Printers.h>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;

class FilterManagerStaticTest : public RegistryTest
{
protected:
    FilterManagerStaticTest() { startManager(); }

    AssetReference resolve(const AssetReference &reference)
    {
        return manager().getDynamicFilterFromStaticFilter(reference);
    }
    void expectRefusal(const AssetReference &reference)
    {
        EXPECT_TRUE(resolve(reference).isInvalid());
        EXPECT_THAT(log.messages(),
                    ElementsAre(warnsIn("getDynamicFilterFromStaticFilter",
                                        "The provided reference " + describe(reference)
                                                + " is not a valid filter reference.")));
    }
};

TEST_F(FilterManagerStaticTest, refusesANullReference)
{
    expectRefusal(AssetReference());
}

TEST_F(FilterManagerStaticTest, refusesADeletedAsset)
{
    const auto deleted = staticFilter("one", "Blur");
    database->removeAsset(deleted);
    expectRefusal(deleted);
}

TEST_F(FilterManagerStaticTest, refusesWhatIsNoFilter)
{
    expectRefusal(plainAsset("plain"));
}

TEST_F(FilterManagerStaticTest, findsTheDynamicFilterOfTheNameInAnyCase)
{
    const auto filter = importOne(implementation("impl", "Blur", "default_color"));
    EXPECT_EQ(resolve(staticFilter("one", "bLUR")), filter);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStaticTest, givesNullInSilenceWhenThereIsNoDynamicFilter)
{
    EXPECT_TRUE(resolve(staticFilter("one", "Blur")).isInvalid());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStaticTest, givesNullInSilenceForAnImplementationOfADynamicFilter)
{
    const auto impl = implementation("impl", "Blur", "default_color");
    importOne(impl);
    EXPECT_TRUE(resolve(impl).isInvalid());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStaticTest, neverMapsFill)
{
    importOne(implementation("impl", "Fill", "default_color"));
    EXPECT_TRUE(resolve(staticFilter("one", "Fill")).isInvalid());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerStaticTest, mapsFillInAnyOtherSpelling)
{
    const auto filter = importOne(implementation("impl", "Fill", "default_color"));
    EXPECT_EQ(resolve(staticFilter("one", "fill")), filter);
    EXPECT_EQ(resolve(staticFilter("two", "FILL")), filter);
}

TEST_F(FilterManagerStaticTest, goesByTheNameThatTheDatabaseRecords)
{
    const auto filter = importOne(implementation("impl", "Blur", "default_color"));
    const auto renamed = staticFilter("one", "Something");
    database->setNameOfRef(renamed, "Blur");
    EXPECT_EQ(nameOf(renamed), "Something");
    EXPECT_EQ(resolve(renamed), filter);
}

TEST_F(FilterManagerStaticTest, treatsAnotherFilterTypeAsStatic)
{
    const auto filter = importOne(implementation("impl", "Blur", "default_color"));
    const auto typed = staticFilter("one", "Blur");
    setMetaData(typed, FilterBase::filterTypeUserDataKey, "Dynamic_Filter");
    EXPECT_EQ(resolve(typed), filter);
}

} // namespace FilterBaseTesting
