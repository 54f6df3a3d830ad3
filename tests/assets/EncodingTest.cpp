#include "support/DatabaseFixture.h"
#include "support/FreeNoteAsset.h"

#include <assets/StoreError.h>
#include <vantbase/Exception.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

namespace Tesk::Assets {

using BatchScope = AssetDatabaseService::BatchScope;
using NewAsset = AssetDatabaseService::NewAsset;

class EncodingTest : public DatabaseFixture
{
protected:
    static constexpr int sCount = 1000; // so many that several threads share them

    using Make = std::shared_ptr<NoteAsset> (*)();

    EncodingTest()
    {
        FreeNoteAsset::registerType();
        NoteAsset::sOnEncoded = [this](const NoteAsset &) {
            std::unique_lock lock(m_mutex);
            m_threads.insert(std::this_thread::get_id());
            m_changed.notify_all();
            if (waitsForAnother)
                m_changed.wait_for(lock, sPatience, [this] { return m_threads.size() > 1; });
        };
    }

    ~EncodingTest() override { NoteAsset::sOnEncoded = nullptr; }

    Q_DISABLE_COPY_MOVE(EncodingTest)

    static QByteArray numbered(int number) { return "note" + QByteArray::number(number); }

    static std::vector<NewAsset> notes(Make make)
    {
        std::vector<NewAsset> assets;
        for (int number = 0; number < sCount; ++number) {
            const std::shared_ptr<NoteAsset> note = make();
            note->text.set(QString::number(number));
            assets.push_back({note, numbered(number), {}, {}});
        }
        return assets;
    }

    void expectEachHasItsText()
    {
        reopen();
        for (int number = 0; number < sCount; ++number)
            ASSERT_EQ(note(numbered(number))->text.get(), QString::number(number));
    }

    // Who encoded since the last call.
    std::set<std::thread::id> takeThreads() { return std::exchange(m_threads, {}); }

