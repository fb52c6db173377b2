#ifndef ROWSTORE_VELDBLOG_H
#define ROWSTORE_VELDBLOG_H

#include <cstddef>

struct sqlite3;

/// The log lines of one operation of the row store. Each message text stands once, in VelDBLog.cpp.
///
/// Every function logs one line. `countLowered` logs a warning, all others an error. Nothing here throws or allocates.
/// Thread-safe. `line` is the source line of the call, which may be in another file than the operation.
class VelDBLog {
public:
    /// `operationName` is the operation; `subjectName` a table's name or a database's path. Both must outlive the
    /// object.
    VelDBLog(const char* operationName, const char* subjectName) : operation(operationName), subject(subjectName) {}

    /// How a line with SQLite's message begins: "ERROR:" or "sql:ERROR:". Fixed per call: people search logs for it.
    enum class Prefix { error, sqlError };

    /// A statement did not compile or failed as a whole. Logs SQLite's message. The caller must have held a
    /// VelDBConnectionLock since before the failing call.
    [[gnu::cold]] void statementFailed(sqlite3* db, Prefix prefix, int line) const;

    /// A bind, step, reset or finalize returned `code`.
    [[gnu::cold]] void stepFailed(int code, int line) const;

    /// SQLite could not open the database, or refused to close it, and returned `code`.
    void openFailed(int code, int line = __builtin_LINE()) const;
    void closeFailed(int code, int line = __builtin_LINE()) const;

    /// More rows were requested than `limit`.
    void countLowered(std::size_t limit, int line = __builtin_LINE()) const;

    /// No memory for one more row after `allocated` rows.
    void outOfMemory(std::size_t allocated, int line = __builtin_LINE()) const;

    /// `count` queued rows are freed without having been written.
    void rowsLost(std::size_t count, int line = __builtin_LINE()) const;

    /// "Caught Exception in" or "Error in std::string operations in".
    enum class Wording { exception, stringOperations };

    /// Logs the exception being handled; `other` words one that is no std::exception. Call it in a catch block only.
    void caught(Wording other, int line = __builtin_LINE()) const;

    /// As `caught`, for the WHERE clause: its lines do not repeat the operation's name.
    void caughtInClause(int line = __builtin_LINE()) const;

private:
    const char* operation;
    const char* subject;
};

#endif
