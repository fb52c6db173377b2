#ifndef ROWSTORE_VELDATABASE_H
#define ROWSTORE_VELDATABASE_H

#include <cstddef>
#include <string>
#include <utility>

#include "rowstore/VelDBConnection.h"
#include "rowstore/VelDBDataRowKey.h"
#include "rowstore/VelDBDataTable.h"
#include "rowstore/VelDBTypes.h"

struct sqlite3;
class VelDBRowReader;
class VelDBRowWriter;

/// What VelDatabase's constructor takes as a table's name, once for each payload type.
template <typename Payload>
struct VelDBTableNameFor {
    using type = const std::string&;
};

/// Keeps records of fixed-size payload types in an SQLite database, one table per payload type.
///
/// Life: construct, `openVeldb` once, use, destroy. Before the open, and after a failed one, only rows can be made,
/// queued and freed: reads return nothing, and writes leave the queue as it is.
///
/// Threads: any thread may call the operations, but no lock guards the connection. While one operation of a store runs,
/// no other may, but getRow, cacheRow and freeRow: a second change would end the transaction of the first, and a read
/// that fails would log a message that the other is replacing.
///
/// Errors: no exception leaves an operation but std::bad_alloc from the constructor, `getRow`, `cacheRow` and
/// `writeDeallocateDR`. Everything else is caught and logged.
template <typename... Payloads>
class VelDatabase : public VelDBDataTable<Payloads>... {
public:
    /// Opens nothing. An empty `fileName` means an in-memory database. `param` is kept and not used.
    VelDatabase(unsigned long param, std::string fileName, typename VelDBTableNameFor<Payloads>::type... tableNames)
        : VelDBDataTable<Payloads>(tableNames)..., dbParam(param), dbFileName(std::move(fileName)) {}

    /// Writes the rows that are still queued, then closes the connection. Rows that could not be written are freed.
    ~VelDatabase();

    VelDatabase(const VelDatabase&) = delete;
    VelDatabase& operator=(const VelDatabase&) = delete;

    /// Opens the database file in "/data/vendor/vel/" in write-ahead-log mode and creates the tables that it lacks.
    /// The store must have no connection yet: a second open would lose the first one.
    /// Returns VELDB_SUCCESS, or VELDB_FAILURE with the connection closed again. An existing table is not compared with
    /// what is expected; for want of memory a table may still be missing after a success (`createVeldbTables`).
    int openVeldb();
    /// Another name for `openVeldb`.
    int VelDatabaseInit() { return openVeldb(); }

    /// Creates the table of `T` if it does not exist. Returns VELDB_FAILURE when SQLite refuses, and VELDB_SUCCESS,
    /// nothing being done, without a connection or when memory for the statement's text runs out.
    template <typename T>
    veldbError createVeldbTables() {
        return createTable(db, VelDBDataTable<T>::tableName);
    }

    /// Closes the connection, if there is one; the write queue is not flushed. Returns VELDB_FAILURE when SQLite
    /// refuses; the store has no connection afterwards in either case. Rows on loan stay valid and must still be handed
    /// back.
    int closeVeldb() { return closeConnection(dbDir, dbFileName, db); }

    /// Writes every queued row of `T`, oldest first, in one transaction, and frees it: row id 0 is inserted, any other
    /// row updated in place. Rows queued meanwhile by other threads are written as well. A row that fails is logged and
    /// lost; the others are committed. A row id beyond 32 bits is such a failure: no other row is ever reached.
    /// Returns VELDB_FAILURE when a statement cannot be compiled (the queue keeps its rows) or finalized. Failures of
    /// the transaction and of single rows are only logged. Without a connection, or when memory for a statement's text
    /// runs out, returns VELDB_SUCCESS and the queue keeps its rows. The queue has no bound: as long as the statements
    /// do not compile, every write adds to it.
    template <typename T>
    veldbError writeCachedDRToDisk();

    /// writeCachedDRToDisk for every table, each in a transaction of its own: one that fails does not keep the others
    /// from being written. Returns VELDB_FAILURE when one of them does.
    int VelDatabaseWriteCachedToDisk();

    /// Queues `rows` and writes the queue to disk, with what earlier calls have left in it. Returns the number of
    /// entries that `rows` held, null entries included, whatever became of the write; `rows` is empty afterwards.
    /// Throws std::bad_alloc when the queue cannot grow, as `cacheRow` does; nothing is written then.
    template <typename T>
    int writeDeallocateDR(typename VelDBDataTable<T>::vecT& rows);

    /// Deletes `rows` from the table by row id, in one transaction, and frees them in every outcome. Null entries and
    /// rows that were never stored are skipped; a row id that is not in the table is no error.
    /// Returns the number of entries that `rows` held, or 0 when the statement cannot be compiled or finalized. The
    /// number does not say that rows are gone: without a connection, or when memory for the statement's text runs out,
    /// nothing is deleted, and failures of the transaction and of single rows are only logged. The queue is not
    /// touched: what a write has left in it is written later all the same, whatever is deleted now.
    template <typename T>
    int deleteDeallocateDR(typename VelDBDataTable<T>::vecT& rows);

    /// Returns the rows that `key` selects, at most `count` of them (0, and anything above VELDB_MAX_READ_ROWS, means
    /// that many), in the given order; owned by the caller. Queued rows are not seen.
    /// A failure is logged and shows as fewer rows, or none.
    template <typename T>
    typename VelDBDataTable<T>::vecT readAllocateDR(const VelDBDataRowKey& key, unsigned int count, veldbOrderByCol col,
                                                    veldbOrderByDir dir);

    /// Appends the WHERE clause for `key` to `query`; when memory runs out this is logged and `query` is unchanged.
    /// Any thread may call it.
    void build_query_for_where_clause(const VelDBDataRowKey& key, std::string& query);

    /// Offered with every store; the store itself uses the function of the same name.
    static unsigned VelDB_memscpy(void* dst, unsigned dstSize, const void* src, unsigned srcSize) {
        return ::VelDB_memscpy(dst, dstSize, src, srcSize);
    }

protected:
    /// Drains the write queue into `writer`. Needs no memory: the rows move from one list to another, where they live
    /// until all are written.
    template <typename T>
    void writeQueue(VelDBRowWriter& writer);

    /// Returns false when the statement could not be compiled or finalized; true also when memory for its text ran out
    /// and nothing was deleted.
    template <typename T>
    bool deleteRows(const typename VelDBDataTable<T>::vecT& rows);

    /// Appends rows until there are `limit`. A row joins them when it is complete; if filling it fails it is freed.
    template <typename T>
    void readRows(VelDBRowReader& reader, std::size_t limit, typename VelDBDataTable<T>::vecT& rows);

    /// Kept for the host's side of the contract; nothing here reads it.
    unsigned long dbParam;
    /// Owned; null while no connection is open.
    sqlite3* db = nullptr;
    /// The file's path is the two joined as they are; the store never makes the directory.
    std::string dbDir = "/data/vendor/vel/";
    /// Empty: the database is in memory, and gone with the store.
    std::string dbFileName;
};

#include "rowstore/VelDatabaseBodies.h"

#endif
