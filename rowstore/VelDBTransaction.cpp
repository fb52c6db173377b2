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
    rollback.prepare(db, rollbackSql);
    runOrRollBack(beginSql);
}

VelDBTransaction::~VelDBTransaction() {
    // A failed commit may have ended the transaction already (a full disk) or not (a busy database): SQLite knows.
    if (sqlite3_get_autocommit(db) == 0) {
        rollBack();
    }
}

void VelDBTransaction::commit() { runOrRollBack(commitSql); }

void VelDBTransaction::runOrRollBack(const char* sql) {
    if (execute(db, sql) == SQLITE_OK) {
        return;
    }
    log.sqlMessage(db);
    if (rollBack() != SQLITE_OK) {
        log.sqlMessage(db);
    }
}

int VelDBTransaction::rollBack() {
    if (rollback.get() == nullptr) {
        return execute(db, rollbackSql);
    }
    sqlite3_step(rollback.get());
    return sqlite3_reset(rollback.get());
}
