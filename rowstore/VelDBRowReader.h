#ifndef ROWSTORE_VELDBROWREADER_H
#define ROWSTORE_VELDBROWREADER_H

#include <string>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBStatement.h"

struct sqlite3;
class VelDBLog;

/// The statement of one read: compiled, stepped row by row, ended. Owns it, so that an exception on the way leaves no
/// statement behind. One thread at a time.
class VelDBRowReader {
public:
    /// Both must outlive the reader.
    VelDBRowReader(sqlite3* connection, const VelDBLog& operationLog);

    /// Compiles the query; called once. Returns whether that worked; a failure is logged.
    bool prepare(const std::string& query);

    /// Moves to the next row. Returns false when there is none or SQLite failed; a failure is logged. Not to be called
    /// again after that: the query would begin anew.
    bool next();

    /// Copies the row that `next` has moved to. A NULL column leaves its field as it is; a blob that is NULL or short
    /// gives what it has and zero for the rest of the payload. Throws std::bad_alloc, also when it was SQLite that ran
    /// out of memory: the row is then filled in part and must not be used.
    void fill(const VelDBRowRef& row);

    /// Ends the statement, before or after its last row; a failure is logged. Without it the destructor ends it
    /// silently.
    void finalize();

private:
    sqlite3* db;
    const VelDBLog& log;
    VelDBStatement statement;
};

#endif
