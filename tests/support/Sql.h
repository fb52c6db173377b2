#ifndef TESTS_SUPPORT_SQL_H
#define TESTS_SUPPORT_SQL_H

#include <filesystem>
#include <string>

#include <sqlite3.h>

#include "tests/support/Device.h"

/// A second connection to a database file, created when missing.
class Sql {
public:
    explicit Sql(const std::filesystem::path& file);
    ~Sql() { sqlite3_close(db); }
    Sql(const Sql&) = delete;

    /// Runs statements and returns the first column of what they answer. Throws std::runtime_error with SQLite's
    /// message.
    Lines run(const std::string& statements);

    /// The rows of a table, as SQL writes them: rowid, intcol1, appName, rsvdName and blob.
    Lines table(const std::string& name, const std::string& condition = "1");

private:
    sqlite3* db = nullptr;
};

/// Records, in order, what is run by connections that open while it lives. Leaves out those of Sql. One at a time.
struct StatementTrace {
    StatementTrace();
    ~StatementTrace();
    StatementTrace(const StatementTrace&) = delete;

    /// The statements since the last call.
    static Lines take();
};

#endif
