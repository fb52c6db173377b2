#include "tests/faults/Faults.h"

#include <algorithm>
#include <cstdlib>
#include <new>
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
} armed;

/// Returns SQLITE_OK, or the code with which this call is to fail.
int check(int kind) noexcept {
    if (kind != armed.kind || armed.skipped-- > 0 || (armed.failed != 0 && !armed.lasting)) {
        return SQLITE_OK;
    }
    ++armed.failed;
    return armed.code;
}

long blocks;
sqlite3_mem_methods allocator;

void* sqliteMalloc(int size) {
    void* block = check(SQLITE_NOMEM) == SQLITE_OK ? allocator.xMalloc(size) : nullptr;
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void sqliteFree(void* block) {
    --blocks; // SQLite never hands in null
    allocator.xFree(block);
}

void* sqliteRealloc(void* block, int size) {
    return check(SQLITE_NOMEM) == SQLITE_OK ? allocator.xRealloc(block, size) : nullptr;
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

/// Kept behind SQLite's own part of an open file.
struct Extra {
    const char* path;
    const Methods* real;
    Methods faulty;
};

Extra& extraOf(sqlite3_file* file) { return *reinterpret_cast<Extra*>(reinterpret_cast<char*>(file) + real.szOsFile); }

int checkChange(int kind, const char* path, sqlite3_int64 end = 0) {
    const int refused = onChange ? onChange(kind, path, end) : SQLITE_OK;
    return refused != SQLITE_OK ? refused : check(kind);
}

template <int kind, auto method, typename... Arguments>
int forward(sqlite3_file* file, Arguments... arguments) {
    const int fault = check(kind);
    return fault != SQLITE_OK ? fault : (extraOf(file).real->*method)(file, arguments...);
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    const int fault = checkChange(SQLITE_IOERR_WRITE, extraOf(file).path, offset + size);
    const int result = extraOf(file).real->xWrite(file, bytes, fault == SQLITE_OK ? size : size / 2, offset);
    return fault != SQLITE_OK ? fault : result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    const int fault = checkChange(SQLITE_IOERR_TRUNCATE, extraOf(file).path);
    return fault != SQLITE_OK ? fault : extraOf(file).real->xTruncate(file, size);
}

int sync(sqlite3_file* file, int /*flags*/) { return checkChange(SQLITE_IOERR_FSYNC, extraOf(file).path); }

/// Giving a lock back never fails.
int shmLock(sqlite3_file* file, int offset, int count, int flags) {
    const int fault = (flags & SQLITE_SHM_LOCK) != 0 ? check(SQLITE_IOERR_SHMLOCK) : SQLITE_OK;
    return fault != SQLITE_OK ? fault : extraOf(file).real->xShmLock(file, offset, count, flags);
}

int open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    const int fault = check(SQLITE_CANTOPEN);
    const int result = fault != SQLITE_OK ? fault : real.xOpen(vfs, path, file, flags, outFlags);
    if (result == SQLITE_OK && path != nullptr) {
        extraOf(file) = {path, file->pMethods, *file->pMethods};
        Methods& faulty = extraOf(file).faulty;
        faulty.xRead = forward<SQLITE_IOERR_READ, &Methods::xRead>;
        faulty.xWrite = write;
        faulty.xTruncate = truncate;
        faulty.xSync = sync;
        faulty.xLock = forward<SQLITE_IOERR_LOCK, &Methods::xLock>;
        faulty.xShmMap = forward<SQLITE_IOERR_SHMMAP, &Methods::xShmMap>;
        faulty.xShmLock = shmLock;
        file->pMethods = &faulty;
    }
    return result;
}

int remove(sqlite3_vfs* vfs, const char* path, int syncsFolder) {
    const int fault = checkChange(SQLITE_IOERR_DELETE, path);
    return fault != SQLITE_OK ? fault : real.xDelete(vfs, path, syncsFolder);
}

} // namespace

void arm(const Fault& fault, long skipped, bool lasting) {
    ASSERT_TRUE(installed);
    armed = {fault.kind, fault.code, skipped, lasting, 0};
}

long disarm() {
    armed.kind = SQLITE_OK;
    return armed.failed;
}

long liveBlocks() { return blocks; }

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    void* block = check(CPP_NEW) == SQLITE_OK ? std::malloc(size) : nullptr;
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void* operator new(std::size_t size) {
    void* block = operator new(size, std::nothrow);
    if (block == nullptr && armed.code == SQLITE_ABORT) {
        throw armed.code;
    }
    return block != nullptr ? block : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    blocks -= block != nullptr ? 1 : 0;
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { operator delete(block); }

/// The product's calls of sqlite3_finalize come here (linker option --wrap). Here alone it fails: without this fault, a
/// reset has already taken the failure of each step.
extern "C" int __real_sqlite3_finalize(sqlite3_stmt* statement);
extern "C" int __wrap_sqlite3_finalize(sqlite3_stmt* statement) {
    const int result = __real_sqlite3_finalize(statement);
    const int fault = statement != nullptr ? check(SQLITE_FINALIZE) : SQLITE_OK;
    return fault != SQLITE_OK ? fault : result;
}

FaultVfs::FaultVfs(Observer observer) {
    onChange = std::move(observer);
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    real = *vfs;
    vfs->szOsFile += static_cast<int>(sizeof(Extra));
    vfs->xOpen = open;
    vfs->xDelete = remove;
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
        EXPECT_EQ(sql.run("PRAGMA integrity_check"), Lines{"ok"});
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
    for (const auto& [key, any] : all) {
        const auto rowIn = [&key = key](const Contents& contents) {
            return contents.count(key) != 0 ? contents.at(key) : "absent";
        };
        const bool isTolerated = std::count(tolerated.begin(), tolerated.end(), rowIn(now)) != 0;
        EXPECT_TRUE(isTolerated || rowIn(now) == rowIn(before) || rowIn(now) == rowIn(after)) << key << rowIn(now);
    }
}
