#ifndef ROWSTORE_VELDBTRANSACTION_H
#define ROWSTORE_VELDBTRANSACTION_H

struct sqlite3;
class VelDBLog;

/// One immediate transaction on a connection, begun by the constructor and ended by `commit`. It takes the write lock
/// at once, so that a batch does not fail half-way for want of it. Only one may exist on a connection at a time, and
/// only the thread that made it may use it.
class VelDBTransaction {
public:
    /// Takes the database's write lock. When that fails, the failure is logged and whatever transaction is open is
    /// rolled back; the statements that follow then commit one by one. `log` must outlive the object.
    VelDBTransaction(sqlite3* connection, const VelDBLog& operationLog);

    /// Without a commit, rolls back what is still open. Never throws, never commits, logs nothing.
    ~VelDBTransaction();

    VelDBTransaction(const VelDBTransaction&) = delete;
    VelDBTransaction& operator=(const VelDBTransaction&) = delete;

    /// Commits. When that fails, the failure is logged and the transaction is rolled back; when that fails too, it is
    /// logged and the destructor tries once more. Called at most once.
    void commit();

private:
    /// Runs BEGIN or COMMIT; when that fails, logs it, rolls back and logs a failure of that too. The messages may be
    /// the same: the source line, the caller's or its own, tells the three statements apart.
    void runOrRollBack(const char* sql, int line = __builtin_LINE());

    sqlite3* db;
    const VelDBLog& log;
};

#endif
