#include "support/DatabaseFixture.h"

#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <assets/StoreError.h>
#include <support/RecordedLog.h>
#include <vantbase/Exception.h>

#include <QCoreApplication>
#include <QThread>

#include <array>
#include <latch>
#include <random>
#include <thread>

namespace Tesk::Assets {

class ThreadsTest : public DatabaseFixture
{
protected:
    static constexpr int sThreads = 4;

    /// Runs \a work on several threads that begin together; it is given the thread's number.
    template<class Work>
    static void together(int count, Work work)
    {
        std::latch start(count);
        std::vector<std::thread> threads;
        for (int number = 0; number < count; ++number) {
            threads.emplace_back([&, number] {
                start.arrive_and_wait();
                work(number);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
    }

    static QByteArray numbered(const char *prefix, int number)
    {
        return prefix + QByteArray::number(number);
    }
};

TEST_P(ThreadsTest, giveTheSameObjectToAllWhoAskForAnAssetAtOnce)
{
    constexpr int count = 200;
    for (int number = 0; number < count; ++number)
        insertNote(numbered("a", number));
    reopen();
    std::array<std::vector<std::shared_ptr<Asset>>, sThreads> seen;

    together(sThreads, [&](int thread) {
        for (int number = 0; number < count; ++number)
            seen[static_cast<std::size_t>(thread)].push_back(
                    service->getAssetFromId(numbered("a", number)));
    });

    for (int thread = 1; thread < sThreads; ++thread)
        EXPECT_EQ(seen[static_cast<std::size_t>(thread)], seen[0]);
    EXPECT_EQ(std::count(seen[0].begin(), seen[0].end(), nullptr), 0);
}

TEST_P(ThreadsTest, giveTheSameAssetToAllWhoCreateAnIdAtOnce)
{
    constexpr int count = 100;
    std::array<std::vector<AssetReference>, sThreads> seen;

    together(sThreads, [&](int thread) {
        for (int number = 0; number < count; ++number)
            seen[static_cast<std::size_t>(thread)].push_back(
                    service->getOrCreateReferenceForInternalAsset(numbered("a", number),
                                                                  NoteAsset::sTypeName));
    });

    for (int number = 0; number < count; ++number) {
        const auto at = static_cast<std::size_t>(number);
        for (int thread = 1; thread < sThreads; ++thread)
            EXPECT_EQ(seen[static_cast<std::size_t>(thread)][at].asset(), seen[0][at].asset());
        EXPECT_NE(seen[0][at].asset(), nullptr);
    }
    EXPECT_EQ(service->statistics().storedAssets, 100U);
}

TEST_P(ThreadsTest, cannotFindAnAssetThatIsStillBeingEncoded)
{
    std::vector<std::shared_ptr<Asset>> found;
    NoteAsset::sOnEncoded = [&](const NoteAsset &) {
        std::thread([&] {
            for (const char *id : {"made", "inserted"})
                found.push_back(service->getAssetFromId(id));
        }).join();
    };
    service->getOrCreateReferenceForInternalAsset("made", NoteAsset::sTypeName);
    service->insertAsset(NoteAsset::make(), "inserted", {});
    NoteAsset::sOnEncoded = nullptr;

    using testing::IsNull;
    EXPECT_THAT(found, testing::ElementsAre(IsNull(), IsNull(), testing::NotNull(), IsNull()));
}

TEST_P(ThreadsTest, storeWhatIsWrittenToAnAssetTheMomentItIsFound)
{
    constexpr int count = 200;
    together(2, [&](int thread) {
        for (int number = 0; number < count; ++number) {
            const QByteArray id = numbered("a", number);
            if (thread == 0) {
                service->getOrCreateReferenceForInternalAsset(id, NoteAsset::sTypeName);
                continue;
            }
            while (!service->getAssetFromId(id))
                std::this_thread::yield();
            note(id)->text.set(QStringLiteral("written"));
        }
    });
    reopen();
    for (int number = 0; number < count; ++number)
        EXPECT_EQ(note(numbered("a", number))->text.get(), QStringLiteral("written"));
}

TEST_P(ThreadsTest, decodeShellsThatTouchEachOtherOnce)
{
    constexpr int pairs = 100;
    for (int number = 0; number < pairs; ++number) {
        const QByteArray left = numbered("left", number);
        const QByteArray right = numbered("right", number);
        insertNote(left, "l")->friendReference.set(service->referenceFromId(right));
        insertNote(right, "r")->friendReference.set(service->referenceFromId(left));
    }
    reopen();
    NoteAsset::sOnLoaded = [](NoteAsset &asset) {
        const auto other =
                std::dynamic_pointer_cast<NoteAsset>(asset.friendReference.get().asset());
        EXPECT_NE(other->text.get(), asset.text.get());
    };

    together(sThreads, [&](int thread) {
        for (int number = 0; number < pairs; ++number)
            note(numbered(thread % 2 == 0 ? "left" : "right", number))->load();
    });

    for (int number = 0; number < pairs; ++number) {
        EXPECT_EQ(note(numbered("left", number))->loads, 1);
        EXPECT_EQ(note(numbered("right", number))->loads, 1);
    }
}

TEST_P(ThreadsTest, readReferencesOfAssetsThatAreRefiled)
{
    constexpr int count = 200;
    std::vector<std::shared_ptr<NoteAsset>> assets;
    std::vector<AssetReference> before;
    for (int number = 0; number < count; ++number) {
        assets.push_back(std::dynamic_pointer_cast<NoteAsset>(service->createInternalAsset(
                numbered("{", number), NoteAsset::sTypeName, numbered("n", number))));
        assets.back()->contentId = numbered("content", number);
        before.push_back(assets.back()->ownReference());
    }

    together(sThreads, [&](int thread) {
        for (int number = 0; number < count; ++number) {
            const auto at = static_cast<std::size_t>(number);
            if (thread == 0)
                service->makeAssetPersistent(assets[at], nullptr);
            const AssetReference own = assets[at]->ownReference();
            ASSERT_EQ(own.asset(), assets[at]);
            ASSERT_EQ(before[at].asset(), assets[at]);
            ASSERT_TRUE(own.id() == before[at].id() || own.id() == assets[at]->contentId);
            const bool isRefiled = own.id() == assets[at]->contentId;
            ASSERT_TRUE(!isRefiled || own.lifespan() == AssetReference::Lifespan::Persistent);
        }
    });

    for (const auto &asset : assets)
        EXPECT_EQ(asset->ownReference().id(), asset->contentId);
}

TEST_P(ThreadsTest, resolveReferencesWhileTheAssetsAreRemoved)
{
    constexpr int count = 200;
    std::vector<AssetReference> references;
    for (int number = 0; number < count; ++number)
        references.push_back(insertNote(numbered("a", number))->ownReference());

    together(sThreads, [&](int thread) {
        for (const AssetReference &reference : references) {
            if (thread == 0)
                service->removeAsset(reference);
            const std::shared_ptr<Asset> asset = reference.asset();
            EXPECT_TRUE(!asset || asset->ownReference() == reference);
        }
    });

    for (const AssetReference &reference : references)
        EXPECT_EQ(reference.asset(), nullptr);
}

TEST_P(ThreadsTest, leaveWhatAWorkerMakesToTheMainThread)
{
    insertNote("stored", "text");
    reopen();
    std::vector<std::shared_ptr<Asset>> made;

    std::thread([&] {
        made.push_back(service->createInternalAsset("{1}", NoteAsset::sTypeName, {}));
        made.push_back(NoteAsset::make());
        service->insertAsset(made.back(), "inserted", {});
        made.push_back(service->getAssetFromId("stored"));
        made.push_back(
                service->getOrCreateReferenceForInternalAsset("new", NoteAsset::sTypeName).asset());
    }).join();

    for (const std::shared_ptr<Asset> &asset : made)
        EXPECT_EQ(asset->thread(), QCoreApplication::instance()->thread());
}

TEST_P(ThreadsTest, closeTheDatabaseUnderReaders)
{
    constexpr int count = 300;
    for (int number = 0; number < count; ++number)
        insertNote(numbered("a", number), "text");
    reopen();
    const TestSupport::RecordedLog log;

    together(sThreads, [&](int thread) {
        for (int number = 0; number < count; ++number) {
            if (thread == 0 && number == count / 2)
                service->close();
            const auto asset = note(numbered("a", number));
            try {
                EXPECT_TRUE(!asset || asset->text.get() == "text");
            } catch (const Exception::Data::SerializationException &) {
                EXPECT_FALSE(service->isOpen());
            }
        }
    });

    EXPECT_EQ(service->getAssetFromId("a0"), nullptr);
}

TEST_P(ThreadsTest, keepTheirScopesApart)
{
    constexpr int count = 50;

    together(sThreads, [&](int thread) {
        for (int number = 0; number < count; ++number) {
            const bool commits = (thread + number) % 2 == 0;
            AssetDatabaseService::BatchScope scope(*service);
            const auto asset = NoteAsset::make();
            service->insertAsset(asset, numbered("t", thread * count + number), {});
            MetaDataControl::setMetaDataValue(asset->ownReference(), "key", number);
            if (commits)
                scope.commit();
        }
    });

    for (int at = 0; at < sThreads * count; ++at) {
        const bool committed = (at / count + at % count) % 2 == 0;
        const AssetReference reference = service->referenceFromId(numbered("t", at));
        EXPECT_EQ(reference.asset() != nullptr, committed);
        EXPECT_EQ(MetaDataControl::getItem(reference, "key").has_value(), committed);
    }
    EXPECT_EQ(service->statistics().storedAssets, std::size_t(sThreads * count / 2));
}

/// What one thread does to assets of its own while it looks at everybody's.
class Hammer
{
public:
    Hammer(AssetDatabaseService &service, std::shared_ptr<CollectionAsset> list, int thread)
        : m_service(service)
        , m_list(std::move(list))
        , m_thread(thread)
        , m_random(static_cast<unsigned int>(1000 + thread))
    {}

    void run(int steps)
    {
        for (int step = 0; step < steps; ++step)
            act(static_cast<int>(m_random() % 9));
    }

    std::map<QByteArray, QString> stored; ///< the texts that must be there in the end

private:
    QByteArray ownId() { return id(m_thread); }
    QByteArray id(int thread)
    {
        return QByteArray::number(thread) + '-' + QByteArray::number(m_random() % 20);
    }

    void act(int choice)
    {
        const QByteArray own = ownId();
        const AssetReference reference = m_service.referenceFromId(own);
        const auto asset = std::dynamic_pointer_cast<NoteAsset>(reference.asset());
        ASSERT_EQ(asset != nullptr, stored.contains(own));
        switch (choice) {
        case 0:
        case 1:
            make(own, asset);
            break;
        case 2:
            EXPECT_EQ(m_service.removeAsset(reference), asset != nullptr);
            stored.erase(own);
            break;
        case 3:
            if (asset)
                asset->text.set(stored[own] = QString::number(m_random()));
            break;
        case 4:
            AssetControl::setName(asset, QString::number(m_random()));
            break;
        case 5:
            MetaDataControl::setMetaDataValue(reference, "key", int(m_random() % 100));
            break;
        case 6:
            CollectionControl::appendAssetFromRef(m_list, reference);
            break;
        case 7:
            CollectionControl::hideAsset(reference);
            break;
        default:
            lookAtOthers();
        }
    }

    void make(const QByteArray &own, const std::shared_ptr<NoteAsset> &there)
    {
        if (there)
            return;
        const auto asset = NoteAsset::make();
        asset->text.set(stored[own] = QString::number(m_random()));
        m_service.insertAsset(asset, own, "name");
    }

    void lookAtOthers()
    {
        const AssetReference reference = m_service.referenceFromId(id(int(m_random() % 4)));
        const std::shared_ptr<Asset> asset = reference.asset();
        EXPECT_TRUE(!asset || asset->ownReference() == reference);
        m_service.getNameFromRef(reference);
        MetaDataControl::getMetaData(reference);
        m_list->contains(reference);
    }

    AssetDatabaseService &m_service;
    std::shared_ptr<CollectionAsset> m_list;
    int m_thread;
    std::mt19937 m_random;
};

TEST_P(ThreadsTest, hammerTheServiceAndLeaveWhatTheyStored)
{
    const auto list = collection("list");
    std::vector<Hammer> hammers;
    for (int thread = 0; thread < sThreads; ++thread)
        hammers.emplace_back(*service, list, thread); // seeds 1000 to 1003

    together(sThreads, [&](int thread) { hammers[static_cast<std::size_t>(thread)].run(500); });
    const std::vector<AssetReference> items = list->items();
    reopen();

    std::size_t count = 1; // the list
    for (const Hammer &hammer : hammers) {
        count += hammer.stored.size();
        for (const auto &[id, text] : hammer.stored) {
            ASSERT_NE(note(id), nullptr) << id.toStdString();
            EXPECT_EQ(note(id)->text.get(), text);
        }
    }
    EXPECT_EQ(service->statistics().storedAssets, count);
    EXPECT_EQ(collection("list")->items(), items);
}

ASSETS_FOR_EVERY_STORE(ThreadsTest);

} // namespace Tesk::Assets
