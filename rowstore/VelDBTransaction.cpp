#include "rowstore/VelDBTransaction.h"

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBStatement.h"

namespace {

constexpr char rollbackSql[] = "ROLLBACK TRANSACTION;";

} // namespace

VelDBTransaction::VelDBTransaction(sqlite3* connection, const VelDBLog& operationLog)
    : db(connection), log(operationLog) {
    runOrRollBack("BEGIN IMMEDIATE TRANSACTION;");
}

VelDBTransaction::~VelDBTransaction() {
    // Asks SQLite, because a failed COMMIT ends the transaction (disk full) or leaves it open (busy). In `commit` the
    // rollback itself may have run out of memory. The statements are finalized now, which frees some, so try again. If
    // that fails too, the next change or the close of the store rolls back.
    if (sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, rollbackSql, nullptr, nullptr, nullptr);
    }
}

void VelDBTransaction::commit() { runOrRollBack("COMMIT TRANSACTION;"); }

void VelDBTransaction::runOrRollBack(const char* sql, int line) {
    // BEGIN also fails when an earlier transaction is still open; the ROLLBACK ends that one. When none is open, the
    // ROLLBACK fails too and logs a second line.
    if (!VelDBStatement::execute(db, sql, log, VelDBLog::Prefix::sqlError, line)) {
        VelDBStatement::execute(db, rollbackSql, log, VelDBLog::Prefix::sqlError);
    }
}
