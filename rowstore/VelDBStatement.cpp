#include "rowstore/VelDBStatement.h"

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"

VelDBStatement::~VelDBStatement() { sqlite3_finalize(handle); }

bool VelDBStatement::prepare(sqlite3* db, const std::string& sql) {
    return sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &handle, nullptr) == SQLITE_OK;
}

void VelDBStatement::run(const VelDBLog& log) {
    const int stepped = sqlite3_step(handle);
    if (stepped != SQLITE_DONE) {
        log.sqlCode(stepped);
    }
    const int reset = sqlite3_reset(handle);
    if (reset != SQLITE_OK) {
        log.sqlCode(reset);
    }
}

int VelDBStatement::finalize() {
    sqlite3_stmt* finished = handle;
    handle = nullptr;
    return sqlite3_finalize(finished);
}
