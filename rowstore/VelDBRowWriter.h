#ifndef ROWSTORE_VELDBROWWRITER_H
#define ROWSTORE_VELDBROWWRITER_H

#include <string>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBStatement.h"

struct sqlite3;
class VelDBLog;

/// The two statements of one write-back, which insert new rows and update stored ones. One thread at a time.
class VelDBRowWriter {
public:
    /// Both must outlive the writer.
    VelDBRowWriter(sqlite3* connection, const VelDBLog& operationLog);

    /// Compiles both statements; called once. Returns whether that worked; a failure is logged, and nothing may be
    /// written then. Throws std::bad_alloc.
    bool prepare(const std::string& tableName);

    /// Inserts a row whose row id is 0 and updates any other in place. Failures are logged. A row id that does not fit
    /// the statement's 32-bit parameter is refused with SQLITE_RANGE, so that no other row is ever reached.
    /// A value that cannot be bound is logged and left out: the row is written without it.
    /// The row must live until no other is written: its text and blob are bound where they are.
    void write(const VelDBRowRef& row);

    /// Ends both statements. Returns whether both ended well; a failure is logged.
    bool finalize();

private:
    /// One of the two statements, and what its last row left bound.
    struct Write {
        VelDBStatement statement;
        unsigned bound = 0; ///< one bit a parameter that the last row has bound
    };

    /// Binds what the row holds; what only the row before it held is cleared first.
    void bindRow(Write& write, const VelDBRowRef& row);

    sqlite3* db;
    const VelDBLog& log;
    Write insert;
    Write update;
};

#endif
