#ifndef TESTS_FAULTS_FAULTS_H
#define TESTS_FAULTS_FAULTS_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <sqlite3.h>

#include "tests/support/Device.h"

// One fault at a time, injected below the product by shims: operator new, SQLite's allocator, its VFS and one wrapped
// call ask the fuse each time. While a fault is armed nothing in them throws or uses operator new. For one thread.

/// A kind of call goes by SQLite's code for its failure: SQLITE_IOERR_READ means reads. These stand for the others.
constexpr int CPP_NEW = -1;
constexpr int SQLITE_FINALIZE = -2;

struct Fuse {
    /// Lets `skipped` calls of the kind pass; the next one fails with `code`, and, if `lasting`, all after it.
    static void arm(int kind, int code, long skipped, bool lasting);

    /// No call fails any more. Returns how many did.
    static long disarm();

    /// Returns SQLITE_OK, or the code with which this call is to fail.
    static int check(int kind) noexcept;
};

/// The blocks that operator new and SQLite's allocator have handed out and not got back.
std::pair<long, long> liveBlocks();

/// While it lives, SQLite's default VFS asks the fuse. A write that fails has written its first half. Nothing waits,
/// and nothing is really synced. Outlives its connections.
struct FaultVfs {
    /// Called before each write, truncation, sync and deletion. As in SQLite's own VFS, the first sync of a journal or
    /// log that was opened to be created syncs the folder too.
    using Observer = void (*)(int kind, const char* path, bool syncsFolder);

    /// A volume that holds no more than `size` bytes; a write that needs more fails with SQLITE_FULL.
    struct Volume {
        std::filesystem::path folder;
        std::uintmax_t size;
    };

    explicit FaultVfs(
        Observer observer = [](int, const char*, bool) {}, std::optional<Volume> limited = std::nullopt);
    ~FaultVfs();
    FaultVfs(const FaultVfs&) = delete;
};

/// Both tables of the feature "Tessary", "TABLE ROWID" to the other columns, without applications named "next...".
/// Expects sound files.
using Contents = std::map<std::string, std::string>;
Contents readContents(const std::filesystem::path& folder);

/// Expects each row to be as it was before or as it is to be after, wholly, or else to be `tolerated`.
void expectWholeOrAbsent(const Contents& before, const Contents& after, const Contents& now,
                         const Lines& tolerated = {});

#endif
