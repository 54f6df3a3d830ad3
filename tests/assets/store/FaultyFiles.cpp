#include "FaultyFiles.h"

#include <sqlite3.h>

#include <new>

namespace Tesk::Assets::FaultyFiles {

namespace {

struct State
{
    int failingCall = 0;
    int code = 0;
    bool forEver = false;
    int calls = 0;
    bool hasFailed = false;
    bool isArmed = false;
    std::vector<File> syncs;
};
State state;
bool refusesLocks = false;

/// Counts a call; returns what it is to fail with.
int countCall()
{
    if (!state.isArmed)
        return SQLITE_OK;
    ++state.calls;
    const bool fails = state.failingCall != 0
                       && (state.forEver ? state.calls >= state.failingCall
                                         : state.calls == state.failingCall);
    state.hasFailed = state.hasFailed || fails;
    return fails ? state.code : SQLITE_OK;
}

struct FaultyFile
{
    sqlite3_file base; // first: SQLite knows the file by it
    File kind;
    sqlite3_file *real;
};

FaultyFile *faulty(sqlite3_file *file)
{
    return reinterpret_cast<FaultyFile *>(file);
}

sqlite3_file *real(sqlite3_file *file)
{
    return faulty(file)->real;
}

int closeFile(sqlite3_file *file)
{
    return real(file)->pMethods->xClose(real(file));
}

int readFile(sqlite3_file *file, void *data, int size, sqlite3_int64 offset)
{
    return real(file)->pMethods->xRead(real(file), data, size, offset);
}

int writeFile(sqlite3_file *file, const void *data, int size, sqlite3_int64 offset)
{
    const int code = countCall();
    return code == SQLITE_OK ? real(file)->pMethods->xWrite(real(file), data, size, offset) : code;
}

int truncateFile(sqlite3_file *file, sqlite3_int64 size)
{
    const int code = countCall();
    return code == SQLITE_OK ? real(file)->pMethods->xTruncate(real(file), size) : code;
}

int syncFile(sqlite3_file *file, int flags)
{
    const int code = countCall();
    if (code != SQLITE_OK)
        return code;
    if (state.isArmed)
        state.syncs.push_back(faulty(file)->kind);
    return real(file)->pMethods->xSync(real(file), flags);
}

int fileSize(sqlite3_file *file, sqlite3_int64 *size)
{
    return real(file)->pMethods->xFileSize(real(file), size);
}

int lockFile(sqlite3_file *file, int lock)
{
    return refusesLocks ? SQLITE_BUSY : real(file)->pMethods->xLock(real(file), lock);
}

int unlockFile(sqlite3_file *file, int lock)
{
    return real(file)->pMethods->xUnlock(real(file), lock);
}

int checkReservedLock(sqlite3_file *file, int *result)
{
    return real(file)->pMethods->xCheckReservedLock(real(file), result);
}

int fileControl(sqlite3_file *file, int operation, void *argument)
{
    return real(file)->pMethods->xFileControl(real(file), operation, argument);
}

int sectorSize(sqlite3_file *file)
{
    return real(file)->pMethods->xSectorSize(real(file));
}

int deviceCharacteristics(sqlite3_file *file)
{
    return real(file)->pMethods->xDeviceCharacteristics(real(file));
}

int shmMap(sqlite3_file *file, int page, int pageSize, int extend, void volatile **memory)
{
    const int code = extend ? countCall() : SQLITE_OK;
    return code == SQLITE_OK
                   ? real(file)->pMethods->xShmMap(real(file), page, pageSize, extend, memory)
                   : code;
}

int shmLock(sqlite3_file *file, int offset, int count, int flags)
{
    return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
}

void shmBarrier(sqlite3_file *file)
{
    real(file)->pMethods->xShmBarrier(real(file));
}

int shmUnmap(sqlite3_file *file, int isDeleted)
{
    return real(file)->pMethods->xShmUnmap(real(file), isDeleted);
}

const sqlite3_io_methods methods = {2,
                                    closeFile,
                                    readFile,
                                    writeFile,
                                    truncateFile,
                                    syncFile,
                                    fileSize,
                                    lockFile,
                                    unlockFile,
                                    checkReservedLock,
                                    fileControl,
                                    sectorSize,
                                    deviceCharacteristics,
                                    shmMap,
                                    shmLock,
                                    shmBarrier,
                                    shmUnmap,
                                    nullptr,
                                    nullptr};

sqlite3_vfs *usualLayer()
{
    static sqlite3_vfs *const layer = sqlite3_vfs_find(nullptr);
    return layer;
}

int openFile(sqlite3_vfs *, const char *path, sqlite3_file *file, int flags, int *outFlags)
{
    FaultyFile *const wrapped = faulty(file);
    wrapped->base.pMethods = nullptr;
    wrapped->kind = flags & SQLITE_OPEN_MAIN_DB ? File::Main
                    : flags & SQLITE_OPEN_WAL   ? File::Log
                                                : File::Other;
    wrapped->real = reinterpret_cast<sqlite3_file *>(wrapped + 1);
    const int code = usualLayer()->xOpen(usualLayer(), path, wrapped->real, flags, outFlags);
    if (wrapped->real->pMethods)
        wrapped->base.pMethods = &methods;
    return code;
}

sqlite3_vfs makeLayer()
{
    sqlite3_vfs layer = *usualLayer();
    layer.szOsFile = static_cast<int>(sizeof(FaultyFile)) + usualLayer()->szOsFile;
    layer.zName = "faulty";
    layer.pNext = nullptr;
    layer.xOpen = openFile;
    return layer;
}

} // namespace

QByteArray name()
{
    static sqlite3_vfs layer = makeLayer();
    sqlite3_vfs_register(&layer, 0); // again after each shutdown of SQLite; harmless otherwise
    return layer.zName;
}

void arm(int call, int code, bool forEver)
{
    state = State();
    state.failingCall = call;
    state.code = code;
    state.forEver = forEver;
    state.isArmed = true;
}

void disarm()
{
    state.isArmed = false;
}

void refuseLocks(bool refuse)
{
    refusesLocks = refuse;
}

int calls()
{
    return state.calls;
}

bool hasFailed()
{
    return state.hasFailed;
}

std::vector<File> syncs()
{
    return state.syncs;
}

} // namespace Tesk::Assets::FaultyFiles
