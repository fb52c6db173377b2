#ifndef ROWSTORE_VELDATABASEBODIES_H
#define ROWSTORE_VELDATABASEBODIES_H

// What the operations that VelDatabase.h declares do; included there, at its end, and nowhere else.

#include <cstddef>
#include <memory>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"
#include "rowstore/VelDBRowDeleter.h"
#include "rowstore/VelDBRowReader.h"
#include "rowstore/VelDBRowWriter.h"
#include "rowstore/VelDBTransaction.h"
#include "rowstore/VelDatabase.h"

template <typename... Payloads>
VelDatabase<Payloads...>::~VelDatabase() {
    // What cannot be written now is freed, and counted in the log, by each table's destructor.
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
    // "Failed" means the same however it came about: no connection.
    closeVeldb();
    return VELDB_FAILURE;
}

template <typename... Payloads>
int VelDatabase<Payloads...>::VelDatabaseWriteCachedToDisk() {
    // One table's failure does not keep the others from being written.
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
        // Until here an exception leaves the queue as it was; from here on there is none.
        VelDBTransaction transaction(db, log);
        // The rows are gone before the commit: a statement that has run reads nothing of them any more.
        writeQueue<T>(writer);
        transaction.commit();
        return writer.finalize() ? VELDB_SUCCESS : VELDB_FAILURE;
    } catch (...) {
        // Not a failure to the caller: the rows are still queued, and the next write-back takes them along.
        log.caught(VelDBLog::Wording::exception);
        return VELDB_SUCCESS;
    }
}

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
    // The rows are the store's in every outcome; only a statement that failed as a whole shows in the result.
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
        // Any exception ends the read: a query is run whole or not at all.
        std::string query = composeRead(table, key);
        appendWhereClause(key, query);
        appendOrderBy(col, dir, query);
        VelDBRowReader reader(db, log);
        if (reader.prepare(query)) {
            // The query itself has no limit: the stepping stops.
            readRows<T>(reader, bounded ? count : VELDB_MAX_READ_ROWS, rows);
            reader.finalize();
        }
    } catch (...) {
        log.caught(VelDBLog::Wording::stringOperations);
    }
    return rows;
}

template <typename... Payloads>
template <typename T>
void VelDatabase<Payloads...>::readRows(VelDBRowReader& reader, std::size_t limit,
                                        typename VelDBDataTable<T>::vecT& rows) {
    while (rows.size() < limit && reader.next()) {
        // Each is logged as the first of a getRow, whatever the read had found before.
        std::unique_ptr<VelDBDataRow<T>> row(VelDBDataTable<T>::newRow(0));
        if (row == nullptr) {
            return;
        }
        reader.fill(VelDBRowRef(*row));
        // Only when the result has made room for it does the row change its owner.
        rows.push_back(row.get());
        static_cast<void>(row.release());
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
