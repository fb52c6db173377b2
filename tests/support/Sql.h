#ifndef TESTS_SUPPORT_SQL_H
#define TESTS_SUPPORT_SQL_H

#include <filesystem>
#include <string>

#include <sqlite3.h>

#include "tests/support/Device.h"

/// A connection beside the product's. Creates a missing file.
class Sql {
public:
    explicit Sql(const std::filesystem::path& file);
    ~Sql() { sqlite3_close(db); }
    Sql(const Sql&) = delete;

    /// Runs statements. Returns the first column of each row that they answer; it must not be NULL. Throws
    /// std::runtime_error with SQLite's message.
    Lines run(const std::string& statements);

    /// The rows that fulfil an SQL condition, each as "rowid,intcol1,appName,rsvdName,blob" in SQL's notation.
    Lines table(const std::string& name, const std::string& condition = "1");

private:
    sqlite3* db = nullptr;
};

/// Records the statements of connections that open while it lives, except Sql objects. Holds 64 KiB. One at a time.
struct StatementTrace {
    StatementTrace();
    ~StatementTrace();
    StatementTrace(const StatementTrace&) = delete;

    /// The statements since the last call.
    static Lines take();
};

#endif
