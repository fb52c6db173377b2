#include "rowstore/VelDBRowWriter.h"

#include <limits>

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"

namespace {

constexpr unsigned bit(int parameter) { return 1U << static_cast<unsigned>(parameter); }

/// Logs a result that is not 0, with the caller's line.
void check(int code, const VelDBLog& log, int line = __builtin_LINE()) {
    if (code != SQLITE_OK) {
        log.sqlCode(code, line);
    }
}

/// The row id is bound as 32 bits: one that is wider would be cut down to another row's.
bool fitsParameter(std::int64_t rowid) {
    return rowid >= std::numeric_limits<std::int32_t>::min() && rowid <= std::numeric_limits<std::int32_t>::max();
}

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
    if (!fitsParameter(row.rowid)) {
        log.sqlCode(SQLITE_RANGE);
        return;
    }
    Write& write = row.rowid == 0 ? insert : update;
    bindRow(write, row);
    write.statement.run(log);
}

void VelDBRowWriter::bindRow(Write& write, const VelDBRowRef& row) {
    sqlite3_stmt* statement = write.statement.get();
    const unsigned parameters = parametersOf(row);
    // Rows of one kind bind the same parameters, so that most batches never come to this.
    const bool carriesOver = (write.bound & ~parameters) != 0;
    if (carriesOver) {
        sqlite3_clear_bindings(statement);
    }
    write.bound = parameters;
    if ((parameters & bit(parameterIntcol1)) != 0) {
        check(sqlite3_bind_int(statement, parameterIntcol1, row.intcol1), log);
    }
    if ((parameters & bit(parameterAppName)) != 0) {
        check(bindText(statement, parameterAppName, row.appName), log);
    }
    if ((parameters & bit(parameterRsvdName)) != 0) {
        check(bindText(statement, parameterRsvdName, row.rsvdName), log);
    }
    check(sqlite3_bind_blob(statement, parameterBlob, row.payload, static_cast<int>(row.payloadSize), SQLITE_STATIC),
          log);
    if ((parameters & bit(parameterRowid)) != 0) {
        check(sqlite3_bind_int(statement, parameterRowid, static_cast<int>(row.rowid)), log);
    }
}

bool VelDBRowWriter::finalize() {
    const int inserted = insert.statement.finalize();
    check(inserted, log);
    const int updated = update.statement.finalize();
    check(updated, log);
    return inserted == SQLITE_OK && updated == SQLITE_OK;
}

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
    if (!fitsParameter(rowid)) {
        log.sqlCode(SQLITE_RANGE);
        return;
    }
    check(sqlite3_bind_int(statement.get(), parameterDeleteRowid, static_cast<int>(rowid)), log);
    statement.run(log);
}

bool VelDBRowDeleter::finalize() {
    const int finished = statement.finalize();
    check(finished, log);
    return finished == SQLITE_OK;
}
