#include "tests/faults/Faults.h"

namespace {

using Methods = sqlite3_io_methods;

sqlite3_vfs real; ///< the VFS as it is without faults

/// Kept behind SQLite's own part of an open file.
struct Extra {
    const Methods* real;
    Methods methods;
    const char* path;
    bool syncsFolder;
};

Extra& extraOf(sqlite3_file* file) { return *reinterpret_cast<Extra*>(reinterpret_cast<char*>(file) + real.szOsFile); }

void announce(int kind, const char* path, bool syncsFolder) {
    if (FaultVfs::onChange != nullptr) {
        FaultVfs::onChange(kind, path, syncsFolder);
    }
}

template <int kind, auto method, typename... Arguments>
int forward(sqlite3_file* file, Arguments... arguments) {
    const int fault = Fuse::check(kind);
    return fault != SQLITE_OK ? fault : (extraOf(file).real->*method)(file, arguments...);
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    announce(SQLITE_IOERR_WRITE, extraOf(file).path, false);
    const int fault = Fuse::check(SQLITE_IOERR_WRITE);
    const int result = extraOf(file).real->xWrite(file, bytes, fault == SQLITE_OK ? size : size / 2, offset);
    return fault != SQLITE_OK ? fault : result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    announce(SQLITE_IOERR_TRUNCATE, extraOf(file).path, false);
    return forward<SQLITE_IOERR_TRUNCATE, &Methods::xTruncate>(file, size);
}

int sync(sqlite3_file* file, int /*flags*/) {
    const int fault = Fuse::check(SQLITE_IOERR_FSYNC);
    if (fault == SQLITE_OK) {
        announce(SQLITE_IOERR_FSYNC, extraOf(file).path, std::exchange(extraOf(file).syncsFolder, false));
    }
    return fault;
}

/// Giving a lock back never fails.
int shmLock(sqlite3_file* file, int offset, int count, int flags) {
    const int fault = (flags & SQLITE_SHM_LOCK) != 0 ? Fuse::check(SQLITE_IOERR_SHMLOCK) : SQLITE_OK;
    return fault != SQLITE_OK ? fault : extraOf(file).real->xShmLock(file, offset, count, flags);
}

int open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    const int fault = Fuse::check(SQLITE_CANTOPEN);
    const int result = fault != SQLITE_OK ? fault : real.xOpen(vfs, path, file, flags, outFlags);
    if (result == SQLITE_OK && path != nullptr) {
        const bool isLog = (flags & SQLITE_OPEN_CREATE) != 0 && (flags & SQLITE_OPEN_MAIN_DB) == 0;
        extraOf(file) = {file->pMethods, *file->pMethods, path, isLog};
        Methods& methods = extraOf(file).methods;
        methods.xRead = forward<SQLITE_IOERR_READ, &Methods::xRead>;
        methods.xWrite = write;
        methods.xTruncate = truncate;
        methods.xSync = sync;
        methods.xFileSize = forward<SQLITE_IOERR_FSTAT, &Methods::xFileSize>;
        methods.xLock = forward<SQLITE_IOERR_LOCK, &Methods::xLock>;
        methods.xShmMap = forward<SQLITE_IOERR_SHMMAP, &Methods::xShmMap>;
        methods.xShmLock = shmLock;
        file->pMethods = &methods;
    }
    return result;
}

int remove(sqlite3_vfs* vfs, const char* path, int syncsFolder) {
    announce(SQLITE_IOERR_DELETE, path, false);
    const int fault = Fuse::check(SQLITE_IOERR_DELETE);
    return fault != SQLITE_OK ? fault : real.xDelete(vfs, path, syncsFolder);
}

int access(sqlite3_vfs* vfs, const char* path, int flags, int* found) {
    const int fault = Fuse::check(SQLITE_IOERR_ACCESS);
    return fault != SQLITE_OK ? fault : real.xAccess(vfs, path, flags, found);
}

} // namespace

void (*FaultVfs::onChange)(int kind, const char* path, bool syncsFolder) = nullptr;

FaultVfs::FaultVfs() {
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    real = *vfs;
    vfs->szOsFile += static_cast<int>(sizeof(Extra));
    vfs->xOpen = open;
    vfs->xDelete = remove;
    vfs->xAccess = access;
    vfs->xSleep = [](sqlite3_vfs* /*vfs*/, int microseconds) { return microseconds; };
}

FaultVfs::~FaultVfs() {
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    real.pNext = vfs->pNext;
    *vfs = real;
}
