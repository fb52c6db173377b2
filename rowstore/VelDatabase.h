#ifndef ROWSTORE_VELDATABASE_H
#define ROWSTORE_VELDATABASE_H

#include <memory>
#include <string>
#include <utility>

#include "rowstore/VelDBConnection.h"
#include "rowstore/VelDBDataRowKey.h"
#include "rowstore/VelDBDataTable.h"
#include "rowstore/VelDBQuery.h"
#include "rowstore/VelDBRowReader.h"
#include "rowstore/VelDBRowWriter.h"
#include "rowstore/VelDBTransaction.h"

/// The type of one table's name in VelDatabase's constructor, which takes one per payload type.
template <typename Payload>
struct VelDBTableName {
    using type = const std::string&;
};

/// Keeps records of fixed-size payload types in an SQLite database, one table per payload type.
///
/// Life: construct, `openVeldb` once, use, destroy. Before the open, and after a failed one, only rows can be made,
/// queued and freed: reads return nothing, and writes leave the queue as it is.
///
/// Threads: any thread may call the operations, but no lock guards the connection. Of openVeldb, closeVeldb, the
/// write-backs, the deletes and destruction only one may run on a store at a time: a second transaction on the same
/// connection would end the first. Rows may be queued from other threads meanwhile.
///
/// Errors: no exception leaves an operation but std::bad_alloc from the constructor, `getRow`, `cacheRow` and
/// `writeDeallocateDR`. Everything else is caught and logged.
template <typename... Payloads>
class VelDatabase : public VelDBDataTable<Payloads>... {
public:
    /// Opens nothing. An empty `fileName` means an in-memory database. `param` is kept and not used.
    VelDatabase(unsigned long param, std::string fileName, typename VelDBTableName<Payloads>::type... tableNames)
        : VelDBDataTable<Payloads>(tableNames)..., dbParam(param), dbFileName(std::move(fileName)) {}

    /// Writes the rows that are still queued, then closes the connection. Rows that could not be written are freed.
    ~VelDatabase();

    VelDatabase(const VelDatabase&) = delete;
    VelDatabase& operator=(const VelDatabase&) = delete;

    /// Opens the database file in "/data/vendor/vel/" in write-ahead-log mode and creates the tables that it lacks.
    /// Returns VELDB_SUCCESS, or VELDB_FAILURE with the connection closed again.
    int openVeldb();
    int VelDatabaseInit() { return openVeldb(); }

    /// Creates the table of `T` if it does not exist. Returns VELDB_FAILURE when SQLite refuses; without a connection,
    /// or without memory for the statement, VELDB_SUCCESS.
    template <typename T>
    veldbError createVeldbTables() {
        return createTable(db, VelDBDataTable<T>::tableName);
    }

    /// Closes the connection, if there is one; the write queue is not flushed. Returns VELDB_FAILURE when SQLite
    /// refuses; the store has no connection afterwards in either case.
    int closeVeldb() { return closeConnection(dbDir, dbFileName, db); }

    /// Writes every queued row of `T`, oldest first, in one transaction, and frees it: row id 0 is inserted, any other
    /// row updated in place. Rows queued meanwhile by other threads are written as well. A row that fails is logged and
    /// lost; the others are committed.
    /// Returns VELDB_FAILURE when a statement cannot be compiled (the queue keeps its rows) or finalized. Failures of
    /// the transaction and of single rows are only logged. Without a connection, or without memory for the statements,
    /// returns VELDB_SUCCESS and the queue keeps its rows.
    template <typename T>
    veldbError writeCachedDRToDisk();

    /// writeCachedDRToDisk for every table. Returns VELDB_FAILURE when one of them does.
    int VelDatabaseWriteCachedToDisk();

    /// Queues `rows` and writes the queue to disk. Returns the number of entries that `rows` held, null entries
    /// included, whatever became of the write; `rows` is empty afterwards.
    /// Throws std::bad_alloc when the queue cannot grow, as `cacheRow` does; nothing is written then.
    template <typename T>
    int writeDeallocateDR(typename VelDBDataTable<T>::vecT& rows);

    /// Deletes `rows` from the table by row id, in one transaction, and frees them in every outcome. Null entries and
    /// rows that were never stored are skipped; a row id that is not in the table is no error.
    /// Returns the number of entries that `rows` held, or 0 when the statement cannot be compiled or finalized.
    template <typename T>
    int deleteDeallocateDR(typename VelDBDataTable<T>::vecT& rows);

    /// Returns the rows that `key` selects, at most `count` of them (0, and anything above VELDB_MAX_READ_ROWS, means
    /// that many), in the given order; owned by the caller. Queued rows are not seen.
    /// A failure is logged and shows as fewer rows, or none.
    template <typename T>
    typename VelDBDataTable<T>::vecT readAllocateDR(const VelDBDataRowKey& key, unsigned int count, veldbOrderByCol col,
                                                    veldbOrderByDir dir);

