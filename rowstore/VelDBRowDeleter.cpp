#include "rowstore/VelDBRowDeleter.h"

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"

VelDBRowDeleter::VelDBRowDeleter(sqlite3* connection, const VelDBLog& operationLog)
    : db(connection), log(operationLog) {}

bool VelDBRowDeleter::prepare(const std::string& tableName) {
    std::string query;
    composeDelete(tableName, query);
    if (!statement.prepare(db, query)) {
        log.sqlMessage(db);
        return false;
    }
    return true;
}

void VelDBRowDeleter::remove(std::int64_t rowid) {
    if (rowid == 0) {
        return;
    }
    if (!VelDBStatement::canBind(rowid)) {
        log.sqlResult(SQLITE_RANGE);
        return;
    }
    log.sqlResult(sqlite3_bind_int(statement.get(), parameterDeleteRowid, static_cast<int>(rowid)));
    statement.run(log);
}

bool VelDBRowDeleter::finalize() {
    const int finished = statement.finalize();
    log.sqlResult(finished);
    return finished == SQLITE_OK;
}
