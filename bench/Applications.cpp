#include <memory>
#include <stdexcept>

#include <sqlite3.h>

#include "bench/Job.h"

std::string bench::applicationName(unsigned number) {
    const std::string digits = std::to_string(number);
    return "com.example.app" + std::string(digits.size() < 5 ? 5 - digits.size() : 0, '0') + digits;
}

void bench::storeApplications(const std::string& fileName, const std::string& table, const std::string& payload,
                              unsigned count) {
    const std::string path = "/data/vendor/vel/" + fileName;
    sqlite3* handle = nullptr;
    const int opened = sqlite3_open(path.c_str(), &handle);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(handle, sqlite3_close);
    // One statement for all rows: under valgrind the filling would otherwise take longer than the measurement.
    const std::string text =
        "PRAGMA journal_mode=WAL;"
        "CREATE TABLE " +
        table +
        "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB);"
        "WITH RECURSIVE applications(number) AS (VALUES(0) UNION ALL SELECT number + 1 FROM applications)"
        "INSERT INTO " +
        table + " SELECT NULL, printf('com.example.app%05d', number), NULL, x'" + payload +
        "'"
        " FROM applications LIMIT " +
        std::to_string(count);
    if (opened != SQLITE_OK || sqlite3_exec(handle, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(handle));
    }
}
