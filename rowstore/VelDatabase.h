#ifndef ROWSTORE_VELDATABASE_H
#define ROWSTORE_VELDATABASE_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "rowstore/VelDBConnection.h"
#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBDataTable.h"
#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"
#include "rowstore/VelDBStatement.h"
#include "rowstore/VelDBTransaction.h"
#include "rowstore/VelDBTypes.h"

/// Keeps records of fixed-size payload types in an SQLite database, one table for each payload type.
///
/// Life: construct, `openVeldb` once, use, destroy. Without a connection, rows can be made, queued and freed. A read
/// then returns nothing, a write only queues its rows, and a delete only frees them.
///
/// Threads: getRow, cacheRow and freeRow may run concurrently with anything but destruction. Reads may run concurrently
/// with each other and with one change (a write-back or a delete). Two changes must not run at once: the second would
/// end the first one's transaction. No read or change may run during open or close, and nothing during destruction.
/// This holds for an SQLite that serialises its calls, its default. One built with SQLITE_THREADSAFE=2, or configured
/// with SQLITE_CONFIG_MULTITHREAD, has no lock for a connection: run one operation at a time there.
///
/// Errors: the constructor, `getRow`, `cacheRow` and `writeDeallocateDR` can throw std::bad_alloc. The other operations
/// throw nothing: they catch and log.
template <typename... Payloads>
class VelDatabase : public VelDBDataTable<Payloads>... {
public:
    /// Opens nothing. Takes one table name for each payload type, in the same order. An empty `fileName` means an
    /// in-memory database. `param` is kept and not used.
    VelDatabase(unsigned long param, std::string fileName, typename VelDBDataTable<Payloads>::nameT... tableNames)
        : VelDBDataTable<Payloads>(tableNames)..., dbParam(param), dbFileName(std::move(fileName)) {}

    /// Writes the rows that are still queued, then closes the connection. Frees the rows that nevertheless stay queued,
    /// and logs how many.
    ~VelDatabase();

    VelDatabase(const VelDatabase&) = delete;
    VelDatabase& operator=(const VelDatabase&) = delete;

    /// Opens the file in "/data/vendor/vel/" in write-ahead-log mode and creates missing tables. An existing table is
    /// not checked. Call once: a second open would lose the first connection.
    /// Returns VELDB_FAILURE, with the connection closed, when the file cannot be opened or a table cannot be created.
    /// When out of memory, it may return VELDB_SUCCESS although a table is missing (see `createVeldbTables`).
    int openVeldb();
    /// Same as `openVeldb`.
    int VelDatabaseInit() { return openVeldb(); }

    /// Creates the table of `T` unless it exists. Returns VELDB_FAILURE when SQLite refuses. Returns VELDB_SUCCESS and
    /// does nothing without a connection or when out of memory.
    template <typename T>
    veldbError createVeldbTables() {
        return createTable(db, VelDBDataTable<T>::tableName);
    }

    /// Closes the connection, if there is one. Does not write the queue. Returns VELDB_FAILURE when SQLite refuses; the
    /// store has no connection afterwards in either case. Rows on loan stay valid and must still be handed back.
    int closeVeldb() { return closeConnection(dbDir, dbFileName, db); }

    /// Writes every queued row of `T`, oldest first, in one transaction, and frees it. Inserts rows whose row id is 0
    /// and updates all others. Includes rows that other threads queue meanwhile.
    /// A row that fails is logged and lost; the others are committed. If the commit fails, all rows are lost.
    /// Returns VELDB_FAILURE when a statement cannot be compiled (the queue keeps its rows) or finalized. Failures of
    /// the transaction and of single rows are only logged. Without a connection, or without memory for a statement's
    /// text, the queue keeps its rows and the result is VELDB_SUCCESS. The queue has no limit: while the statements do
    /// not compile, every write adds to it.
    template <typename T>
    veldbError writeCachedDRToDisk();

    /// Calls writeCachedDRToDisk for every table, each in its own transaction. Returns VELDB_FAILURE when one of them
    /// does; the others are still written.
    int VelDatabaseWriteCachedToDisk();

    /// Queues `rows` and writes the whole queue. If `rows` is empty, does nothing, whatever is queued. Empties `rows`
    /// and returns the number of its entries, null entries included, whether or not the write succeeded.
    /// Throws std::bad_alloc when the queue cannot grow, as `cacheRow` does; nothing is written then.
    template <typename T>
    int writeDeallocateDR(typename VelDBDataTable<T>::vecT& rows);

