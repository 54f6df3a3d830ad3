#pragma once

#include "StoreFixture.h"

#include <assets/SqliteStore.h>

#include <QString>
#include <QTemporaryDir>

namespace Tesk::Assets {

/// A folder for files, and SQLite without our store in between.
class SqliteStoreTest : public testing::Test
{
protected:
    QString filePath(const char *name = "assets.db") const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }

    /// Opens with a short patience.
    std::unique_ptr<SqliteStore> open(SqliteStore::Mode mode = SqliteStore::Mode::OpenOrCreate,
                                      const QByteArray &fileLayer = {}) const;

    /// Runs \a sql on the file; returns the first column of its first row.
    QString raw(const char *sql, const char *name = "assets.db") const;
    QByteArray contentOf(const QString &path) const;
    void write(const QString &path, const QByteArray &content) const;

    TestSupport::RecordedLog m_log;
    QTemporaryDir m_folder;
};

/// Writes one small asset.
qint64 putAsset(Store &store, const QByteArray &id, const QString &name = {},
                std::optional<QByteArray> body = {});

} // namespace Tesk::Assets
