#ifndef ROWSTORE_VELDBSTATEMENT_H
#define ROWSTORE_VELDBSTATEMENT_H

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;
class VelDBLog;

/// Owns one compiled statement. Must be destroyed before its connection is closed, and is used by one thread at a time.
class VelDBStatement {
public:
    /// Holds nothing before `prepare`.
    VelDBStatement() = default;

    /// Finalizes the statement if that was not done; a failure is not reported then.
    ~VelDBStatement();

    VelDBStatement(const VelDBStatement&) = delete;
    VelDBStatement& operator=(const VelDBStatement&) = delete;

    /// Compiles `sql`; called once. Returns whether that worked: if not, nothing is held and the reason is the
    /// connection's message.
    bool prepare(sqlite3* db, const std::string& sql);

    /// Runs a statement that returns no rows, once, and resets it, so that it can be bound and run again. Failures of
    /// the two are logged one by one: a step that fails shows again at the reset, with the same code. Needs a `prepare`
    /// that worked.
    void run(const VelDBLog& log);

    /// Returns SQLite's result, 0 for success; the statement is gone either way.
    int finalize();

    /// The number of bytes of `text` as SQLite takes it. More than an int holds is told as the most that one holds,
    /// which SQLite refuses as too big; cut down, the text would lose its end.
    static int sizeOf(const std::string& text);

    /// Whether `rowid` fits the 32 bits as which a row id is bound: a wider one would be cut down to another row's.
    static bool canBind(std::int64_t rowid);

    /// Null before `prepare` and after `finalize`. Stays this object's.
    sqlite3_stmt* get() const { return handle; }

private:
    sqlite3_stmt* handle = nullptr;
};

#endif
