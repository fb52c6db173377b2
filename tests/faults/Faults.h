#ifndef TESTS_FAULTS_FAULTS_H
#define TESTS_FAULTS_FAULTS_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "tests/support/Device.h"

// One fault at a time, below the product. This executable replaces operator new, SQLite's allocator and
// sqlite3_finalize; FaultVfs replaces SQLite's file calls. While one is armed, a failed EXPECT may throw: it has no
// memory for its message. Not thread-safe.

/// A kind of call that can fail.
enum class Call { none, operatorNew, operatorNewThrowingInt, sqliteMemory, finalize, file };

/// Lets `passing` calls of the kind pass. The next one fails, and, if `lasting`, all after it.
void arm(Call call, long passing, bool lasting);

/// No call fails any more. Returns whether one did.
bool disarm();

/// The number of blocks from operator new that are in use.
long liveBlocks();

enum class FileChange { write, truncate, sync, remove };

/// While it lives, these file calls of SQLite can fail: open (SQLITE_CANTOPEN), lock (SQLITE_BUSY), write (SQLITE_FULL,
/// after half of the bytes), read, truncate, sync, delete and map of shared memory (SQLITE_IOERR). A wait returns at
/// once; a sync does nothing. Create it after the Device. Destroy it after all connections.
struct FaultVfs {
    /// Called before each change of a file.
    using Observer = std::function<void(FileChange change, const char* path)>;

    explicit FaultVfs(Observer observer = [](FileChange, const char*) {});
    ~FaultVfs();
    FaultVfs(const FaultVfs&) = delete;
};

/// The rows of both tables of the feature "Tessary". From table and row id ("HeavyGame 3") to the other columns.
using StoredRows = std::map<std::string, std::string>;

/// Reads both tables. Expects that SQLite finds the files sound.
StoredRows readRows(const std::filesystem::path& folder);

/// Returns, as "HeavyGame 3: columns", each row of `now` that is neither as in `before` nor as in `after`. A row that
/// is absent has empty columns.
Lines neitherOldNorNew(StoredRows before, StoredRows after, StoredRows now);

#endif