    /// Appends the WHERE clause for `key` to `query`; when memory runs out this is logged and `query` is unchanged.
    void build_query_for_where_clause(const VelDBDataRowKey& key, std::string& query);

    static unsigned VelDB_memscpy(void* dst, unsigned dstSize, const void* src, unsigned srcSize) {
        return ::VelDB_memscpy(dst, dstSize, src, srcSize);
    }

protected:
    template <typename T>
    void writeQueue(VelDBRowWriter& writer);
    template <typename T>
    bool deleteRows(const typename VelDBDataTable<T>::vecT& rows);
    template <typename T>
    void readRows(VelDBRowReader& reader, std::size_t limit, typename VelDBDataTable<T>::vecT& rows);

    unsigned long dbParam;
    sqlite3* db = nullptr; ///< owned; null while no connection is open
    std::string dbDir = "/data/vendor/vel/";
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
    int result = VELDB_SUCCESS;
    ((result = writeCachedDRToDisk<Payloads>() == VELDB_SUCCESS ? result : VELDB_FAILURE), ...);
    return result;
}

template <typename... Payloads>
template <typename T>
int VelDatabase<Payloads...>::writeDeallocateDR(typename VelDBDataTable<T>::vecT& rows) {
    const int count = VelDBDataTable<T>::cacheRow(rows);
    if (count != 0) {
        writeCachedDRToDisk<T>();
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
        VelDBRowWriter writer(db, log);
        if (!writer.prepare(table)) {
            return VELDB_FAILURE;
        }
        VelDBTransaction transaction(db, log);
        writeQueue<T>(writer);
        transaction.commit();
        return writer.finalize() ? VELDB_SUCCESS : VELDB_FAILURE;
    } catch (...) {
        log.caught(VelDBLog::Wording::exception);
        return VELDB_SUCCESS;
    }
}

/// Once the transaction has begun nothing here needs memory: the rows move from one list to the other, where they live
/// until all of them are written.
template <typename... Payloads>
template <typename T>
void VelDatabase<Payloads...>::writeQueue(VelDBRowWriter& writer) {
    typename VelDBDataTable<T>::listT drained;
    while (VelDBDataTable<T>::takeOldest(drained)) {
        writer.write(VelDBRowRef(*drained.back()));
    }
}

template <typename... Payloads>
template <typename T>
int VelDatabase<Payloads...>::deleteDeallocateDR(typename VelDBDataTable<T>::vecT& rows) {
    const bool deleted = db == nullptr || deleteRows<T>(rows);
    const int count = VelDBDataTable<T>::freeRow(rows);
    return deleted ? count : 0;
}

/// Returns false when the statement could not be compiled or finalized.
template <typename... Payloads>
template <typename T>
bool VelDatabase<Payloads...>::deleteRows(const typename VelDBDataTable<T>::vecT& rows) {
    const std::string& table = VelDBDataTable<T>::tableName;
    const VelDBLog log("deleteDeallocateDR", table.c_str());
    try {
        VelDBRowDeleter deleter(db, log);
        if (!deleter.prepare(table)) {
            return false;
        }
        VelDBTransaction transaction(db, log);
        for (const VelDBDataRow<T>* row : rows) {
            if (row != nullptr) {
                deleter.remove(row->rowid);
            }
        }
        transaction.commit();
        return deleter.finalize();
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
        log.restricted(VELDB_MAX_READ_ROWS);
    }
    const bool bounded = count != 0 && count < VELDB_MAX_READ_ROWS;
    try {
        std::string query = beginRead(table, key);
        build_query_for_where_clause(key, query);
        appendOrderBy(col, dir, query);
        VelDBRowReader reader(db, log);
        if (reader.prepare(query)) {
            readRows<T>(reader, bounded ? count : VELDB_MAX_READ_ROWS, rows);
            reader.finalize();
        }
    } catch (...) {
        log.caught(VelDBLog::Wording::stringOperations);
    }
    return rows;
}

/// A row joins the result when it is complete; if filling it fails it is freed.
template <typename... Payloads>
template <typename T>
void VelDatabase<Payloads...>::readRows(VelDBRowReader& reader, std::size_t limit,
                                        typename VelDBDataTable<T>::vecT& rows) {
    while (rows.size() < limit && reader.next()) {
        std::unique_ptr<VelDBDataRow<T>> row(VelDBDataTable<T>::newRow(0));
        if (row == nullptr) {
            return;
        }
        reader.fill(VelDBRowRef(*row));
        rows.push_back(row.get());
        static_cast<void>(row.release()); // the result owns it now
    }
}

template <typename... Payloads>
void VelDatabase<Payloads...>::build_query_for_where_clause(const VelDBDataRowKey& key, std::string& query) {
    try {
        appendWhereClause(key, query);
    } catch (...) {
        VelDBLog("build_query_for_where_clause", "").caughtComposing();
    }
}

#endif
