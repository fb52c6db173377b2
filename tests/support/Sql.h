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

    /// Runs statements and returns the rows they answer, columns joined by commas: 5, 'text as it is', X'0AFF', NULL.
    /// Throws std::runtime_error with SQLite's message.
    Lines run(const std::string& statements);

    /// The whole table, with the row ids before the columns.
    Lines table(const std::string& name) { return run("SELECT rowid, * FROM " + name + " ORDER BY rowid"); }

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
