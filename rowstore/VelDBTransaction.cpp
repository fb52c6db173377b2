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
    // Asks SQLite, because a failed COMMIT ends the transaction (disk full) or leaves it open (busy). The rollback can
    // itself run out of memory in `commit`; by now the call's statements may have freed some. If it fails again, the
    // next change or the close of the store rolls back.
    if (sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, rollbackSql, nullptr, nullptr, nullptr);
    }
}

void VelDBTransaction::commit() { runOrRollBack("COMMIT TRANSACTION;"); }

void VelDBTransaction::runOrRollBack(const char* sql, int line) {
    // A BEGIN fails also when an earlier transaction could not be rolled back: this ROLLBACK ends it. It fails, and
    // says so, when none is open.
    if (!VelDBStatement::execute(db, sql, log, VelDBLog::Prefix::sqlError, line)) {
        VelDBStatement::execute(db, rollbackSql, log, VelDBLog::Prefix::sqlError);
    }
}