    /// Deletes `rows` from the table by row id, in one transaction, and always frees them. Skips null entries and rows
    /// that were never stored. A row id that is not in the table is no error.
    /// Returns the number of entries in `rows`, or 0 when the statement cannot be compiled or finalized. The number
    /// does not prove that rows are gone. Without a connection, or without memory for the statement's text, nothing is
    /// deleted. Failures of the transaction and of single rows are only logged.
    /// Queued rows are not touched: they are written later, whatever is deleted now.
    template <typename T>
    int deleteDeallocateDR(typename VelDBDataTable<T>::vecT& rows);

    /// Returns the rows that `key` selects, owned by the caller, in the given order; at most `count` of them. A `count`
    /// of 0 means VELDB_MAX_READ_ROWS; one beyond that is lowered to it, with a warning. Does not see queued rows.
    /// Logs a failure and returns the rows read before it.
    template <typename T>
    typename VelDBDataTable<T>::vecT readAllocateDR(const VelDBDataRowKey& key, unsigned int count, veldbOrderByCol col,
                                                    veldbOrderByDir dir);

    /// Appends the WHERE clause for `key` to `query`. When out of memory, logs it and leaves `query` unchanged.
    void build_query_for_where_clause(const VelDBDataRowKey& key, std::string& query) {
        ::build_query_for_where_clause(key, query);
    }

    /// Calls the free function of the same name.
    static unsigned VelDB_memscpy(void* dst, unsigned dstSize, const void* src, unsigned srcSize) {
        return ::VelDB_memscpy(dst, dstSize, src, srcSize);
    }

protected:
    /// Writes and frees every queued row. Never throws.
    template <typename T>
    void writeQueue(VelDBStatement& insert, VelDBStatement& update);

    /// Deletes `rows` without freeing them. Returns false when the statement could not be compiled or finalized.
    template <typename T>
    bool deleteRows(const typename VelDBDataTable<T>::vecT& rows);

    /// Appends the rows of `query` to `rows`, until there are `limit`.
    template <typename T>
    void readRows(VelDBStatement& query, std::size_t limit, typename VelDBDataTable<T>::vecT& rows);

    /// Returns the next row of `query`; null at the end, after a failure and when out of memory.
    template <typename T>
    std::unique_ptr<VelDBDataRow<T>> readRow(VelDBStatement& query);

    /// Unused. Part of the agreed object layout.
    unsigned long dbParam;
    /// Owned; null while no connection is open.
    sqlite3* db = nullptr;
    /// Put before `dbFileName` as it is. The store never makes the directory.
    std::string dbDir = "/data/vendor/vel/";
    /// Empty: the database is in memory, and gone with the store.
    std::string dbFileName;
};

template <typename... Payloads>
VelDatabase<Payloads...>::~VelDatabase() {
    VelDatabaseWriteCachedToDisk();
    closeVeldb();
}

template <typename... Payloads>
int VelDatabase<Payloads...>::openVeldb() {
    if (openConnection(dbDir, dbFileName, db) != VELDB_SUCCESS) {
        return VELDB_FAILURE;
    }
    if (((createVeldbTables<Payloads>() == VELDB_SUCCESS) && ...)) {
        return VELDB_SUCCESS;
    }
    closeVeldb();
    return VELDB_FAILURE;
}

template <typename... Payloads>
int VelDatabase<Payloads...>::VelDatabaseWriteCachedToDisk() {
    bool written = true;
    ((written &= writeCachedDRToDisk<Payloads>() == VELDB_SUCCESS), ...);
    return written ? VELDB_SUCCESS : VELDB_FAILURE;
}

template <typename... Payloads>
template <typename T>
int VelDatabase<Payloads...>::writeDeallocateDR(typename VelDBDataTable<T>::vecT& rows) {
    const int count = VelDBDataTable<T>::cacheRow(rows);
    if (count != 0) {
        writeCachedDRToDisk<T>(); // its result is in the log
    }
    return count;
}

