#include "StoreSource.h"

#include <assets/MemoryStore.h>
#include <assets/SqliteStore.h>

#include <QTemporaryDir>

namespace Tesk::Assets {

StoreSource::~StoreSource() = default;

void PrintTo(const StoreKind &kind, std::ostream *stream)
{
    *stream << kind.name;
}

namespace {

class MemorySource : public StoreSource
{
public:
    std::unique_ptr<Store> open() override { return m_first.openAnother(); }

    std::unique_ptr<Store> openReadOnly() override
    {
        std::unique_ptr<MemoryStore> store = m_first.openAnother();
        store->setReadOnly(true);
        return store;
    }

private:
    MemoryStore m_first;
};

class SqliteSource : public StoreSource
{
public:
    std::unique_ptr<Store> open() override { return open(SqliteStore::Mode::OpenOrCreate); }
    std::unique_ptr<Store> openReadOnly() override { return open(SqliteStore::Mode::ReadOnly); }

private:
    std::unique_ptr<Store> open(SqliteStore::Mode mode)
    {
        SqliteStore::Options options;
        options.busyTimeout = std::chrono::milliseconds(20);
        return std::make_unique<SqliteStore>(m_folder.filePath(QStringLiteral("assets.db")), mode,
                                             options);
    }

    QTemporaryDir m_folder;
};

template<class Source>
std::unique_ptr<StoreSource> makeSource()
{
    return std::make_unique<Source>();
}

} // namespace

std::vector<StoreKind> allStoreKinds()
{
    return {
            {"Memory", makeSource<MemorySource>},
            {"Sqlite", makeSource<SqliteSource>},
    };
}

} // namespace Tesk::Assets