    const std::set<std::thread::id> thisThread = {std::this_thread::get_id()};
    bool waitsForAnother = false; // with each encoding, until a second thread does one too

private:
    static constexpr std::chrono::seconds sPatience{30};

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::set<std::thread::id> m_threads;
};

TEST_P(EncodingTest, ofManyNewAssetsTakesSeveralThreadsWhereTheirClassAllowsIt)
{
    if (std::thread::hardware_concurrency() < 2)
        GTEST_SKIP() << "needs two cores";
    waitsForAnother = true;
    service->insertAssets(notes(FreeNoteAsset::make));
    EXPECT_GT(takeThreads().size(), 1U);

    expectEachHasItsText();
}

TEST_P(EncodingTest, ofAScopeRunsBesideTheWritingWhereTheClassAllowsIt)
{
    if (std::thread::hardware_concurrency() < 2)
        GTEST_SKIP() << "needs two cores";
    waitsForAnother = true;
    BatchScope scope(*service);
    service->insertAssets(notes(FreeNoteAsset::make));
    EXPECT_TRUE(takeThreads().empty());
    scope.commit();
    EXPECT_EQ(takeThreads().size(), 2U);

    expectEachHasItsText();
}

TEST_P(EncodingTest, ofAScopeStoresAssetsOfBothKindsOfClassesInTheirOrder)
{
    std::vector<NewAsset> assets = notes(FreeNoteAsset::make);
    const std::vector<NewAsset> others = notes(NoteAsset::make);
    for (std::size_t at = 0; at < assets.size(); at += 3)
        assets[at] = others[at];
    BatchScope scope(*service);
    service->insertAssets(assets);
    scope.commit();

    std::vector<QByteArray> stored;
    service->forEachAsset([&](const AssetReference &reference, const QString &, const QString &) {
        stored.push_back(reference.id());
        return true;
    });
    std::vector<QByteArray> inserted;
    for (const NewAsset &asset : assets)
        inserted.push_back(asset.id);
    EXPECT_EQ(stored, inserted);
    expectEachHasItsText();
}

TEST_P(EncodingTest, ofAScopeStoresNothingWhenAnAssetInTheMiddleCannotBeEncoded)
{
    BatchScope scope(*service);
    service->insertAssets(notes(FreeNoteAsset::make));
    note(numbered(900))->text.set(QChar(0xD800));

    EXPECT_THROW(scope.commit(), Exception::Data::SerializationException);

    EXPECT_EQ(store.statistics().assets, 0);
    EXPECT_EQ(service->getAssetFromId(numbered(0)), nullptr);
}

TEST_P(EncodingTest, ofAScopeEndsWhenTheStoreRefusesAnAsset)
{
    BatchScope scope(*service);
    service->insertAssets(notes(FreeNoteAsset::make));
    const auto other = openAnother();
    other->insertAsset(NoteAsset::make(), numbered(5), {});

    EXPECT_THROW(scope.commit(), StoreError);

    EXPECT_EQ(store.statistics().assets, 1);
    other->close();
}

TEST_P(EncodingTest, staysOnTheCommittingThreadForOtherClasses)
{
    service->insertAssets(notes(NoteAsset::make));

    EXPECT_EQ(takeThreads(), thisThread);
}

TEST_P(EncodingTest, asksTheFunctionOfAClassForEachAssetOnTheCommittingThread)
{
    static std::set<std::thread::id> sAskedOn;
    sAskedOn.clear();
    AssetDatabaseService::registerAssetType(FreeNoteAsset::sTypeName, [](const Asset &asset) {
        sAskedOn.insert(std::this_thread::get_id());
        return static_cast<const NoteAsset &>(asset).text.get() == "0" ? AssetEncoding::ByCommitter
                                                                       : AssetEncoding::Anywhere;
    });
    std::set<std::thread::id> ofTheFirst;
    NoteAsset::sOnEncoded = [&](const NoteAsset &encoded) {
        if (encoded.text.get() == "0")
            ofTheFirst.insert(std::this_thread::get_id());
    };
    BatchScope scope(*service);
    service->insertAssets(notes(FreeNoteAsset::make));
    scope.commit();
    AssetDatabaseService::registerAssetType(FreeNoteAsset::sTypeName, AssetEncoding::Anywhere);

    EXPECT_EQ(sAskedOn, thisThread);
    EXPECT_EQ(ofTheFirst, thisThread);
}

TEST_P(EncodingTest, ofAScopeRaisesWhatTheFirstAssetThatFailsDoes)
{
    BatchScope scope(*service);
    service->insertAssets(notes(FreeNoteAsset::make));
    int units = 0; // in front of what cannot be encoded
    for (const int number : {430, 431, 700, 999})
        note(numbered(number))->text.set(QString(++units, u'x') + QChar(0xD800));

    try {
        scope.commit();
        FAIL() << "nothing was raised";
    } catch (const Exception::Data::SerializationException &error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("at unit 1"));
    }
}

TEST_P(EncodingTest, staysOnTheCommittingThreadForAssetsThatWereStoredBefore)
{
    service->insertAssets(notes(FreeNoteAsset::make));
    BatchScope scope(*service);
    for (int number = 0; number < sCount; ++number)
        note(numbered(number))->text.set(QStringLiteral("changed"));
    takeThreads();

    scope.commit();

    EXPECT_EQ(takeThreads(), thisThread);
}

TEST_P(EncodingTest, onSeveralThreadsFilesNothingWhenOneAssetCannotBeEncoded)
{
    const std::vector<NewAsset> assets = notes(FreeNoteAsset::make);
    std::static_pointer_cast<NoteAsset>(assets[900].asset)->text.set(QChar(0xD800));

    EXPECT_THROW(service->insertAssets(assets), Exception::Data::SerializationException);

    EXPECT_EQ(service->getAssetFromId(numbered(0)), nullptr);
    EXPECT_EQ(service->getAssetFromId(numbered(900)), nullptr);
    EXPECT_EQ(store.statistics().assets, 0);
}

ASSETS_FOR_EVERY_STORE(EncodingTest);

} // namespace Tesk::Assets
