#include "rowstore/VelDBTransaction.h"

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"

namespace {

constexpr char beginSql[] = "BEGIN IMMEDIATE TRANSACTION;";
constexpr char commitSql[] = "COMMIT TRANSACTION;";
constexpr char rollbackSql[] = "ROLLBACK TRANSACTION;";

int execute(sqlite3* db, const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

} // namespace

VelDBTransaction::VelDBTransaction(sqlite3* connection, const VelDBLog& operationLog)
    : db(connection), log(operationLog) {
    runOrRollBack(beginSql);
}

VelDBTransaction::~VelDBTransaction() {
    // A failed commit may have ended the transaction already (a full disk) or not (a busy database): SQLite knows.
    // If memory ran out even for the rollback, it is tried once more here, after the call's statements have given back
    // theirs. A transaction that outlives that too is rolled back by the next change, or when the store closes.
    if (sqlite3_get_autocommit(db) == 0) {
        execute(db, rollbackSql);
    }
}

void VelDBTransaction::commit() { runOrRollBack(commitSql); }

void VelDBTransaction::runOrRollBack(const char* sql, int line) {
    if (execute(db, sql) == SQLITE_OK) {
        return;
    }
    log.sqlMessage(db, line);
    if (execute(db, rollbackSql) != SQLITE_OK) {
        log.sqlMessage(db);
    }
}
