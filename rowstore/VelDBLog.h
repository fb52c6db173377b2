#ifndef ROWSTORE_VELDBLOG_H
#define ROWSTORE_VELDBLOG_H

#include <cstddef>

struct sqlite3;

/// The log lines of one operation of the row store: each message text stands once, in VelDBLog.cpp.
///
/// An object carries the operation's name and the subject of its lines, a table name or a database path. Both are
/// borrowed and must outlive it. Nothing here throws or allocates. Every call logs one line; all are errors but
/// `restricted`, a warning. Callable from any thread.
///
/// The number in a line is the source line of the call, in the file that makes it: that is not always the file of the
/// operation (a row that cannot be written is logged as of "writeCachedDRToDisk" from VelDBStatement.cpp).
class VelDBLog {
public:
    /// Lines of the operation called `operationName` on `subjectName`.
    VelDBLog(const char* operationName, const char* subjectName) : operation(operationName), subject(subjectName) {}

    /// The table could not be made, or a write statement not be compiled: SQLite's message. Here and below, nothing
    /// else may have been called on `db` since the failure.
    void message(sqlite3* db, int line = __builtin_LINE()) const;

    /// Any other statement failed as a whole: SQLite's message, in the form that begins with "sql:".
    void sqlMessage(sqlite3* db, int line = __builtin_LINE()) const;

    /// A step in a statement's life answered `code`: logged, in the form that begins with "sql:", unless it is
    /// SQLITE_OK.
    void sqlResult(int code, int line = __builtin_LINE()) const {
        if (code != 0) {
            sqlCode(code, line);
        }
    }

    /// SQLite could not open, or refused to close, the database: its result code.
    void openFailed(int code, int line = __builtin_LINE()) const;
    void closeFailed(int code, int line = __builtin_LINE()) const;

    /// More rows were requested than `limit`.
    void restricted(std::size_t limit, int line = __builtin_LINE()) const;

    /// Memory ran out after `allocated` rows.
    void noMemory(std::size_t allocated, int line = __builtin_LINE()) const;

    /// `count` queued rows are freed unwritten.
    void unwritten(std::size_t count, int line = __builtin_LINE()) const;

    /// How a line speaks of an exception that is no std::exception: two wordings are in use, and readers of logs know
    /// both.
    enum class Wording { exception, stringOperations };

    /// Logs the exception being handled; only to be called from a catch block.
    void caught(Wording wording, int line = __builtin_LINE()) const;

    /// As `caught`, in the form that leaves out the operation's name at the end.
    void caughtComposing(int line = __builtin_LINE()) const;

private:
    void sqlCode(int code, int line) const;

    const char* operation;
    const char* subject;
};

#endif
