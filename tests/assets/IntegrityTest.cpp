#include "support/DatabaseFixture.h"

#include <assets/CollectionControl.h>
#include <support/RecordedLog.h>
#include <vantbase/Exception.h>

#include <random>
#include <set>

namespace Tesk::Assets {

using Code = IntegrityFinding::Code;

class IntegrityTest : public DatabaseFixture
{
protected:
    std::vector<std::pair<Code, QByteArray>> findings()
    {
        std::vector<std::pair<Code, QByteArray>> found;
        for (const IntegrityFinding &finding : service->checkIntegrity()) {
            EXPECT_FALSE(finding.text.isEmpty());
            found.emplace_back(finding.code, finding.reference.id());
        }
        return found;
    }

    void storeRaw(const QByteArray &id, const QString &className, const QByteArray &body)
    {
        AssetWrite write;
        write.row.id = id;
        write.row.className = className;
        write.body = BodyRow{BodyRow::sCbor, body};
        store.write(std::span(&write, 1));
    }
};

TEST_P(IntegrityTest, findsNothingInASoundDatabase)
{
    const auto a = insertNote("a", "text", "Name");
    insertNote("b")->nextVersion.set(a->ownReference());
    a->dependencies.append(service->referenceFromId("b"));
    CollectionControl::appendAssetFromRef(collection("c"), a->ownReference());

    EXPECT_TRUE(findings().empty());
}

TEST_P(IntegrityTest, findsBodiesThatCannotBeRead)
{
    const TestSupport::RecordedLog log;
    insertNote("good");
    storeRaw("bad", NoteAsset::sTypeName, "no cbor");

    EXPECT_THAT(findings(), testing::ElementsAre(std::pair(Code::BodyUndecodable, "bad")));
}

TEST_P(IntegrityTest, findsAssetsOfUnknownClasses)
{
    storeRaw("stranger", "Nobody::Makes", {});

    const auto found = service->checkIntegrity();

    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().code, Code::UnknownClass);
    EXPECT_EQ(found.front().text, "[stranger] is of the unknown class \"Nobody::Makes\"");
}

TEST_P(IntegrityTest, findsWhatPointsToNothing)
{
    const auto a = insertNote("a");
    a->dependencies.append(service->referenceFromId("nobody"));
    a->nextVersion.set(service->referenceFromId("nobody"));
    CollectionControl::appendAssetFromRef(collection("c"), service->referenceFromId("nobody"));

    EXPECT_THAT(findings(), testing::UnorderedElementsAre(std::pair(Code::DanglingDependency, "a"),
                                                          std::pair(Code::DanglingNextVersion, "a"),
                                                          std::pair(Code::DanglingItem, "c")));
}

TEST_P(IntegrityTest, loadsNothingIntoTheDatabaseByLooking)
{
    insertNote("a");
    reopen();

    findings();

    EXPECT_EQ(service->statistics().liveAssets, 0U);
}

TEST_P(IntegrityTest, listsExactlyTheBodiesThatCannotBeTouched)
{
    const TestSupport::RecordedLog log;
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    insertNote("good", "text")->dependencies.append(service->referenceFromId("x"));
    const QByteArray id = "good";
    const QByteArray good = store.load(std::span(&id, 1)).front()->body->data;
    constexpr int count = 300;
    for (int number = 0; number < count; ++number) {
        QByteArray body = number % 3 == 0 ? QByteArray(qsizetype(random() % 64), '\0') : good;
        const int changes = number % 3 == 0 ? int(body.size()) : 1 + int(random() % 3);
        for (int change = 0; change < changes && !body.isEmpty(); ++change)
            body[qsizetype(random() % std::size_t(body.size()))] = char(random());
        if (number % 3 == 2)
            body.truncate(qsizetype(random() % std::size_t(good.size())));
        storeRaw("body" + QByteArray::number(number), NoteAsset::sTypeName, body);
    }
    reopen();

    std::set<QByteArray> listed;
    for (const auto &[code, asset] : findings()) {
        if (code == Code::BodyUndecodable)
            listed.insert(asset);
    }
    for (int number = 0; number < count; ++number) {
        const auto asset = note("body" + QByteArray::number(number));
        const auto touch = [&asset] {
            asset->text.get();
        };
        if (listed.contains(asset->ownReference().id())) {
            EXPECT_THROW(touch(), Exception::Data::SerializationException) << "seed " << seed;
        } else {
            EXPECT_NO_THROW(touch()) << "seed " << seed;
        }
    }
    EXPECT_GT(listed.size(), 100U);
    EXPECT_EQ(note("good")->text.get(), "text");
}

ASSETS_FOR_EVERY_STORE(IntegrityTest);

} // namespace Tesk::Assets
