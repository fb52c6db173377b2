#include "rowstore/VelDBLog.h"

#include <exception>

#include <sqlite3.h>

#include "platform/Log.h"

namespace {

constexpr char component[] = "VELDB";

} // namespace

void VelDBLog::statementFailed(sqlite3* db, Prefix prefix, int line) const {
    const char* message = sqlite3_errmsg(db);
    if (prefix == Prefix::error) {
        VEL_LOG_ERROR("ERROR:Dbt=%s info=%s\n", component, operation, line, subject, message);
    } else {
        VEL_LOG_ERROR("sql:ERROR:Dbt=%s info=%s\n", component, operation, line, subject, message);
    }
}

void VelDBLog::stepFailed(int code, int line) const {
    VEL_LOG_ERROR("sql:ERROR:Dbt=%s info=%d\n", component, operation, line, subject, code);
}

void VelDBLog::openFailed(int code, int line) const {
    VEL_LOG_ERROR("ERROR:Db=%s sql open failed, err=%d\n", component, operation, line, subject, code);
}

void VelDBLog::closeFailed(int code, int line) const {
    VEL_LOG_ERROR("ERROR:Db=%s sql close failed, err=%d\n", component, operation, line, subject, code);
}

void VelDBLog::countLowered(std::size_t limit, int line) const {
    VEL_LOG_WARN("Dbt=%s Restrict reqCnt to %zu\n", component, operation, line, subject, limit);
}

void VelDBLog::outOfMemory(std::size_t allocated, int line) const {
    VEL_LOG_ERROR("ERROR:Dbt=%s new operator failure, allocated=%zu\n", component, operation, line, subject, allocated);
}

void VelDBLog::rowsLost(std::size_t count, int line) const {
    // blstSz no longer counts anything. It stays for those who search logs for the line.
    VEL_LOG_ERROR("ERROR:Dbt=%s blstSz=%d, clstSz=%d\n", component, operation, line, subject, 0,
                  static_cast<int>(count));
}

void VelDBLog::caught(Wording other, int line) const {
    try {
        throw;
    } catch (const std::exception& error) {
        VEL_LOG_ERROR("Caught exception: %s in %s", component, operation, line, error.what(), operation);
    } catch (...) {
        if (other == Wording::exception) {
            VEL_LOG_ERROR("Caught Exception in %s", component, operation, line, operation);
        } else {
            VEL_LOG_ERROR("Error in std::string operations in %s", component, operation, line, operation);
        }
    }
}

void VelDBLog::caughtInClause(int line) const {
    try {
        throw;
    } catch (const std::exception& error) {
        VEL_LOG_ERROR("Caught exception: %s", component, operation, line, error.what());
    } catch (...) {
        VEL_LOG_ERROR("Error in std::string operations", component, operation, line);
    }
}
