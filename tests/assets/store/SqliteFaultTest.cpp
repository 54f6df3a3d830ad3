#include "FaultyFiles.h"
#include "OlderFiles.h"
#include "StoreModel.h"

#include <QFile>

#include <gmock/gmock.h>

#include <sqlite3.h>

#include <utility>

namespace Tesk::Assets {

using Ids = std::vector<QByteArray>;

namespace {

const Ids sIds{"list", "a", "b", "c", "d", "new 0", "new 15", "new 16", "new 17"};

/// A small import: what is there already is changed, and something is new.
void import(Store &store, bool endsAtFailure)
{
    Store::Transaction transaction(store, SyncLevel::Disk);
    if (endsAtFailure)
        store.endAtFailure();
    std::vector<AssetWrite> writes;
    for (const char *id : {"a", "b", "c", "d"}) {
        AssetWrite write = assetWrite(id, QStringLiteral("Imported"), QString::fromLatin1(id),
                                      QByteArray(3000, *id));
        write.metaData = {MetaRow{QStringLiteral("key"), 3, 0, QStringLiteral("value")},
                          MetaRow{QStringLiteral("new"), 12, 0, true}};
        writes.push_back(write);
    }
    writes[1].nextVersion = QByteArray("c");
    store.write(writes);
    writes.clear();
    for (int number = 0; number < 18; ++number) { // which a store may write together
        AssetWrite &write = writes.emplace_back(
                assetWrite("new " + QByteArray::number(number), QStringLiteral("Imported"),
                           QStringLiteral("New %1").arg(number), QByteArray(400, 'n')));
        write.expectedRevision = 0;
        write.metaData = {MetaRow{QStringLiteral("number"), 3, 0, number}};
        write.dependencies = {DependencyRow{"a", QStringLiteral("role")}};
    }
    store.write(writes);
    store.appendToCollection("list", Ids{"b", "c", "d"});
    store.setFlags({&sIds[1], 1}, 1, 1);
    transaction.commit();
}

/// Memory of SQLite that runs out when it is told to.
namespace ScarceMemory {

sqlite3_mem_methods usual;
int failingCall = 0;
int callCount = 0;

bool fails()
{
    return failingCall != 0 && ++callCount == failingCall;
}

void install()
{
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &usual);
    sqlite3_mem_methods methods = usual;
    methods.xMalloc = [](int size) {
        return fails() ? nullptr : usual.xMalloc(size);
    };
    methods.xRealloc = [](void *memory, int size) {
        return fails() ? nullptr : usual.xRealloc(memory, size);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    sqlite3_initialize();
}

void uninstall()
{
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_MALLOC, &usual);
    sqlite3_initialize();
}

void arm(int call)
{
    failingCall = call;
    callCount = 0;
}

} // namespace ScarceMemory

} // namespace

class SqliteFaultTest : public SqliteStoreTest
{
protected:
    void SetUp() override
    {
        {
            const auto store = open();
            putAsset(*store, "list");
            putAsset(*store, "a", QStringLiteral("Old"), QByteArray(100, 'o'));
            store->appendToCollection("list", Ids{"a"});
            m_before = dump(*store, sIds);
        }
        m_content = contentOf(filePath());
        {
            const auto store = open();
            import(*store, false);
            m_after = dump(*store, sIds);
        }
        ASSERT_NE(m_before, m_after);
    }

    /// Puts the file back to where it was before the import.
    void restore()
    {
        QFile::remove(filePath("assets.db-wal"));
        QFile::remove(filePath("assets.db-shm"));
        write(filePath(), m_content);
    }

    /// Imports; returns whether an error reached us.
    bool importRaises(Store &store, bool endsAtFailure)
    {
        try {
            import(store, endsAtFailure);
            return false;
        } catch (const StoreError &) {
            return true;
        }
    }

    /// Checks that the store works on and shows one of the two states.
    void expectBeforeOrAfter(const Store &store, bool hasRaised, int call)
    {
        const std::vector<std::string> found = dump(store, sIds);
        const bool isBefore = hasRaised && found == m_before;
        EXPECT_TRUE(isBefore || found == m_after) << "call " << call;
        EXPECT_TRUE(store.checkIntegrity().empty()) << "call " << call;
    }

    std::vector<std::string> m_before;
    std::vector<std::string> m_after;
    QByteArray m_content;
};

class SqliteFileFaultTest : public SqliteFaultTest, public testing::WithParamInterface<int>
{
};

