#ifndef ROWSTORE_VELDBTRANSACTION_H
#define ROWSTORE_VELDBTRANSACTION_H

struct sqlite3;
class VelDBLog;

/// An immediate transaction: begun by the constructor, ended by `commit` or else by the destructor.
///
/// BEGIN IMMEDIATE takes the write lock first, so a batch cannot fail halfway for lack of it.
/// One at a time per connection. Not thread-safe.
class VelDBTransaction {
public:
    /// Begins. If BEGIN fails, logs it and rolls back whatever is open; the statements that follow then commit one by
    /// one. Both arguments must outlive the object.
    VelDBTransaction(sqlite3* connection, const VelDBLog& operationLog);

    /// Rolls back unless committed. Never throws, never logs.
    ~VelDBTransaction();

    VelDBTransaction(const VelDBTransaction&) = delete;
    VelDBTransaction& operator=(const VelDBTransaction&) = delete;

    /// Commits. If that fails, logs it and rolls back. Call at most once.
    void commit();

private:
    /// Runs BEGIN or COMMIT. If it fails, logs it, rolls back, and logs a rollback that fails. The messages may be the
    /// same: their source lines tell the three statements apart.
    void runOrRollBack(const char* sql, int line = __builtin_LINE());

    sqlite3* db;
    const VelDBLog& log;
};

#endif
