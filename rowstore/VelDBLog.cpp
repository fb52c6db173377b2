#include "rowstore/VelDBLog.h"

#include <exception>

#include <sqlite3.h>

#include "platform/Log.h"

namespace {

/// The component word of every line of the row store.
constexpr char component[] = "VELDB";

} // namespace

void VelDBLog::message(sqlite3* db, int line) const {
    VEL_LOG_ERROR("ERROR:Dbt=%s info=%s\n", component, operation, line, subject, sqlite3_errmsg(db));
}

void VelDBLog::sqlMessage(sqlite3* db, int line) const {
    VEL_LOG_ERROR("sql:ERROR:Dbt=%s info=%s\n", component, operation, line, subject, sqlite3_errmsg(db));
}

void VelDBLog::sqlCode(int code, int line) const {
    VEL_LOG_ERROR("sql:ERROR:Dbt=%s info=%d\n", component, operation, line, subject, code);
}

void VelDBLog::openFailed(int code, int line) const {
    VEL_LOG_ERROR("ERROR:Db=%s sql open failed, err=%d\n", component, operation, line, subject, code);
}

void VelDBLog::closeFailed(int code, int line) const {
    VEL_LOG_ERROR("ERROR:Db=%s sql close failed, err=%d\n", component, operation, line, subject, code);
}

void VelDBLog::restricted(std::size_t limit, int line) const {
    VEL_LOG_WARN("Dbt=%s Restrict reqCnt to %zu\n", component, operation, line, subject, limit);
}

void VelDBLog::noMemory(std::size_t allocated, int line) const {
    VEL_LOG_ERROR("ERROR:Dbt=%s new operator failure, allocated=%zu\n", component, operation, line, subject, allocated);
}

void VelDBLog::unwritten(std::size_t count, int line) const {
    // blstSz counts nothing any more; the line keeps its form for those who search logs for it.
    VEL_LOG_ERROR("ERROR:Dbt=%s blstSz=%d, clstSz=%d\n", component, operation, line, subject, 0,
                  static_cast<int>(count));
}

void VelDBLog::caught(Wording wording, int line) const {
    // Thrown once more to learn its type: every operation's catch block needs the same three lines.
    try {
        throw;
    } catch (const std::exception& error) {
        VEL_LOG_ERROR("Caught exception: %s in %s", component, operation, line, error.what(), operation);
    } catch (...) {
        if (wording == Wording::exception) {
            VEL_LOG_ERROR("Caught Exception in %s", component, operation, line, operation);
        } else {
            VEL_LOG_ERROR("Error in std::string operations in %s", component, operation, line, operation);
        }
    }
}

void VelDBLog::caughtComposing(int line) const {
    try {
        throw;
    } catch (const std::exception& error) {
        VEL_LOG_ERROR("Caught exception: %s", component, operation, line, error.what());
    } catch (...) {
        VEL_LOG_ERROR("Error in std::string operations", component, operation, line);
    }
}