TEST_P(SqliteFileFaultTest, isBeforeOrAfterWhicheverWriteOrSyncFails)
{
    for (const auto &[forEver, endsAtFailure] : {std::pair(false, false), std::pair(true, false),
                                                 std::pair(false, true), std::pair(true, true)}) {
        int call = 1;
        for (;; ++call) {
            restore();
            bool hasRaised = false;
            bool hasFailed = false;
            {
                const auto store = open(SqliteStore::Mode::Open, FaultyFiles::name());
                FaultyFiles::arm(call, GetParam(), forEver);
                hasRaised = importRaises(*store, endsAtFailure);
                hasFailed = FaultyFiles::hasFailed();
                // The error reached the caller: no failing write or sync of it went unnoticed.
                EXPECT_EQ(hasRaised, hasFailed) << "call " << call;
                if (!forEver)
                    expectBeforeOrAfter(*store, hasRaised, call);
            } // closed while the disk may still fail
            FaultyFiles::disarm();
            expectBeforeOrAfter(*open(SqliteStore::Mode::Open), hasRaised, call);
            if (!hasFailed)
                break;
        }
        EXPECT_GT(call, 10); // the import does write
        RecordProperty(forEver ? "callsThatFailedForEver" : "callsThatFailedOnce", call - 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Codes, SqliteFileFaultTest,
                         testing::Values(SQLITE_IOERR_WRITE, SQLITE_FULL, SQLITE_IOERR_FSYNC),
                         [](const auto &kind) { return "Code" + std::to_string(kind.param); });

TEST_F(SqliteFaultTest, isBeforeOrAfterWhicheverAllocationFails)
{
    ScarceMemory::install();
    int call = 1;
    int raised = 0;
    for (;; ++call) {
        restore();
        bool hasRaised = false;
        bool hasFailed = false;
        {
            const auto store = open(SqliteStore::Mode::Open);
            ScarceMemory::arm(call);
            hasRaised = importRaises(*store, call % 2 == 0);
            hasFailed = ScarceMemory::callCount >= call;
            ScarceMemory::arm(0);
            raised += hasRaised ? 1 : 0;
            expectBeforeOrAfter(*store, hasRaised, call);
        }
        expectBeforeOrAfter(*open(SqliteStore::Mode::Open), hasRaised, call);
        if (!hasFailed)
            break;
    }
    ScarceMemory::uninstall();
    EXPECT_GT(raised, 100);
    RecordProperty("allocationsThatFailed", call - 1);
}

TEST_F(SqliteFaultTest, storesAllOrNothingOfATransactionWhicheverAllocationOfAReadFails)
{
    const auto raises = [](const auto &call) {
        try {
            call();
            return false;
        } catch (const StoreError &) {
            return true;
        }
    };
    ScarceMemory::install();
    int ended = 0;
    for (int call = 1;; ++call) {
        restore();
        bool hasFailed = false;
        bool isCommitted = false;
        {
            const auto store = open(SqliteStore::Mode::Open);
            store->begin(SyncLevel::Process);
            if (call % 2 == 0)
                store->endAtFailure();
            putAsset(*store, "b");
            ScarceMemory::arm(call);
            raises([&] { store->loadRows(Ids{"a"}); });
            hasFailed = ScarceMemory::callCount >= call;
            ScarceMemory::arm(0);
            ended += raises([&] { putAsset(*store, "c"); }) ? 1 : 0;
            isCommitted = !raises([&] { store->commit(); });
        }
        const auto rows = open(SqliteStore::Mode::Open)->loadRows(Ids{"b", "c"});
        EXPECT_EQ(rows[0].has_value(), isCommitted) << "call " << call;
        EXPECT_EQ(rows[1].has_value(), isCommitted) << "call " << call;
        if (!hasFailed)
            break;
    }
    ScarceMemory::uninstall();
    EXPECT_GT(ended, 0);
}

TEST_F(SqliteFaultTest, opensOrRaisesWhicheverAllocationFails)
{
    ScarceMemory::install();
    restore();
    for (int call = 1;; ++call) {
        ScarceMemory::arm(call);
        bool hasRaised = false;
        try {
            const auto store = open(SqliteStore::Mode::Open);
            const bool hasFailed = ScarceMemory::callCount >= call;
            ScarceMemory::arm(0);
            EXPECT_EQ(dump(*store, sIds), m_before) << "call " << call;
            if (!hasFailed)
                break;
        } catch (const StoreError &) {
            hasRaised = true;
        }
        ScarceMemory::arm(0);
        if (hasRaised) {
            EXPECT_EQ(dump(*open(SqliteStore::Mode::Open), sIds), m_before) << "call " << call;
        }
    }
    ScarceMemory::uninstall();
}

TEST_F(OlderFileTest, isMigratedOrNotWhicheverAllocationFails)
{
    ScarceMemory::install();
    int call = 1;
    int raised = 0;
    for (bool hasFailed = true; hasFailed; call += 7) {
        makeFile(2);
        ScarceMemory::arm(call);
        try {
            open(SqliteStore::Mode::Open);
        } catch (const StoreError &) {
            ++raised;
        }
        hasFailed = ScarceMemory::callCount >= call;
        ScarceMemory::arm(0);
        EXPECT_THAT(raw("PRAGMA user_version").toInt(), testing::AnyOf(2, 3)) << "call " << call;
        expectMetaData(*open(SqliteStore::Mode::Open));
    }
    ScarceMemory::uninstall();
    EXPECT_GT(raised, 50);
    RecordProperty("allocationsThatFailed", call - 1);
}

} // namespace Tesk::Assets
