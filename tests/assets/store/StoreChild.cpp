// The other process of the tests: imports until it is killed, shares a file, or reads as nobody.

#include "../support/NoteAsset.h"

#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <assets/MetaDataControl.h>
#include <assets/SqliteStore.h>
#include <assets/StoreError.h>

#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace Tesk;
using namespace Tesk::Assets;

namespace {

constexpr int sBatchSize = 20;

QByteArray batchId(int batch, int index)
{
    return "batch-" + QByteArray::number(batch) + '-' + QByteArray::number(index);
}

/// Says that the batch is stored; what was said reached the system when this returns.
void acknowledge(int batch)
{
    const std::string line = std::to_string(batch) + '\n';
    if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        std::terminate();
}

int importByStore(const QString &path, int batch)
{
    SqliteStore store(path);
    AssetWrite list;
    list.row = {.id = "list", .className = QStringLiteral("List"), .name = {}, .category = {}};
    store.write({&list, 1});
    for (;; ++batch) {
        Store::Transaction transaction(store, SyncLevel::Disk);
        std::vector<AssetWrite> writes;
        std::vector<QByteArray> ids;
        for (int index = 0; index < sBatchSize; ++index) {
            AssetWrite write;
            write.row = list.row;
            write.row.id = batchId(batch, index);
            write.body = BodyRow{BodyRow::sCbor, write.row.id.repeated(20)};
            write.metaData = {MetaRow{QStringLiteral("batch"), 3, 0, batch}};
            ids.push_back(write.row.id);
            writes.push_back(write);
        }
        store.write(writes);
        store.appendToCollection("list", ids);
        transaction.commit();
        acknowledge(batch);
    }
}

int importByService(const QString &path, int batch)
{
    NoteAsset::registerType();
    const auto service = AssetDatabaseService::open(std::make_unique<SqliteStore>(path));
    const AssetReference listReference =
            service->getOrCreateReferenceForInternalAsset("list", CollectionAsset::sTypeName);
    const auto list = std::dynamic_pointer_cast<CollectionAsset>(listReference.asset());
    for (;; ++batch) {
        AssetDatabaseService::BatchScope scope(*service);
        for (int index = 0; index < sBatchSize; ++index) {
            const QByteArray id = batchId(batch, index);
            const auto note = NoteAsset::make();
            note->text.set(QString::fromLatin1(id.repeated(20)));
            const AssetReference reference =
                    service->insertAsset(note, id, QString::fromLatin1(id));
            MetaDataControl::setMetaDataValue(reference, QStringLiteral("batch"), batch);
            CollectionControl::appendAssetFromRef(list, reference);
        }
        scope.commit();
        acknowledge(batch);
    }
}

/// Adds one to a number that others add to as well, which was \a found a while ago.
///
/// Returns how often it had to be read again.
int addOne(Store &store, StoredAsset found)
{
    const QByteArray id = found.row.id;
    for (int conflicts = 0;; ++conflicts) {
        AssetWrite write;
        write.row = found.row;
        write.expectedRevision = found.row.revision;
        write.body = BodyRow{BodyRow::sCbor, QByteArray::number(found.body->data.toInt() + 1)};
        try {
            store.write({&write, 1});
            return conflicts;
        } catch (const StoreError &error) {
            if (error.code() != StoreError::Code::Changed || error.assetId() != id)
                throw;
        }
        found = *store.load({&id, 1}).front();
    }
}

/// For each two lines of the input: reads what is shared; imports something, changes the shared.
int share(const QString &path, const QByteArray &name)
{
    SqliteStore store(path);
    std::cout << "ready" << std::endl;
    std::string round;
    while (std::getline(std::cin, round)) {
        const QByteArray shared = "number";
        const StoredAsset found = *store.load({&shared, 1}).front();
        std::cout << "read" << std::endl;
        std::string go;
        std::getline(std::cin, go);
        const QByteArray prefix = name + '-' + QByteArray::fromStdString(round) + '-';
        std::vector<AssetWrite> writes(5);
        std::vector<QByteArray> ids;
        for (std::size_t index = 0; index < writes.size(); ++index) {
            writes[index].row.id = prefix + QByteArray::number(index);
            writes[index].row.className = QStringLiteral("Filter");
            ids.push_back(writes[index].row.id);
        }
        Store::Transaction transaction(store, SyncLevel::Disk);
        store.write(writes);
        transaction.commit();
        store.appendToCollection("list", ids);
        std::cout << addOne(store, found) << std::endl;
    }
    return 0;
}

/// Gives an asset many items, one by one, while somebody else gives it others.
int setItems(const QString &path, const QString &name, int count)
{
    SqliteStore store(path);
    std::cout << "ready" << std::endl;
    std::string go;
    std::getline(std::cin, go);
    for (int number = 0; number < count; ++number) {
        const MetaWrite write{"shared",
                              MetaRow{QStringLiteral("%1 %2").arg(name).arg(number), 3, 0, number}};
        store.setMetaData({&write, 1});
    }
    std::cout << "done" << std::endl;
    return 0;
}

/// Opens a file of an older schema.
int migrate(const QString &path)
{
    std::cout << "ready" << std::endl;
    const SqliteStore store(path, SqliteStore::Mode::Open);
    std::cout << "open " << store.statistics().assets << std::endl;
    return 0;
}

/// As share(), through the database: one batch, then a field of an asset that others write too.
int shareService(const QString &path, const QByteArray &name)
{
    NoteAsset::registerType();
    const auto service = AssetDatabaseService::open(std::make_unique<SqliteStore>(path));
    const auto list = std::dynamic_pointer_cast<CollectionAsset>(service->getAssetFromId("list"));
    const auto number = std::dynamic_pointer_cast<NoteAsset>(service->getAssetFromId("number"));
    std::cout << "ready" << std::endl;
    std::string round;
    while (std::getline(std::cin, round)) {
        service->refresh();
        int found = number->text.get().toInt();
        std::cout << "read" << std::endl;
        std::string go;
        std::getline(std::cin, go);
        const QByteArray prefix = name + '-' + QByteArray::fromStdString(round) + '-';
        AssetDatabaseService::BatchScope scope(*service);
        for (int index = 0; index < 5; ++index) {
            const auto note = NoteAsset::make();
            note->text.set(QString::fromLatin1(prefix));
            CollectionControl::appendAssetFromRef(
                    list, service->insertAsset(note, prefix + QByteArray::number(index), {}));
        }
        scope.commit();
        int conflicts = 0;
        for (bool isStored = false; !isStored;) {
            try {
                number->text.set(QString::number(found + 1));
                isStored = true;
            } catch (const StoreError &error) {
                if (error.code() != StoreError::Code::Changed || error.assetId() != "number")
                    throw;
                ++conflicts;
                service->refresh();
                found = number->text.get().toInt();
            }
        }
        std::cout << conflicts << std::endl;
    }
    return 0;
}

/// Fills a small disk of its own with batches, frees some of it, and goes on.
///
/// Says how many batches were stored when the disk was full, what the error was, and what is there.
int fillDisk(const QString &folder)
{
    const int spaces = geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
    const QByteArray target = QFile::encodeName(folder);
    if (unshare(spaces) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
        || mount("tmpfs", target.constData(), "tmpfs", 0, "size=2m") != 0) {
        std::cout << "no small disk" << std::endl;
        return 0;
    }
    QFile ballast(folder + QStringLiteral("/ballast"));
    if (!ballast.open(QIODevice::WriteOnly) || ballast.write(QByteArray(400'000, 'x')) < 0)
        return 4;
    ballast.close();
    NoteAsset::registerType();
    const auto service = AssetDatabaseService::open(
            std::make_unique<SqliteStore>(folder + QStringLiteral("/assets.db")));
    const auto importBatch = [&service](int batch) {
        AssetDatabaseService::BatchScope scope(*service);
        for (int index = 0; index < sBatchSize; ++index) {
            const QByteArray id = batchId(batch, index);
            const auto note = NoteAsset::make();
            note->text.set(QString::fromLatin1(id.repeated(200)));
            service->insertAsset(note, id, {});
        }
        scope.commit();
    };
    int batches = 0;
    try {
        for (;; ++batches)
            importBatch(batches);
    } catch (const StoreError &error) {
        std::cout << "error " << static_cast<int>(error.code()) << ' ' << error.what() << std::endl;
    }
    const auto report = [&](const char *when) {
        std::cout << when << ' ' << batches << " batches, "
                  << service->statistics().storedAssets - std::size_t(batches * sBatchSize)
                  << " more, " << service->checkIntegrity().size() << " findings" << std::endl;
    };
    report("full");
    ballast.remove();
    importBatch(batches++);
    report("freed");
    return 0;
}

/// Opens a file that this user may only read, and says what can be done with it.
int readAsNobody(const QString &path)
{
    constexpr uid_t sNobody = 65534;
    if (geteuid() == 0 && (setgid(sNobody) != 0 || setuid(sNobody) != 0)) {
        std::cout << "cannot become nobody" << std::endl;
        return 1;
    }
    try {
        SqliteStore store(path);
        const QByteArray id = "a";
        const auto asset = store.load({&id, 1}).front();
        std::cout << "readOnly " << store.isReadOnly() << ", assets " << store.statistics().assets
                  << ", body " << (asset && asset->body ? asset->body->data.toStdString() : "none")
                  << ", findings " << store.checkIntegrity().size() << std::endl;
        AssetWrite write;
        write.row.id = "b";
        write.row.className = QStringLiteral("Filter");
        store.write({&write, 1});
        std::cout << "written" << std::endl;
    } catch (const StoreError &error) {
        std::cout << "error " << static_cast<int>(error.code()) << ' ' << error.what() << std::endl;
    }
    return 0;
}

int run(const QStringList &arguments)
{
    const QString command = arguments.value(1);
    if (command == QLatin1StringView("import-store"))
        return importByStore(arguments.value(2), arguments.value(3).toInt());
    if (command == QLatin1StringView("import-service"))
        return importByService(arguments.value(2), arguments.value(3).toInt());
    if (command == QLatin1StringView("share"))
        return share(arguments.value(2), arguments.value(3).toLatin1());
    if (command == QLatin1StringView("share-service"))
        return shareService(arguments.value(2), arguments.value(3).toLatin1());
    if (command == QLatin1StringView("set-items"))
        return setItems(arguments.value(2), arguments.value(3), arguments.value(4).toInt());
    if (command == QLatin1StringView("migrate"))
        return migrate(arguments.value(2));
    if (command == QLatin1StringView("fill-disk"))
        return fillDisk(arguments.value(2));
    if (command == QLatin1StringView("nobody"))
        return readAsNobody(arguments.value(2));
    std::cerr << "unknown command\n";
    return 2;
}

} // namespace

int main(int argumentCount, char **arguments)
{
    const QCoreApplication application(argumentCount, arguments);
    try {
        return run(QCoreApplication::arguments());
    } catch (const std::exception &error) {
        std::cerr << error.what() << '\n';
        return 3;
    }
}
