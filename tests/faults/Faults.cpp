#include "tests/faults/Faults.h"

#include <cstdlib>
#include <new>
#include <utility>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/support/Sql.h"

namespace {

struct {
    Call call;
    long passing;
    bool lasting;
    long calls; ///< made of this kind
} armed;

/// Counts the call. Returns whether it is to fail. Allocates nothing.
bool fails(Call call) noexcept {
    if (call != armed.call) {
        return false;
    }
    const long number = armed.calls++;
    return number == armed.passing || (armed.lasting && number > armed.passing);
}

long blocksInUse; ///< from operator new
sqlite3_mem_methods allocator;

/// Before SQLite's first use, and without its pool of small blocks, which would hide most allocations.
const bool installed = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &allocator);
    sqlite3_mem_methods failing = allocator;
    failing.xMalloc = [](int size) { return fails(Call::sqliteMemory) ? nullptr : allocator.xMalloc(size); };
    failing.xRealloc = [](void* block, int size) {
        return fails(Call::sqliteMemory) ? nullptr : allocator.xRealloc(block, size);
    };
    return sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK &&
           sqlite3_config(SQLITE_CONFIG_MALLOC, &failing) == SQLITE_OK;
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

template <int code, auto method, typename... Arguments>
int forward(sqlite3_file* file, Arguments... arguments) {
    return fails(Call::file) ? code : (extraOf(file).real->*method)(file, arguments...);
}

int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    onChange(FileChange::write, extraOf(file).path);
    const bool isFull = fails(Call::file);
    const int result = extraOf(file).real->xWrite(file, bytes, isFull ? size / 2 : size, offset);
    return isFull ? SQLITE_FULL : result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
    onChange(FileChange::truncate, extraOf(file).path);
    return fails(Call::file) ? SQLITE_IOERR : extraOf(file).real->xTruncate(file, size);
}

int sync(sqlite3_file* file, int /*flags*/) {
    onChange(FileChange::sync, extraOf(file).path);
    return fails(Call::file) ? SQLITE_IOERR : SQLITE_OK;
}

int open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    const int result = fails(Call::file) ? SQLITE_CANTOPEN : real.xOpen(vfs, path, file, flags, outFlags);
    if (result == SQLITE_OK && path != nullptr) {
        extraOf(file) = {path, file->pMethods, *file->pMethods};
        Methods& faulty = extraOf(file).faulty;
        faulty.xRead = forward<SQLITE_IOERR, &Methods::xRead>;
        faulty.xWrite = write;
        faulty.xTruncate = truncate;
        faulty.xSync = sync;
        faulty.xLock = forward<SQLITE_BUSY, &Methods::xLock>;
        faulty.xShmMap = forward<SQLITE_IOERR, &Methods::xShmMap>;
        file->pMethods = &faulty;
    }
    return result;
}

int remove(sqlite3_vfs* vfs, const char* path, int syncsFolder) {
    onChange(FileChange::remove, path);
    return fails(Call::file) ? SQLITE_IOERR : real.xDelete(vfs, path, syncsFolder);
}

} // namespace

void arm(Call call, long passing, bool lasting) {
    ASSERT_TRUE(installed);
    armed = {call, passing, lasting, 0};
}

bool disarm() {
    armed.call = Call::none;
    return armed.calls > armed.passing;
}

long liveBlocks() { return blocksInUse; }

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    void* block = fails(Call::operatorNew) || fails(Call::operatorNewThrowingInt) ? nullptr : std::malloc(size);
    blocksInUse += block != nullptr ? 1 : 0;
    return block;
}

void* operator new(std::size_t size) {
    void* block = operator new(size, std::nothrow);
    if (block == nullptr && armed.call == Call::operatorNewThrowingInt) {
        throw 1;
    }
    return block != nullptr ? block : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    blocksInUse -= block != nullptr ? 1 : 0;
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { operator delete(block); }

/// The product's calls of sqlite3_finalize come here (linker option --wrap). In production it never fails there: the
/// reset before it has already returned the error of the step.
extern "C" int __real_sqlite3_finalize(sqlite3_stmt* statement);
extern "C" int __wrap_sqlite3_finalize(sqlite3_stmt* statement) {
    const int result = __real_sqlite3_finalize(statement);
    return statement != nullptr && fails(Call::finalize) ? SQLITE_IOERR : result;
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

FaultVfs::~FaultVfs() { *sqlite3_vfs_find(nullptr) = real; }

StoredRows readRows(const std::filesystem::path& folder) {
    StoredRows rows;
    for (const auto& [file, table] : {std::pair("Tessary.db", "Tessary"), {"TessaryHeavyGame.db", "HeavyGame"}}) {
        Sql sql(folder / file);
        EXPECT_EQ(sql.run("PRAGMA integrity_check"), Lines{"ok"});
        for (const std::string& row : sql.table(table)) {
            const std::size_t comma = row.find(',');
            rows[table + (' ' + row.substr(0, comma))] = row.substr(comma + 1);
        }
    }
    return rows;
}

Lines neitherOldNorNew(StoredRows before, StoredRows after, StoredRows now) {
    StoredRows all = now;
    all.insert(before.begin(), before.end());
    all.insert(after.begin(), after.end());
    Lines found;
    for (const auto& [id, any] : all) {
        if (now[id] != before[id] && now[id] != after[id]) {
            found.push_back(id + ": " + now[id]);
        }
    }
    return found;
}
