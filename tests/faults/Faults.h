#ifndef TESTS_FAULTS_FAULTS_H
#define TESTS_FAULTS_FAULTS_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include <sqlite3.h>

#include "tests/support/Device.h"

// One fault at a time, injected below the product by shims: operator new, SQLite's allocator, its VFS and one wrapped
// call ask each time whether to fail. While a fault is armed, the shims use no memory of their own. For one thread.

/// SQLite's code for a failure names the kind of call: SQLITE_IOERR_READ means reads. These two kinds have no code.
constexpr int CPP_NEW = -1;
constexpr int SQLITE_FINALIZE = -2;

struct Fault {
    const char* name;
    int kind;
    int code = kind; ///< with which the call fails; for CPP_NEW, SQLITE_ABORT throws what is no std::exception
};

/// Lets `skipped` calls of the kind pass. The next one fails, and, if `lasting`, all after it.
void arm(const Fault& fault, long skipped, bool lasting);

/// No call fails any more. Returns how many did.
long disarm();

/// The blocks that operator new and SQLite's allocator have handed out and not got back.
long liveBlocks();

/// While it lives, calls of SQLite's default VFS can fail. A write that fails has written its first half. Nothing
/// waits, and nothing is really synced. Outlives its connections.
struct FaultVfs {
    /// Called before each write, truncation, sync and deletion. Returns SQLITE_OK or the code with which it is to fail.
    /// A write ends at `end` in its file.
    using Observer = std::function<int(int kind, const std::filesystem::path& path, sqlite3_int64 end)>;

    explicit FaultVfs(Observer observer = nullptr);
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
