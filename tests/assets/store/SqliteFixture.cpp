#include "SqliteFixture.h"

#include <QFile>

#include <sqlite3.h>

namespace Tesk::Assets {

std::unique_ptr<SqliteStore> SqliteStoreTest::open(SqliteStore::Mode mode,
                                                   const QByteArray &fileLayer) const
{
    SqliteStore::Options options;
    options.busyTimeout = std::chrono::milliseconds(20);
    options.fileLayer = fileLayer;
    return std::make_unique<SqliteStore>(filePath(), mode, options);
}

QString SqliteStoreTest::raw(const char *sql, const char *name) const
{
    QString result;
    sqlite3 *handle = nullptr;
    EXPECT_EQ(sqlite3_open(filePath(name).toUtf8().constData(), &handle), SQLITE_OK);
    char *error = nullptr;
    sqlite3_exec(
            handle, sql,
            [](void *target, int, char **values, char **) {
                auto &text = *static_cast<QString *>(target);
                if (text.isNull())
                    text = QString::fromUtf8(values[0] ? values[0] : "");
                return 0;
            },
            &result, &error);
    EXPECT_EQ(error, nullptr) << error;
    sqlite3_free(error);
    sqlite3_close(handle);
    return result;
}

QByteArray SqliteStoreTest::contentOf(const QString &path) const
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

void SqliteStoreTest::write(const QString &path, const QByteArray &content) const
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    EXPECT_EQ(file.write(content), content.size());
}

qint64 putAsset(Store &store, const QByteArray &id, const QString &name,
                std::optional<QByteArray> body)
{
    const AssetWrite write = assetWrite(id, QStringLiteral("Filter"), name, std::move(body));
    return store.write({&write, 1}).front();
}

} // namespace Tesk::Assets
