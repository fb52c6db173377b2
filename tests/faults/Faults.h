#ifndef TESTS_FAULTS_FAULTS_H
#define TESTS_FAULTS_FAULTS_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "tests/support/Device.h"

// One fault at a time, below the product. This executable replaces operator new, SQLite's allocator and
// sqlite3_finalize. FaultVfs replaces SQLite's file calls. Each asks first whether it is to fail. For one thread.

/// A kind of call that can fail. `foreignNew` is operator new too: it throws an int in place of std::bad_alloc.
enum class Call { none, operatorNew, foreignNew, sqliteMemory, finalize, file };

/// Lets `passing` calls of the kind pass. The next one fails, and, if `lasting`, all after it.
void arm(Call call, long passing, bool lasting);

/// No call fails any more. Returns how many did.
long disarm();

/// The blocks that operator new has handed out and not got back.
long liveBlocks();

enum class FileChange { write, truncate, sync, remove };

/// While it lives, the file calls of SQLite's default VFS can fail: a lock is busy, the disk is full after half of a
/// write, all others report an I/O error. Nothing waits, and nothing is really synced. Outlives its connections.
struct FaultVfs {
    /// Called before each change of a file.
    using Observer = std::function<void(FileChange change, const std::filesystem::path& path)>;

    explicit FaultVfs(Observer observer = nullptr);
    ~FaultVfs();
    FaultVfs(const FaultVfs&) = delete;
};

/// What both tables of the feature "Tessary" hold: "TABLE ROWID" to the row's other columns.
using StoredRows = std::map<std::string, std::string>;

/// Expects sound files.
StoredRows readRows(const std::filesystem::path& folder);

/// The rows of `now` that are neither as in `before` nor as in `after`. A row can also be absent.
Lines neitherOldNorNew(const StoredRows& before, const StoredRows& after, const StoredRows& now);

#endif
