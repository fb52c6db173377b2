#include "tests/faults/Faults.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/Sql.h"

namespace {

struct {
    int kind;
    int code;
    long skipped;
    bool lasting;
    long failed;
} fuse;

std::pair<long, long> blocks;
sqlite3_mem_methods allocator;

void* sqliteMalloc(int size) {
    void* block = Fuse::check(SQLITE_NOMEM) == SQLITE_OK ? allocator.xMalloc(size) : nullptr;
    blocks.second += block != nullptr ? 1 : 0;
    return block;
}

void sqliteFree(void* block) {
    --blocks.second; // SQLite never hands in null
    allocator.xFree(block);
}

void* sqliteRealloc(void* block, int size) {
    return Fuse::check(SQLITE_NOMEM) == SQLITE_OK ? allocator.xRealloc(block, size) : nullptr;
}

/// Before SQLite's first use, and without its pool of small blocks, which would hide most allocations.
const bool installed = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &allocator);
    sqlite3_mem_methods counting = allocator;
    counting.xMalloc = sqliteMalloc;
    counting.xFree = sqliteFree;
    counting.xRealloc = sqliteRealloc;
    return sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) + sqlite3_config(SQLITE_CONFIG_MALLOC, &counting) == SQLITE_OK;
}();

using Methods = sqlite3_io_methods;

sqlite3_vfs real; ///< the VFS as it is without faults
FaultVfs::Observer onChange;
std::optional<FaultVfs::Volume> volume;

/// Whether the volume has room for the file once it ends at `end`. Files take whole blocks of 4 KiB.
bool hasRoom(const char* path, std::uintmax_t end) {
    if (!volume) {
        return true;
    }
    std::uintmax_t used = 0;
    for (const auto& file : std::filesystem::directory_iterator(volume->folder)) {
        const bool grows = file.path().filename() == std::filesystem::path(path).filename();
        used += (std::max(file.file_size(), grows ? end : 0) + 4095) / 4096 * 4096;
    }
    return used <= volume->size;
}

/// Kept behind SQLite's own part of an open file.
struct Extra {
    const Methods* real;
    Methods methods;
    const char* path;
    bool syncsFolder;
};

Extra& extraOf(sqlite3_file* file) { return *reinterpret_cast<Extra*>(reinterpret_cast<char*>(file) + real.szOsFile); }

template <int kind, auto method, typename... Arguments>
int forward(sqlite3_file* file, Arguments... arguments) {
    const int fault = Fuse::check(kind);
    return fault != SQLITE_OK ? fault : (extraOf(file).real->*method)(file, arguments...);
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    onChange(SQLITE_IOERR_WRITE, extraOf(file).path, false);
    const bool fits = hasRoom(extraOf(file).path, static_cast<std::uintmax_t>(offset + size));
    const int fault = fits ? Fuse::check(SQLITE_IOERR_WRITE) : SQLITE_FULL;
    const int result = extraOf(file).real->xWrite(file, bytes, fault == SQLITE_OK ? size : size / 2, offset);
    return fault != SQLITE_OK ? fault : result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    onChange(SQLITE_IOERR_TRUNCATE, extraOf(file).path, false);
    return forward<SQLITE_IOERR_TRUNCATE, &Methods::xTruncate>(file, size);
}

int sync(sqlite3_file* file, int /*flags*/) {
    const int fault = Fuse::check(SQLITE_IOERR_FSYNC);
    if (fault == SQLITE_OK) {
        onChange(SQLITE_IOERR_FSYNC, extraOf(file).path, std::exchange(extraOf(file).syncsFolder, false));
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
    onChange(SQLITE_IOERR_DELETE, path, false);
    const int fault = Fuse::check(SQLITE_IOERR_DELETE);
    return fault != SQLITE_OK ? fault : real.xDelete(vfs, path, syncsFolder);
}

int access(sqlite3_vfs* vfs, const char* path, int flags, int* found) {
    const int fault = Fuse::check(SQLITE_IOERR_ACCESS);
    return fault != SQLITE_OK ? fault : real.xAccess(vfs, path, flags, found);
}

} // namespace

void Fuse::arm(int kind, int code, long skipped, bool lasting) {
    ASSERT_TRUE(installed);
    fuse = {kind, code, skipped, lasting, 0};
}

long Fuse::disarm() {
    fuse.kind = SQLITE_OK;
    return fuse.failed;
}

int Fuse::check(int kind) noexcept {
    if (kind != fuse.kind || fuse.skipped-- > 0 || (fuse.failed != 0 && !fuse.lasting)) {
        return SQLITE_OK;
    }
    ++fuse.failed;
    return fuse.code;
}

std::pair<long, long> liveBlocks() { return blocks; }

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    void* block = Fuse::check(CPP_NEW) == SQLITE_OK ? std::malloc(size) : nullptr;
    blocks.first += block != nullptr ? 1 : 0;
    return block;
}

void* operator new(std::size_t size) {
    void* block = operator new(size, std::nothrow);
    if (block == nullptr && fuse.code == SQLITE_ABORT) {
        throw fuse.code; // no exception of the standard's
    }
    return block != nullptr ? block : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    blocks.first -= block != nullptr ? 1 : 0;
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { operator delete(block); }

/// Linked in place of SQLite's own in the product, where no real fault makes it fail: each failure of a step has been
/// collected by a reset before.
extern "C" int __real_sqlite3_finalize(sqlite3_stmt* statement);
extern "C" int __wrap_sqlite3_finalize(sqlite3_stmt* statement) {
    const int result = __real_sqlite3_finalize(statement);
    const int fault = statement != nullptr ? Fuse::check(SQLITE_FINALIZE) : SQLITE_OK;
    return fault != SQLITE_OK ? fault : result;
}

FaultVfs::FaultVfs(Observer observer, std::optional<Volume> limited) {
    onChange = observer;
    volume = std::move(limited);
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

Contents readContents(const std::filesystem::path& folder) {
    Contents contents;
    for (const auto& [file, table] : {std::pair("Tessary.db", "Tessary"), {"TessaryHeavyGame.db", "HeavyGame"}}) {
        Sql sql(folder / file);
        EXPECT_EQ(sql.run("PRAGMA integrity_check"), Lines{"'ok'"});
        for (const std::string& row : sql.table(table)) {
            const std::size_t columns = row.find(',');
            if (row.find("'next") == std::string::npos) {
                contents[table + (' ' + row.substr(0, columns))] = row.substr(columns + 1);
            }
        }
    }
    return contents;
}

void expectWholeOrAbsent(const Contents& before, const Contents& after, const Contents& now, const Lines& tolerated) {
    Contents all = now;
    all.insert(before.begin(), before.end());
    all.insert(after.begin(), after.end());
    const auto rowOf = [](const Contents& contents, const std::string& key) {
        return contents.count(key) != 0 ? contents.at(key) : "absent";
    };
    for (const auto& [key, any] : all) {
        const std::string row = rowOf(now, key);
        const bool isTolerated = std::count(tolerated.begin(), tolerated.end(), row) != 0;
        EXPECT_TRUE(row == rowOf(before, key) || row == rowOf(after, key) || isTolerated) << key << ": " << row;
    }
}
