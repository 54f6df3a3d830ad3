#include "RegistryTest.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <renderablebase/RenderableIODesc.h>
#include <support/Printers.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

#include <atomic>
#include <latch>
#include <mutex>
#include <thread>

namespace FilterBaseTesting {

using namespace Tesk;
using testing::ElementsAre;
using testing::IsEmpty;

static const char *const sPendingHide =
        "A future is still running: "
        "Tesk::FilterBase::FilterManager::registerDynamicFilterImpl";

class FilterManagerThreadTest : public RegistryTest
{
protected:
    FilterManagerThreadTest()
    {
        startManager();
        desc = manager().registerFilterDescImpl("Blur", staticFilter("one", "Blur"));
        impl = implementation("impl", "Blur", "default_color");
        observer = database->addChangeObserver([this](const auto &changes) {
            const std::lock_guard lock(mutex);
            for (const auto &change : changes) {
                if (change.reference == desc)
                    threads.push_back(std::this_thread::get_id());
            }
        });
    }
    ~FilterManagerThreadTest() override { database->removeChangeObserver(observer); }

    /// Registers the implementation on a thread of its own; this thread is blocked meanwhile.
    AssetReference registerOnAWorker()
    {
        AssetReference filter;
        std::thread([&] { filter = importOne(impl); }).join();
        return filter;
    }

    /// The threads on which the descriptor was changed.
    std::vector<std::thread::id> changedOn()
    {
        const std::lock_guard lock(mutex);
        return threads;
    }

    AssetReference desc;
    AssetReference impl;

private:
    std::size_t observer = 0;
    std::mutex mutex;
    std::vector<std::thread::id> threads; // guarded by mutex
};

TEST_F(FilterManagerThreadTest, hidesAtOnceOnTheMainThread)
{
    importOne(impl);
    EXPECT_TRUE(isHidden(desc));
    EXPECT_THAT(changedOn(), ElementsAre(std::this_thread::get_id()));
}

TEST_F(FilterManagerThreadTest, hidesLaterAndOnTheMainThreadForAWorker)
{
    const auto filter = registerOnAWorker();
    EXPECT_TRUE(filter.isValid());
    EXPECT_EQ(manager().getDynamicFilter("blur"), filter);
    EXPECT_FALSE(isHidden(desc)); // the worker is done and nobody has run the main thread's events

    QCoreApplication::processEvents();

    EXPECT_TRUE(isHidden(desc));
    EXPECT_THAT(changedOn(), ElementsAre(std::this_thread::get_id()));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(FilterManagerThreadTest, movesWhatAWorkerMakesToTheMainThread)
{
    const auto filter = asDynamicFilter(registerOnAWorker());
    EXPECT_EQ(filter->thread(), QCoreApplication::instance()->thread());
    for (const auto &[key, record] : filter->types)
        EXPECT_EQ(record->thread(), QCoreApplication::instance()->thread());
    ASSERT_NE(filter->ioDesc.get(), nullptr);
    EXPECT_EQ(filter->ioDesc.get()->thread(), QCoreApplication::instance()->thread());
}

TEST_F(FilterManagerThreadTest, finishesPendingHidesWhenItIsDestroyedOnTheMainThread)
{
    registerOnAWorker();
    stopManager();
    EXPECT_TRUE(isHidden(desc));
    EXPECT_THAT(log.texts(), ElementsAre(sPendingHide));
    EXPECT_EQ(log.messages().at(0).level, VantBase::LogLevel::Warning);
}

TEST_F(FilterManagerThreadTest, waitsForPendingHidesWhenItIsDestroyedOnAWorker)
{
    registerOnAWorker();
    std::atomic<bool> isDestroyed = false;
    std::thread destroyer([&] {
        stopManager();
        isDestroyed = true;
        // Wakes the loop below.
        QMetaObject::invokeMethod(
                QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
    });
    while (!isDestroyed)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    destroyer.join();
    EXPECT_TRUE(isHidden(desc));
    EXPECT_THAT(changedOn(), ElementsAre(std::this_thread::get_id()));
}

TEST_F(FilterManagerThreadTest, leavesPendingHidesToTheEventLoopWhenTheHostHasNotStarted)
{
    VantBase::ServiceLocator::instance().setStarted(false);
    registerOnAWorker();
    stopManager();
    EXPECT_FALSE(isHidden(desc));
    EXPECT_THAT(log.texts(), ElementsAre(sPendingHide));

    QCoreApplication::processEvents(); // the task needs no manager

    EXPECT_TRUE(isHidden(desc));
}

TEST_F(FilterManagerThreadTest, runsAllPendingHidesInOneWait)
{
    const auto second = implementation("second", "Blur", "default_float");
    std::thread([&] { manager().createOrUpdateFilters({impl, second}, {}); }).join();
    stopManager();
    // Waiting for the first one lets the event loop run the second, too.
    EXPECT_THAT(log.texts(), ElementsAre(sPendingHide));
    EXPECT_TRUE(isHidden(desc));
}

TEST_F(FilterManagerThreadTest, answersThreeReadersWhileOneRegisters)
{
    constexpr int count = 200;
    std::vector<AssetReference> batch;
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("Filter %1").arg(i);
        batch.push_back(implementation("i" + QByteArray::number(i), name, "default_color"));
    }
    std::latch start(4);
    std::atomic<bool> done = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([&] {
            start.arrive_and_wait();
            while (!done) {
                for (int i = 0; i < count; i += 7) {
                    const QString name = QStringLiteral("fILTER %1").arg(i);
                    const AssetReference found = manager().getDynamicFilter(name);
                    wrong += found.isValid() && !found.asset() ? 1 : 0;
                    wrong += manager().getFilterVariations(name).size() > 1 ? 1 : 0;
                }
            }
        });
    }
    std::thread writer([&] {
        start.arrive_and_wait();
        manager().createOrUpdateFilters(batch, {});
        done = true;
    });
    writer.join();
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(wrong, 0);
    for (int i = 0; i < count; ++i)
        EXPECT_TRUE(manager().getDynamicFilter(QStringLiteral("filter %1").arg(i)).isValid());
}

TEST_F(FilterManagerThreadTest, fetchesOneDescriptorForTwoThreadsThatRegisterANewName)
{
    const auto first = staticFilter("s1", "Noise", "default_color");
    const auto second = staticFilter("s2", "Noise", "default_float");
    std::latch start(2);
    AssetReference other;
    std::thread worker([&] {
        start.arrive_and_wait();
        other = manager().registerFilterDescImpl("Noise", second);
    });
    start.arrive_and_wait();
    const auto mine = manager().registerFilterDescImpl("noise", first);
    worker.join();
    EXPECT_EQ(mine, other);
    EXPECT_THAT(manager().getFilterDescVariations("noise"),
                testing::UnorderedElementsAre(first, second));
}

} // namespace FilterBaseTesting
