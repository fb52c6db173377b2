#include "rowstore/VelDBStatement.h"

#include <algorithm>
#include <limits>

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"

VelDBStatement::~VelDBStatement() { sqlite3_finalize(handle); }

int VelDBStatement::sizeOf(const std::string& text) {
    constexpr std::size_t largest = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(text.size(), largest));
}

bool VelDBStatement::canBind(std::int64_t rowid) {
    using Bound = std::numeric_limits<std::int32_t>;
    return rowid >= Bound::min() && rowid <= Bound::max();
}

bool VelDBStatement::prepare(sqlite3* db, const std::string& sql) {
    return sqlite3_prepare_v2(db, sql.data(), sizeOf(sql), &handle, nullptr) == SQLITE_OK;
}

void VelDBStatement::run(const VelDBLog& log) {
    // The reset repeats the step's failure; both lines are wanted, so that a log shows which of the two began it.
    const int stepped = sqlite3_step(handle);
    if (stepped != SQLITE_DONE) {
        log.sqlResult(stepped);
    }
    log.sqlResult(sqlite3_reset(handle));
}

int VelDBStatement::finalize() {
    // Let go first: the destructor must not end it again.
    sqlite3_stmt* finished = handle;
    handle = nullptr;
    return sqlite3_finalize(finished);
}
