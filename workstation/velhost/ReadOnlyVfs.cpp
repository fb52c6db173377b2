#include "workstation/velhost/ReadOnlyVfs.h"

#include <cstring>

#include <sqlite3.h>
#include <unistd.h>

namespace velhost {

namespace {

// SQLite's own VFS for files without locks.
constexpr const char* baseName = "unix-none";

int openFile(sqlite3_vfs* /*vfs*/, const char* path, sqlite3_file* file, int flags, int* outFlags) noexcept {
    const bool isLog = (flags & SQLITE_OPEN_WAL) != 0;
    sqlite3_vfs* base = sqlite3_vfs_find(baseName);
    if (path == nullptr || (!isLog && (flags & SQLITE_OPEN_MAIN_DB) == 0)) {
        file->pMethods = nullptr; // so that SQLite does not close it
        return SQLITE_CANTOPEN;
    }
    // Drops SQLite's flags: some make the base create or delete a file. Reads a missing "-wal" as an empty one.
    const char* present = isLog && access(path, F_OK) != 0 ? "/dev/null" : path;
    return base->xOpen(base, present, file, SQLITE_OPEN_READONLY | (isLog ? SQLITE_OPEN_WAL : SQLITE_OPEN_MAIN_DB),
                       outFlags);
}

int deleteFile(sqlite3_vfs* /*vfs*/, const char* /*path*/, int /*syncsFolder*/) noexcept { return SQLITE_READONLY; }

/// Reports every file but a "-wal" as missing. If SQLite saw a journal, it would play it back.
int fileExists(sqlite3_vfs* /*vfs*/, const char* path, int /*what*/, int* exists) noexcept {
    const std::size_t length = std::strlen(path);
    *exists = length > 4 && std::strcmp(path + length - 4, "-wal") == 0 && access(path, F_OK) == 0 ? 1 : 0;
    return SQLITE_OK;
}

} // namespace

const char* readOnlyVfs() {
    static sqlite3_vfs vfs{};
    if (const sqlite3_vfs* base = sqlite3_vfs_find(baseName); base != nullptr && vfs.zName == nullptr) {
        vfs = *base;
        vfs.zName = "velhost-read-only";
        vfs.xOpen = openFile;
        vfs.xDelete = deleteFile;
        vfs.xAccess = fileExists;
        sqlite3_vfs_register(&vfs, 0);
    }
    return "velhost-read-only";
}

} // namespace velhost
