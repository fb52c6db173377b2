#include "rowstore/VelDBConnection.h"

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"

namespace {

/// An empty file name means a database in memory. The directory ends in a slash of its own.
std::string composePath(const std::string& dbDir, const std::string& dbFileName) {
    return dbFileName.empty() ? ":memory:" : dbDir + dbFileName;
}

void logCaught(const char* operation, int line = __builtin_LINE()) {
    VelDBLog(operation, "").caught(VelDBLog::Wording::exception, line);
}

/// The journal mode is kept in the file, but a file may come from elsewhere: asked for at every open.
void enableWriteAheadLog(sqlite3* db, const VelDBLog& log) {
    // Where there is no shared memory SQLite keeps the old mode without an error, and nothing is logged.
    if (sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr) != SQLITE_OK) {
        log.sqlMessage(db);
    }
}

/// The path is composed here, for the message alone: a close that works needs no memory.
void logCloseFailure(const std::string& dbDir, const std::string& dbFileName, int code) {
    try {
        const std::string path = composePath(dbDir, dbFileName);
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
            closeConnection(dbDir, dbFileName, db); // a failed open leaves a handle as well
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
    // Not sqlite3_close_v2, which would put the close off without a word while a statement is left.
    const int code = sqlite3_close(db);
    // Whatever SQLite answered, the handle is not used again: not by a later operation, nor by the destructor.
    db = nullptr;
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
        if (sqlite3_exec(db, query.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) {
            return VELDB_SUCCESS;
        }
        log.message(db);
        return VELDB_FAILURE;
    } catch (...) {
        // Not a failure: the table may well be there. If not, the first statement on it says so.
        logCaught("createVeldbTables");
        return VELDB_SUCCESS;
    }
}
