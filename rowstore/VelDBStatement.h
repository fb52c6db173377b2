#ifndef ROWSTORE_VELDBSTATEMENT_H
#define ROWSTORE_VELDBSTATEMENT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include <sqlite3.h>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"

/// Holds SQLite's own lock of a connection. SQLite keeps one error message per connection. Without the lock, a call on
/// another thread could replace the message before it is read. Recursive: SQLite's calls take the same lock. No-op when
/// SQLite was built without locks.
class VelDBConnectionLock {
public:
    explicit VelDBConnectionLock(sqlite3* db);
    ~VelDBConnectionLock();

    VelDBConnectionLock(const VelDBConnectionLock&) = delete;
    VelDBConnectionLock& operator=(const VelDBConnectionLock&) = delete;

private:
    sqlite3_mutex* mutex;
};

/// Owns one statement: compiled once, run for each row, finalized. Logs what fails.
/// Must be destroyed before its connection is closed. Not thread-safe.
class VelDBStatement {
public:
    /// Holds nothing before `prepare`. Both arguments must outlive the object.
    VelDBStatement(sqlite3* connection, const VelDBLog& operationLog) : db(connection), log(operationLog) {}

    /// Finalizes the statement unless `finalize` has. Logs nothing.
    ~VelDBStatement();

    VelDBStatement(const VelDBStatement&) = delete;
    VelDBStatement& operator=(const VelDBStatement&) = delete;

    /// Compiles and runs `sql`; drops any rows that it returns. Logs a failure and returns false.
    static bool execute(sqlite3* db, const char* sql, const VelDBLog& log, VelDBLog::Prefix prefix,
                        int line = __builtin_LINE());

    /// Compiles `sql`. Call once. Logs a failure and returns false; nothing may be run then.
    bool prepare(const std::string& sql, VelDBLog::Prefix prefix, int line = __builtin_LINE());

    /// Runs an insert or update for `row`. Logs failures. Stores NULL for a field without a value and for a value that
    /// cannot be bound. The row may be freed afterwards.
    template <typename T>
    void write(const VelDBDataRow<T>& row);

    /// Runs a delete for the row with this id.
    void remove(std::int64_t rowid);

    /// Moves a read to its next row. Returns false after the last row, and when the step fails, which is logged. Do not
    /// call it again then: the query would start over.
    bool next();

    /// Copies the row that `next` moved to. A NULL column leaves its field unchanged. A blob that is NULL or too short
    /// is padded with zeros. Can throw std::bad_alloc; `row` is then incomplete. The caller must hold the lock of the
    /// connection from before `next`.
    template <typename T>
    void fill(VelDBDataRow<T>& row) const;

    /// Ends the statement. Logs a failure that SQLite reports and returns false; the statement is gone either way.
    bool finalize(int line = __builtin_LINE());

private:
    /// Notes whether this row has a value for `parameter`, and returns that. If not, unbinds the previous row's value.
    bool noteValue(int parameter, bool hasValue);

    void bindText(int parameter, const std::string& text);
    void bindRowid(int parameter, std::int64_t rowid);

    /// Runs the statement for one row and resets it.
    void run();

    void assignText(int column, std::string& text) const;

    /// Logs `code` unless it is SQLITE_OK.
    void check(int code, int line = __builtin_LINE()) const;

    sqlite3* db;
    const VelDBLog& log;
    sqlite3_stmt* handle = nullptr;
    /// For each parameter, whether the previous row bound a value to it.
    bool bound[parameterRowid + 1] = {};
};

template <typename T>
void VelDBStatement::write(const VelDBDataRow<T>& row) {
    if (noteValue(parameterIntcol1, row.intcol1 != VELDB_NO_VALUE)) {
        check(sqlite3_bind_int(handle, parameterIntcol1, row.intcol1));
    }
    bindText(parameterAppName, row.appName);
    bindText(parameterRsvdName, row.rsvdName);
    // SQLite copies neither the blob nor the texts: the row outlives the step.
    check(sqlite3_bind_blob(handle, parameterBlob, &row.payload, sizeof(T), SQLITE_STATIC));
    if (row.rowid != 0) {
        bindRowid(parameterRowid, row.rowid);
    }
    run();
}

template <typename T>
void VelDBStatement::fill(VelDBDataRow<T>& row) const {
    // A value of any type has a text. Only NULL has none.
    if (sqlite3_column_text(handle, columnIntcol1) != nullptr) {
        row.intcol1 = sqlite3_column_int(handle, columnIntcol1);
    }
    assignText(columnAppName, row.appName);
    assignText(columnRsvdName, row.rsvdName);
    const void* blob = sqlite3_column_blob(handle, columnBlob);
    const auto stored = static_cast<unsigned>(sqlite3_column_bytes(handle, columnBlob));
    const unsigned copied = VelDB_memscpy(&row.payload, sizeof(T), blob, blob != nullptr ? stored : 0);
    std::memset(reinterpret_cast<char*>(&row.payload) + copied, 0, sizeof(T) - copied);
    // The row id is the last column. In a table with extra columns it is not column 4, and the value there would name
    // another row.
    row.rowid = sqlite3_column_int64(handle, sqlite3_column_count(handle) - 1);
    // A column that SQLite could not convert for lack of memory reads as NULL. Written back, the row would lose it.
    if (sqlite3_errcode(db) == SQLITE_NOMEM) {
        throw std::bad_alloc();
    }
}

#endif
