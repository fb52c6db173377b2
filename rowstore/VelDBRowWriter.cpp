#include "rowstore/VelDBRowWriter.h"

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"

namespace {

constexpr unsigned bit(int parameter) { return 1U << static_cast<unsigned>(parameter); }

/// Binds the text where it is, without a copy: the row outlives the step.
int bindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
    return sqlite3_bind_text(statement, parameter, text.data(), VelDBStatement::sizeOf(text), SQLITE_STATIC);
}

/// The parameters that hold a value in this row, one bit each.
unsigned parametersOf(const VelDBRowRef& row) {
    unsigned parameters = bit(parameterBlob);
    parameters |= row.intcol1 != VELDB_NO_VALUE ? bit(parameterIntcol1) : 0;
    parameters |= !row.appName.empty() ? bit(parameterAppName) : 0;
    parameters |= !row.rsvdName.empty() ? bit(parameterRsvdName) : 0;
    parameters |= row.rowid != 0 ? bit(parameterRowid) : 0;
    return parameters;
}

} // namespace

VelDBRowWriter::VelDBRowWriter(sqlite3* connection, const VelDBLog& operationLog) : db(connection), log(operationLog) {}

bool VelDBRowWriter::prepare(const std::string& tableName) {
    // Both before the transaction: what fails here leaves the queue as it is.
    std::string query;
    composeInsert(tableName, query);
    if (!insert.statement.prepare(db, query)) {
        log.message(db);
        return false;
    }
    composeUpdate(tableName, query);
    if (!update.statement.prepare(db, query)) {
        log.message(db);
        return false;
    }
    return true;
}

void VelDBRowWriter::write(const VelDBRowRef& row) {
    if (!VelDBStatement::canBind(row.rowid)) {
        log.sqlResult(SQLITE_RANGE);
        return;
    }
    Write& write = row.rowid == 0 ? insert : update;
    bindRow(write, row);
    write.statement.run(log);
}

void VelDBRowWriter::bindRow(Write& write, const VelDBRowRef& row) {
    sqlite3_stmt* statement = write.statement.get();
    const unsigned parameters = parametersOf(row);
    // Rows of one kind bind the same parameters, so that most batches never come to this. Cleared for every row, a
    // batch would not keep its limit (bench/StoreJobs.cpp).
    const bool carriesOver = (write.bound & ~parameters) != 0;
    if (carriesOver) {
        sqlite3_clear_bindings(statement);
    }
    write.bound = parameters;
    if ((parameters & bit(parameterIntcol1)) != 0) {
        log.sqlResult(sqlite3_bind_int(statement, parameterIntcol1, row.intcol1));
    }
    if ((parameters & bit(parameterAppName)) != 0) {
        log.sqlResult(bindText(statement, parameterAppName, row.appName));
    }
    if ((parameters & bit(parameterRsvdName)) != 0) {
        log.sqlResult(bindText(statement, parameterRsvdName, row.rsvdName));
    }
    log.sqlResult(
        sqlite3_bind_blob(statement, parameterBlob, row.payload, static_cast<int>(row.payloadSize), SQLITE_STATIC));
    if ((parameters & bit(parameterRowid)) != 0) {
        log.sqlResult(sqlite3_bind_int(statement, parameterRowid, static_cast<int>(row.rowid)));
    }
}

bool VelDBRowWriter::finalize() {
    // Both are ended, whatever the first one answers.
    const int inserted = insert.statement.finalize();
    log.sqlResult(inserted);
    const int updated = update.statement.finalize();
    log.sqlResult(updated);
    return inserted == SQLITE_OK && updated == SQLITE_OK;
}
