#ifndef ROWSTORE_VELDBROWWRITER_H
#define ROWSTORE_VELDBROWWRITER_H

#include <cstdint>
#include <string>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBStatement.h"

class VelDBLog;

/// The two statements of one write-back, which insert new rows and update stored ones. One thread at a time.
class VelDBRowWriter {
public:
    /// Both must outlive the writer.
    VelDBRowWriter(sqlite3* connection, const VelDBLog& operationLog);

    /// Compiles both statements; called once. Returns whether that worked; a failure is logged.
    /// Throws std::bad_alloc.
    bool prepare(const std::string& tableName);

    /// Inserts a row whose row id is 0 and updates any other in place. Failures are logged. A row id that does not fit
    /// the statement's 32-bit parameter is refused with SQLITE_RANGE, so that no other row is ever reached.
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

/// The statement of one delete, used for every row of it. One thread at a time.
class VelDBRowDeleter {
public:
    /// Both must outlive the deleter.
    VelDBRowDeleter(sqlite3* connection, const VelDBLog& operationLog);

    /// Compiles the statement; called once. Returns whether that worked; a failure is logged. Throws std::bad_alloc.
    bool prepare(const std::string& tableName);

    /// Deletes the row with this id, if there is one. Failures are logged. Row id 0, of a row that was never stored, is
    /// skipped; one beyond 32 bits is refused as in VelDBRowWriter::write.
    void remove(std::int64_t rowid);

    /// Ends the statement. Returns whether it ended well; a failure is logged.
    bool finalize();

private:
    sqlite3* db;
    const VelDBLog& log;
    VelDBStatement statement;
};

#endif
