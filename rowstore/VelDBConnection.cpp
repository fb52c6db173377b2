#include "rowstore/VelDBConnection.h"

#include <utility>

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"
#include "rowstore/VelDBStatement.h"

namespace {

/// Frames that the write-ahead log may hold before a commit copies them to the database. SQLite's default of 1,000 lets
/// the log grow to 4 MB. Two stores must fit on a volume of 512 KiB, even while a read keeps the log from being reused.
constexpr int checkpointFrames = 40;

std::string composePath(const std::string& dbDir, const std::string& dbFileName) {
    return dbFileName.empty() ? ":memory:" : dbDir + dbFileName;
}

void logCaught(const char* operation, int line = __builtin_LINE()) {
    VelDBLog(operation, "").caught(VelDBLog::Wording::exception, line);
}

void enableWriteAheadLog(sqlite3* db, const VelDBLog& log) {
    // At every open, because another program may have made the file in another mode. On a file system without shared
    // memory SQLite keeps the old mode and reports no error.
    VelDBStatement::execute(db, "PRAGMA journal_mode=WAL", log, VelDBLog::Prefix::sqlError);
    sqlite3_wal_autocheckpoint(db, checkpointFrames); // cannot fail on an open connection
}

void logCloseFailure(const std::string& dbDir, const std::string& dbFileName, int code) {
    try {
        const std::string path = composePath(dbDir, dbFileName); // only here: a close that works allocates nothing
        VelDBLog("closeVeldb", path.c_str()).closeFailed(code);
    } catch (...) {
        logCaught("closeVeldb");
    }
}

} // namespace

veldbError openConnection(const std::string& dbDir, const std::string& dbFileName, sqlite3*& db) {
    try {
        const std::string path = composePath(dbDir, dbFileName);
        const VelDBLog log("openVeldb", path.c_str());
        const int code = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
        if (code != SQLITE_OK) {
            log.openFailed(code);
            closeConnection(dbDir, dbFileName, db); // a failed open leaves a handle too
            return VELDB_FAILURE;
        }
        if (!dbFileName.empty()) {
            enableWriteAheadLog(db, log);
        }
        return VELDB_SUCCESS;
    } catch (...) {
        logCaught("openVeldb");
        return VELDB_FAILURE;
    }
}

veldbError closeConnection(const std::string& dbDir, const std::string& dbFileName, sqlite3*& db) {
    if (db == nullptr) {
        return VELDB_SUCCESS;
    }
    // Not sqlite3_close_v2: with a statement left, it would put the close off and report success.
    const int code = sqlite3_close(std::exchange(db, nullptr));
    if (code != SQLITE_OK) {
        logCloseFailure(dbDir, dbFileName, code);
        return VELDB_FAILURE;
    }
    return VELDB_SUCCESS;
}

veldbError createTable(sqlite3* db, const std::string& tableName) {
    if (db == nullptr) {
        return VELDB_SUCCESS;
    }
    try {
        const VelDBLog log("createVeldbTables", tableName.c_str());
        const std::string query = composeCreate(tableName);
        const bool created = VelDBStatement::execute(db, query.c_str(), log, VelDBLog::Prefix::error);
        return created ? VELDB_SUCCESS : VELDB_FAILURE;
    } catch (...) {
        // Not a failure: the table may exist. If it does not, the first statement that uses it fails and is logged.
        logCaught("createVeldbTables");
        return VELDB_SUCCESS;
    }
}
