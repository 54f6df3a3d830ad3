#include "StoreFixture.h"

#include <assets/MemoryStore.h>

#include <QFile>
#include <QTemporaryDir>

namespace Tesk::Assets {

TEST(MemoryStoreTest, saysThatItHasNoFileToBackUp)
{
    const TestSupport::RecordedLog log;
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("copy.db"));
    const MemoryStore store;

    const StoreError error = raisedBy([&] { store.backupTo(path); });

    EXPECT_EQ(error.code(), StoreError::Code::Misuse);
    EXPECT_EQ(QString::fromUtf8(error.what()),
              QStringLiteral("Cannot back up to \"%1\": a store in memory has no file form")
                      .arg(path));
    EXPECT_FALSE(QFile::exists(path));
}

} // namespace Tesk::Assets
