#ifndef ROWSTORE_VELDBROWDELETER_H
#define ROWSTORE_VELDBROWDELETER_H

#include <cstdint>
#include <string>

#include "rowstore/VelDBStatement.h"

struct sqlite3;
class VelDBLog;

/// The statement of one delete, used for every row of it. One thread at a time.
class VelDBRowDeleter {
public:
    /// Both must outlive the deleter.
    VelDBRowDeleter(sqlite3* connection, const VelDBLog& operationLog);

    /// Compiles the statement; called once. Returns whether that worked; a failure is logged, and nothing may be
    /// deleted then. Throws std::bad_alloc.
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
