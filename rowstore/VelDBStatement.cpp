#include "rowstore/VelDBStatement.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

/// Clamped to INT_MAX, which SQLite rejects. Truncated, the text would lose its end.
int sizeOf(const std::string& text) {
    constexpr std::size_t largest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(text.size(), largest));
}

} // namespace

VelDBConnectionLock::VelDBConnectionLock(sqlite3* db) : mutex(sqlite3_db_mutex(db)) { sqlite3_mutex_enter(mutex); }

VelDBConnectionLock::~VelDBConnectionLock() { sqlite3_mutex_leave(mutex); }

VelDBStatement::~VelDBStatement() { sqlite3_finalize(handle); }

void VelDBStatement::check(int code, int line) const {
    if (code != SQLITE_OK) {
        log.stepFailed(code, line);
    }
}

bool VelDBStatement::execute(sqlite3* db, const char* sql, const VelDBLog& log, VelDBLog::Prefix prefix, int line) {
    const VelDBConnectionLock lock(db);
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        log.statementFailed(db, prefix, line);
        return false;
    }
    return true;
}

bool VelDBStatement::prepare(const std::string& sql, VelDBLog::Prefix prefix, int line) {
    const VelDBConnectionLock lock(db);
    if (sqlite3_prepare_v2(db, sql.data(), sizeOf(sql), &handle, nullptr) != SQLITE_OK) {
        log.statementFailed(db, prefix, line);
        return false;
    }
    return true;
}

void VelDBStatement::remove(std::int64_t rowid) {
    bindRowid(parameterDeleteRowid, rowid);
    run();
}

bool VelDBStatement::next() {
    if (sqlite3_step(handle) == SQLITE_ROW) {
        return true;
    }
    // Resetting returns 0 after the last row, and the step's failure otherwise.
    check(sqlite3_reset(handle));
    return false;
}

bool VelDBStatement::finalize(int line) {
    const int code = sqlite3_finalize(std::exchange(handle, nullptr));
    check(code, line);
    return code == SQLITE_OK;
}

bool VelDBStatement::noteValue(int parameter, bool hasValue) {
    if (!hasValue && bound[parameter]) {
        sqlite3_bind_null(handle, parameter); // cannot fail: the parameter exists
    }
    bound[parameter] = hasValue;
    return hasValue;
}

void VelDBStatement::bindText(int parameter, const std::string& text) {
    if (!noteValue(parameter, !text.empty())) {
        return;
    }
    const int code = sqlite3_bind_text(handle, parameter, text.data(), sizeOf(text), SQLITE_STATIC);
    if (code != SQLITE_OK) {
        check(code);
        sqlite3_bind_null(handle, parameter); // some versions of SQLite keep a text that they reject
    }
}

void VelDBStatement::bindRowid(int parameter, std::int64_t rowid) {
    // Another program can cause ids beyond 32 bits. Cut short, one would name another application's row.
    using Int = std::numeric_limits<int>;
    const bool fits = rowid >= Int::min() && rowid <= Int::max();
    check(fits ? sqlite3_bind_int(handle, parameter, static_cast<int>(rowid))
               : sqlite3_bind_int64(handle, parameter, rowid));
}

void VelDBStatement::run() {
    const int stepped = sqlite3_step(handle);
    if (stepped != SQLITE_DONE) {
        check(stepped);
    }
    // After a failed step, reset returns the same code. Both are logged: the source lines tell them apart.
    check(sqlite3_reset(handle));
}

void VelDBStatement::assignText(int column, std::string& text) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle, column));
    if (bytes != nullptr) {
        // With its length: a text may hold any bytes, NUL included.
        text = std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle, column)));
    }
}