template <typename... Payloads>
template <typename T>
veldbError VelDatabase<Payloads...>::writeCachedDRToDisk() {
    if (db == nullptr) {
        return VELDB_SUCCESS;
    }
    const std::string& table = VelDBDataTable<T>::tableName;
    const VelDBLog log("writeCachedDRToDisk", table.c_str());
    try {
        std::string sql;
        VelDBStatement insert(db, log);
        composeInsert(table, sql);
        if (!insert.prepare(sql, VelDBLog::Prefix::error)) {
            return VELDB_FAILURE;
        }
        VelDBStatement update(db, log);
        composeUpdate(table, sql);
        if (!update.prepare(sql, VelDBLog::Prefix::error)) {
            return VELDB_FAILURE;
        }
        // The steps above can throw; the queue is still whole then. The steps below cannot.
        VelDBTransaction transaction(db, log);
        writeQueue<T>(insert, update);
        transaction.commit();
        const bool insertEnded = insert.finalize();
        const bool updateEnded = update.finalize();
        return insertEnded && updateEnded ? VELDB_SUCCESS : VELDB_FAILURE;
    } catch (...) {
        // Not a failure: the next write-back writes the rows.
        log.caught(VelDBLog::Wording::exception);
        return VELDB_SUCCESS;
    }
}

template <typename... Payloads>
template <typename T>
void VelDatabase<Payloads...>::writeQueue(VelDBStatement& insert, VelDBStatement& update) {
    while (const std::unique_ptr<VelDBDataRow<T>> row = VelDBDataTable<T>::takeOldest()) {
        VelDBStatement& statement = row->rowid == 0 ? insert : update;
        statement.write(*row);
    }
}

template <typename... Payloads>
template <typename T>
int VelDatabase<Payloads...>::deleteDeallocateDR(typename VelDBDataTable<T>::vecT& rows) {
    const bool statementWorked = db == nullptr || deleteRows<T>(rows);
    const int count = VelDBDataTable<T>::freeRow(rows);
    return statementWorked ? count : 0;
}

template <typename... Payloads>
template <typename T>
bool VelDatabase<Payloads...>::deleteRows(const typename VelDBDataTable<T>::vecT& rows) {
    const std::string& table = VelDBDataTable<T>::tableName;
    const VelDBLog log("deleteDeallocateDR", table.c_str());
    try {
        std::string sql;
        VelDBStatement statement(db, log);
        composeDelete(table, sql);
        if (!statement.prepare(sql, VelDBLog::Prefix::sqlError)) {
            return false;
        }
        VelDBTransaction transaction(db, log);
        for (const VelDBDataRow<T>* row : rows) {
            if (row != nullptr && row->rowid != 0) {
                statement.remove(row->rowid);
            }
        }
        transaction.commit();
        return statement.finalize();
    } catch (...) {
        log.caught(VelDBLog::Wording::stringOperations);
        return true;
    }
}

template <typename... Payloads>
template <typename T>
typename VelDBDataTable<T>::vecT VelDatabase<Payloads...>::readAllocateDR(const VelDBDataRowKey& key,
                                                                          unsigned int count, veldbOrderByCol col,
                                                                          veldbOrderByDir dir) {
    typename VelDBDataTable<T>::vecT rows;
    if (db == nullptr) {
        return rows;
    }
    const std::string& table = VelDBDataTable<T>::tableName;
    const VelDBLog log("readAllocateDR", table.c_str());
    if (count > VELDB_MAX_READ_ROWS) {
        log.countLowered(VELDB_MAX_READ_ROWS);
    }
    const bool bounded = count != 0 && count < VELDB_MAX_READ_ROWS;
    try {
        const std::string sql = composeRead(table, key, col, dir);
        VelDBStatement query(db, log);
        if (!sql.empty() && query.prepare(sql, VelDBLog::Prefix::sqlError)) {
            // The query has no LIMIT; readRows stops.
            readRows<T>(query, bounded ? count : VELDB_MAX_READ_ROWS, rows);
            query.finalize();
        }
    } catch (...) {
        log.caught(VelDBLog::Wording::stringOperations);
    }
    return rows;
}

template <typename... Payloads>
template <typename T>
void VelDatabase<Payloads...>::readRows(VelDBStatement& query, std::size_t limit,
                                        typename VelDBDataTable<T>::vecT& rows) {
    while (rows.size() < limit) {
        std::unique_ptr<VelDBDataRow<T>> row = readRow<T>(query);
        if (row == nullptr) {
            return;
        }
        rows.push_back(row.get()); // may throw; the row is still owned here then
        static_cast<void>(row.release());
    }
}

template <typename... Payloads>
template <typename T>
std::unique_ptr<VelDBDataRow<T>> VelDatabase<Payloads...>::readRow(VelDBStatement& query) {
    const VelDBConnectionLock lock(db);
    if (!query.next()) {
        return nullptr;
    }
    // When out of memory, this logs as `getRow` with "allocated=0", however many rows were read.
    std::unique_ptr<VelDBDataRow<T>> row = VelDBDataTable<T>::newRow(0);
    if (row != nullptr) {
        query.fill(*row);
    }
    return row;
}

#endif
